// Node tree: seeding and export, lookups, edits, the kept quirks and paths.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

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

// ---- random records ---------------------------------------------------------

const char16_t* const kNames[] = {nullptr, u"a", u"A", u"b", u"x", u"x", u"long name", u"\u00e9\u4e2d"};

class RandomRecords {
 public:
  explicit RandomRecords(unsigned seed) : m_rng(seed) {}

  Block Next() { return Lay(Node(0, true)); }

 private:
  unsigned Pick(unsigned n) { return std::uniform_int_distribution<unsigned>(0, n - 1)(m_rng); }
  const char16_t* Name() { return kNames[Pick(8)]; }

  ZxvBase* Scalar(T type, const char16_t* name) {
    switch (type) {
      case T::Null: return NewNull(name);
      case T::Register: return NewRegister(name, reinterpret_cast<void*>(std::uintptr_t{m_rng()} << 20));
      case T::Bool: return NewBool(name, Pick(2) == 1);
      case T::Int: return NewInt(name, static_cast<int>(m_rng()));
      case T::Float: return NewFloat(name, std::uniform_real_distribution<double>(-1e9, 1e9)(m_rng));
      case T::Int64: return NewInt64(name, static_cast<long long>(m_rng()) << 24);
      case T::Buffer: {
        std::string bytes(Pick(8), '\0');
        for (char& c : bytes) c = static_cast<char>(m_rng());
        return NewBuffer(name, bytes.data(), static_cast<int>(bytes.size()));
      }
      default: {
        // One-node copies stop at a NUL, so the text has none inside.
        std::u16string text(Pick(6), u'\0');
        for (char16_t& c : text) c = static_cast<char16_t>(1 + Pick(0xFFFF));
        return NewString(name, text.c_str(), 0);
      }
    }
  }

  ZxvBase* Node(int depth, bool root) {
    ZxvBase* node;
    if (depth < 4 && Pick(root ? 4 : 3) != 0) {
      auto* list = NewList(Name());
      for (unsigned n = Pick(5); n != 0; --n) list->Append(Node(depth + 1, false));
      node = list;
    } else {
      node = Scalar(static_cast<T>(std::vector<int>{0, 1, 2, 3, 4, 5, 6, 8}[Pick(8)]), Name());
    }
    for (unsigned n = Pick(3); n != 0; --n) {
      static const char16_t* const attributeNames[] = {u"k", u"K", u"unit", u"k"};
      node->AppendAttribute(Scalar(static_cast<T>(Pick(7)), attributeNames[Pick(4)]));
    }
    return node;
  }

  std::mt19937 m_rng;
};

template <class Ref>
void Walk(const Ref& node) {
  for (int i = 0; i < node.Count(); ++i) Walk(node.Lookup(i));
  (void)node.Lookup(u"x");
}

