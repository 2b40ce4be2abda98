// Merge: applying one record's content to another through two node trees.
#include <gtest/gtest.h>

#include "record/record_testing.h"
#include "zxvariant/zxvariant.h"

namespace {

using namespace zxt;

Block Target() {
  Owned<ZxvList> root(NewList(u"target"));
  root->AppendAttribute(NewInt(u"version", 2));
  root->Append(NewInt(u"port", 80));
  root->Append(NewString(u"host", u"old", 0));
  root->Append(NewBool(u"flag", false));
  return Lay(*root);
}

Block Merged(const ZxVariant* target, ZxvBase* source) {
  Block from = Lay(source);
  return Block(Merge(target, from.get()));
}

TEST(Merge, NullTargetGivesNullAndNullSourceCopiesTheTarget) {
  Block target = Target();
  EXPECT_EQ(Merge(nullptr, target.get()), nullptr);
  Block same(Merge(target.get(), nullptr));
  EXPECT_TRUE(IsEqual(same.get(), target.get()));
}

TEST(Merge, ListSourceSetsStringsAndIntsByName) {
  Block target = Target();
  ZxvList* source = NewList(u"ignored");
  source->Append(NewInt(u"port", 443));
  source->Append(NewString(u"host", u"new", 0))->AppendAttribute(NewString(u"role", u"main", 0));
  source->Append(NewInt(u"added", 1));
  source->Append(NewInt(u"Port", 8));  // names are exact: a new child
  Block out = Merged(target.get(), source);
  ZxvView view(out.get());
  EXPECT_EQ(S(view.Name()), u"target");
  EXPECT_EQ(view.AttributeValue(u"version").Int(), 2);
  EXPECT_EQ(view.ListValueSize(), 5);
  EXPECT_EQ(view[0].Int(), 443);  // replaced in place
  EXPECT_EQ(S(view[u"host"].String()), u"new");
  EXPECT_EQ(S(view[u"host"].AttributeValue(u"role").String()), u"main");
  EXPECT_EQ(view[u"added"].Int(), 1);
  EXPECT_EQ(view[u"Port"].Int(), 8);
}

TEST(Merge, UnnamedChildrenAreAppendedToTheRoot) {
  Block target = Target();
  ZxvList* source = NewList(nullptr);
  source->Append(NewInt(nullptr, 5));
  source->Append(NewFloat(nullptr, 0.25));
  Block out = Merged(target.get(), source);
  ZxvView view(out.get());
  ASSERT_EQ(view.ListValueSize(), 5);
  EXPECT_EQ(view[3].Int(), 5);
  EXPECT_EQ(view[4].Float(), 0.25);
}

TEST(Merge, BoolAndOtherNamedChildrenGoUnderTheTargetChildOfThatName) {
  Block target = Target();
  ZxvList* source = NewList(u"src");
  source->Append(NewBool(u"flag", true));  // kept: appended below, never set
  source->Append(NewFloat(u"ratio", 1.5));
  ZxvList* nested = NewList(u"port");
  nested->Append(NewInt(u"inner", 1));
  source->Append(nested);
  Block out = Merged(target.get(), source);
  ZxvView view(out.get());
  EXPECT_EQ(view.ListValueSize(), 4);
  ZxvView flag = view[u"flag"];
  ASSERT_TRUE(flag.IsList());  // the old Bool became the list holding the new one
  EXPECT_EQ(flag.ListValueSize(), 1);
  EXPECT_TRUE(flag[u"flag"].Bool());
  EXPECT_EQ(view[u"ratio"][u"ratio"].Float(), 1.5);
  EXPECT_EQ(view[u"port"][u"port"][u"inner"].Int(), 1);
}

TEST(Merge, ScalarSourceSetsTheChildNamedLikeIt) {
  Block target = Target();
  const struct {
    ZxvBase* source;
    bool changes;
  } cases[] = {
      {NewString(u"host", u"set", 0), true},
      {NewInt(u"port", 1), true},
      {NewBool(u"flag", true), true},
      {NewInt(u"fresh", 3), true},
      {NewFloat(u"port", 2.5), false},
      {NewInt64(u"port", 7), false},
      {NewNull(u"port"), false},
  };
  for (const auto& c : cases) {
    std::u16string name = S(ZxvView(c.source).Name());
    T type = c.source->type;
    Block out = Merged(target.get(), c.source);
    if (!c.changes) {
      EXPECT_TRUE(IsEqual(out.get(), target.get())) << &c - cases;
      continue;
    }
    ZxvView set = ZxvView(out.get())[name.c_str()];
    EXPECT_EQ(set.Type(), type) << &c - cases;
    EXPECT_EQ(ZxvView(out.get()).ListValueSize(), name == u"fresh" ? 4 : 3);
  }
}

TEST(Merge, ScalarTargetTakesChildrenAsAList) {
  Block target = Lay(NewInt(u"t", 1));
  ZxvList* source = NewList(nullptr);
  source->Append(NewInt(u"a", 2));
  Block out = Merged(target.get(), source);
  ZxvView view(out.get());
  EXPECT_TRUE(view.IsList());
  EXPECT_EQ(S(view.Name()), u"t");
  EXPECT_EQ(view[u"a"].Int(), 2);
}

}  // namespace
