// Wrapper classes: list references, owning lists and an owning List root.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "tree/loose_testing.h"
#include "zxvariant/zxvariant.h"

namespace {

using namespace zxv_testing;
using namespace ZxVariantHelper;
using namespace ZxVariantHelper::BasicUtils;
using T = ZxVariant::TypeCodes;
using Strings = std::vector<std::u16string>;

ZxVariant* Rec(const AZxvListReference& l) { return l; }
ZxVariant* Rec(const AZxvReference& r) { return r; }

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

TEST(WrapperListReference, NullAndScalarRecordsRefuseListOperations) {
  ExpectLogicError([] { AZxvListReference r(nullptr); }, kParameter);
  AZxVariant scalar(u"s", 1);
  AZxvListReference overScalar(scalar);
  EXPECT_FALSE(overScalar.pushBack(AZxVariant(u"x", 1)));
  EXPECT_TRUE(overScalar(u"x").isNull() && overScalar.at(0).isNull());
  EXPECT_EQ(overScalar.size(), 0);
  AZxvListReference none;
  EXPECT_TRUE(none.isNull() && none.empty() && none.find(u"x").isNull());
  EXPECT_FALSE(none.erase(0) || none.popBack());
}

TEST(WrapperListReference, PushesAndInsertsStoreCopiesInOrder) {
  AZxVariantList list = Sample(), nested(u"nested");
  AZxVariant element(u"e", u"first");
  element.attribute(u"unit") = u"s";
  ASSERT_TRUE(list.pushBack(element));
  ASSERT_TRUE(list.pushFront(AZxVariant(u"front", 0)));
  list.pushBack(u"back") = 2;
  EXPECT_TRUE(list.pushFront(u"").name().isNull());
  EXPECT_TRUE(list.pushFront(nullptr).isNull() && list(nullptr).isNull());
  ASSERT_TRUE(list.insert(AZxVariant(u"before-b", 0), u"B"));
  ASSERT_TRUE(list.insert(AZxVariantList(u"head"), 0));
  ASSERT_TRUE(list.insert(nested, u"c"));
  EXPECT_EQ(ChildNames(list), (Strings{u"head", u"", u"front", u"a", u"before-b", u"b", u"nested",
                                       u"c", u"d", u"e", u"back"}));
  AZxVariant x(u"x", 0);
  EXPECT_FALSE(list.insert(x, u"missing") || list.insert(x, nullptr) || list.insert(x, -1));
  EXPECT_FALSE(list.insert(nested, 11) || list.pushBack(list.at(99)));  // past the end, null
  EXPECT_EQ(list.size(), 11);
  AZxvReference copy = list.at(9);
  element = u"changed";
  EXPECT_TRUE(copy.value() == u"first");
  // Read through the const lookup: the mutable one rewrites the name.
  EXPECT_TRUE(std::as_const(copy).attribute(u"unit").value() == u"s");
}

TEST(WrapperListReference, PushingAListCopiesItDeeplyEvenIntoItself) {
  AZxVariantList outer, inner = Sample();
  ASSERT_TRUE(outer.pushBack(inner));
  AZxvListReference copy = outer.atL(0);
  EXPECT_TRUE(copy.name() == u"sample");
  EXPECT_EQ(compareZxVariant(copy, inner), 0);
  inner.atL(2).erase(0);
  EXPECT_EQ(copy.atL(2).size(), 3);  // its own children
  ASSERT_TRUE(inner.pushBack(inner));
  ASSERT_TRUE(inner.pushFront(inner));
  EXPECT_EQ(inner.size(), 6);
  EXPECT_EQ(inner.atL(5).size(), 4);
  EXPECT_EQ(inner.atL(0).size(), 5);
}

TEST(WrapperListReference, LookupsSeparateListsFromScalars) {
  AZxVariantList list;
  list.pushBack(AZxVariant(u"item", 0));
  list(u"ITEM").pushBack(AZxVariant(u"inner", 1));
  list.pushBack(AZxVariant(u"Item", 2));
  EXPECT_TRUE(list.at(1).isNull() && list.atL(0).isNull());
  EXPECT_TRUE(list.at(-1).isNull() && list.at(3).isNull());
  // at / atL count every child of that name...
  EXPECT_TRUE(list.at(u"item").value() == 0);
  EXPECT_TRUE(list.at(u"item", 1).isNull());
  EXPECT_TRUE(list.at(u"item", 2).value() == 2);
  EXPECT_EQ(list.atL(u"item", 1).size(), 1);
  // ...find / findList only the children of their kind.
  EXPECT_TRUE(list.find(u"ITEM", 1).value() == 2);
  EXPECT_EQ(Rec(list.findList(u"item")), Rec(list.atL(1)));
  EXPECT_TRUE(list.find(u"item", 2).isNull() && list.findList(u"item", 1).isNull());
  EXPECT_TRUE(list[u"ITEM"].value() == 0 && list[u"missing"].isNull());
  AZxVariant like(u"iTEM", 2);
  EXPECT_EQ(Rec(list.find(like)), Rec(list.at(2)));
  EXPECT_TRUE(list.find(like, 1).isNull());
  // size() counts direct children, count() every record under the list.
  EXPECT_EQ(list.size(), 3);
  EXPECT_EQ(list.count(), 4);
  Rec(list)->value.list.count = 0;  // a chain whose count word is 0
  EXPECT_EQ(list.size(), 3);
  Rec(list)->value.list.count = 3;
}

TEST(WrapperListReference, ErasesAndPopsFreeChildren) {
  AZxVariantList list = Sample();
  EXPECT_FALSE(list.erase(-1) || list.erase(4));
  EXPECT_TRUE(list.erase(1));
  EXPECT_TRUE(list.erase(u"C"));
  EXPECT_FALSE(list.erase(u"c"));
  list.pushBack(AZxVariant(u"a", 1));
  EXPECT_TRUE(list.erase(AZxVariant(u"A", 1), 1));  // the second equal child
  EXPECT_FALSE(list.erase(AZxVariant(u"a", 2)));
  EXPECT_EQ(ChildNames(list), (Strings{u"a", u"d"}));
  list.pushFront(u"first");
  EXPECT_TRUE(list.popFront() && list.popBack());
  EXPECT_EQ(ChildNames(list), (Strings{u"a"}));
  EXPECT_TRUE(list.popBack());
  EXPECT_FALSE(list.popBack() || list.popFront());
  EXPECT_TRUE(list.pushBack(AZxVariant(u"again", 1)));
  list.attribute(u"attr") = 1;
  list.erase();  // name, attributes and children go; a List stays a List
  EXPECT_EQ(Rec(list)->type, T::List);
  EXPECT_TRUE(list.empty() && list.name().isNull());
  EXPECT_EQ(Rec(list)->attributes.items, nullptr);
}

TEST(WrapperListReference, ReferencesStayValidAcrossPushesAndInserts) {
  AZxVariantList list;
  list.pushBack(AZxVariant(u"anchor", 7));
  list(u"nested").pushBack(AZxVariant(u"leaf", u"deep"));
  AZxvReference anchor = list.at(0);
  AZxvListReference nested = list.atL(1);
  AZxvReference leaf = nested.at(0);
  for (int i = 0; i < 200; ++i) {
    ASSERT_TRUE(list.pushBack(AZxVariant(u"tail", i)) && list.pushFront(AZxVariant(u"head", i)));
    ASSERT_TRUE(list.insert(AZxVariant(u"mid", i), u"anchor"));
    ASSERT_TRUE(list.insert(AZxVariantList(u"sub"), u"nested"));
    ASSERT_TRUE(nested.pushFront(AZxVariant(u"sibling", i)));
  }
  EXPECT_EQ(Rec(anchor), Rec(list[u"anchor"]));
  EXPECT_EQ(Rec(nested), Rec(list.findList(u"nested")));
  EXPECT_EQ(Rec(leaf), Rec(nested.find(u"leaf")));
  anchor = 8;  // still edits the child in place
  EXPECT_TRUE(list[u"anchor"].value() == 8);
}

TEST(WrapperListReference, AssignCopiesEverythingAndAssignValueOnlyTheChildren) {
  AZxVariantList target(u"target"), source = Sample();
  target.attribute(u"old") = 1;
  target.pushBack(AZxVariant(u"gone", 1));
  source.attribute(u"kind") = u"sample";
  AZxVariantList keep(target);
  ASSERT_TRUE(keep.assignValue(source));
  EXPECT_TRUE(keep.name() == u"target");
  EXPECT_TRUE(std::as_const(keep).attribute(u"old").value() == 1);  // kept
  EXPECT_EQ(ChildNames(keep), ChildNames(source));
  ASSERT_TRUE(keep.assignValue(keep.atL(2)));  // its own grandchildren
  EXPECT_EQ(ChildNames(keep), (Strings{u"x", u"y", u"z"}));
  AZxvListReference ref = target;
  ASSERT_TRUE(ref.assign(source));
  EXPECT_TRUE(target.name() == u"sample");
  EXPECT_TRUE(std::as_const(target).attribute(u"kind").value() == u"sample");
  EXPECT_TRUE(std::as_const(target).attribute(u"old").isNull());
  EXPECT_EQ(ChildNames(target), ChildNames(source));
  EXPECT_FALSE(ref.assign(target));  // the same record
  AZxVariant scalar(u"s", 1);
  EXPECT_FALSE(ref.assign(AZxvListReference(scalar)));
  ASSERT_TRUE(target.assign(target.atL(2)));  // a child over its parent
  EXPECT_EQ(ChildNames(target), (Strings{u"x", u"y", u"z"}));
  AZxVariantList parent = Sample();
  ASSERT_TRUE(parent.atL(2).assign(parent));  // a parent over its child
  EXPECT_EQ(ChildNames(parent), (Strings{u"a", u"b", u"sample", u"d"}));  // the chain held
  EXPECT_EQ(parent.count(), 4 + 4 + 3);
}

TEST(WrapperOwningList, CopiesAreDeepChecksRefuseAndMovesLeaveAnEmptyList) {
  ZxvList* builder = NewList(u"flat");
  builder->Append(NewInt(u"i", 1));
  builder->Append(NewList(u"inner"))->AppendAttribute(NewString(u"a", u"b", 0));
  Flat flat = BuildFlat(builder);
  AZxVariantList a(flat.get());
  EXPECT_EQ(Rec(a)->size, 0u);
  EXPECT_TRUE(a.name() == u"flat" && compareZxVariant(a, flat.get()) == 0);
  ExpectLogicError([] { AZxVariantList l(static_cast<const ZxVariant*>(nullptr)); }, kParameter);
  ExpectLogicError([&] { AZxVariantList l(findNodeInAList(flat.get(), 0)); }, kParameter);
  ExpectLogicError([&] { a = findNodeInAList(flat.get(), 0); }, kParameter);
  ExpectLogicError([&] { a = AZxvListReference(); }, kParameter);
  EXPECT_EQ(a.size(), 2);  // unchanged by the refusals
  AZxVariantList b(a), c(u"c");
  EXPECT_TRUE(b == a);
  b.atL(u"inner").pushBack(AZxVariant(u"w", 0));
  EXPECT_FALSE(a == b);
  EXPECT_EQ(a.atL(u"inner").size(), 0);
  c = a;
  EXPECT_TRUE(c == a);
  c.name(u"other");
  EXPECT_FALSE(c == a);  // names count
  c = c.atL(1);          // a child of its own, copied before it is freed
  EXPECT_TRUE(c.name() == u"inner" && c.empty());
  ZxVariant* first = findNodeInAList(a, 0);
  AZxVariantList moved(std::move(a));
  EXPECT_EQ(findNodeInAList(moved, 0), first);
  EXPECT_TRUE(Rec(a)->type == T::List && a.empty());  // NOLINT: documented moved-from state
  c = std::move(moved);  // c's old children are freed
  EXPECT_EQ(findNodeInAList(c, 0), first);
  EXPECT_TRUE(moved.empty() && c.name() == u"flat");  // NOLINT
}

// AZxVariant keeps a List root (as a message class derived from it does)
// deeply: copies, comparisons, moves and the destructor.
TEST(WrapperOwning, AListRootIsCopiedMovedAndFreedDeeply) {
  AZxVariant root(u"Message", T::List);
  AZxvListReference{root}(u"Header").pushBack(AZxVariant(u"Name", u"Topic"));
  AZxVariant copy(root);
  EXPECT_TRUE(copy == root);
  AZxvListReference{copy}.atL(0).pushBack(AZxVariant(u"Extra", 1));
  EXPECT_FALSE(copy == root);
  EXPECT_EQ(AZxvListReference{root}.count(), 2);
  AZxVariant moved(std::move(copy));
  EXPECT_EQ(copy.type(), T::List);  // NOLINT: keeps its shape
  root = moved;
  EXPECT_EQ(AZxvListReference{root}.count(), 3);
}

}  // namespace
