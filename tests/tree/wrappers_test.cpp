// Wrapper classes: scalar references, views, owning scalars, pointers.
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <type_traits>
#include <utility>

#include "tree/loose_testing.h"
#include "zxvariant/zxvariant.h"

namespace {

using namespace zxv_testing;
using namespace ZxVariantHelper;
using namespace ZxVariantHelper::BasicUtils;
using T = ZxVariant::TypeCodes;

ZxVariant* Rec(const AZxvReference& r) { return r; }

TEST(WrapperErrors, RefusalsThrowTheirTextAndNullReferencesReadAsNothing) {
  Loose list = NewLoose(T::List);
  AZxvReference none = AZxvListReference().at(0);
  AZxVariant withList(u"v", 1);  // its only attribute is a List
  appendNodeToAList(&Rec(withList)->attributes)->type = T::List;
  setZxVariantName(findNodeInAList(&Rec(withList)->attributes, 0), u"nested");
  const struct { const char* text; std::function<void()> f; } cases[] = {
      {kConversion, [&] { AZxvReference r(nullptr); }},
      {kConversion, [&] { AZxvReference r(list.get()); }},
      {kConversion, [&] { none.value().getInt(); }},
      {kConversion, [&] { AZxVariant(u"i", 42).value().getString(); }},
      {kConversion, [&] { AZxVariant(5).value().compare(u"5", true); }},
      {kConversion, [&] { withList.attribute(u"NESTED"); }},
      {kConversion, [&] { std::as_const(withList).attribute(0); }},
      {kParameter, [&] { none = 5; }},
      {kParameter, [&] { AZxVariant v(u"n", static_cast<T>(9)); }},
      {kParameter, [&] { AZxVariant v(static_cast<const ZxVariant*>(nullptr)); }},
      {kParameter, [&] { AZxVariant v(list.get()); }},
      {kParameter, [&] { AZxVariant v{none}; }}};
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    ExpectLogicError(c.f, c.text);
  }
  EXPECT_EQ(none.type(), T::Null);
  EXPECT_TRUE(none.name().isNull() && none[u"x"].isNull() && none.attribute(u"x").isNull());
  none.erase();
  EXPECT_FALSE(none.assign(withList) || withList.assign(none));
  EXPECT_NE(withList.compare(none), 0);
}

TEST(WrapperReference, WritesReplaceValueAndTypeAndIndexingByANameNamesTheRecord) {
  Loose rec = NewLoose(T::Null);
  copyZxVariantValue(rec.get(), NameValuePair(u"b", const_cast<char*>("xyz"), 3));
  AZxvReference ref(rec.get());
  EXPECT_EQ(Rec(ref[u"alpha"]), rec.get());
  ref[u""];
  EXPECT_FALSE(ref.name(nullptr));
  EXPECT_EQ(NameOf(rec.get()), u"alpha");
  ref = true;  // the Buffer's bytes are freed (the leak checker watches)
  EXPECT_TRUE(ref.value() == true);
  ref.value(1LL << 40);
  EXPECT_TRUE(ref.value() == (1LL << 40));
  ref = 2.5;
  EXPECT_TRUE(ref.value() == 2.5);
  ref = "caf\xC3\xA9";  // UTF-8
  ExpectLogicError([&] { ref = static_cast<const char16_t*>(nullptr); }, kParameter);
  ExpectLogicError([&] { ref = static_cast<const char*>(nullptr); }, kParameter);
  EXPECT_TRUE(ref.value() == u"caf\u00E9");  // kept by the refusals
  ref.value(u"");
  EXPECT_EQ(rec->type, T::String);
  EXPECT_EQ(rec->value.string.length, 0u);
  EXPECT_EQ(rec->value.string.str, nullptr);
}

TEST(WrapperReference, AssignCopiesNameAndValueButNotAttributes) {
  AZxVariant a(u"a", u"text"), b(u"b", 5), c(u"c", u"other");
  a.attribute(u"unit") = u"tcp";
  b.attribute(u"extra") = 1;
  ASSERT_TRUE(a.assign(b));
  EXPECT_TRUE(a.name() == u"b" && a.value() == 5);
  ASSERT_EQ(Rec(a)->attributes.count, 1u);  // its own, kept
  EXPECT_TRUE(a.attribute(0).name() == u"unit");
  AZxvReference alias = a;
  EXPECT_FALSE(a.assign(alias));  // the same record
  ASSERT_TRUE(c.assignName(b));
  EXPECT_TRUE(c.name() == u"b" && c.value() == u"other");
  ASSERT_TRUE(c.assignValue(a));
  EXPECT_TRUE(c.value() == 5);
  ASSERT_TRUE(c.assignName(AZxVariant(9)));  // an unnamed source unnames
  EXPECT_TRUE(c.name().isNull());
}