TYPED_TEST(NodeTree, ExportOfAnUneditedSeededTreeEqualsItsSource) {
  RandomRecords records(20240611);
  for (int round = 0; round < 300; ++round) {
    Block source = records.Next();
    TypeParam tree(source.get());
    if (round % 2 == 1) Walk(tree);  // reading fills caches, never the record
    Block out = Out(tree);
    ASSERT_TRUE(IsEqual(source.get(), out.get())) << "round " << round;
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
  EXPECT_TRUE(root.IsList());
  EXPECT_TRUE(root.Name().Str() == nullptr);
  EXPECT_EQ(root.Lookup(u"a").Int(), 5);
  EXPECT_TRUE(root.Lookup(u"b").IsNull());
  EXPECT_EQ(root.Count(), 1);
  TypeParam b = root[u"b"];
  EXPECT_FALSE(b.IsNull());
  EXPECT_EQ(b.Type(), T::Null);
  EXPECT_EQ(root.Count(), 2);
  EXPECT_TRUE(root[u"b"] == b);
  // Kept: only a lookup enters the empty name, so it finds its own child.
  EXPECT_TRUE(root[u""] == root[nullptr]);
  EXPECT_EQ(root.Count(), 3);
}

TYPED_TEST(NodeTree, SeededChildrenAreFoundByNameAndIndex) {
  Block source = Sample();
  TypeParam root(source.get());
  EXPECT_EQ(root.Count(), kSampleChildren);
  EXPECT_EQ(root.Lookup(u"port").Int(), 8080);
  EXPECT_EQ(root.Lookup(u"inner").Lookup(u"big").Int64(), 1LL << 40);
  EXPECT_TRUE(root[u"host"] == root.Lookup(2));
  EXPECT_EQ(root.View(u"inner/2").Float(), 0.5);
  EXPECT_EQ(root.Count(), kSampleChildren);
}

TYPED_TEST(NodeTree, IndexesOutOfRangeAnswerNullAndNeverCreate) {
  TypeParam root;
  for (int i = 0; i < 3; ++i) root.Append(TypeParam(Lay(NewInt(nullptr, i)).get()));
  for (int index : {3, 7, -1}) {
    EXPECT_TRUE(root[index].IsNull()) << index;
    EXPECT_TRUE(root.Lookup(index).IsNull()) << index;
  }
  EXPECT_EQ(root.Count(), 3);
  EXPECT_EQ(root[2].Int(), 2);
}

TYPED_TEST(NodeTree, SharedNamesFindTheLastEnteredAndCaseCounts) {
  TypeParam root;
  root.Append(TypeParam(Lay(NewInt(u"x", 1)).get()));
  root.Append(TypeParam(Lay(NewInt(u"x", 2)).get()));
  EXPECT_EQ(root.Lookup(u"x").Int(), 2);
  EXPECT_TRUE(root.Lookup(u"X").IsNull());
  // Kept quirk: deleting the first x erases the one index entry of "x".
  EXPECT_TRUE(root.Delete(0));
  EXPECT_TRUE(root.Lookup(u"x").IsNull());
  EXPECT_EQ(root.Lookup(0).Int(), 2);
}

TYPED_TEST(NodeTree, MissingNodesReadAsTheNullRecord) {
  TypeParam none;
  EXPECT_EQ(none.Type(), T::Null);
  EXPECT_EQ(none.Count(), 0);
  EXPECT_TRUE(none.Lookup(u"a").IsNull() && none.Lookup(0).IsNull() && none.First().IsNull());
  EXPECT_FALSE(none.Delete(u"a") || none.DeleteFirst() || none.DeleteLast() || none.DeleteAll());
  EXPECT_EQ(none.Export(nullptr), nullptr);
  EXPECT_TRUE(none.Name().Str() == nullptr);
  EXPECT_TRUE(none.View(u"a/0").IsTheNull());
  EXPECT_TRUE(none.IsNull());  // no lookup bound it

  TypeParam root;
  root[u"s"] = u"text";
  root[u"i"] = 7;
  root[u"list"][u"deep"] = 1;
  TypeParam s = root.Lookup(u"s"), i = root.Lookup(u"i"), list = root.Lookup(u"list");
  EXPECT_EQ(s.Int(), 0);
  EXPECT_EQ(S(i.String()), u"");
  EXPECT_NE(i.String().Str(), nullptr);
  EXPECT_EQ(i.Buffer().size, 0u);
  EXPECT_EQ(list.Type(), T::List);
  EXPECT_EQ(list.Leaf(), nullptr);
  EXPECT_TRUE(root.View(u"list").IsTheNull());
  EXPECT_EQ(root.View(u"list/deep").Int(), 1);
  EXPECT_EQ(root.View(u"list/0").Int(), 1);
  EXPECT_EQ(S(root.View(u"s").String()), u"text");
}

// ---- kept quirks ------------------------------------------------------------

TYPED_TEST(NodeTree, MutableLookupTurnsALeafIntoAnEmptyListOfTheSameName) {
  Owned<ZxvString> leaf(NewString(u"name", u"gone", 0));
  leaf->AppendAttribute(NewInt(u"attr", 1));
  Block source = Lay(*leaf);
  for (bool byIndex : {false, true}) {
    TypeParam node(source.get());
    if (byIndex) {
      EXPECT_TRUE(node[0].IsNull());
    } else {
      node[u"child"];
    }
    Block out = Out(node);
    EXPECT_EQ(out->type, T::List);
    EXPECT_EQ(S(ZxvView(out.get()).Name()), u"name");
    EXPECT_EQ(out->attributes.count, 0u);
    EXPECT_EQ(ZxvView(out.get()).ListValueSize(), byIndex ? 0 : 1);
  }
}

TYPED_TEST(NodeTree, DeletingAnswersWhetherANameWasErased) {
  TypeParam root;
  root.Append(TypeParam(Lay(NewNull(nullptr)).get()));
  root[u"n"] = 1;
  root.Append(TypeParam(Lay(NewNull(nullptr)).get()));
  EXPECT_FALSE(root.DeleteFirst());  // unnamed: removed all the same
  EXPECT_EQ(root.Count(), 2);
  EXPECT_FALSE(root.DeleteLast());
  EXPECT_EQ(root.Count(), 1);
  EXPECT_FALSE(root.Delete(u"missing"));
  EXPECT_TRUE(root.Delete(u"n"));
  EXPECT_EQ(root.Count(), 0);
  EXPECT_FALSE(root.DeleteFirst());
  EXPECT_FALSE(root.DeleteAll());
  root[u"p"] = 1;
  root[u"q"] = 2;
  EXPECT_TRUE(root.DeleteAll());
  EXPECT_EQ(root.Count(), 0);
}

TYPED_TEST(NodeTree, AssignmentKeepsTheNodesNameAndPlace) {
  TypeParam root;
  root[u"a"] = 1;
  root[u"b"] = 2;
  root[u"a"] = Value(u"str");
  Block named = Lay(NewInt(u"other", 9));
  root[u"b"] = Value(named.get());
  EXPECT_EQ(S(root.Lookup(0).Name()), u"a");
  EXPECT_EQ(S(root.Lookup(0).String()), u"str");
  EXPECT_EQ(S(root.Lookup(1).Name()), u"b");
  EXPECT_EQ(root.Lookup(1).Int(), 9);
  EXPECT_TRUE(root.Lookup(u"other").IsNull());
  // A value standing for a part of the node itself.
  TypeParam a = root.Lookup(u"a");
  a = Value(a.Leaf());
  EXPECT_EQ(S(a.String()), u"str");
  root = Value(named.get());  // the unnamed root stays unnamed
  EXPECT_TRUE(root.Name().IsEmpty());
  EXPECT_EQ(root.Int(), 9);
}

TYPED_TEST(NodeTree, OnlyARootTakesANewName) {
  TypeParam root;
  TypeParam child = root[u"c"];
  child.SetTopName(u"renamed");
  EXPECT_EQ(S(child.Name()), u"c");
  root.SetTopName(u"top");
  EXPECT_EQ(S(root.Name()), u"top");
}

TYPED_TEST(NodeTree, SetTopAttributeMatchesNamesIgnoringCaseAndNeverAdds) {
  Owned<ZxvInt> leaf(NewInt(u"leaf", 1));
  leaf->AppendAttribute(NewString(u"Unit", u"ms", 0));
  leaf->AppendAttribute(NewInt(u"scale", 3));
  Block source = Lay(*leaf);
  TypeParam node(source.get());
  EXPECT_TRUE(node.SetTopAttribute(NameValuePair(u"UNIT", u"seconds")));
  EXPECT_FALSE(node.SetTopAttribute(NameValuePair(u"scale", u"text")));  // other type
  EXPECT_FALSE(node.SetTopAttribute(NameValuePair(u"absent", 1)));
  EXPECT_FALSE(TypeParam().SetTopAttribute(NameValuePair(u"unit", 1)));
  Block out = Out(node);
  EXPECT_EQ(out->attributes.count, 2u);
  EXPECT_EQ(S(ZxvView(out.get()).AttributeValue(u"Unit").String()), u"seconds");
  EXPECT_EQ(ZxvView(out.get()).AttributeValue(u"scale").Int(), 3);
}

// ---- structure edits --------------------------------------------------------

TYPED_TEST(NodeTree, InsertBeforeAndAppendPlaceChildren) {
  TypeParam root;
  root[u"b"] = 2;
  root.InsertBefore(u"b", TypeParam(Lay(NewInt(u"a", 1)).get()));
  root.InsertBefore(9, TypeParam(Lay(NewInt(u"d", 4)).get()));  // names nothing: the end
  root.InsertBefore(2, TypeParam(Lay(NewInt(u"c", 3)).get()));
  root.Append(TypeParam());
  root.Append(root);  // into itself: refused
  root.Lookup(u"b").Append(root);
  ASSERT_EQ(root.Count(), 4);
  for (int i = 0; i < 4; ++i) EXPECT_EQ(root.Lookup(i).Int(), i + 1);
  EXPECT_FALSE(root.Lookup(0).Get()->IsTop());
  EXPECT_TRUE(root.Get()->IsTop());
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
  EXPECT_EQ(ZxvView(second.get())[u"s"][u"v"].Int(), 2);
  EXPECT_EQ(ZxvView(second.get())[u"t"].ListValueSize(), 0);
  EXPECT_TRUE(Validate(second.get()));
  EXPECT_TRUE(IsEqual(Out(TypeParam(second.get())).get(), second.get()));
  EXPECT_FALSE(IsEqual(first.get(), second.get()));
}

TYPED_TEST(NodeTree, NodeCopyAssignmentCopiesDeeplyAndKeepsTheName) {
  Block source = Sample();
  typename TypeParam::Node a(u"mine"), b(source.get());
  a = b;
  b.DeleteFirst();
  EXPECT_EQ(S(ZxvStringView(a.Name())), u"mine");
  EXPECT_EQ(a.Count(), kSampleChildren);
  EXPECT_EQ(b.Count(), kSampleChildren - 1);
}

// ---- paths ------------------------------------------------------------------

TEST(Path, TextsParseIntoIndexesAndNames) {
  const struct {
    const char16_t* text;
    Path expected;
  } cases[] = {
      {u"a/b/2", {u"a", u"b", 2}},
      {u"/a//0/", {u"a", 0}},
      {u"", {}},
      {nullptr, {}},
      {u"a\\/b/\\\\", {u"a/b", u"\\"}},
      {u"\\12/12/012", {u"12", 12, 12}},
      {u"99999999999/-1/1a", {2147483647, u"-1", u"1a"}},
      {u"trail\\", {u"trail\\"}},
  };
  for (const auto& c : cases) EXPECT_EQ(Path(c.text), c.expected) << &c - cases;
  EXPECT_TRUE(PathElement(5).IsIndex());
  EXPECT_EQ(PathElement(u"n").Index(), -1);
}

TEST(Path, TextParsesBackToTheSameElements) {
  std::mt19937 rng(7);
  const std::u16string alphabet = u"ab/\\09";
  for (int round = 0; round < 500; ++round) {
    ZxVariantHelper::PathElements elements;
    for (int n = rng() % 5; n != 0; --n) {
      if (rng() % 3 == 0) {
        elements.emplace_back(static_cast<int>(rng() % 1000));
        continue;
      }
      std::u16string name(1 + rng() % 4, u'a');
      for (char16_t& c : name) c = alphabet[rng() % alphabet.size()];
      elements.emplace_back(name);
    }
    Path path(elements);
    EXPECT_EQ(Path(path.Text()), path) << round;
  }
}

}  // namespace
