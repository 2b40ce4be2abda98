// Property containers: editing, notifications, attributes, lifetimes and
// iteration.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tree/loose_testing.h"
#include "zxvariant/zxvariant.h"

namespace {

using namespace zxv_testing;
using namespace ZxVariantHelper::BOProperty;
using namespace ZxVariantHelper::BasicUtils;
using T = ZxVariant::TypeCodes;
using Strings = std::vector<std::u16string>;
using Records = std::vector<ZxVariant*>;

// A container whose record is set later, as a data-source-bound one is.
class Reloadable : public PropertyContainer {
 public:
  Reloadable() : PropertyContainer(nullptr, false) {}
  bool load(ZxVariant* record) {
    setData(record);
    return reloadData();
  }
};

TEST(PropertyContainer, OwnsAFreshListOrWrapsTheCallersRecord) {
  PropertyContainer unnamed;
  ASSERT_EQ(unnamed.getData()->type, T::List);
  EXPECT_EQ(Str(unnamed.getName()), u"");
  EXPECT_EQ(Str(PropertyContainer(u"Config").getName()), u"Config");
  Loose mine = NewLoose(T::List), scalar = NewLoose(T::Int);
  {
    PropertyContainer wrapper(mine.get());
    EXPECT_EQ(wrapper.getData(), mine.get());
    EXPECT_TRUE(wrapper.append(NameValuePair(u"Port", 80)));
  }
  // The wrapper is gone, the record and its new child are still the caller's.
  ASSERT_EQ(mine->value.list.count, 1u);
  EXPECT_EQ(static_cast<int>(ZxvToAny(findNodeInAList(mine.get(), 0))), 80);
  ExpectLogicError([] { PropertyContainer c(static_cast<ZxVariant*>(nullptr)); }, kParameter);
  ExpectLogicError([&] { PropertyContainer c(scalar.get()); }, kParameter);
}

TEST(PropertyContainerEditing, EditsPlaceCopiesByNameAndAnnounceEachChange) {
  Observed c;
  AProperty host(NameValuePair(u"Host", u"alpha"));
  ASSERT_TRUE(host.addAttribute(NameValuePair(u"role", u"main")));
  EXPECT_TRUE(c.append(host));
  EXPECT_TRUE(c.append(NameValuePair(u"Port", 80)));
  EXPECT_TRUE(c.insert(u"PORT", NameValuePair(u"Mode", u"fast")));  // case ignored
  EXPECT_FALSE(c.insert(u"Missing", host) || c.insert(nullptr, host));
  SmartPtr<PropertyContainer> net = c.appendContainer(u"Network");
  SmartPtr<PropertyContainer> first = c.insertContainer(u"host", u"First");
  ASSERT_TRUE(net && first && c.appendContainer(nullptr));
  EXPECT_FALSE(c.insertContainer(u"Nowhere", u"X"));
  EXPECT_EQ(net->getParent(), &c);
  EXPECT_EQ(ChildNames(c.getData()), (Strings{u"First", u"Host", u"Mode", u"Port", u"Network", u""}));
  EXPECT_EQ(c.log, (Strings{u"+Host", u"+Port", u"+Mode", u"+Network", u"+First", u"+"}));
  EXPECT_EQ(c.holders, Records(6, c.getData()));
  c.clear();
  EXPECT_FALSE(c.remove(u"network") || c.removeContainer(u"port"));  // one kind each
  EXPECT_TRUE(c.removeContainer(u"NETWORK") && c.remove(u"PORT"));
  EXPECT_FALSE(c.remove(u"Port"));
  EXPECT_EQ(c.log, (Strings{u"-Network", u"-Port"}));
  EXPECT_EQ(c.size(), 4u);
  ZxVariant* stored = findNodeInAList(c.getData(), 1);
  EXPECT_EQ(compareAZxVariant(stored, host.getData()), 1);  // equal; both carry attributes
  host.setValue(NameValuePair(u"Host", u"beta"));
  EXPECT_EQ(std::u16string(ZxvToAny(stored)), u"alpha");  // a copy of its own
}

// The list utilities copy neither a Register nor a List value.
TEST(PropertyContainerEditing, UncopyableValuesLeaveEmptyRecordsInPlace) {
  ZxVariant reg{}, list{};
  reg.type = T::Register;
  list.type = T::List;
  NameValuePair registerPair(&reg), listPair(&list);
  PropertyContainer c;
  EXPECT_TRUE(c.append(registerPair));
  EXPECT_EQ(findNodeInAList(c.getData(), 0)->type, T::Null);  // added all the same
  EXPECT_FALSE(c.addAttribute(registerPair));
  EXPECT_EQ(c.getData()->attributes.count, 1u);  // the empty attribute stays
  AProperty p(listPair);
  EXPECT_EQ(p.getValue().getType(), T::Null);
  EXPECT_FALSE(p.setValue(listPair) || p.setValue(registerPair));
}

TEST(PropertyNotifications, ChangesReachTheRootThroughLiveAndReleasedParents) {
  SmartPtr<PropertyContainer> leaf;
  SmartPtr<AProperty> value;
  {
    Observed root(u"Root");
    SmartPtr<PropertyContainer> network = root.appendContainer(u"Network");
    SmartPtr<PropertyContainer> proxy = network->appendContainer(u"Proxy");
    // The object for "A" is released at once: its child's notifications
    // go to the root from now on.
    leaf = root.appendContainer(u"A")->appendContainer(u"B");
    EXPECT_EQ(leaf->getParent(), &root);
    root.clear();
    root.clearModified();
    ASSERT_TRUE(proxy->append(NameValuePair(u"Port", 3128)));
    SmartPtr<PropertyContainer> auth = proxy->appendContainer(u"Auth");
    EXPECT_TRUE(root.erase(u"Network/Proxy/Port"));  // announced while still readable
    leaf->append(NameValuePair(u"V", 1));
    EXPECT_EQ(root.log, (Strings{u"+Port", u"+Auth", u"-Port", u"+V"}));
    ZxVariant* p = proxy->getData();
    EXPECT_EQ(root.holders, (Records{p, p, p, leaf->getData()}));
    EXPECT_EQ(root.changed[1], auth->getData());
    EXPECT_TRUE(root.isModified() && network->isModified());
    value = leaf->get(u"v");
  }
  // The root is gone: what it handed out is detached.
  EXPECT_TRUE(leaf->getData() == nullptr && value->getData() == nullptr);
  EXPECT_FALSE(leaf->append(NameValuePair(u"W", 2)));
  *value = AProperty(NameValuePair(u"V", 3));  // does nothing
  EXPECT_EQ(value->getData(), nullptr);
}

TEST(PropertyNotifications, AssignmentReplacesTheRecordInPlace) {
  Observed root;
  for (const char16_t* name : {u"A", u"B", u"C"}) root.append(NameValuePair(name, 1));
  SmartPtr<AProperty> b = root.get(u"b");
  ASSERT_TRUE(b);
  ZxVariant* record = b->getData();
  AProperty replacement(NameValuePair(u"Beta", u"two"));
  replacement.addAttribute(NameValuePair(u"unit", u"none"));
  root.clear();
  *b = replacement;
  *b = *b;                                                // the same record: nothing
  EXPECT_TRUE(b->setValue(NameValuePair(u"x", u"two")));  // an equal value: nothing
  EXPECT_EQ(root.log, (Strings{u"-B", u"+Beta"}));
  EXPECT_EQ(root.holders, Records(2, root.getData()));
  EXPECT_EQ(findNodeInAList(root.getData(), 1), record);
  EXPECT_EQ(ChildNames(root.getData()), (Strings{u"A", u"Beta", u"C"}));
  EXPECT_EQ(std::u16string(b->getAttribute(u"UNIT")), u"none");
  EXPECT_TRUE(b->setValue(NameValuePair(u"x", 5)));
  EXPECT_EQ(root.log, (Strings{u"-B", u"+Beta", u"-Beta", u"+Beta"}));  // setValue keeps the name
  EXPECT_EQ(static_cast<int>(b->getValue()), 5);
}

TEST(PropertyAttributes, AddSetRemoveAndTheirNotifications) {
  Observed root;
  SmartPtr<PropertyContainer> sub = root.appendContainer(u"Sub");
  root.clear();
  ASSERT_TRUE(sub->addAttribute(NameValuePair(u"Mode", 1)));
  ASSERT_TRUE(sub->addAttribute(NameValuePair(u"mode", 2)));  // duplicates allowed
  EXPECT_TRUE(sub->setAttribute(NameValuePair(u"MODE", 7)));  // the first, silently
  EXPECT_EQ(static_cast<int>(sub->getAttribute(u"mode")), 7);
  EXPECT_FALSE(sub->setAttribute(NameValuePair(u"Mode", u"text")));  // another type
  EXPECT_FALSE(sub->setAttribute(NameValuePair(u"Other", 1)));
  EXPECT_TRUE(sub->removeAttribute(u"MODE"));
  EXPECT_EQ(static_cast<int>(sub->getAttribute(u"mode")), 2);
  EXPECT_TRUE(sub->removeAttribute(u"mode"));
  EXPECT_FALSE(sub->removeAttribute(u"mode"));
  EXPECT_TRUE(sub->getAttribute(u"mode") == ZxvToAny::NullZxv);
  EXPECT_EQ(root.log, (Strings{u"+@Mode", u"+@mode", u"-@Mode", u"-@mode"}));
  EXPECT_EQ(root.holders, Records(4, sub->getData()));
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
  for (PropertyBase* gone : std::vector<PropertyBase*>{proxy.get(), port.get(), inner.get()}) {
    EXPECT_TRUE(gone->getData() == nullptr && gone->getParent() == nullptr);
    EXPECT_FALSE(gone->addAttribute(NameValuePair(u"a", 1)));
  }
  EXPECT_FALSE(proxy->append(NameValuePair(u"x", 1)) || proxy->appendContainer(u"x"));
  EXPECT_FALSE(port->setValue(NameValuePair(u"", 5)));
  EXPECT_TRUE(walk->atEnd());
  ZxVariant* out = nullptr;
  EXPECT_EQ(proxy->queryData(u"", &out), Result::NoData);
  EXPECT_EQ(proxy->assignData(u"x", NameValuePair(u"", 1)), Result::NoData);
  EXPECT_EQ(other->getData(), findNodeInAList(root.getData(), 0));  // untouched
  EXPECT_EQ(other->getParent(), &root);
}

TEST(PropertyLifetime, ReloadDetachesEverythingAndClearsTheMark) {
  Loose first = NewLoose(T::List), second = NewLoose(T::List);  // never owned by db
  ZxVariant scalar{};
  Reloadable db;
  EXPECT_FALSE(db.append(NameValuePair(u"x", 1)));
  EXPECT_TRUE(db.createIterator()->atEnd());
  EXPECT_EQ(db.clone(), nullptr);
  EXPECT_EQ(PropertyContainer(db).getData()->type, T::List);  // a copy has a fresh List
  ASSERT_TRUE(db.load(first.get()));
  SmartPtr<PropertyContainer> sub = db.appendContainer(u"Sub");
  SmartPtr<IPropertyIterator> it = db.createIterator();
  EXPECT_TRUE(db.isModified());
  ASSERT_TRUE(db.load(second.get()));
  EXPECT_FALSE(db.isModified());
  EXPECT_TRUE(sub->getData() == nullptr && it->atEnd());
  EXPECT_EQ(db.size(), 0u);
  EXPECT_FALSE(db.load(&scalar));
  EXPECT_FALSE(db.append(NameValuePair(u"x", 1)));
}

TEST(PropertyIterator, WalksTheDirectChildrenThroughChanges) {
  PropertyContainer c;
  c.append(NameValuePair(u"A", 1));
  c.appendContainer(u"B")->append(NameValuePair(u"Deep", 1));
  c.append(NameValuePair(u"C", 3));
  SmartPtr<IPropertyIterator> it = c.createIterator();
  Strings seen;
  for (; !it->atEnd(); it->next()) seen.push_back(Str(it->getName()));
  EXPECT_EQ(seen, (Strings{u"A", u"B", u"C"}));
  EXPECT_TRUE(it->getValue() == ZxvToAny::NullZxv && !it->getProperty());
  it->reset();
  EXPECT_EQ(static_cast<int>(it->getValue()), 1);
  EXPECT_TRUE(it->getProperty() && !it->getContainer());
  it->next();
  EXPECT_TRUE(it->isContainer() && it->getValue() == ZxvToAny::ComplexZxv);
  SmartPtr<PropertyContainer> b = it->getContainer();
  ASSERT_TRUE(b && b->size() == 1u && !it->getProperty());
  EXPECT_TRUE(c.remove(it));  // the current element: the iterator moves on
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
  SmartPtr<IPropertyIterator> foreign = elsewhere.createIterator(), none;
  EXPECT_FALSE(c.remove(foreign) || c.remove(none));
}

TEST(PropertyContainer, CopiesAreDeepAndSmartPtrsShareOneObject) {
  AProperty p(NameValuePair(u"Port", 80)), copy(p);
  EXPECT_TRUE(copy.getData() != p.getData() && copy.compare(p) == 0);
  copy.setValue(NameValuePair(u"", 81));
  EXPECT_TRUE(copy.compare(p) != 0 && static_cast<int>(p.getValue()) == 80);
  PropertyContainer a(u"A");
  a.append(NameValuePair(u"Port", 80));
  a.appendContainer(u"Sub")->append(NameValuePair(u"Host", u"x"));
  PropertyContainer* b = a.clone();
  ASSERT_NE(b, nullptr);
  EXPECT_EQ(a.compare(PropertyContainer(a)), 0);
  EXPECT_EQ(a.compare(*b), 0);
  EXPECT_EQ(Str(b->getName()), u"A");
  EXPECT_TRUE(b->erase(u"Sub/Host"));
  EXPECT_NE(a.compare(*b), 0);
  EXPECT_EQ(std::u16string(a[u"sub/host"]), u"x");
  PropertyContainer::release(b);
  SmartPtr<AProperty> first = a.get(u"Port");
  SmartPtr<AProperty> second = first;
  EXPECT_TRUE(first == second);
  first.reset();
  EXPECT_TRUE(first == nullptr);
  EXPECT_EQ(static_cast<int>(second->getValue()), 80);
  EXPECT_FALSE(second == a.get(u"Port"));  // a new object for the same record
}

}  // namespace