TEST(WrapperReference, AttributesAreFoundIgnoringCaseOrAddedAndRenamed) {
  AZxVariant v(u"port", 443);
  v.attribute(u"unit") = u"ab";  // 2 characters, the name has 4
  AZxvReference unit = v.attribute(u"UNIT");
  EXPECT_EQ(Rec(v)->attributes.count, 1u);
  EXPECT_TRUE(unit.name() == u"UNIT");  // the name is written into it...
  EXPECT_EQ(unit.type(), T::String);    // ...and drops characters of another length
  EXPECT_EQ(Rec(unit)->value.string.length, 0u);
  EXPECT_EQ(Rec(unit)->value.string.str, nullptr);
  unit = u"abcd";  // as long as the name: kept
  EXPECT_TRUE(v.attribute(u"Unit").value() == u"abcd");
  EXPECT_TRUE(v.attribute(0) == unit);
  EXPECT_TRUE(v.attribute(1).isNull() && v.attribute(-1).isNull() && v.attribute(u"").isNull());
  EXPECT_TRUE(std::as_const(v).attribute(u"missing").isNull());  // finds only
  EXPECT_EQ(Rec(v)->attributes.count, 1u);
}

TEST(WrapperReference, CompareFollowsCompareAZxVariantAndEraseEmpties) {
  AZxVariant a(u"n", 5), b(u"N", 5);
  EXPECT_TRUE(a == b);
  a.attribute(u"x") = 1;
  b.attribute(u"x") = 1;
  EXPECT_FALSE(a == b);  // kept: records that both carry attributes never match...
  AZxvReference self = a;
  EXPECT_TRUE(a == self);  // ...but a record always equals itself
  a.erase();
  EXPECT_TRUE(a.type() == T::Null && a.name().isNull());
  EXPECT_EQ(Rec(a)->attributes.items, nullptr);
}

TEST(WrapperViews, ValuesCompareByTypeAndKeepTheEmptyStringRule) {
  // A String without characters equals only the null text.
  const struct { const char16_t* own; const char16_t* text; bool exact; int expected; } cases[] = {
      {u"", nullptr, true, 0},      {u"", u"", true, -1},      {u"", u"x", false, -1},
      {u"abc", nullptr, false, -1}, {u"abc", u"ABC", true, 1}, {u"abc", u"ABC", false, 0},
      {u"abc", u"ab", true, 1}};
  for (const auto& c : cases) {
    EXPECT_EQ(AZxVariant(u"s", c.own).value().compare(c.text, c.exact), c.expected)
        << "case " << (&c - cases);
  }
  SmartWcharPtr empty = AZxVariant(u"s", u"").value();
  ASSERT_FALSE(empty.isNull());  // a String is never read as null text
  EXPECT_EQ(std::u16string(empty.get()), u"");
  AZxVariant five(5), text(u"t", u"Caf\u00E9");
  EXPECT_FALSE(five.value() == 5LL || five.value() == 5.0);
  EXPECT_TRUE(text.value() == u"Caf\u00E9" && text.value() == "Caf\xC3\xA9");
  EXPECT_FALSE(text.value() == u"caf\u00E9");
  AZxVariant buffer(static_cast<const ZxVariant*>(
      NameValuePair(u"b", const_cast<char*>("abc"), 3)));
  ZxVariant::Buffer same{3, 0, "abc"}, other{3, 0, "abd"}, shorter{2, 0, "abc"};
  EXPECT_TRUE(buffer.value() == same);
  EXPECT_FALSE(buffer.value() == other || buffer.value() == shorter);
}

// The odd Buffer leaves the texts of the record after it unaligned.  A copy
// from a flat record takes name and value only, and its size word is 0.
TEST(WrapperViews, FlatRecordsAreReadUnalignedAndCopiedByNameAndValue) {
  ZxvList* root = NewList(u"root");
  root->Append(NewBuffer(u"b", "odd", 3));
  root->Append(NewString(u"Host", u"example.org", 0))->AppendAttribute(NewInt(u"weight", 3));
  Flat flat = BuildFlat(root);
  AZxvReference host = AZxvListReference(flat.get()).at(1);
  ASSERT_NE(reinterpret_cast<std::uintptr_t>(Rec(host)->name.str) % 2, 0u);
  AZxvariantName name = host.name(), none(nullptr);
  const unsigned short units[] = {'H', 'o', 's', 't', 0};
  EXPECT_TRUE(name.length() == 4u && name == u"Host" && name == units && name == "Host");
  EXPECT_FALSE(name == u"HOST");  // exact here, unlike the lookups
  EXPECT_EQ(name.compare(u"HOST", false), 0);
  EXPECT_EQ(name.compare(u"HOST", true), 1);
  EXPECT_EQ(name.compare("Hosts", true), -1);
  EXPECT_TRUE(none.isNull() && none.empty() && none.compare(nullptr, true) == 0);
  EXPECT_EQ(std::u16string(host.value().getString().get()), u"example.org");
  AZxVariant copy(*Rec(host));
  EXPECT_EQ(Rec(copy)->size, 0u);
  EXPECT_TRUE(copy.name() == u"Host" && copy.value() == u"example.org");
  EXPECT_NE(Rec(copy)->value.string.str, Rec(host)->value.string.str);
  EXPECT_EQ(Rec(copy)->attributes.count, 0u);
  ExpectLogicError([&] { copy = flat.get(); }, kParameter);  // a List
  EXPECT_TRUE(copy.value() == u"example.org");               // unchanged by the refusal
}

