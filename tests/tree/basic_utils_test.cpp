// List utilities: loose records, their lists, comparison and flat layout.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "zxvariant/zxvariant.h"
#include "tree/loose_testing.h"

namespace {

using zxv_testing::Loose;
using zxv_testing::Flat;
using namespace ZxVariantHelper;
using namespace ZxVariantHelper::BasicUtils;
using T = ZxVariant::TypeCodes;


Loose NewLooseList(const char16_t* name = nullptr) {
  auto* r = static_cast<ZxVariant*>(std::calloc(1, sizeof(ZxVariant)));
  r->type = T::List;
  if (name != nullptr) copyZxVariantName(r, name);
  return Loose(r);
}

// Appends a named element holding `value`'s value.
ZxVariant* Add(ZxVariant* list, const NameValuePair& value) {
  ZxVariant* e = appendNodeToAList(list);
  if (value.name() != nullptr) copyZxVariantName(e, value.name());
  copyZxVariantValue(e, value);
  return e;
}

std::u16string Name(const ZxVariant* r) {
  return r->name.str ? std::u16string(r->name.str, r->name.length) : u"";
}

TEST(BasicUtilsLists, FindsNamesIgnoringCase) {
  Loose list = NewLooseList();
  ZxVariant* host = Add(list.get(), NameValuePair(u"Host", u"a"));
  appendNodeToAList(list.get());  // unnamed
  ZxVariant* port = Add(list.get(), NameValuePair(u"Port", 1));
  ZxVariant* port2 = Add(list.get(), NameValuePair(u"port", 2));
  ZxVariant* prev = nullptr;
  ZxVariant* found = nullptr;
  ASSERT_TRUE(findNodeInAList(list.get(), u"PORT", &prev, &found));
  EXPECT_EQ(found, port);
  EXPECT_EQ(prev->name.str, nullptr);
  EXPECT_EQ(findNodeInAList(&list->value.list, u"HOST"), host);
  EXPECT_EQ(findNodeInAList(&list->value.list, u"port", 1u), port2);
  EXPECT_EQ(findNodeInAList(&list->value.list, u"port", 2u), nullptr);
  EXPECT_EQ(findNodeInAList(&list->value.list, u""), nullptr);
  EXPECT_EQ(findNodeInAList(&list->value.list, static_cast<const char16_t*>(nullptr)), nullptr);
  EXPECT_EQ(findNodeInAList(&list->value.list, u"Por"), nullptr);
  EXPECT_EQ(findNodeInAList(&list->value.list, u"Ports"), nullptr);
  // Only A-Z fold: '[' (0x5B) and '{' (0x7B) differ by 32 but stay distinct.
  Add(list.get(), NameValuePair(u"a[", 3));
  EXPECT_EQ(findNodeInAList(&list->value.list, u"A{"), nullptr);
  EXPECT_TRUE(deleteNodeFromAList(list.get(), u"HOST"));
  EXPECT_EQ(list->value.list.count, 4u);
  EXPECT_FALSE(deleteNodeFromAList(list.get(), u"HOST"));
}

TEST(BasicUtilsLists, IndexLookupsStopAtTheBounds) {
  Loose list = NewLooseList();
  ZxVariant* e[3];
  for (auto& x : e) x = appendNodeToAList(list.get());
  struct Case { int index; ZxVariant* expected; ZxVariant* prev; } cases[] = {
      {0, e[0], nullptr}, {2, e[2], e[1]}, {3, nullptr, nullptr}, {4, nullptr, nullptr},
      {-1, nullptr, nullptr}};
  for (const Case& c : cases) {
    ZxVariant* prev = reinterpret_cast<ZxVariant*>(1);
    ZxVariant* found = nullptr;
    EXPECT_EQ(findNodeInAList(list.get(), c.index, &prev, &found), c.expected != nullptr) << c.index;
    EXPECT_EQ(findNodeInAList(list.get(), c.index), c.expected) << c.index;
    EXPECT_EQ(findNodeInAList(&list->value.list, c.index), c.expected) << c.index;
    if (c.expected) {
      EXPECT_EQ(prev, c.prev);
    }
  }
  ZxVariant* prev = nullptr;
  EXPECT_TRUE(findNodeInAList(list.get(), e[1], &prev));
  EXPECT_EQ(prev, e[0]);
  ZxVariant stranger{};
  EXPECT_FALSE(findNodeInAList(&list->value.list, &stranger, &prev));
}

TEST(BasicUtilsLists, EditingKeepsCountAndFirstSlotInStep) {
  Loose list = NewLooseList();
  ZxVariant* only = appendNodeToAList(list.get());
  EXPECT_FALSE(deleteNodeFromAList(list.get(), only, only));  // wrong predecessor
  ASSERT_TRUE(deleteNodeFromAList(list.get(), nullptr, only));
  EXPECT_EQ(list->value.list.count, 0u);
  EXPECT_EQ(list->value.list.items, nullptr);
  ZxVariant* b = appendNodeToAList(list.get());
  ASSERT_NE(list->value.list.items, nullptr);
  ZxVariant* a = prependNodeToAList(list.get());
  auto* mid = static_cast<ZxVariant*>(std::calloc(1, sizeof(ZxVariant)));
  EXPECT_FALSE(insertNodeInAList(list.get(), mid, a, nullptr));
  ASSERT_TRUE(insertNodeInAList(list.get(), mid, a, b));
  EXPECT_EQ(findNodeInAList(list.get(), 0), a);
  EXPECT_EQ(findNodeInAList(list.get(), 1), mid);
  EXPECT_EQ(findNodeInAList(list.get(), 2), b);
  EXPECT_EQ(list->value.list.count, 3u);
  auto* tail = static_cast<ZxVariant*>(std::calloc(1, sizeof(ZxVariant)));
  ASSERT_TRUE(appendNodeToAList(list.get(), tail, b));
  EXPECT_EQ(getZxVariantCount(list.get()), 5u);
  // The bare-list form by name keeps the emptied first-slot block on purpose.
  Loose holder = NewLooseList();
  Add(holder.get(), NameValuePair(u"x", 1));
  EXPECT_TRUE(deleteNodeFromAList(&holder->value.list, u"X"));
  EXPECT_EQ(holder->value.list.count, 0u);
  EXPECT_NE(holder->value.list.items, nullptr);
  EXPECT_NE(appendNodeToAList(&holder->value.list), nullptr);
  EXPECT_EQ(holder->value.list.count, 1u);
  // Records that are not Lists are refused.
  ZxVariant scalar{};
  scalar.type = T::Int;
  EXPECT_EQ(appendNodeToAList(&scalar), nullptr);
  EXPECT_EQ(prependNodeToAList(&scalar), nullptr);
  EXPECT_FALSE(findNodeInAList(&scalar, u"x", nullptr, nullptr));
}

TEST(BasicUtilsCopy, ValueCopyFollowsTheType) {
  int regValue = 0;
  struct Case { ZxvBase* builder; bool ok; } cases[] = {
      {NewNull(u"n"), true}, {NewBool(u"b", true), true}, {NewInt(u"i", -7), true},
      {NewFloat(u"f", 2.5), true}, {NewInt64(u"l", 1LL << 40), true},
      {NewBuffer(u"buf", "xyz", 3), true}, {NewString(u"s", u"text", 0), true},
      {NewRegister(u"r", &regValue), false}, {NewList(u"list"), false}};
  for (const Case& c : cases) {
    Flat flat(c.builder->BuildNewZxVariant(nullptr));
    ZxVariantHelper::Delete(c.builder);
    Loose dst(static_cast<ZxVariant*>(std::calloc(1, sizeof(ZxVariant))));
    copyZxVariantValue(dst.get(), NameValuePair(u"old", u"previous"));  // replaced, not leaked
    EXPECT_EQ(copyZxVariantValue(dst.get(), flat.get()), c.ok) << int(flat->type);
    EXPECT_EQ(dst->type, flat->type);
    if (!c.ok) continue;
    EXPECT_EQ(compareZxVariantValue(dst.get(), flat.get()), 0) << int(flat->type);
    if (flat->type == T::String || flat->type == T::Buffer) {
      EXPECT_NE(dst->value.buffer.data, flat->value.buffer.data);
    }
  }
}

TEST(BasicUtilsCopy, NameCopyKeepsItsBufferHandling) {
  // A value block whose count differs from the new name's length is dropped.
  NameValuePair value(u"n", u"abc");
  Loose dst(static_cast<ZxVariant*>(std::calloc(1, sizeof(ZxVariant))));
  copyZxVariantValue(dst.get(), value);
  ASSERT_TRUE(copyZxVariantName(dst.get(), u"three"));
  EXPECT_EQ(dst->value.string.str, nullptr);
  EXPECT_EQ(Name(dst.get()), u"three");
  // With equal counts the value stays and the name block is reused.
  copyZxVariantValue(dst.get(), NameValuePair(u"n", u"vwxyz"));
  const char16_t* block = dst->name.str;
  ASSERT_TRUE(copyZxVariantName(dst.get(), u"FIVE5"));
  EXPECT_EQ(dst->name.str, block);
  EXPECT_EQ(Name(dst.get()), u"FIVE5");
  EXPECT_EQ(std::u16string(dst->value.string.str), u"vwxyz");
  EXPECT_FALSE(copyZxVariantName(dst.get(), u""));
  EXPECT_FALSE(copyZxVariantName(nullptr, u"x"));
}

TEST(BasicUtilsCopy, SetNameLooksOnlyAtTheName) {
  // Unlike copyZxVariantName, the value is never touched.
  NameValuePair value(u"n", u"abc");
  Loose dst(static_cast<ZxVariant*>(std::calloc(1, sizeof(ZxVariant))));
  copyZxVariantValue(dst.get(), value);
  const char16_t* characters = dst->value.string.str;
  ASSERT_TRUE(setZxVariantName(dst.get(), u"three"));
  EXPECT_EQ(dst->value.string.str, characters);
  EXPECT_EQ(Name(dst.get()), u"three");
  // A name of the same length reuses the block; another length replaces it.
  const char16_t* block = dst->name.str;
  ASSERT_TRUE(setZxVariantName(dst.get(), u"THREE"));
  EXPECT_EQ(dst->name.str, block);
  EXPECT_EQ(Name(dst.get()), u"THREE");
  ASSERT_TRUE(setZxVariantName(dst.get(), u"a much longer name"));
  EXPECT_EQ(Name(dst.get()), u"a much longer name");
  EXPECT_EQ(dst->name.str[dst->name.length], 0);
  // The name may come from the record's own name block.
  ASSERT_TRUE(setZxVariantName(dst.get(), dst->name.str + 7));
  EXPECT_EQ(Name(dst.get()), u"longer name");
  ASSERT_TRUE(setZxVariantName(dst.get(), dst->name.str + 7));
  EXPECT_EQ(Name(dst.get()), u"name");
  // Refusals keep the old name.
  EXPECT_FALSE(setZxVariantName(dst.get(), u""));
  EXPECT_FALSE(setZxVariantName(dst.get(), nullptr));
  EXPECT_FALSE(setZxVariantName(nullptr, u"x"));
  EXPECT_EQ(Name(dst.get()), u"name");
  EXPECT_EQ(std::u16string(dst->value.string.str), u"abc");
}

TEST(BasicUtilsCompare, ResultsForEachDifference) {
  NameValuePair a(u"Port", 1), sameIgnoringCase(u"PORT", 1), otherName(u"Host", 1),
      otherValue(u"Port", 2), otherType(u"Port", 1LL);
  EXPECT_EQ(compareZxVariant(nullptr, nullptr), 0);
  EXPECT_EQ(compareZxVariant(nullptr, a), 1);
  EXPECT_EQ(compareZxVariant(a, nullptr), 1);
  EXPECT_EQ(compareZxVariant(a, otherType), -1);
  EXPECT_EQ(compareSimpleZxVariant(a, sameIgnoringCase), 0);
  EXPECT_EQ(compareSimpleZxVariant(a, otherName), 1);
  EXPECT_EQ(compareSimpleZxVariant(a, otherValue), 2);
  EXPECT_EQ(compareZxVariantName(otherName, a), -1);
  EXPECT_EQ(compareZxVariantName(a, u"pORT"), 0);
  EXPECT_FALSE(compareZxVariantDataType(a, otherType));
  // Attributes: one side only gives -3; matching ones still add 1.
  Loose x(copyZxVariant(a)), y(copyZxVariant(a));
  appendNodeToAList(&x->attributes, copyZxVariant(NameValuePair(u"unit", u"tcp")));
  EXPECT_EQ(compareAZxVariant(x.get(), y.get()), -3);
  appendNodeToAList(&y->attributes, copyZxVariant(NameValuePair(u"UNIT", u"tcp")));
  EXPECT_EQ(compareAZxVariant(x.get(), y.get()), 1);
  // Lists compare attributes then children, ignoring their own names.
  Loose l1 = NewLooseList(u"one"), l2 = NewLooseList(u"two");
  Add(l1.get(), NameValuePair(u"k", u"v"));
  Add(l2.get(), NameValuePair(u"k", u"v"));
  EXPECT_EQ(compareZxVariant(l1.get(), l2.get()), 0);
  Add(l2.get(), NameValuePair(u"k", u"v"));
  EXPECT_EQ(compareZxVariant(l1.get(), l2.get()), 1);
  EXPECT_EQ(findElementInAList(l2.get(), NameValuePair(u"K", u"v"), 1, nullptr),
            findNodeInAList(l2.get(), 1));
}

TEST(ZxvToAny, EqualityRule) {
  NameValuePair i1(u"", 5), i2(u"", 5);
  NameValuePair s1(u"", u"same"), s2(u"", u"same");
  Loose list1 = NewLooseList(), list2 = NewLooseList();
  EXPECT_TRUE(i1.value() == i2.value());  // headers byte for byte equal
  EXPECT_FALSE(s1.value() == s2.value());  // pointers differ
  EXPECT_TRUE(s1.value() == s1.value());
  EXPECT_TRUE(ZxvToAny::ComplexZxv == ZxvToAny(list1.get()));
  EXPECT_TRUE(ZxvToAny(list1.get()) == ZxvToAny::ComplexZxv);
  EXPECT_FALSE(ZxvToAny(list1.get()) == ZxvToAny(list2.get()));
  EXPECT_FALSE(ZxvToAny::ComplexZxv == i1.value());
  EXPECT_FALSE(ZxvToAny::NullZxv == i1.value());
  EXPECT_TRUE(ZxvToAny::NullZxv != ZxvToAny::ComplexZxv);
  EXPECT_EQ(ZxvToAny::ComplexZxv.getType(), T::List);
  EXPECT_EQ(ZxvToAny::NullZxv.getType(), T::Null);
  EXPECT_EQ(static_cast<int>(i1.value()), 5);
  EXPECT_EQ(static_cast<long long>(i1.value()), 0);  // type mismatch reads as 0
  EXPECT_EQ(static_cast<char16_t*>(ZxvToAny::ComplexZxv), nullptr);
  EXPECT_EQ(static_cast<ZxVariant*>(ZxvToAny::ComplexZxv), nullptr);
  EXPECT_EQ(std::u16string(static_cast<char16_t*>(s1.value())), u"same");
}

TEST(NameValuePair, OwnsIndependentCopies) {
  try {
    NameValuePair bad(nullptr, 1);
    FAIL() << "a null name must throw";
  } catch (const std::logic_error& e) {
    EXPECT_STREQ(e.what(), "Invalid parameter");
  }
  NameValuePair empty(u"e", u"");
  EXPECT_EQ(static_cast<ZxVariant*>(empty)->value.string.length, 0u);
  EXPECT_EQ(static_cast<ZxVariant*>(empty)->value.string.str, nullptr);
  char bytes[] = {1, 2, 3};
  NameValuePair buffer(u"b", bytes, 3);
  bytes[0] = 9;
  EXPECT_EQ(static_cast<const char*>(static_cast<ZxVariant*>(buffer)->value.buffer.data)[0], 1);
  NameValuePair text(u"name", u"value");
  NameValuePair copy(text);
  EXPECT_NE(copy.name(), text.name());
  EXPECT_EQ(compareAZxVariant(copy, text), 0);
  NameValuePair assigned(u"other-name", 3.5);
  assigned = text;
  assigned = assigned;
  EXPECT_EQ(std::u16string(assigned.name()), u"name");
  EXPECT_EQ(compareAZxVariant(assigned, text), 0);
  NameValuePair fromRecord(static_cast<const ZxVariant*>(text));
  EXPECT_EQ(compareAZxVariant(fromRecord, text), 0);
}

// ---- transport and round trips -------------------------------------------------

ZxvBase* RandomTree(std::mt19937& rng, int depth) {
  static const char16_t* names[] = {u"", u"a", u"Name", u"long-name-x"};
  const char16_t* name = names[rng() % 4];
  int pick = depth > 0 ? rng() % 9 : rng() % 8;
  switch (pick) {
    case 0: return NewNull(name);
    case 1: return NewBool(name, rng() % 2);
    case 2: return NewInt(name, static_cast<int>(rng()));
    case 3: return NewInt64(name, static_cast<long long>(rng()) << 20);
    case 4: return NewFloat(name, rng() / 7.0);
    case 5: { std::string b(rng() % 6, 'q'); return NewBuffer(name, b.data(), static_cast<int>(b.size())); }
    case 6: case 7: return NewString(name, std::u16string(rng() % 5, u'w').c_str(), 0);
    default: {
      ZxvList* list = NewList(name);
      if (rng() % 2) list->AppendAttribute(NewString(u"attr", u"v", 0));
      for (int n = rng() % 4; n > 0; --n) list->Append(RandomTree(rng, depth - 1));
      return list;
    }
  }
}

TEST(BasicUtilsTransport, RandomRoundTripThroughTheLooseForm) {
  std::mt19937 rng(12345);
  for (int round = 0; round < 300; ++round) {
    ZxvBase* builder = RandomTree(rng, 4);
    Flat original(builder->BuildNewZxVariant(nullptr));
    ZxVariantHelper::Delete(builder);
    // The source of the copy lies at an odd address.
    std::vector<unsigned char> odd(original->size + 1);
    auto* shifted = reinterpret_cast<ZxVariant*>(odd.data() + 1);
    ZxVariantHelper::Copy(shifted, original.get(), false, false);
    Loose loose(copyZxVariant(shifted));
    ASSERT_EQ(computeZxVariantSize(loose.get()), original->size);
    EXPECT_EQ(compareZxVariant(loose.get(), shifted), 0);
    Flat rebuilt(buildZxVariantForTransport(loose.get(), nullptr));
    ASSERT_TRUE(Validate(rebuilt.get()));
    EXPECT_TRUE(IsEqual(original.get(), rebuilt.get())) << round;
    unsigned int len = 0;
    EXPECT_EQ(copyZxVariant2Buffer(loose.get(), nullptr, &len), 0u);
    EXPECT_EQ(len, original->size);
    std::vector<unsigned char> buf(len, 0xAB);
    EXPECT_EQ(copyZxVariant2Buffer(loose.get(), buf.data(), &len), original->size);
    EXPECT_TRUE(IsEqual(original.get(), reinterpret_cast<ZxVariant*>(buf.data())));
    EXPECT_EQ(getZxVariantCount(loose.get()), getZxVariantCount(original.get()));
  }
}

TEST(BasicUtilsTransport, BufferProtocolAndCounting) {
  Loose list = NewLooseList(u"root");
  Add(list.get(), NameValuePair(u"a", 1));
  Add(list.get(), NameValuePair(u"b", u"xy"));
  Loose sibling = NewLooseList();
  list->next = sibling.get();
  EXPECT_EQ(getZxVariantCount(list.get()), 4u);
  list->next = nullptr;
  unsigned int len = 0;
  unsigned char small[8] = {};
  EXPECT_EQ(copyZxVariant2Buffer(list.get(), small, &len), 0u);
  unsigned int size = len;
  EXPECT_EQ(size, 64u + 10 + 2 * (8 + 64 + 4) + 6);
  EXPECT_EQ(copyZxVariant2Buffer(list.get(), nullptr, nullptr), 0u);
  std::vector<unsigned char> buf(size);
  EXPECT_EQ(copyZxVariant2Buffer(list.get(), buf.data(), &len), size);
  EXPECT_EQ(len, size);
  EXPECT_TRUE(Validate(reinterpret_cast<ZxVariant*>(buf.data())));
  EXPECT_EQ(buildZxVariantForTransport(nullptr, nullptr), nullptr);
  EXPECT_EQ(getZxVariantCount(nullptr), 0u);
}

TEST(BasicUtilsTransport, UnknownTypeCodes) {
  Loose list = NewLooseList();
  ZxVariant* odd = appendNodeToAList(list.get());
  odd->type = static_cast<T>(9);
  EXPECT_EQ(computeZxVariantSize(list.get()), 64u + 8);  // the child adds only its entry
  EXPECT_EQ(computeZxVariantSize(odd), 0u);
  try {
    Flat flat(buildZxVariantForTransport(list.get(), nullptr));
    FAIL() << "an unknown type must throw";
  } catch (const std::logic_error& e) {
    EXPECT_STREQ(e.what(), "Invalid condition");
  }
}

// ---- freeing and depth -----------------------------------------------------------

TEST(BasicUtilsFree, MillionLongAndMillionDeepWithoutRecursion) {
  constexpr int kN = 1000000;
  Loose wide = NewLooseList();
  ZxVariant* last = nullptr;
  for (int i = 0; i < kN; ++i) {
    auto* e = static_cast<ZxVariant*>(std::calloc(1, sizeof(ZxVariant)));
    ASSERT_TRUE(appendNodeToAList(wide.get(), e, last));
    last = e;
  }
  EXPECT_EQ(wide->value.list.count, unsigned(kN));
  EXPECT_EQ(getZxVariantCount(wide.get()), unsigned(kN) + 1);
  wide.reset();
  Loose deep = NewLooseList();
  ZxVariant* at = deep.get();
  for (int i = 0; i < kN; ++i) {
    at = appendNodeToAList(at);
    at->type = T::List;
  }
  EXPECT_EQ(getZxVariantCount(deep.get()), unsigned(kN) + 1);
  EXPECT_EQ(computeZxVariantSize(deep.get()), 72u * kN + 64);
  deep.reset();
}

TEST(BasicUtilsFree, DeepTreesCopyCompareAndFlatten) {
  Loose deep = NewLooseList(u"top");
  ZxVariant* at = deep.get();
  for (int i = 0; i < 100000; ++i) {
    at = appendNodeToAList(at);
    at->type = T::List;
  }
  copyZxVariantName(at, u"bottom");
  Loose copy(copyZxVariant(deep.get()));
  EXPECT_EQ(compareZxVariant(deep.get(), copy.get()), 0);
  Flat flat(buildZxVariantForTransport(copy.get(), nullptr));
  ASSERT_NE(flat, nullptr);
  EXPECT_TRUE(Validate(flat.get()));
}

TEST(BasicUtilsFree, EraseAndClearKeepTheHeader) {
  Loose list = NewLooseList(u"l");
  ZxVariant* first = Add(list.get(), NameValuePair(u"a", u"text"));
  ZxVariant* second = Add(list.get(), NameValuePair(u"b", 2));
  clearZxVariant(first);
  EXPECT_EQ(first->type, T::Null);
  EXPECT_EQ(first->name.str, nullptr);
  EXPECT_EQ(first->next, second);  // still linked
  eraseZxVariant(first);
  EXPECT_EQ(first->next, nullptr);
  first->next = second;  // restore the chain for the final release
  EXPECT_EQ(compareZxVariantValue(second, NameValuePair(u"b", 2)), 0);
}

}  // namespace
