// List utilities: loose records, their lists, comparison and flat layout.
#include <gtest/gtest.h>

#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "record/record_testing.h"
#include "tree/loose_testing.h"
#include "zxvariant/zxvariant.h"

namespace {

using zxv_testing::Flat;
using zxv_testing::Loose;
using zxv_testing::NameOf;
using namespace ZxVariantHelper;
using namespace ZxVariantHelper::BasicUtils;
using T = ZxVariant::TypeCodes;

Loose LooseList(const char16_t* name = nullptr) {
  Loose list = zxv_testing::NewLoose(T::List);
  if (name != nullptr) copyZxVariantName(list.get(), name);
  return list;
}

// Appends an element with `value`'s name and value.
ZxVariant* Add(ZxVariant* list, const NameValuePair& value) {
  ZxVariant* e = appendNodeToAList(list);
  if (value.name() != nullptr) copyZxVariantName(e, value.name());
  copyZxVariantValue(e, value);
  return e;
}

TEST(BasicUtilsLists, FindsByNameIgnoringCaseByIndexAndByIdentity) {
  Loose list = LooseList();
  ZxVariant* host = Add(list.get(), NameValuePair(u"Host", u"a"));
  ZxVariant* unnamed = appendNodeToAList(list.get());
  ZxVariant* port = Add(list.get(), NameValuePair(u"Port", 1));
  ZxVariant* port2 = Add(list.get(), NameValuePair(u"port", 2));
  Add(list.get(), NameValuePair(u"a[", 3));
  const ZxVariant::List* items = &list->value.list;
  ZxVariant *prev = nullptr, *found = nullptr;
  ASSERT_TRUE(findNodeInAList(list.get(), u"PORT", &prev, &found));
  EXPECT_TRUE(found == port && prev == unnamed);
  EXPECT_TRUE(findNodeInAList(items, u"HOST") == host && findNodeInAList(items, u"port", 1u) == port2);
  EXPECT_EQ(findNodeInAList(items, u"port", 2u), nullptr);
  // Only A-Z fold: '[' (0x5B) and '{' (0x7B) differ by 32 but stay distinct.
  for (const char16_t* miss : {u"", static_cast<const char16_t*>(nullptr), u"Por", u"Ports", u"A{"}) {
    EXPECT_EQ(findNodeInAList(items, miss), nullptr);
  }
  // An index above the count fails at once; equal to it or negative walks off the end.
  const struct { int index; ZxVariant* expected; ZxVariant* prev; } cases[] = {
      {0, host, nullptr}, {3, port2, port}, {5, nullptr, nullptr}, {6, nullptr, nullptr}, {-1, nullptr, nullptr}};
  for (const auto& c : cases) {
    prev = found = nullptr;
    EXPECT_EQ(findNodeInAList(list.get(), c.index, &prev, &found), c.expected != nullptr) << c.index;
    EXPECT_TRUE(found == c.expected && prev == c.prev) << c.index;
    EXPECT_TRUE(findNodeInAList(list.get(), c.index) == c.expected && findNodeInAList(items, c.index) == c.expected);
  }
  EXPECT_TRUE(findNodeInAList(list.get(), port, &prev) && prev == unnamed);
  ZxVariant stranger{}, scalar{};
  scalar.type = T::Int;
  EXPECT_FALSE(findNodeInAList(items, &stranger, &prev) || findNodeInAList(&scalar, u"x", nullptr, nullptr));
  EXPECT_TRUE(appendNodeToAList(&scalar) == nullptr && prependNodeToAList(&scalar) == nullptr);
}

TEST(BasicUtilsLists, EditingKeepsCountAndFirstSlotInStep) {
  Loose list = LooseList();
  ZxVariant* only = appendNodeToAList(list.get());
  EXPECT_FALSE(deleteNodeFromAList(list.get(), only, only));  // wrong predecessor
  ASSERT_TRUE(deleteNodeFromAList(list.get(), nullptr, only));
  EXPECT_TRUE(list->value.list.count == 0u && list->value.list.items == nullptr);
  ZxVariant* b = prependNodeToAList(list.get());
  ZxVariant* a = prependNodeToAList(list.get());
  auto* mid = static_cast<ZxVariant*>(std::calloc(1, sizeof(ZxVariant)));
  EXPECT_FALSE(insertNodeInAList(list.get(), mid, a, nullptr));
  ASSERT_TRUE(insertNodeInAList(list.get(), mid, a, b));
  auto* tail = static_cast<ZxVariant*>(std::calloc(1, sizeof(ZxVariant)));
  ASSERT_TRUE(appendNodeToAList(list.get(), tail, b));
  const ZxVariant* order[] = {a, mid, b, tail};
  for (int i = 0; i < 4; ++i) EXPECT_EQ(findNodeInAList(list.get(), i), order[i]) << i;
  EXPECT_TRUE(list->value.list.count == 4u && getZxVariantCount(list.get()) == 5u);
  // By name the record form frees the emptied first slot; the bare-list form keeps it, on purpose.
  Loose holder = LooseList();
  Add(holder.get(), NameValuePair(u"x", 1));
  EXPECT_TRUE(deleteNodeFromAList(holder.get(), u"X") && holder->value.list.items == nullptr);
  Add(holder.get(), NameValuePair(u"x", 1));
  EXPECT_TRUE(deleteNodeFromAList(&holder->value.list, u"X") && holder->value.list.count == 0u);
  EXPECT_TRUE(holder->value.list.items != nullptr && !deleteNodeFromAList(&holder->value.list, u"X"));
  EXPECT_TRUE(appendNodeToAList(&holder->value.list) != nullptr && holder->value.list.count == 1u);
}

TEST(BasicUtilsCopy, ValueCopyFollowsTheType) {
  int regValue = 0;
  const struct { ZxvBase* builder; bool ok; } cases[] = {
      {NewNull(u"n"), true}, {NewBool(u"b", true), true}, {NewInt(u"i", -7), true},
      {NewFloat(u"f", 2.5), true}, {NewInt64(u"l", 1LL << 40), true}, {NewBuffer(u"buf", "xyz", 3), true},
      {NewString(u"s", u"8 units!", 0), true},  // as long as the old text: its block is reused
      {NewRegister(u"r", &regValue), false}, {NewList(u"list"), false}};
  for (const auto& c : cases) {
    Flat flat = zxv_testing::BuildFlat(c.builder);
    Loose dst = zxv_testing::NewLoose(T::Null);
    copyZxVariantValue(dst.get(), NameValuePair(u"old", u"previous"));  // replaced, not leaked
    EXPECT_EQ(copyZxVariantValue(dst.get(), flat.get()), c.ok) << int(flat->type);
    EXPECT_TRUE(dst->type == flat->type && dst->size == flat->size) << int(flat->type);
    if (!c.ok) continue;
    EXPECT_EQ(compareZxVariantValue(dst.get(), flat.get()), 0) << int(flat->type);
    // Text and bytes are the copy's own (scalars leave the data pointer slot 0).
    EXPECT_TRUE(flat->value.buffer.data == nullptr || dst->value.buffer.data != flat->value.buffer.data);
  }
}

TEST(BasicUtilsCopy, NameCopyKeepsItsValueQuirkAndSetNameLooksOnlyAtTheName) {
  Loose dst = zxv_testing::NewLoose(T::Null);
  copyZxVariantValue(dst.get(), NameValuePair(u"n", u"abc"));
  // A value block whose count differs from the new name's length is dropped...
  ASSERT_TRUE(copyZxVariantName(dst.get(), u"three"));
  EXPECT_TRUE(dst->value.string.str == nullptr && NameOf(dst.get()) == u"three");
  // ... with equal counts the value stays and the name block is reused,
  copyZxVariantValue(dst.get(), NameValuePair(u"n", u"vwxyz"));
  const char16_t* block = dst->name.str;
  ASSERT_TRUE(copyZxVariantName(dst.get(), u"FIVE5"));
  EXPECT_TRUE(dst->name.str == block && NameOf(dst.get()) == u"FIVE5");
  // ... unless it is too small: then it is replaced, not overrun.
  copyZxVariantValue(dst.get(), NameValuePair(u"n", u"sixsix"));
  ASSERT_TRUE(copyZxVariantName(dst.get(), u"SIXSIX"));
  EXPECT_TRUE(NameOf(dst.get()) == u"SIXSIX" && std::u16string(dst->value.string.str) == u"sixsix");
  EXPECT_FALSE(copyZxVariantName(dst.get(), u"") || copyZxVariantName(nullptr, u"x"));
  // setZxVariantName never touches the value; the same length reuses the name block.
  const char16_t* characters = dst->value.string.str;
  block = dst->name.str;
  ASSERT_TRUE(setZxVariantName(dst.get(), u"sixsix"));
  EXPECT_TRUE(dst->name.str == block && NameOf(dst.get()) == u"sixsix");
  ASSERT_TRUE(setZxVariantName(dst.get(), u"a much longer name"));
  EXPECT_TRUE(NameOf(dst.get()) == u"a much longer name" && dst->name.str[dst->name.length] == 0);
  // The name may come from the record's own name block.
  ASSERT_TRUE(setZxVariantName(dst.get(), dst->name.str + 14));
  EXPECT_EQ(NameOf(dst.get()), u"name");
  EXPECT_FALSE(setZxVariantName(dst.get(), u"") || setZxVariantName(dst.get(), nullptr) ||
               setZxVariantName(nullptr, u"x"));
  EXPECT_TRUE(NameOf(dst.get()) == u"name" && dst->value.string.str == characters &&
              std::u16string(characters) == u"sixsix");
}

TEST(BasicUtilsCompare, ResultsForEachDifference) {
  NameValuePair a(u"Port", 1), sameIgnoringCase(u"PORT", 1), otherName(u"Host", 1),
      otherValue(u"Port", 2), otherType(u"Port", 1LL);
  EXPECT_EQ((std::vector<int>{compareZxVariant(nullptr, nullptr), compareZxVariant(nullptr, a),
                              compareZxVariant(a, nullptr), compareZxVariant(a, otherType),
                              compareSimpleZxVariant(a, sameIgnoringCase), compareSimpleZxVariant(a, otherName),
                              compareSimpleZxVariant(a, otherValue), compareZxVariantName(otherName, a),
                              compareZxVariantName(a, u"pORT")}),
            (std::vector<int>{0, 1, 1, -1, 0, 1, 2, -1, 0}));
  EXPECT_FALSE(compareZxVariantDataType(a, otherType));
  // Attributes: one side only gives -3; matching ones still add 1.
  Loose x(copyZxVariant(a)), y(copyZxVariant(a));
  appendNodeToAList(&x->attributes, copyZxVariant(NameValuePair(u"unit", u"tcp")));
  EXPECT_EQ(compareAZxVariant(x.get(), y.get()), -3);
  appendNodeToAList(&y->attributes, copyZxVariant(NameValuePair(u"UNIT", u"tcp")));
  EXPECT_EQ(compareAZxVariant(x.get(), y.get()), 1);
  // Lists compare attributes then children, ignoring their own names.
  Loose l1 = LooseList(u"one"), l2 = LooseList(u"two");
  Add(l1.get(), NameValuePair(u"k", u"v"));
  Add(l2.get(), NameValuePair(u"k", u"v"));
  EXPECT_EQ(compareZxVariant(l1.get(), l2.get()), 0);
  Add(l2.get(), NameValuePair(u"k", u"v"));
  EXPECT_EQ(compareZxVariant(l1.get(), l2.get()), 1);
  EXPECT_EQ(findElementInAList(l2.get(), NameValuePair(u"K", u"v"), 1, nullptr), findNodeInAList(l2.get(), 1));
}

TEST(ZxvToAny, EqualityRuleAndTypedReads) {
  NameValuePair i1(u"", 5), i2(u"", 5), s1(u"", u"same"), s2(u"", u"same");
  Loose list1 = LooseList(), list2 = LooseList();
  const ZxvToAny complex = ZxvToAny::ComplexZxv, none = ZxvToAny::NullZxv;
  EXPECT_TRUE(i1.value() == i2.value());   // headers byte for byte equal
  EXPECT_FALSE(s1.value() == s2.value());  // pointers differ, on purpose
  EXPECT_TRUE(s1.value() == s1.value() && complex == ZxvToAny(list1.get()) && ZxvToAny(list1.get()) == complex);
  EXPECT_FALSE(ZxvToAny(list1.get()) == ZxvToAny(list2.get()) || complex == i1.value() || none == i1.value());
  EXPECT_TRUE(none != complex && complex.getType() == T::List && none.getType() == T::Null);
  EXPECT_TRUE(static_cast<int>(i1.value()) == 5 && static_cast<long long>(i1.value()) == 0);  // mismatch: 0
  EXPECT_TRUE(static_cast<char16_t*>(complex) == nullptr && static_cast<ZxVariant*>(complex) == nullptr);
  EXPECT_EQ(std::u16string(static_cast<char16_t*>(s1.value())), u"same");
}

TEST(NameValuePair, OwnsIndependentCopies) {
  zxv_testing::ExpectLogicError([] { NameValuePair bad(nullptr, 1); }, zxv_testing::kParameter);
  NameValuePair empty(u"e", u"");
  EXPECT_TRUE(static_cast<ZxVariant*>(empty)->value.string.length == 0u &&
              static_cast<ZxVariant*>(empty)->value.string.str == nullptr);
  char bytes[] = {1, 2, 3};
  NameValuePair buffer(u"b", bytes, 3);
  bytes[0] = 9;
  EXPECT_EQ(static_cast<const char*>(static_cast<ZxVariant*>(buffer)->value.buffer.data)[0], 1);
  NameValuePair text(u"name", u"value"), copy(text), assigned(u"other-name", 3.5);
  assigned = text;
  assigned = assigned;
  NameValuePair fromRecord(static_cast<const ZxVariant*>(text));
  EXPECT_TRUE(copy.name() != text.name() && std::u16string(assigned.name()) == u"name");
  for (const NameValuePair* p : {&copy, &assigned, &fromRecord}) EXPECT_EQ(compareAZxVariant(*p, text), 0);
}

TEST(BasicUtilsTransport, RandomRoundTripThroughTheLooseForm) {
  std::mt19937 rng(12345);
  for (int round = 0; round < 300; ++round) {
    Flat original = zxv_testing::BuildFlat(zxt::RandomTree(rng, true));
    // The source of the copy lies at an odd address.
    std::vector<unsigned char> odd(original->size + 1);
    auto* shifted = reinterpret_cast<ZxVariant*>(odd.data() + 1);
    Copy(shifted, original.get(), false, false);
    Loose loose(copyZxVariant(shifted));
    ASSERT_EQ(computeZxVariantSize(loose.get()), original->size) << round;
    EXPECT_EQ(compareZxVariant(loose.get(), shifted), 0) << round;
    EXPECT_EQ(getZxVariantCount(loose.get()), getZxVariantCount(original.get()));
    Flat rebuilt(buildZxVariantForTransport(loose.get(), nullptr));
    EXPECT_TRUE(Validate(rebuilt.get()) && IsEqual(original.get(), rebuilt.get())) << round;
    unsigned int len = 0;
    EXPECT_TRUE(copyZxVariant2Buffer(loose.get(), nullptr, &len) == 0u && len == original->size);
    std::vector<unsigned char> buf(len, 0xAB);
    EXPECT_EQ(copyZxVariant2Buffer(loose.get(), buf.data(), &len), original->size);
    EXPECT_TRUE(IsEqual(original.get(), reinterpret_cast<ZxVariant*>(buf.data()))) << round;
  }
}

TEST(BasicUtilsTransport, BufferProtocolCountingAndUnknownTypeCodes) {
  Loose list = LooseList(u"root");
  Add(list.get(), NameValuePair(u"a", 1));
  Add(list.get(), NameValuePair(u"b", u"xy"));
  EXPECT_EQ(getZxVariantCount(list.get()), 3u);
  const unsigned int size = 64 + 10 + 2 * (8 + 64 + 4) + 6;
  unsigned int len = 0;
  unsigned char small[8] = {};
  EXPECT_TRUE(copyZxVariant2Buffer(list.get(), small, &len) == 0u && len == size);
  EXPECT_EQ(copyZxVariant2Buffer(list.get(), nullptr, nullptr), 0u);
  std::vector<unsigned char> buf(size);
  EXPECT_TRUE(copyZxVariant2Buffer(list.get(), buf.data(), &len) == size && len == size);
  EXPECT_TRUE(Validate(reinterpret_cast<ZxVariant*>(buf.data())));
  Flat first(buildZxVariantForTransport(findNodeInAList(list.get(), 0), nullptr));  // alone, not its sibling
  EXPECT_TRUE(first->size == 64u + 4 && first->next == nullptr);
  EXPECT_TRUE(buildZxVariantForTransport(nullptr, nullptr) == nullptr && getZxVariantCount(nullptr) == 0u);
  // An unknown type code adds only its entry, and laying it out throws before anything is written.
  ZxVariant* odd = appendNodeToAList(list.get());
  odd->type = static_cast<T>(9);
  EXPECT_TRUE(computeZxVariantSize(list.get()) == size + 8 && computeZxVariantSize(odd) == 0u);
  zxv_testing::ExpectLogicError([&] { Flat f(buildZxVariantForTransport(list.get(), nullptr)); }, "Invalid condition");
  std::vector<unsigned char> untouched(size + 8, 0xAB), target = untouched;
  len = size + 8;
  zxv_testing::ExpectLogicError([&] { copyZxVariant2Buffer(list.get(), target.data(), &len); }, "Invalid condition");
  EXPECT_EQ(target, untouched);
}

TEST(BasicUtilsFree, MillionLongAndMillionDeepWithoutRecursion) {
  constexpr unsigned int kN = 1000000;
  Loose wide = LooseList();
  for (ZxVariant *last = nullptr, *e; wide->value.list.count < kN; last = e) {
    ASSERT_TRUE(appendNodeToAList(wide.get(), e = static_cast<ZxVariant*>(std::calloc(1, sizeof(ZxVariant))), last));
  }
  EXPECT_TRUE(wide->value.list.count == kN && getZxVariantCount(wide.get()) == kN + 1);
  wide.reset();
  Loose deep = LooseList(u"top");
  ZxVariant* at = deep.get();
  for (unsigned int i = 0; i < kN; ++i) (at = appendNodeToAList(at))->type = T::List;
  copyZxVariantName(at, u"bottom");
  EXPECT_EQ(getZxVariantCount(deep.get()), kN + 1);
  EXPECT_EQ(computeZxVariantSize(deep.get()), 72u * kN + 64 + 8 + 14);
  Loose copy(copyZxVariant(deep.get()));
  EXPECT_EQ(compareZxVariant(deep.get(), copy.get()), 0);
  Flat flat(buildZxVariantForTransport(copy.get(), nullptr));
  ASSERT_NE(flat, nullptr);
  EXPECT_TRUE(flat->size == 72u * kN + 64 + 8 + 14 && Validate(flat.get()));
}

TEST(BasicUtilsFree, EraseAndClearKeepTheHeader) {
  Loose list = LooseList(u"l");
  ZxVariant* first = Add(list.get(), NameValuePair(u"a", u"text"));
  ZxVariant* second = Add(list.get(), NameValuePair(u"b", 2));
  clearZxVariant(first);
  EXPECT_TRUE(first->type == T::Null && first->name.str == nullptr && first->next == second);  // still linked
  eraseZxVariant(first);
  EXPECT_EQ(first->next, nullptr);
  first->next = second;  // restore the chain for the final release
  EXPECT_EQ(compareZxVariantValue(second, NameValuePair(u"b", 2)), 0);
}

}  // namespace
