// Wrapper classes: list references, owning lists and a class that keeps a
// List root the way a header/body message does.
#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "zxvariant/zxvariant.h"
#include "tree/loose_testing.h"

namespace {

using zxv_testing::Flat;
using namespace ZxVariantHelper;
using namespace ZxVariantHelper::BasicUtils;
using T = ZxVariant::TypeCodes;
using Strings = std::vector<std::u16string>;


ZxVariant* Rec(const AZxvListReference& l) { return l; }
ZxVariant* Rec(const AZxvReference& r) { return r; }

// The names of the direct children, in order.
Strings Names(const AZxvListReference& list) {
  Strings names;
  for (const ZxVariant* c = findNodeInAList(list, 0); c != nullptr; c = c->next) {
    names.push_back(c->name.str ? std::u16string(c->name.str, c->name.length) : u"");
  }
  return names;
}

template <typename F>
void ExpectInvalidParameter(F&& f) {
  try {
    f();
    ADD_FAILURE() << "no exception";
  } catch (const std::logic_error& e) {
    EXPECT_STREQ(e.what(), "Invalid parameter");
  }
}

// a, b, c (a List holding x, y, z), d.
AZxVariantList Sample() {
  AZxVariantList list(u"sample");
  list.pushBack(AZxVariant(u"a", 1));
  list.pushBack(AZxVariant(u"b", 2));
  AZxvListReference c = list(u"c");
  for (const char16_t* n : {u"x", u"y", u"z"}) c.pushBack(AZxVariant(n, u"v"));
  list.pushBack(AZxVariant(u"d", 4));
  return list;
}

// ---- AZxvListReference ----------------------------------------------------------

TEST(WrapperListReference, AcceptsAnyRecordButNull) {
  ExpectInvalidParameter([] { AZxvListReference r(nullptr); });
  AZxVariant scalar(u"s", 1);
  AZxvListReference overScalar(scalar);
  EXPECT_FALSE(overScalar.pushBack(AZxVariant(u"x", 1)));
  EXPECT_TRUE(overScalar(u"x").isNull());
  EXPECT_TRUE(overScalar.at(0).isNull());
  EXPECT_EQ(overScalar.size(), 0);
  AZxvListReference none;
  EXPECT_TRUE(none.isNull() && none.empty());
  EXPECT_FALSE(none.erase(0));
  EXPECT_FALSE(none.popBack());
  EXPECT_TRUE(none.find(u"x").isNull());
}

TEST(WrapperListReference, PushesStoreCopiesInOrder) {
  AZxVariantList list;
  AZxVariant element(u"e", u"first");
  element.attribute(u"unit") = u"s";
  ASSERT_TRUE(list.pushBack(element));
  ASSERT_TRUE(list.pushFront(AZxVariant(u"front", 0)));
  AZxvReference named = list.pushBack(u"back");
  named = 2;
  EXPECT_TRUE(list.pushFront(u"").name().isNull());
  EXPECT_TRUE(list.pushFront(nullptr).isNull());
  EXPECT_EQ(Names(list), (Strings{u"", u"front", u"e", u"back"}));
  AZxvReference copy = list.at(2);
  EXPECT_NE(Rec(copy), Rec(element));
  element = u"changed";
  EXPECT_TRUE(copy.value() == u"first");
  // Read through the const lookup: the mutable one rewrites the name.
  EXPECT_TRUE(std::as_const(copy).attribute(u"unit").value() == u"s");
  EXPECT_FALSE(list.pushBack(list.at(99)));  // a null reference
}

TEST(WrapperListReference, PushingAListCopiesItDeeply) {
  AZxVariantList outer, inner = Sample();
  ASSERT_TRUE(outer.pushBack(inner));
  AZxvListReference copy = outer.atL(0);
  EXPECT_TRUE(copy.name() == u"sample");
  EXPECT_EQ(compareZxVariant(copy, inner), 0);
  inner.atL(2).erase(0);
  EXPECT_EQ(copy.atL(2).size(), 3);  // its own children
  // A list pushed into itself is copied before it is linked.
  ASSERT_TRUE(inner.pushBack(inner));
  ASSERT_TRUE(inner.pushFront(inner));
  EXPECT_EQ(inner.size(), 6);
  EXPECT_EQ(inner.atL(5).size(), 4);
  EXPECT_EQ(inner.atL(0).size(), 5);
  AZxvListReference child = inner(u"child");
  EXPECT_EQ(Rec(child)->type, T::List);
  EXPECT_TRUE(child.name() == u"child" && child.empty());
  EXPECT_TRUE(inner(nullptr).isNull());
}

TEST(WrapperListReference, InsertsInFrontOfANamedOrCountedChild) {
  AZxVariantList list = Sample(), nested(u"nested");
  ASSERT_TRUE(list.insert(AZxVariant(u"before-b", 0), u"B"));
  ASSERT_TRUE(list.insert(AZxVariant(u"head", 0), 0));
  ASSERT_TRUE(list.insert(AZxVariantList(u"before-d"), 5));
  ASSERT_TRUE(list.insert(nested, u"c"));
  EXPECT_EQ(Names(list),
            (Strings{u"head", u"a", u"before-b", u"b", u"nested", u"c", u"before-d", u"d"}));
  EXPECT_FALSE(list.insert(AZxVariant(u"x", 0), u"missing"));
  EXPECT_FALSE(list.insert(AZxVariant(u"x", 0), nullptr));
  EXPECT_FALSE(list.insert(AZxVariant(u"x", 0), -1));
  EXPECT_FALSE(list.insert(nested, 8));  // past the end
  EXPECT_EQ(list.size(), 8);
}

TEST(WrapperListReference, LookupsSeparateListsFromScalars) {
  AZxVariantList sample = Sample();
  EXPECT_TRUE(sample.at(2).isNull());  // the third child is a List
  EXPECT_TRUE(sample.atL(2).name() == u"c");
  EXPECT_TRUE(sample.atL(1).isNull());
  EXPECT_TRUE(sample.at(-1).isNull() && sample.at(4).isNull());
  AZxVariantList list;
  list.pushBack(AZxVariant(u"item", 0));
  list(u"ITEM").pushBack(AZxVariant(u"inner", 1));
  list.pushBack(AZxVariant(u"Item", 2));
  // at / atL count every child of that name...
  EXPECT_TRUE(list.at(u"item").value() == 0);
  EXPECT_TRUE(list.at(u"item", 1).isNull());
  EXPECT_TRUE(list.at(u"item", 2).value() == 2);
  EXPECT_EQ(list.atL(u"item", 1).size(), 1);
  // ...find / findList only the children of their kind.
  EXPECT_TRUE(list.find(u"ITEM", 1).value() == 2);
  EXPECT_TRUE(list.find(u"item", 2).isNull());
  EXPECT_EQ(list.findList(u"item").size(), 1);
  EXPECT_TRUE(list.findList(u"item", 1).isNull());
  EXPECT_TRUE(list[u"ITEM"].value() == 0);
  EXPECT_TRUE(list[u"missing"].isNull());
  AZxVariant like(u"iTEM", 2);
  EXPECT_EQ(Rec(list.find(like)), Rec(list.at(2)));
  EXPECT_TRUE(list.find(like, 1).isNull());
}

TEST(WrapperListReference, ErasesAndPopsFreeChildren) {
  AZxVariantList list = Sample();
  EXPECT_FALSE(list.erase(-1));
  EXPECT_FALSE(list.erase(4));
  EXPECT_TRUE(list.erase(1));
  EXPECT_TRUE(list.erase(u"C"));
  EXPECT_FALSE(list.erase(u"c"));
  list.pushBack(AZxVariant(u"a", 1));
  EXPECT_TRUE(list.erase(AZxVariant(u"A", 1), 1));  // the second equal child
  EXPECT_FALSE(list.erase(AZxVariant(u"a", 2)));
  EXPECT_EQ(Names(list), (Strings{u"a", u"d"}));
  list.pushFront(u"first");
  EXPECT_TRUE(list.popFront());
  EXPECT_TRUE(list.popBack());
  EXPECT_EQ(Names(list), (Strings{u"a"}));
  EXPECT_TRUE(list.popBack());
  EXPECT_FALSE(list.popBack() || list.popFront());
  EXPECT_EQ(Rec(list)->value.list.items, nullptr);  // the first-slot block is gone
  EXPECT_TRUE(list.pushBack(AZxVariant(u"again", 1)));
  list.attribute(u"attr") = 1;
  list.erase();  // name, attributes and children go; a List stays a List
  EXPECT_EQ(Rec(list)->type, T::List);
  EXPECT_TRUE(list.empty() && list.name().isNull());
  EXPECT_EQ(Rec(list)->attributes.items, nullptr);
}

TEST(WrapperListReference, SizeCountsChildrenAndCountCountsRecords) {
  AZxVariantList list;
  list.pushBack(AZxVariant(u"a", 1));
  AZxvListReference three = list(u"three");
  for (int i = 0; i < 3; ++i) three.pushBack(AZxVariant(u"x", i));
  EXPECT_EQ(list.size(), 2);
  EXPECT_EQ(list.count(), 5);
  Rec(list)->value.list.count = 0;  // a chain whose count word is 0
  EXPECT_EQ(list.size(), 2);
  Rec(list)->value.list.count = 2;
}

TEST(WrapperListReference, ReferencesStayValidAcrossPushesAndInserts) {
  AZxVariantList list;
  list.pushBack(AZxVariant(u"anchor", 7));
  list(u"nested").pushBack(AZxVariant(u"leaf", u"deep"));
  AZxvReference anchor = list.at(0);
  AZxvListReference nested = list.atL(1);
  AZxvReference leaf = nested.at(0);
  for (int i = 0; i < 200; ++i) {
    ASSERT_TRUE(list.pushBack(AZxVariant(u"tail", i)));
    ASSERT_TRUE(list.pushFront(AZxVariant(u"head", i)));
    ASSERT_TRUE(list.insert(AZxVariant(u"mid", i), u"anchor"));
    ASSERT_TRUE(list.insert(AZxVariantList(u"sub"), u"nested"));
    ASSERT_TRUE(nested.pushFront(AZxVariant(u"sibling", i)));
  }
  EXPECT_TRUE(anchor.value() == 7 && anchor.name() == u"anchor");
  EXPECT_EQ(Rec(anchor), Rec(list[u"anchor"]));
  EXPECT_EQ(Rec(nested), Rec(list.findList(u"nested")));
  EXPECT_EQ(Rec(leaf), Rec(nested.find(u"leaf")));
  anchor = 8;  // still edits the child in place
  EXPECT_TRUE(list[u"anchor"].value() == 8);
}

TEST(WrapperListReference, AssignReplacesWithADeepCopy) {
  AZxVariantList target(u"target"), source = Sample();
  target.attribute(u"old") = 1;
  target.pushBack(AZxVariant(u"gone", 1));
  source.attribute(u"kind") = u"sample";
  AZxvListReference ref = target;
  ASSERT_TRUE(ref.assign(source));
  EXPECT_TRUE(target.name() == u"sample");
  EXPECT_TRUE(std::as_const(target).attribute(u"kind").value() == u"sample");
  EXPECT_TRUE(std::as_const(target).attribute(u"old").isNull());
  EXPECT_EQ(Names(target), Names(source));
  EXPECT_EQ(Rec(target)->size, 0u);
  EXPECT_FALSE(ref.assign(target));  // the same record
  AZxVariant scalar(u"s", 1);
  EXPECT_FALSE(ref.assign(AZxvListReference(scalar)));
  ASSERT_TRUE(target.assign(target.atL(2)));  // a child over its parent
  EXPECT_EQ(Names(target), (Strings{u"x", u"y", u"z"}));
  AZxVariantList parent = Sample();
  ASSERT_TRUE(parent.atL(2).assign(parent));  // a parent over its child
  EXPECT_EQ(Names(parent), (Strings{u"a", u"b", u"sample", u"d"}));  // the chain held
  EXPECT_EQ(parent.count(), 4 + 4 + 3);
}

TEST(WrapperListReference, AssignValueKeepsNameAndAttributes) {
  AZxVariantList target(u"keep"), source = Sample();
  target.attribute(u"mine") = 1;
  target.pushBack(AZxVariant(u"gone", 1));
  ASSERT_TRUE(target.assignValue(source));
  EXPECT_TRUE(target.name() == u"keep");
  EXPECT_TRUE(std::as_const(target).attribute(u"mine").value() == 1);
  EXPECT_EQ(Names(target), Names(source));
  EXPECT_FALSE(target.assignValue(target));
  ASSERT_TRUE(target.assignValue(target.atL(2)));  // its own grandchildren
  EXPECT_EQ(Names(target), (Strings{u"x", u"y", u"z"}));
}

// Random edits mirrored in a vector: order and values must always agree.
TEST(WrapperListReference, RandomEditsMatchAModel) {
  std::mt19937 random(20240611);
  AZxVariantList list;
  std::vector<int> model;
  for (int step = 0; step < 2000; ++step) {
    int size = static_cast<int>(model.size());
    int where = size == 0 ? 0 : static_cast<int>(random() % size);
    switch (random() % 5) {
      case 0:
        ASSERT_TRUE(list.pushBack(AZxVariant(u"v", step)));
        model.push_back(step);
        break;
      case 1:
        ASSERT_TRUE(list.pushFront(AZxVariant(u"v", step)));
        model.insert(model.begin(), step);
        break;
      case 2:
        ASSERT_EQ(list.insert(AZxVariant(u"v", step), where), size != 0);
        if (size != 0) model.insert(model.begin() + where, step);
        break;
      case 3:
        ASSERT_EQ(list.erase(where), size != 0);
        if (size != 0) model.erase(model.begin() + where);
        break;
      default:
        ASSERT_EQ(list.popBack(), size != 0);
        if (size != 0) model.pop_back();
        break;
    }
    ASSERT_EQ(list.size(), static_cast<int>(model.size()));
  }
  for (int i = 0; i < static_cast<int>(model.size()); ++i) {
    ASSERT_TRUE(list.at(i).value() == model[i]) << i;
  }
  EXPECT_TRUE(AZxVariantList(list) == list);
}

// ---- AZxVariantList -------------------------------------------------------------

TEST(WrapperOwningList, ConstructorsCheckTheRecord) {
  EXPECT_EQ(Rec(AZxVariantList())->type, T::List);
  ExpectInvalidParameter([] { AZxVariantList l(static_cast<const ZxVariant*>(nullptr)); });
  ZxvList* builder = NewList(u"flat");
  builder->Append(NewInt(u"i", 1));
  builder->Append(NewList(u"inner"))->AppendAttribute(NewString(u"a", u"b", 0));
  Flat flat(builder->BuildNewZxVariant(nullptr));
  ZxVariantHelper::Delete(builder);
  AZxVariantList copy(flat.get());
  EXPECT_EQ(Rec(copy)->size, 0u);
  EXPECT_EQ(compareZxVariant(copy, flat.get()), 0);
  EXPECT_TRUE(copy.name() == u"flat");
  ExpectInvalidParameter([&] { AZxVariantList l(findNodeInAList(flat.get(), 0)); });
  ExpectInvalidParameter([&] { copy = findNodeInAList(flat.get(), 0); });
  ExpectInvalidParameter([&] { copy = AZxvListReference(); });
  EXPECT_EQ(copy.size(), 2);  // unchanged by the refusals
}

TEST(WrapperOwningList, CopiesAreDeepAndMovesLeaveAnEmptyList) {
  AZxVariantList a = Sample();
  AZxVariantList b(a);
  EXPECT_TRUE(a == b);
  b.atL(u"c").pushBack(AZxVariant(u"w", 0));
  EXPECT_FALSE(a == b);
  EXPECT_EQ(a.atL(u"c").size(), 3);
  AZxVariantList c(u"c");
  c = a;
  EXPECT_TRUE(c == a);
  c.name(u"other");
  EXPECT_FALSE(c == a);  // names count
  c = c.atL(2);          // a child of its own, copied before the swap
  EXPECT_EQ(Names(c), (Strings{u"x", u"y", u"z"}));
  ZxVariant* first = findNodeInAList(a, 0);
  AZxVariantList moved(std::move(a));
  EXPECT_EQ(findNodeInAList(moved, 0), first);
  EXPECT_EQ(Rec(a)->type, T::List);  // NOLINT: the moved-from state is documented
  EXPECT_TRUE(a.empty());             // NOLINT
  c = std::move(moved);
  EXPECT_EQ(findNodeInAList(c, 0), first);
  EXPECT_TRUE(moved.empty() && c.name() == u"sample");  // NOLINT
}

// ---- a class that keeps a List root ---------------------------------------------

// The shape of a header/body message, built on the protected interface.
class Envelope : public AZxVariant {
 public:
  Envelope() : AZxVariant(u"Message", T::List) {}
  explicit Envelope(const ZxVariant* record) : Envelope() {
    copyRoot(record);
    asList().name(u"Message");
  }
  AZxvListReference header() {
    AZxvListReference found = asList().findList(u"Header");
    return found.isNull() ? asList()(u"Header") : found;
  }
  AZxvReference item(const char16_t* name) const {
    AZxvListReference found = asList().findList(u"Header");
    return found.isNull() ? nullReference() : found.find(name);
  }
  void clear() {
    asList().erase();
    asList().name(u"Message");
  }
};

TEST(WrapperDerived, ListRootIsOwnedCopiedAndFreed) {
  Envelope message;
  message.header().pushBack(AZxVariant(u"Name", u"Topic"));
  message.header().pushBack(AZxVariant(u"Severity", 3));
  EXPECT_TRUE(message.item(u"name").value() == u"Topic");
  EXPECT_TRUE(message.item(u"missing").isNull());
  Envelope copy(message);
  EXPECT_TRUE(copy == message);
  copy.header().pushBack(AZxVariant(u"Extra", 1));
  EXPECT_FALSE(copy == message);
  EXPECT_EQ(message.header().size(), 2);
  Envelope moved(std::move(copy));
  EXPECT_EQ(copy.type(), T::List);  // NOLINT: keeps its shape
  message = moved;
  EXPECT_EQ(message.header().size(), 3);
  AutoPtr block(buildZxVariantForTransport(message, nullptr));
  ASSERT_TRUE(Validate(block));
  Envelope received(block);
  EXPECT_TRUE(received == message);
  received.clear();
  EXPECT_TRUE(received.item(u"Name").isNull());
  EXPECT_TRUE(received.name() == u"Message" && received.type() == T::List);
}

}  // namespace
