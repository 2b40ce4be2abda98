// Property containers: editing, notifications, attributes, lifetimes and
// iteration.
#include <gtest/gtest.h>

#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

#include "zxvariant/zxvariant.h"
#include "tree/loose_testing.h"

namespace {

using zxv_testing::NameOf;
using zxv_testing::Str;
using namespace ZxVariantHelper::BOProperty;
using namespace ZxVariantHelper::BasicUtils;
using T = ZxVariant::TypeCodes;


struct Event {
  ZxVariant* changed;
  ZxVariant* parent;
  int kind;
  std::u16string name;  // the changed record's name when the event arrived
};

// A root that records every change reaching it.
class Observed : public PropertyContainer {
 public:
  using PropertyContainer::PropertyContainer;
  std::vector<Event> events;

 protected:
  void notifyChange(ZxVariant* changed, ZxVariant* parentRecord, int kind) override {
    events.push_back({changed, parentRecord, kind, NameOf(changed)});
    PropertyContainer::notifyChange(changed, parentRecord, kind);
  }
};

// A container whose record is set later, as a data-source-bound one is.
class Reloadable : public PropertyContainer {
 public:
  Reloadable() : PropertyContainer(nullptr, false) {}
  bool load(ZxVariant* record) {
    setData(record);
    return reloadData();
  }
};

ZxVariant* NewLooseList() {
  auto* r = static_cast<ZxVariant*>(std::calloc(1, sizeof(ZxVariant)));
  r->type = T::List;
  return r;
}

TEST(PropertyContainer, OwnsAFreshListOrWrapsTheCallersRecord) {
  PropertyContainer unnamed;
  ASSERT_NE(unnamed.getData(), nullptr);
  EXPECT_EQ(unnamed.getData()->type, T::List);
  EXPECT_EQ(Str(unnamed.getName()), u"");
  EXPECT_EQ(Str(PropertyContainer(u"Config").getName()), u"Config");

  ZxVariant* mine = NewLooseList();
  {
    PropertyContainer wrapper(mine);
    EXPECT_EQ(wrapper.getData(), mine);
    EXPECT_TRUE(wrapper.append(NameValuePair(u"Port", 80)));
  }
  // The wrapper is gone, the record and its new child are still the caller's.
  ASSERT_EQ(mine->value.list.count, 1u);
  EXPECT_EQ(static_cast<int>(ZxvToAny(findNodeInAList(mine, 0))), 80);
  releaseZxVariant(mine);

  ZxVariant scalar{};
  scalar.type = T::Int;
  for (ZxVariant* bad : {static_cast<ZxVariant*>(nullptr), &scalar}) {
    try {
      PropertyContainer c(bad);
      ADD_FAILURE() << "no exception";
    } catch (const std::logic_error& e) {
      EXPECT_STREQ(e.what(), "Invalid parameter");
    }
  }
}

TEST(PropertyContainerEditing, AppendAndInsertStoreIndependentCopies) {
  PropertyContainer c;
  AProperty host(NameValuePair(u"Host", u"alpha"));
  ASSERT_TRUE(host.addAttribute(NameValuePair(u"role", u"main")));
  EXPECT_TRUE(c.append(host));
  EXPECT_TRUE(c.append(NameValuePair(u"Port", 80)));
  EXPECT_TRUE(c.insert(u"PORT", NameValuePair(u"Mode", u"fast")));  // case ignored
  EXPECT_FALSE(c.insert(u"Missing", host));
  EXPECT_FALSE(c.insert(nullptr, host));
  ASSERT_EQ(c.size(), 3u);
  const char16_t* order[] = {u"Host", u"Mode", u"Port"};
  for (int i = 0; i < 3; ++i) EXPECT_EQ(NameOf(findNodeInAList(c.getData(), i)), order[i]);

  ZxVariant* stored = findNodeInAList(c.getData(), 0);
  EXPECT_NE(stored, host.getData());
  EXPECT_EQ(compareAZxVariant(stored, host.getData()), 1);  // equal; both carry attributes
  host.setValue(NameValuePair(u"Host", u"beta"));
  EXPECT_EQ(std::u16string(ZxvToAny(stored)), u"alpha");
  EXPECT_TRUE(c.getAttribute(u"x") == ZxvToAny::NullZxv);
}

TEST(PropertyContainerEditing, RemoveAndRemoveContainerEachTakeOneKind) {
  PropertyContainer c;
  c.append(NameValuePair(u"Port", 1));
  ASSERT_TRUE(c.appendContainer(u"Proxy"));
  EXPECT_FALSE(c.remove(u"proxy"));
  EXPECT_FALSE(c.removeContainer(u"port"));
  EXPECT_EQ(c.size(), 2u);
  EXPECT_TRUE(c.removeContainer(u"proxy"));
  EXPECT_TRUE(c.remove(u"PORT"));
  EXPECT_FALSE(c.remove(u"Port"));
  EXPECT_EQ(c.size(), 0u);
  EXPECT_EQ(c.getData()->value.list.items, nullptr);  // the emptied list dropped its slot
  EXPECT_TRUE(c.append(NameValuePair(u"Again", 2)));
}

TEST(PropertyContainerEditing, ContainersAreAppendedNamedAndInsertedInFront) {
  PropertyContainer c;
  c.append(NameValuePair(u"Last", 1));
  SmartPtr<PropertyContainer> net = c.appendContainer(u"Network");
  ASSERT_TRUE(net);
  EXPECT_EQ(net->getParent(), &c);
  EXPECT_EQ(Str(net->getName()), u"Network");
  SmartPtr<PropertyContainer> first = c.insertContainer(u"last", u"First");
  ASSERT_TRUE(first);
  EXPECT_EQ(findNodeInAList(c.getData(), 0), first->getData());
  EXPECT_FALSE(c.insertContainer(u"Nowhere", u"X"));
  SmartPtr<PropertyContainer> unnamed = c.appendContainer(nullptr);
  ASSERT_TRUE(unnamed);
  EXPECT_EQ(unnamed->getData()->name.length, 0u);
  EXPECT_TRUE(net->append(NameValuePair(u"Port", 8080)));
  EXPECT_EQ(static_cast<int>(c[u"Network/Port"]), 8080);
  EXPECT_EQ(c.size(), 4u);
}

TEST(PropertyContainerEditing, AFailedCopyLeavesAnEmptyElementInPlace) {
  ZxVariant reg{};
  reg.type = T::Register;
  reg.value.registerValue = &reg;
  NameValuePair registerPair(&reg);  // the list utilities cannot copy a Register
  PropertyContainer c;
  EXPECT_TRUE(c.append(registerPair));
  ASSERT_EQ(c.size(), 1u);
  EXPECT_EQ(findNodeInAList(c.getData(), 0)->type, T::Null);
  EXPECT_FALSE(c.addAttribute(registerPair));
  EXPECT_EQ(c.getData()->attributes.count, 1u);  // the empty attribute stays
}

TEST(PropertyNotifications, TheRootSeesAChangeMadeTwoLevelsDown) {
  Observed root(u"Root");
  SmartPtr<PropertyContainer> network = root.appendContainer(u"Network");
  SmartPtr<PropertyContainer> proxy = network->appendContainer(u"Proxy");
  root.events.clear();
  root.clearModified();
  ASSERT_TRUE(proxy->append(NameValuePair(u"Port", 3128)));
  SmartPtr<PropertyContainer> auth = proxy->appendContainer(u"Auth");
  ASSERT_EQ(root.events.size(), 2u);
  EXPECT_EQ(root.events[0].kind, ChangeKind::Added);
  EXPECT_EQ(root.events[0].name, u"Port");
  EXPECT_EQ(root.events[0].parent, proxy->getData());
  EXPECT_EQ(root.events[1].changed, auth->getData());
  EXPECT_EQ(root.events[1].parent, proxy->getData());
  EXPECT_TRUE(root.isModified());
  EXPECT_TRUE(network->isModified());

  // The same change made through a path from the root arrives the same way.
  root.events.clear();
  EXPECT_TRUE(root.erase(u"Network/Proxy/Port"));
  ASSERT_EQ(root.events.size(), 1u);
  EXPECT_EQ(root.events[0].kind, ChangeKind::Removing);
  EXPECT_EQ(root.events[0].name, u"Port");  // still readable when announced
  EXPECT_EQ(root.events[0].parent, proxy->getData());
}

TEST(PropertyNotifications, AssignmentAnnouncesTheReplacementAndKeepsThePlace) {
  Observed root;
  root.append(NameValuePair(u"A", 1));
  root.append(NameValuePair(u"B", 2));
  root.append(NameValuePair(u"C", 3));
  SmartPtr<AProperty> b = root.get(u"b");
  ASSERT_TRUE(b);
  ZxVariant* record = b->getData();
  AProperty replacement(NameValuePair(u"Beta", u"two"));
  replacement.addAttribute(NameValuePair(u"unit", u"none"));
  root.events.clear();
  *b = replacement;
  ASSERT_EQ(root.events.size(), 2u);
  EXPECT_EQ(root.events[0].kind, ChangeKind::Removing);
  EXPECT_EQ(root.events[0].name, u"B");
  EXPECT_EQ(root.events[1].kind, ChangeKind::Added);
  EXPECT_EQ(root.events[1].name, u"Beta");
  EXPECT_EQ(root.events[1].parent, root.getData());
  EXPECT_EQ(findNodeInAList(root.getData(), 1), record);
  EXPECT_EQ(NameOf(record->next), u"C");
  EXPECT_EQ(std::u16string(b->getAttribute(u"UNIT")), u"none");

  root.events.clear();
  *b = *b;                                     // the same record: nothing
  EXPECT_TRUE(b->setValue(NameValuePair(u"x", u"two")));  // an equal value: nothing
  EXPECT_TRUE(root.events.empty());
  EXPECT_TRUE(b->setValue(NameValuePair(u"x", 5)));
  EXPECT_EQ(root.events.size(), 2u);
  EXPECT_EQ(Str(b->getName()), u"Beta");       // setValue keeps the name
  EXPECT_EQ(static_cast<int>(b->getValue()), 5);
}

TEST(PropertyAttributes, AddSetRemoveAndTheirNotifications) {
  Observed root;
  SmartPtr<PropertyContainer> sub = root.appendContainer(u"Sub");
  root.events.clear();
  ASSERT_TRUE(sub->addAttribute(NameValuePair(u"Mode", 1)));
  ASSERT_TRUE(sub->addAttribute(NameValuePair(u"mode", 2)));  // duplicates allowed
  EXPECT_EQ(sub->getData()->attributes.count, 2u);
  EXPECT_TRUE(sub->setAttribute(NameValuePair(u"MODE", 7)));
  EXPECT_EQ(static_cast<int>(sub->getAttribute(u"mode")), 7);  // the first one changed
  EXPECT_FALSE(sub->setAttribute(NameValuePair(u"Mode", u"text")));  // another type
  EXPECT_FALSE(sub->setAttribute(NameValuePair(u"Other", 1)));
  ASSERT_EQ(root.events.size(), 2u);  // setAttribute sends nothing
  EXPECT_EQ(root.events[0].kind, ChangeKind::AttributeAdded);
  EXPECT_EQ(root.events[0].parent, sub->getData());

  EXPECT_TRUE(sub->removeAttribute(u"MODE"));
  ASSERT_EQ(root.events.size(), 3u);
  EXPECT_EQ(root.events[2].kind, ChangeKind::AttributeRemoving);
  EXPECT_EQ(root.events[2].name, u"Mode");  // the first of the two
  EXPECT_EQ(static_cast<int>(sub->getAttribute(u"mode")), 2);
  EXPECT_TRUE(sub->removeAttribute(u"mode"));
  EXPECT_FALSE(sub->removeAttribute(u"mode"));
  EXPECT_TRUE(sub->getAttribute(u"mode") == ZxvToAny::NullZxv);
}

TEST(AProperty, OwnsItsRecordAndComparesByContent) {
  AProperty p(NameValuePair(u"Port", 80));
  EXPECT_EQ(Str(p.getName()), u"Port");
  EXPECT_EQ(p.getValue().getType(), T::Int);
  AProperty copy(p);
  EXPECT_NE(copy.getData(), p.getData());
  EXPECT_EQ(copy.compare(p), 0);
  copy.setValue(NameValuePair(u"", 81));
  EXPECT_NE(copy.compare(p), 0);
  EXPECT_EQ(static_cast<int>(p.getValue()), 80);
  EXPECT_EQ(AProperty().getValue().getType(), T::Null);
  ZxVariant list{};
  list.type = T::List;
  AProperty fromList{NameValuePair(&list)};
  EXPECT_EQ(fromList.getValue().getType(), T::Null);
  EXPECT_FALSE(p.setValue(NameValuePair(&list)));
}

TEST(PropertyLifetime, ObjectsOfARemovedRecordAreDetachedNotDangling) {
  PropertyContainer root;
  SmartPtr<PropertyContainer> proxy = root.appendContainer(u"Proxy");
  proxy->append(NameValuePair(u"Port", 1));
  SmartPtr<AProperty> port = root.get(u"Proxy/Port");
  SmartPtr<PropertyContainer> inner = proxy->appendContainer(u"Inner");
  SmartPtr<IPropertyIterator> walk = proxy->createIterator();
  root.append(NameValuePair(u"Other", 2));
  SmartPtr<AProperty> other = root.get(u"Other");
  ASSERT_TRUE(port && inner && walk && other);

  EXPECT_TRUE(root.removeContainer(u"proxy"));
  for (PropertyBase* gone : {static_cast<PropertyBase*>(proxy.get()),
                             static_cast<PropertyBase*>(port.get()),
                             static_cast<PropertyBase*>(inner.get())}) {
    EXPECT_EQ(gone->getData(), nullptr);
    EXPECT_EQ(gone->getParent(), nullptr);
    EXPECT_FALSE(gone->addAttribute(NameValuePair(u"a", 1)));
    EXPECT_EQ(Str(gone->getName()), u"");
  }
  EXPECT_FALSE(proxy->append(NameValuePair(u"x", 1)));
  EXPECT_FALSE(proxy->appendContainer(u"x"));
  EXPECT_EQ(proxy->size(), 0u);
  EXPECT_FALSE(port->setValue(NameValuePair(u"", 5)));
  EXPECT_TRUE(walk->atEnd());
  EXPECT_FALSE(walk->next());
  ZxVariant* out = nullptr;
  EXPECT_EQ(proxy->queryData(u"", &out), Result::NoData);
  EXPECT_EQ(proxy->assignData(u"x", NameValuePair(u"", 1)), Result::NoData);
  // Unrelated objects are untouched.
  EXPECT_EQ(other->getData(), findNodeInAList(root.getData(), 0));
  EXPECT_EQ(other->getParent(), &root);
}

TEST(PropertyLifetime, HandedOutObjectsMayOutliveTheirRootAndTheirParents) {
  SmartPtr<PropertyContainer> leaf;
  SmartPtr<AProperty> value;
  {
    Observed root;
    // The intermediate container object is released at once: its child's
    // notifications go to the root from now on.
    leaf = root.appendContainer(u"A")->appendContainer(u"B");
    EXPECT_EQ(leaf->getParent(), &root);
    root.events.clear();
    leaf->append(NameValuePair(u"V", 1));
    ASSERT_EQ(root.events.size(), 1u);
    EXPECT_EQ(root.events[0].parent, leaf->getData());
    value = leaf->get(u"v");
    ASSERT_TRUE(value);
  }
  EXPECT_EQ(leaf->getData(), nullptr);
  EXPECT_EQ(value->getData(), nullptr);
  EXPECT_FALSE(leaf->append(NameValuePair(u"W", 2)));
  *value = AProperty(NameValuePair(u"V", 3));  // does nothing
  EXPECT_EQ(value->getData(), nullptr);
}

TEST(PropertyLifetime, ReloadDetachesEverythingAndClearsTheMark) {
  Reloadable db;
  EXPECT_EQ(db.getData(), nullptr);
  EXPECT_FALSE(db.append(NameValuePair(u"x", 1)));
  EXPECT_TRUE(db.createIterator()->atEnd());
  ZxVariant* first = NewLooseList();
  ZxVariant* second = NewLooseList();
  ASSERT_TRUE(db.load(first));
  SmartPtr<PropertyContainer> sub = db.appendContainer(u"Sub");
  SmartPtr<IPropertyIterator> it = db.createIterator();
  EXPECT_TRUE(db.isModified());
  ASSERT_TRUE(db.load(second));
  EXPECT_FALSE(db.isModified());
  EXPECT_EQ(sub->getData(), nullptr);
  EXPECT_TRUE(it->atEnd());
  EXPECT_EQ(db.size(), 0u);
  ZxVariant scalar{};
  EXPECT_FALSE(db.load(&scalar));
  EXPECT_FALSE(db.append(NameValuePair(u"x", 1)));
  db.load(nullptr);
  releaseZxVariant(first);  // never owned by the container
  releaseZxVariant(second);
}

TEST(PropertyIterator, WalksTheDirectChildrenThroughChanges) {
  PropertyContainer c;
  c.append(NameValuePair(u"A", 1));
  c.appendContainer(u"B")->append(NameValuePair(u"Deep", 1));
  c.append(NameValuePair(u"C", 3));
  SmartPtr<IPropertyIterator> it = c.createIterator();
  std::vector<std::u16string> seen;
  for (; !it->atEnd(); it->next()) seen.push_back(Str(it->getName()));
  EXPECT_EQ(seen, (std::vector<std::u16string>{u"A", u"B", u"C"}));
  EXPECT_TRUE(it->getValue() == ZxvToAny::NullZxv);
  EXPECT_FALSE(it->getProperty());

  it->reset();
  EXPECT_EQ(static_cast<int>(it->getValue()), 1);
  EXPECT_TRUE(it->getProperty());
  EXPECT_FALSE(it->getContainer());
  it->next();
  EXPECT_TRUE(it->isContainer());
  EXPECT_TRUE(it->getValue() == ZxvToAny::ComplexZxv);
  SmartPtr<PropertyContainer> b = it->getContainer();
  ASSERT_TRUE(b);
  EXPECT_EQ(b->size(), 1u);
  EXPECT_FALSE(it->getProperty());

  // Removing the current element through the iterator moves it on.
  EXPECT_TRUE(c.remove(it));
  EXPECT_EQ(b->getData(), nullptr);
  EXPECT_EQ(Str(it->getName()), u"C");
  // Removed by other means, the same happens; an element added behind is seen.
  c.append(NameValuePair(u"D", 4));
  EXPECT_TRUE(c.remove(u"c"));
  EXPECT_EQ(Str(it->getName()), u"D");
  EXPECT_FALSE(it->next());
  EXPECT_FALSE(c.remove(it));  // at its end

  PropertyContainer elsewhere;
  elsewhere.append(NameValuePair(u"A", 1));
  SmartPtr<IPropertyIterator> foreign = elsewhere.createIterator();
  EXPECT_FALSE(c.remove(foreign));
  SmartPtr<IPropertyIterator> none;
  EXPECT_FALSE(c.remove(none));
  EXPECT_EQ(elsewhere.size(), 1u);
}

TEST(PropertyContainer, CompareCloneAndCopyAreDeep) {
  PropertyContainer a(u"A");
  a.append(NameValuePair(u"Port", 80));
  a.appendContainer(u"Sub")->append(NameValuePair(u"Host", u"x"));
  PropertyContainer* b = a.clone();
  ASSERT_NE(b, nullptr);
  PropertyContainer c(a);
  EXPECT_EQ(a.compare(*b), 0);
  EXPECT_EQ(a.compare(c), 0);
  EXPECT_NE(b->getData(), a.getData());
  EXPECT_EQ(Str(b->getName()), u"A");
  EXPECT_TRUE(b->erase(u"Sub/Host"));
  EXPECT_NE(a.compare(*b), 0);
  EXPECT_EQ(std::u16string(a[u"sub/host"]), u"x");
  PropertyContainer::release(b);

  Reloadable empty;
  EXPECT_EQ(empty.clone(), nullptr);
  PropertyContainer fromEmpty(empty);
  EXPECT_EQ(fromEmpty.getData()->type, T::List);
}

TEST(PropertySmartPtr, CopiesShareOneObjectReleasedWithTheLast) {
  PropertyContainer c;
  c.append(NameValuePair(u"A", 1));
  SmartPtr<AProperty> first = c.get(u"A");
  SmartPtr<AProperty> second = first;
  EXPECT_TRUE(first == second);
  first.reset();
  EXPECT_TRUE(first.isNull());
  EXPECT_TRUE(first == nullptr);
  EXPECT_EQ(static_cast<int>(second->getValue()), 1);
  EXPECT_FALSE(second == c.get(u"A"));  // a new object for the same record
  EXPECT_EQ(c.get(u"A")->getData(), second->getData());
}

}  // namespace
