// Wrapper classes: scalar references, views, owning scalars, pointers.
#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>

#include "zxvariant/zxvariant.h"
#include "tree/loose_testing.h"

namespace {

using zxv_testing::Loose;
using zxv_testing::Flat;
using namespace ZxVariantHelper;
using namespace ZxVariantHelper::BasicUtils;
using T = ZxVariant::TypeCodes;


Loose NewLoose(T type = T::Null) {
  auto* r = static_cast<ZxVariant*>(std::calloc(1, sizeof(ZxVariant)));
  r->type = type;
  return Loose(r);
}

Flat Build(ZxvBase* builder) {
  Flat flat(builder->BuildNewZxVariant(nullptr));
  ZxVariantHelper::Delete(builder);
  return flat;
}

std::u16string Text(const char16_t* s, std::uint32_t n) { return s ? std::u16string(s, n) : u""; }
std::u16string NameOf(const ZxVariant* r) { return Text(r->name.str, r->name.length); }
std::u16string StringOf(const ZxVariant* r) {
  return Text(r->value.string.str, r->value.string.length);
}
ZxVariant* Rec(const AZxvReference& r) { return r; }

template <typename F>
void ExpectLogicError(F&& f, const char* text) {
  try {
    f();
    ADD_FAILURE() << "no exception, expected: " << text;
  } catch (const std::logic_error& e) {
    EXPECT_STREQ(e.what(), text);
  }
}
constexpr const char* kConversion = "Invalid type conversion attempt";
constexpr const char* kParameter = "Invalid parameter";

// ---- AZxvReference --------------------------------------------------------------

TEST(WrapperReference, RefusesNullAndListRecords) {
  ExpectLogicError([] { AZxvReference r(nullptr); }, kConversion);
  Loose list = NewLoose(T::List);
  ExpectLogicError([&] { AZxvReference r(list.get()); }, kConversion);
}

TEST(WrapperReference, WritesReplaceValueAndTypeButNotTheName) {
  Loose rec = NewLoose();
  setZxVariantName(rec.get(), u"v");
  copyZxVariantValue(rec.get(), NameValuePair(u"b", const_cast<char*>("xyz"), 3));
  AZxvReference ref(rec.get());
  ref = true;  // the Buffer's bytes are freed (the leak checker watches)
  EXPECT_EQ(rec->type, T::Bool);
  ref = 7;
  EXPECT_EQ(rec->value.intValue, 7);
  ref.value(1LL << 40);
  EXPECT_EQ(rec->type, T::Int64);
  ref = 2.5;
  EXPECT_EQ(rec->value.floatValue, 2.5);
  ref = u"text";
  EXPECT_EQ(StringOf(rec.get()), u"text");
  const unsigned short units[] = {'o', 'k', 0};
  ref = units;
  EXPECT_EQ(StringOf(rec.get()), u"ok");
  ref = "caf\xC3\xA9";  // UTF-8
  EXPECT_EQ(StringOf(rec.get()), u"caf\u00E9");
  ExpectLogicError([&] { ref = static_cast<const char16_t*>(nullptr); }, kParameter);
  ExpectLogicError([&] { ref = static_cast<const char*>(nullptr); }, kParameter);
  EXPECT_EQ(StringOf(rec.get()), u"caf\u00E9");  // kept by the refusals
  ref.value(u"");
  EXPECT_EQ(rec->type, T::String);
  EXPECT_EQ(rec->value.string.length, 0u);
  EXPECT_EQ(rec->value.string.str, nullptr);
  EXPECT_EQ(NameOf(rec.get()), u"v");
}

TEST(WrapperReference, NullReferenceReadsAsNothingAndRefusesWrites) {
  AZxvReference none = AZxvListReference().at(0);
  ASSERT_TRUE(none.isNull());
  EXPECT_EQ(none.type(), T::Null);
  ExpectLogicError([&] { none = 5; }, kParameter);
  ExpectLogicError([&] { none.value().getInt(); }, kConversion);
  EXPECT_TRUE(none.name().isNull());
  EXPECT_TRUE(none[u"x"].isNull());
  EXPECT_TRUE(none.attribute(u"x").isNull());
  none.erase();
  AZxVariant some(1);
  EXPECT_FALSE(none.assign(some));
  EXPECT_FALSE(some.assign(none));
  EXPECT_NE(some.compare(none), 0);
}

TEST(WrapperReference, IndexingByANameNamesTheRecord) {
  Loose rec = NewLoose(T::Int);
  AZxvReference ref(rec.get());
  EXPECT_EQ(Rec(ref[u"alpha"]), rec.get());
  EXPECT_EQ(NameOf(rec.get()), u"alpha");
  ref[u""];
  EXPECT_FALSE(ref.name(nullptr));
  EXPECT_EQ(NameOf(rec.get()), u"alpha");
  ASSERT_TRUE(ref.name(SmartWcharPtr(rec->name.str, 3)));  // from its own name
  EXPECT_EQ(NameOf(rec.get()), u"alp");
}

TEST(WrapperReference, AssignCopiesNameAndValueButNotAttributes) {
  AZxVariant a(u"a", u"text"), b(u"b", 5), c(u"c", u"other");
  a.attribute(u"unit") = u"tcp";
  b.attribute(u"extra") = 1;
  ASSERT_TRUE(a.assign(b));
  EXPECT_EQ(NameOf(a), u"b");
  EXPECT_TRUE(a.value() == 5);
  ASSERT_EQ(Rec(a)->attributes.count, 1u);  // its own, kept
  EXPECT_TRUE(a.attribute(0).name() == u"unit");
  EXPECT_EQ(Rec(a)->size, 0u);
  AZxvReference alias = a;
  EXPECT_FALSE(a.assign(alias));  // the same record
  ASSERT_TRUE(c.assignName(b));
  EXPECT_TRUE(c.name() == u"b");
  EXPECT_TRUE(c.value() == u"other");
  ASSERT_TRUE(c.assignValue(a));
  EXPECT_TRUE(c.value() == 5);
  ASSERT_TRUE(c.assignName(AZxVariant(9)));  // an unnamed source unnames
  EXPECT_TRUE(c.name().isNull());
  b = 6;
  EXPECT_TRUE(a.value() == 5);  // copies are independent
}

TEST(WrapperReference, AttributesAreFoundIgnoringCaseOrAdded) {
  AZxVariant v(u"port", 443);
  v.attribute(u"unit") = u"tcp";
  AZxvReference again = v.attribute(u"UNIT");
  EXPECT_EQ(Rec(v)->attributes.count, 1u);
  EXPECT_TRUE(again.name() == u"UNIT");  // the name is written into it
  EXPECT_TRUE(v.attribute(0) == again);
  EXPECT_TRUE(v.attribute(1).isNull());
  EXPECT_TRUE(v.attribute(-1).isNull());
  EXPECT_TRUE(std::as_const(v).attribute(u"missing").isNull());  // finds only
  EXPECT_TRUE(v.attribute(u"").isNull());
  EXPECT_EQ(Rec(v)->attributes.count, 1u);
  ZxVariant* nested = appendNodeToAList(&Rec(v)->attributes);
  nested->type = T::List;
  setZxVariantName(nested, u"nested");
  ExpectLogicError([&] { v.attribute(u"NESTED"); }, kConversion);
  ExpectLogicError([&] { std::as_const(v).attribute(1); }, kConversion);
}

TEST(WrapperReference, AttributeLookupDropsCharactersOfAnotherLength) {
  AZxVariant v(u"v", 1);
  v.attribute(u"unit") = u"ab";  // 2 characters, the name has 4
  AZxvReference unit = v.attribute(u"Unit");
  EXPECT_EQ(unit.type(), T::String);
  EXPECT_EQ(Rec(unit)->value.string.length, 0u);  // an empty String, not a dangling count
  EXPECT_EQ(Rec(unit)->value.string.str, nullptr);
  unit = u"abcd";  // as long as the name: kept
  EXPECT_TRUE(v.attribute(u"UNIT").value() == u"abcd");
}

TEST(WrapperReference, CompareFollowsCompareAZxVariant) {
  AZxVariant a(u"n", 5), b(u"N", 5), c(u"n", 6), d(u"n", 5LL);
  EXPECT_TRUE(a == b);
  EXPECT_EQ(a.compare(c), 2);
  EXPECT_EQ(a.compare(d), -1);
  a.attribute(u"x") = 1;
  EXPECT_EQ(a.compare(b), -3);
  b.attribute(u"x") = 1;
  EXPECT_FALSE(a == b);  // kept: records that both carry attributes never match...
  AZxvReference self = a;
  EXPECT_TRUE(a == self);  // ...but a record always equals itself
  a.erase();
  EXPECT_EQ(a.type(), T::Null);
  EXPECT_TRUE(a.name().isNull());
  EXPECT_EQ(Rec(a)->attributes.items, nullptr);
}

// ---- AZxvariantName and AZxVariantValue ------------------------------------------

TEST(WrapperViews, NameComparesExactlyOrIgnoringCase) {
  AZxVariant v(u"Port", 1);
  AZxvariantName name = v.name();
  EXPECT_EQ(name.length(), 4u);
  EXPECT_EQ(std::u16string(name.cStr()), u"Port");
  const unsigned short port[] = {'P', 'o', 'r', 't', 0};
  EXPECT_TRUE(name == u"Port");
  EXPECT_TRUE(name == port);
  EXPECT_TRUE(name == "Port");
  EXPECT_FALSE(name == u"PORT");  // exact here, unlike the lookups
  EXPECT_EQ(name.compare(u"PORT", false), 0);
  EXPECT_EQ(name.compare(u"PORT", true), 1);
  EXPECT_EQ(name.compare("Ports", true), -1);
  AZxvariantName none(nullptr);
  EXPECT_TRUE(none.isNull() && none.empty());
  EXPECT_EQ(none.compare(nullptr, true), 0);
  EXPECT_EQ(none.compare(u"a", true), -1);
}

TEST(WrapperViews, GettersCheckTheType) {
  AZxVariant i(u"i", 42);
  AZxVariantValue value = i.value();
  int converted = value;
  EXPECT_EQ(converted, 42);
  ExpectLogicError([&] { value.getString(); }, kConversion);
  ExpectLogicError([&] { value.getInt64(); }, kConversion);
  ExpectLogicError([&] { double d = value; (void)d; }, kConversion);
  ExpectLogicError([] { AZxVariantValue(nullptr).getBool(); }, kConversion);
  EXPECT_TRUE(AZxVariantValue(nullptr).isNull());
  EXPECT_TRUE(AZxVariant(true).value().getBool());
  EXPECT_EQ(AZxVariant(0.25).value().getFloat(), 0.25);
  SmartWcharPtr empty = AZxVariant(u"s", u"").value();
  ASSERT_FALSE(empty.isNull());  // a String is never read as null text
  EXPECT_EQ(std::u16string(empty.get()), u"");
  AZxVariant list(u"l", T::List);
  EXPECT_EQ(list.value().getList().size(), 0);
}

TEST(WrapperViews, StringCompareKeepsItsNullRule) {
  AZxVariant empty(u"e", u""), abc(u"s", u"abc");
  EXPECT_EQ(empty.value().compare(nullptr, true), 0);
  EXPECT_EQ(empty.value().compare(u"", true), -1);
  EXPECT_EQ(empty.value().compare(u"x", false), -1);
  EXPECT_EQ(abc.value().compare(nullptr, false), -1);
  EXPECT_EQ(abc.value().compare(u"ABC", true), 1);
  EXPECT_EQ(abc.value().compare(u"ABC", false), 0);
  EXPECT_EQ(abc.value().compare(u"ab", true), 1);
  EXPECT_EQ(abc.value().compare("abd", true), -1);
  ExpectLogicError([] { AZxVariant(5).value().compare(u"5", true); }, kConversion);
}

TEST(WrapperViews, EqualityNeedsTypeAndValue) {
  AZxVariant five(5), big(1LL << 40), text(u"t", u"Caf\u00E9");
  EXPECT_TRUE(five.value() == 5);
  EXPECT_FALSE(five.value() == 5LL);
  EXPECT_FALSE(five.value() == 5.0);
  EXPECT_TRUE(big.value() == (1LL << 40));
  EXPECT_TRUE(AZxVariant(false).value() == false);
  EXPECT_TRUE(text.value() == u"Caf\u00E9");
  EXPECT_FALSE(text.value() == u"caf\u00E9");
  EXPECT_TRUE(text.value() == "Caf\xC3\xA9");
  AZxVariant buffer(static_cast<const ZxVariant*>(
      NameValuePair(u"b", const_cast<char*>("abc"), 3)));
  ZxVariant::Buffer same{3, 0, "abc"}, other{3, 0, "abd"}, shorter{2, 0, "abc"};
  EXPECT_TRUE(buffer.value() == same);
  EXPECT_FALSE(buffer.value() == other);
  EXPECT_FALSE(buffer.value() == shorter);
}

TEST(WrapperViews, ReadUnalignedFlatRecords) {
  ZxvList* root = NewList(u"root");
  root->Append(NewBuffer(u"b", "odd", 3));  // leaves what follows at an odd address
  root->Append(NewString(u"Text", u"value", 0));
  Flat flat = Build(root);
  AZxvReference text = AZxvListReference(flat.get()).at(1);
  ASSERT_NE(reinterpret_cast<std::uintptr_t>(Rec(text)->name.str) % 2, 0u);
  EXPECT_TRUE(text.name() == u"Text");
  EXPECT_EQ(text.name().compare(u"TEXT", false), 0);
  EXPECT_EQ(std::u16string(text.value().getString().get()), u"value");
  EXPECT_TRUE(text.value() == u"value");
  EXPECT_TRUE(AZxVariant(static_cast<const ZxVariant*>(text)) == text);
}

// ---- AZxVariant -------------------------------------------------------------------

TEST(WrapperOwning, ConstructorsBuildTheRecord) {
  AZxVariant named(u"only");  // a lone string names the record
  EXPECT_EQ(named.type(), T::Null);
  EXPECT_TRUE(named.name() == u"only");
  EXPECT_TRUE(AZxVariant("na\xC3\xAFve").name() == u"na\u00EFve");
  const unsigned short units[] = {'u', 0};
  struct Case { AZxVariant v; T type; } cases[] = {
      {AZxVariant(), T::Null},              {AZxVariant(true), T::Bool},
      {AZxVariant(u"i", 1), T::Int},        {AZxVariant(u"l", 1LL), T::Int64},
      {AZxVariant(u"f", 1.0), T::Float},    {AZxVariant(u"s", u"x"), T::String},
      {AZxVariant(u"u", units), T::String}, {AZxVariant(u"n", "x"), T::String},
      {AZxVariant(T::Buffer), T::Buffer},   {AZxVariant(u"list", T::List), T::List}};
  for (const Case& c : cases) {
    EXPECT_EQ(c.v.type(), c.type);
    EXPECT_EQ(Rec(c.v)->size, 0u);
  }
}

TEST(WrapperOwning, ThrowingConstructorsLeakNothing) {
  ExpectLogicError([] { AZxVariant v(u"n", static_cast<const char16_t*>(nullptr)); }, kParameter);
  ExpectLogicError([] { AZxVariant v(u"n", static_cast<const char*>(nullptr)); }, kParameter);
  ExpectLogicError([] { AZxVariant v(u"n", static_cast<T>(9)); }, kParameter);
  ExpectLogicError([] { AZxVariant v(static_cast<const ZxVariant*>(nullptr)); }, kParameter);
  ExpectLogicError([] { AZxVariant v{AZxVariantList().at(0)}; }, kParameter);
}

TEST(WrapperOwning, CopiesFromRecordsTakeNameAndValueOnly) {
  ZxvBase* builder = NewString(u"host", u"example.org", 0);
  builder->AppendAttribute(NewInt(u"weight", 3));
  Flat flat = Build(builder);
  AZxVariant copy(flat.get());
  EXPECT_EQ(Rec(copy)->size, 0u);
  EXPECT_TRUE(copy.name() == u"host");
  EXPECT_TRUE(copy.value() == u"example.org");
  EXPECT_NE(Rec(copy)->value.string.str, flat->value.string.str);
  EXPECT_EQ(Rec(copy)->attributes.count, 0u);
  EXPECT_TRUE(AZxVariant(*flat) == copy);
  Flat list = Build(NewList(u"l"));
  ExpectLogicError([&] { AZxVariant v(list.get()); }, kParameter);
  ExpectLogicError([&] { copy = list.get(); }, kParameter);
  EXPECT_TRUE(copy.value() == u"example.org");  // unchanged by the refusal
}

TEST(WrapperOwning, CopiesAreEqualIndependentAndUnsized) {
  AZxVariant a(u"n", 5), b(u"other", u"text");
  b = a;
  EXPECT_EQ(Rec(a)->size, 0u);
  EXPECT_EQ(Rec(b)->size, 0u);
  EXPECT_TRUE(a == b);
  b = 6;
  EXPECT_TRUE(a.value() == 5);
  AZxVariant& alias = b;
  b = alias;
  EXPECT_TRUE(b.value() == 6);
  a.attribute(u"unit") = u"ms";
  AZxVariant c(a);  // a copy of a wrapper takes the attributes too
  ZxVariant* mine = findNodeInAList(&Rec(c)->attributes, u"unit");
  ASSERT_NE(mine, nullptr);
  EXPECT_NE(mine, findNodeInAList(&Rec(a)->attributes, u"unit"));
  EXPECT_EQ(StringOf(mine), u"ms");
}

TEST(WrapperOwning, MovesLeaveTheSourceEmpty) {
  auto refersToItself = [](const AZxVariant& v) {
    const auto* p = reinterpret_cast<const char*>(Rec(v));
    const auto* o = reinterpret_cast<const char*>(&v);
    return p >= o && p < o + sizeof v;
  };
  AZxVariant a(u"n", u"moved");
  const char16_t* characters = Rec(a)->value.string.str;
  AZxVariant b(std::move(a));
  EXPECT_EQ(Rec(b)->value.string.str, characters);
  EXPECT_TRUE(refersToItself(b));
  EXPECT_EQ(a.type(), T::Null);  // NOLINT: the moved-from state is documented
  AZxVariant c(u"c", u"old");
  c = std::move(b);
  EXPECT_TRUE(c.value() == u"moved" && c.name() == u"n");
  EXPECT_TRUE(refersToItself(c));
  EXPECT_TRUE(b.name().isNull());  // NOLINT
  AZxVariant& alias = c;
  c = std::move(alias);
  EXPECT_TRUE(c.value() == u"moved");
}

TEST(WrapperOwning, AssigningAReferenceCopiesInsteadOfRebinding) {
  Loose rec = NewLoose();
  AZxvReference(rec.get())[u"r"] = 11;
  AZxVariant v(u"v", 1);
  v = AZxvReference(rec.get());
  EXPECT_NE(Rec(v), rec.get());
  EXPECT_TRUE(v.name() == u"r");
  v = 12;  // keeps the name
  EXPECT_TRUE(v.name() == u"r");
  EXPECT_EQ(rec->value.intValue, 11);
  v.attribute(u"inner") = u"value";
  v = v.attribute(u"inner");  // a source under the target
  EXPECT_TRUE(v.name() == u"inner" && v.value() == u"value");
  EXPECT_EQ(Rec(v)->attributes.count, 0u);
}

TEST(WrapperOwning, RegisterValuesSurviveCopies) {
  int target = 0;
  Flat flat = Build(NewRegister(u"r", &target));
  AZxVariant a(flat.get());
  AZxVariant b(a);
  EXPECT_EQ(b.value().getRegister(), &target);
  EXPECT_TRUE(b.name() == u"r");
  AZxVariant s(u"s", u"dropped");
  ASSERT_TRUE(s.assignValue(b));
  EXPECT_EQ(s.value().getRegister(), &target);
}

// ---- pointers -----------------------------------------------------------------------

TEST(WrapperPointers, PointersAllocateForTheCaller) {
  ZxVariant* out = nullptr;
  AZxvPointer p(out);
  Loose owned(out);
  ASSERT_NE(out, nullptr);
  p = 5;
  EXPECT_EQ(out->value.intValue, 5);
  ZxVariant* listOut = nullptr;
  AZxvListPointer l(listOut);
  Loose ownedList(listOut);
  EXPECT_EQ(listOut->type, T::List);
  EXPECT_TRUE(l.pushBack(p));
  AZxvPointer q = p;  // copies the pointer
  EXPECT_EQ(Rec(q), out);
}

TEST(WrapperPointers, AutoPtrFreesOnceAndMoves) {
  static_assert(!std::is_copy_constructible_v<AutoPtr> && !std::is_copy_assignable_v<AutoPtr>);
  AutoPtr a(Build(NewInt(u"x", 1)).release());
  ZxVariant* block = a;
  AutoPtr b(std::move(a));
  EXPECT_EQ(static_cast<ZxVariant*>(a), nullptr);  // NOLINT
  AutoPtr c(Build(NewInt(u"y", 2)).release());
  c = std::move(b);  // frees c's own block
  EXPECT_EQ(static_cast<ZxVariant*>(c), block);
  Flat released(c.release());
  EXPECT_EQ(static_cast<ZxVariant*>(c), nullptr);
}

}  // namespace