TEST(WrapperOwning, ConstructorsBuildTheRecord) {
  EXPECT_TRUE(AZxVariant(u"only").name() == u"only");  // a lone string names the record
  EXPECT_TRUE(AZxVariant("na\xC3\xAFve").name() == u"na\u00EFve");
  const unsigned short units[] = {'u', 0};
  const struct { AZxVariant v; T type; } cases[] = {
      {AZxVariant(u"only"), T::Null},       {AZxVariant(true), T::Bool},
      {AZxVariant(u"i", 1), T::Int},        {AZxVariant(u"l", 1LL), T::Int64},
      {AZxVariant(u"f", 1.0), T::Float},    {AZxVariant(u"s", u"x"), T::String},
      {AZxVariant(u"u", units), T::String}, {AZxVariant(u"n", "x"), T::String},
      {AZxVariant(T::Buffer), T::Buffer},   {AZxVariant(u"list", T::List), T::List}};
  for (const auto& c : cases) EXPECT_EQ(c.v.type(), c.type);
}

TEST(WrapperOwning, CopiesAreIndependentAndMovesLeaveTheSourceEmpty) {
  AZxVariant a(u"n", 5), b(u"other", u"text");
  a.attribute(u"unit") = u"ms";
  b = a;  // a copy of a wrapper takes the attributes too
  AZxVariant c(a);
  for (const AZxVariant* copy : {&b, &c}) {
    ZxVariant* mine = findNodeInAList(&Rec(*copy)->attributes, u"unit");
    ASSERT_NE(mine, nullptr);
    EXPECT_NE(mine, findNodeInAList(&Rec(a)->attributes, u"unit"));
    EXPECT_TRUE(AZxVariantValue(mine) == u"ms");
    EXPECT_TRUE(copy->name() == u"n" && copy->value() == 5);
  }
  b = 6;
  EXPECT_TRUE(a.value() == 5);
  AZxVariant s(u"n", u"moved");
  const char16_t* characters = Rec(s)->value.string.str;
  AZxVariant m(std::move(s));
  EXPECT_EQ(Rec(m)->value.string.str, characters);  // taken, not copied
  EXPECT_EQ(s.type(), T::Null);  // NOLINT: the moved-from state is documented
  b = std::move(m);              // b's old record is freed
  s = 1;                         // NOLINT: writes to the moved-from objects
  m = 2;                         // NOLINT: must not reach b
  EXPECT_TRUE(b.value() == u"moved" && b.name() == u"n");
  AZxVariant& alias = b;
  b = std::move(alias);
  EXPECT_TRUE(b.value() == u"moved");
}

TEST(WrapperOwning, CopyingFromAReferenceCopiesInsteadOfRebinding) {
  int target = 0;
  Flat reg = BuildFlat(NewRegister(u"r", &target));
  AZxVariant a(reg.get());
  AZxVariant b(a);  // a Register value is carried over as the pointer it is
  EXPECT_TRUE(b.name() == u"r" && b.value().getRegister() == &target);
  AZxVariant v(u"v", u"dropped");
  ASSERT_TRUE(v.assignValue(b));
  EXPECT_EQ(v.value().getRegister(), &target);
  Loose rec = NewLoose(T::Null);
  AZxvReference(rec.get())[u"r"] = 11;
  v = AZxvReference(rec.get());
  EXPECT_NE(Rec(v), rec.get());
  v = 12;  // keeps the name
  EXPECT_TRUE(v.name() == u"r");
  EXPECT_EQ(rec->value.intValue, 11);
  v.attribute(u"inner") = u"value";
  v = v.attribute(u"inner");  // a source under the target
  EXPECT_TRUE(v.name() == u"inner" && v.value() == u"value");
  EXPECT_EQ(Rec(v)->attributes.count, 0u);
}

TEST(WrapperPointers, PointersAllocateForTheCallerAndAutoPtrFreesOnce) {
  ZxVariant* out = nullptr;
  AZxvPointer p(out);
  Loose owned(out);
  p = 5;
  EXPECT_EQ(out->value.intValue, 5);
  ZxVariant* listOut = nullptr;
  AZxvListPointer l(listOut);
  Loose ownedList(listOut);
  EXPECT_TRUE(listOut->type == T::List && l.pushBack(p));
  static_assert(!std::is_copy_constructible_v<AutoPtr> && !std::is_copy_assignable_v<AutoPtr>);
  AutoPtr a(BuildFlat(NewInt(u"x", 1)).release());
  ZxVariant* block = a;
  AutoPtr b(std::move(a));
  EXPECT_EQ(static_cast<ZxVariant*>(a), nullptr);  // NOLINT
  AutoPtr c(BuildFlat(NewInt(u"y", 2)).release());
  c = std::move(b);  // frees c's own block
  EXPECT_EQ(static_cast<ZxVariant*>(c), block);
  Flat released(c.release());
  EXPECT_EQ(static_cast<ZxVariant*>(c), nullptr);
}

}  // namespace
