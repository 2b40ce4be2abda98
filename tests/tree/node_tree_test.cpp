// Node tree: seeding and export, lookups, edits, the kept quirks and paths.
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "record/record_testing.h"
#include "zxvariant/zxvariant.h"

namespace {

using namespace zxt;
using ZxVariantHelper::BasicUtils::NameValuePair;
using ZxVariantHelper::Path;
using ZxVariantHelper::PathElement;
using ZxVariantHelper::Value;

template <class Ref>
class NodeTree : public ::testing::Test {};
using Families = ::testing::Types<ZxVariantHelper::NodeRef, ZxVariantHelperNative::NodeRef>;
TYPED_TEST_SUITE(NodeTree, Families);

template <class Ref>
Block Out(const Ref& ref) { return Block(ref.Export(nullptr)); }
// A new root seeded from what `builder` lays out.
template <class Ref>
Ref Seeded(ZxvBase* builder) { return Ref(Lay(builder).get()); }

template <class Ref>
void Walk(const Ref& node) {
  for (int i = 0; i < node.Count(); ++i) Walk(node.Lookup(i));
  (void)node.Lookup(u"x");
}

TYPED_TEST(NodeTree, ExportOfAnUneditedSeededTreeEqualsItsSource) {
  std::mt19937 rng(20240611);
  for (int round = 0; round < 300; ++round) {
    Block source = Lay(RandomTree(rng));
    TypeParam tree(source.get());
    if (round % 2 == 1) Walk(tree);  // reading fills caches, never the record
    ASSERT_TRUE(IsEqual(source.get(), Out(tree).get())) << "round " << round;
    ZxVariantHelper::AutoExport again(tree);
    ASSERT_TRUE(IsEqual(source.get(), again.Get())) << "round " << round;
  }
}

TYPED_TEST(NodeTree, DeepTreesSeedExportAndFreeWithoutRecursion) {
  Block deep = DeepList(100000, false);
  TypeParam tree(deep.get());
  EXPECT_TRUE(IsEqual(Out(tree).get(), deep.get()));
}

TEST(NodeTreeFamilies, MainFollowsChainsNativeCountsEntries) {
  // A chain cut after the first child: the arrays still count all three.
  Owned<ZxvList> list(NewList(u"l"));
  for (const char16_t* name : {u"p", u"q", u"r"}) list->Append(NewInt(name, 1));
  Block cut = Lay(*list);
  Put64(cut.get(), Child(cut.get(), 0, 0) + kNext, 0);
  EXPECT_EQ(ZxVariantHelper::NodeRef(cut.get()).Count(), 1);
  EXPECT_EQ(ZxVariantHelperNative::NodeRef(cut.get()).Count(), 3);
  // Builders count nothing and chain everything.
  EXPECT_EQ(ZxVariantHelper::NodeRef(static_cast<const ZxVariant*>(list.get())).Count(), 3);
  EXPECT_EQ(ZxVariantHelperNative::NodeRef(static_cast<const ZxVariant*>(list.get())).Count(), 0);
}

// ---- lookups ----------------------------------------------------------------

TYPED_TEST(NodeTree, NameLookupCreatesAndConstLookupDoesNot) {
  TypeParam root;
  root[u"a"] = 5;
  EXPECT_TRUE(root.IsList() && root.Name().Str() == nullptr);
  EXPECT_TRUE(root.Lookup(u"a").Int() == 5 && root.Lookup(u"b").IsNull() && root.Count() == 1);
  TypeParam b = root[u"b"];
  EXPECT_TRUE(!b.IsNull() && b.Type() == T::Null && root.Count() == 2 && root[u"b"] == b);
  // Kept: only a lookup enters the empty name, so it finds its own child;
  // deleting that child answers false all the same.
  EXPECT_TRUE(root[u""] == root[nullptr]);
  EXPECT_EQ(root.Count(), 3);
  EXPECT_TRUE(!root.DeleteLast() && root.Count() == 2);
}

TYPED_TEST(NodeTree, SeededChildrenAreFoundByExactNameAndIndexOnly) {
  Block source = Sample();
  TypeParam root(source.get());
  EXPECT_TRUE(root.Lookup(u"port").Int() == 8080 && root.Lookup(u"inner").Lookup(u"big").Int64() == 1LL << 40);
  EXPECT_TRUE(root[u"host"] == root.Lookup(2) && root.View(u"inner/2").Float() == 0.5);
  // Case counts, and seeded unnamed children are not in the name index.
  EXPECT_TRUE(root.Lookup(u"PORT").IsNull() && root.Lookup(u"").IsNull());
  for (int index : {kSampleChildren, 99, -1}) EXPECT_TRUE(root[index].IsNull() && root.Lookup(index).IsNull()) << index;
  EXPECT_EQ(root.Count(), kSampleChildren);
  // Of a shared name the child entered last is found, and deleting the first
  // erases the one index entry of that name (kept).
  root.Append(Seeded<TypeParam>(NewInt(u"port", 2)));
  EXPECT_EQ(root.Lookup(u"port").Int(), 2);
  EXPECT_TRUE(root.Delete(1));
  EXPECT_TRUE(root.Lookup(u"port").IsNull() && root.Lookup(kSampleChildren - 1).Int() == 2);
}

TYPED_TEST(NodeTree, MissingNodesAndOtherTypesReadAsTheNullRecord) {
  TypeParam none;
  EXPECT_TRUE(none.Type() == T::Null && none.Count() == 0 && none.Name().Str() == nullptr);
  EXPECT_TRUE(none.Lookup(u"a").IsNull() && none.Lookup(0).IsNull() && none.First().IsNull());
  EXPECT_FALSE(none.Delete(u"a") || none.DeleteFirst() || none.DeleteLast() || none.DeleteAll());
  EXPECT_TRUE(none.Export(nullptr) == nullptr && none.View(u"a/0").IsTheNull());
  EXPECT_TRUE(none.IsNull());  // no lookup bound it
  TypeParam root;
  root[u"s"] = u"text";
  root[u"i"] = 7;
  root[u"list"][u"deep"] = 1;
  TypeParam i = root.Lookup(u"i"), list = root.Lookup(u"list");
  EXPECT_TRUE(root.Lookup(u"s").Int() == 0 && S(i.String()) == u"" && i.String().Str() != nullptr);
  EXPECT_TRUE(i.Buffer().size == 0u && list.Type() == T::List && list.Leaf() == nullptr);
  EXPECT_TRUE(root.View(u"list").IsTheNull() && root.View(u"list/deep").Int() == 1 && root.View(u"list/0").Int() == 1);
  EXPECT_EQ(S(root.View(u"s").String()), u"text");
}

// ---- kept quirks ------------------------------------------------------------

TYPED_TEST(NodeTree, MutableLookupTurnsALeafIntoAnEmptyListOfTheSameName) {
  Owned<ZxvString> leaf(NewString(u"name", u"gone", 0));
  leaf->AppendAttribute(NewInt(u"attr", 1));
  Block source = Lay(*leaf);
  for (bool byIndex : {false, true}) {
    TypeParam node(source.get());
    EXPECT_TRUE(byIndex ? node[0].IsNull() : !node[u"child"].IsNull());
    Block out = Out(node);
    EXPECT_TRUE(out->type == T::List && S(ZxvView(out.get()).Name()) == u"name" && out->attributes.count == 0u);
    EXPECT_EQ(ZxvView(out.get()).ListValueSize(), byIndex ? 0 : 1);
  }
}

TYPED_TEST(NodeTree, DeletingAnswersWhetherANameWasErased) {
  TypeParam root;
  root.Append(Seeded<TypeParam>(NewNull(nullptr)));
  root[u"n"] = 1;
  root.Append(Seeded<TypeParam>(NewNull(nullptr)));
  EXPECT_TRUE(!root.DeleteFirst() && root.Count() == 2);  // unnamed: removed all the same
  EXPECT_TRUE(!root.DeleteLast() && root.Count() == 1);
  EXPECT_FALSE(root.Delete(u"missing"));
  EXPECT_TRUE(root.Delete(u"n") && root.Count() == 0);
  EXPECT_FALSE(root.DeleteFirst() || root.DeleteAll());
  root[u"p"] = 1;
  root[u"q"] = 2;
  EXPECT_TRUE(root.DeleteAll() && root.Count() == 0);
}

TYPED_TEST(NodeTree, AssignmentKeepsTheNodesNameAndPlaceAndOnlyARootIsRenamed) {
  TypeParam root;
  root[u"a"] = 1;
  root[u"b"] = 2;
  root[u"a"] = Value(u"str");
  Block named = Lay(NewInt(u"other", 9));
  root[u"b"] = Value(named.get());
  EXPECT_TRUE(S(root.Lookup(0).Name()) == u"a" && S(root.Lookup(0).String()) == u"str");
  EXPECT_TRUE(S(root.Lookup(1).Name()) == u"b" && root.Lookup(1).Int() == 9 && root.Lookup(u"other").IsNull());
  TypeParam a = root.Lookup(u"a");
  a = Value(a.Leaf());  // a value standing for a part of the node itself
  a.SetTopName(u"renamed");
  root.SetTopName(u"top");
  EXPECT_TRUE(S(a.String()) == u"str" && S(a.Name()) == u"a" && S(root.Name()) == u"top");
  root = Value(named.get());
  EXPECT_TRUE(S(root.Name()) == u"top" && root.Int() == 9);
}

TYPED_TEST(NodeTree, SetTopAttributeMatchesNamesIgnoringCaseAndNeverAdds) {
  Owned<ZxvInt> leaf(NewInt(u"leaf", 1));
  leaf->AppendAttribute(NewString(u"Unit", u"ms", 0));
  leaf->AppendAttribute(NewInt(u"scale", 3));
  Block source = Lay(*leaf);
  TypeParam node(source.get());
  EXPECT_TRUE(node.SetTopAttribute(NameValuePair(u"UNIT", u"seconds")));
  EXPECT_FALSE(node.SetTopAttribute(NameValuePair(u"scale", u"text")));  // another type
  EXPECT_FALSE(node.SetTopAttribute(NameValuePair(u"absent", 1)));
  EXPECT_FALSE(TypeParam().SetTopAttribute(NameValuePair(u"unit", 1)));
  Block out = Out(node);
  const ZxvView v(out.get());
  EXPECT_TRUE(out->attributes.count == 2u && v.AttributeValue(u"scale").Int() == 3);
  EXPECT_EQ(S(v.AttributeValue(u"Unit").String()), u"seconds");
}

// ---- structure edits --------------------------------------------------------

TYPED_TEST(NodeTree, InsertBeforeAndAppendPlaceChildren) {
  TypeParam root;
  root[u"b"] = 2;
  root.InsertBefore(u"b", Seeded<TypeParam>(NewInt(u"a", 1)));
  root.InsertBefore(9, Seeded<TypeParam>(NewInt(u"d", 4)));  // names nothing: the end
  root.InsertBefore(2, Seeded<TypeParam>(NewInt(u"c", 3)));
  root.Append(TypeParam());
  root.Append(root);  // into itself: refused
  root.Lookup(u"b").Append(root);
  ASSERT_EQ(root.Count(), 4);
  for (int i = 0; i < 4; ++i) EXPECT_EQ(root.Lookup(i).Int(), i + 1);
  EXPECT_TRUE(!root.Lookup(0).Get()->IsTop() && root.Get()->IsTop());
}

TYPED_TEST(NodeTree, ExportLeavesTheTreeEditableAndPlacesASharedNodeOnce) {
  TypeParam root;
  TypeParam shared = root[u"s"];
  shared[u"v"] = 1;
  Block first = Out(root);
  root[u"t"].Append(shared);
  root[u"s"][u"v"] = 2;
  Block second = Out(root);
  ASSERT_NE(second, nullptr);
  EXPECT_TRUE(ZxvView(second.get())[u"s"][u"v"].Int() == 2 && ZxvView(second.get())[u"t"].ListValueSize() == 0);
  EXPECT_TRUE(Validate(second.get()) && IsEqual(Out(TypeParam(second.get())).get(), second.get()));
  EXPECT_FALSE(IsEqual(first.get(), second.get()));
}

TYPED_TEST(NodeTree, NodeCopyAssignmentCopiesDeeplyAndKeepsTheName) {
  Block source = Sample();
  typename TypeParam::Node a(u"mine"), b(source.get());
  a = b;
  b.DeleteFirst();
  EXPECT_TRUE(S(ZxvStringView(a.Name())) == u"mine" && a.Count() == kSampleChildren);
  EXPECT_EQ(b.Count(), kSampleChildren - 1);
}

// ---- paths ------------------------------------------------------------------

TEST(Path, TextsParseIntoIndexesAndNames) {
  const struct { const char16_t* text; Path expected; } cases[] = {
      {u"a/b/2", {u"a", u"b", 2}},         {u"/a//0/", {u"a", 0}},          {u"", {}},
      {nullptr, {}},                       {u"a\\/b/\\\\", {u"a/b", u"\\"}}, {u"\\12/12/012", {u"12", 12, 12}},
      {u"99999999999/-1/1a", {2147483647, u"-1", u"1a"}}, {u"trail\\", {u"trail\\"}},
  };
  for (const auto& c : cases) EXPECT_EQ(Path(c.text), c.expected) << &c - cases;
  EXPECT_TRUE(PathElement(5).IsIndex() && PathElement(u"n").Index() == -1);
}

TEST(Path, TextParsesBackToTheSameElements) {
  std::mt19937 rng(7);
  const std::u16string alphabet = u"ab/\\09";
  for (int round = 0; round < 500; ++round) {
    ZxVariantHelper::PathElements elements;
    for (int n = rng() % 5; n != 0; --n) {
      std::u16string name(1 + rng() % 4, u'a');
      for (char16_t& c : name) c = alphabet[rng() % alphabet.size()];
      elements.push_back(rng() % 3 == 0 ? PathElement(static_cast<int>(rng() % 1000)) : PathElement(name));
    }
    Path path(elements);
    EXPECT_EQ(Path(path.Text()), path) << round;
  }
}

}  // namespace
