// Byte-exact layout of built records: header fields at their offsets, the
// order header -> name -> attributes -> payload, entry arrays, next links.
#include <gtest/gtest.h>

#include "record/format_testing.h"

namespace {

using namespace zxv_format;
using namespace ZxVariantHelper;

bool Zero(const ZxVariant* r, std::size_t from, std::size_t to) {
  for (std::size_t i = from; i < to; ++i)
    if (Raw(r)[i] != 0) return false;
  return true;
}

TEST(Layout, NamedIntAndUnnamedString) {
  Block i = Lay(NewInt(u"a", 5));
  EXPECT_EQ(U32(i.get(), kSize), 68u);
  EXPECT_EQ(U32(i.get(), kType), 3u);
  EXPECT_EQ(U32(i.get(), kNameLen), 1u);
  EXPECT_EQ(U64(i.get(), kNameStr), Addr(i.get(), 64));  // the full 64-bit address
  EXPECT_EQ(U32(i.get(), kValue), 5u);
  EXPECT_TRUE(Zero(i.get(), 12, 16) && Zero(i.get(), 28, 64));
  EXPECT_EQ(std::memcmp(Raw(i.get()) + 64, "a\0\0", 4), 0);

  Block s = Lay(NewString(u"", u"xy", 0));
  EXPECT_EQ(U32(s.get(), kSize), 70u);
  EXPECT_EQ(U32(s.get(), kType), 6u);
  EXPECT_TRUE(Zero(s.get(), 8, 24) && Zero(s.get(), 28, 32) && Zero(s.get(), 40, 64));
  EXPECT_EQ(U32(s.get(), kValue), 2u);
  EXPECT_EQ(U64(s.get(), kValuePtr), Addr(s.get(), 64));
  EXPECT_EQ(std::memcmp(Raw(s.get()) + 64, "x\0y\0\0", 6), 0);
}

TEST(Layout, ScalarValueBytesAtOffset24) {
  const double f = -2.5;
  const struct {
    ZxvBase* builder;
    std::uint32_t type;
    std::uint64_t bits;
    std::size_t width;
  } cases[] = {
      {NewNull(u"n"), 0, 0, 0},
      {NewRegister(u"n", reinterpret_cast<void*>(std::uintptr_t{0x1122334455667788})), 1, 0x1122334455667788u, 8},
      {NewBool(u"n", true), 2, 1, 1},
      {NewInt(u"n", -2), 3, 0xFFFFFFFEu, 4},
      {NewFloat(u"n", f), 4, Get<std::uint64_t>(&f, 0), 8},
      {NewInt64(u"n", -(5LL << 40)), 8, static_cast<std::uint64_t>(-(5LL << 40)), 8},
  };
  for (const auto& c : cases) {
    Block r = Lay(c.builder);
    SCOPED_TRACE(c.type);
    EXPECT_EQ(U32(r.get(), kSize), 68u);
    EXPECT_EQ(U32(r.get(), kType), c.type);
    EXPECT_EQ(std::memcmp(Raw(r.get()) + kValue, &c.bits, c.width), 0);
    EXPECT_TRUE(Zero(r.get(), kValue + c.width, 40));
  }
}

TEST(Layout, ListEntriesFollowHeaderAndChainThroughNext) {
  ZxvList* list = NewList(nullptr);
  for (const char16_t* name : {u"a", u"b", u"c"}) list->Append(NewInt(name, name[0]));
  Block r = Lay(list);
  // header 64 | entries 24 | a 68 | b 68 | c 68
  EXPECT_EQ(r->size, 64u + 24 + 3 * 68);
  EXPECT_EQ(U32(r.get(), kValue), 3u);
  EXPECT_EQ(U64(r.get(), kValuePtr), Addr(r.get(), 64));
  const std::size_t at[] = {88, 156, 224};
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(U64(r.get(), 64 + 8 * i), Addr(r.get(), at[i]));
    EXPECT_EQ(U32(r.get(), at[i] + kValue), static_cast<std::uint32_t>(u'a' + i));
    EXPECT_EQ(U64(r.get(), at[i] + kNext), i < 2 ? Addr(r.get(), at[i + 1]) : 0u);
  }
  EXPECT_EQ(U64(r.get(), kNext), 0u);
}

TEST(Layout, AttributesComeBetweenNameAndPayload) {
  ZxvList* list = NewList(u"L");
  list->AppendAttribute(NewInt(u"x", 7));
  list->AppendAttribute(NewNull(u"y"));
  list->Append(NewInt(u"a", 1));
  Block r = Lay(list);
  // header | "L" 4 | attr entries 16 | x 68 at 84 | y 68 at 152 | entries 8 | a at 228
  EXPECT_EQ(r->size, 64u + 4 + 16 + 68 + 68 + 8 + 68);
  EXPECT_EQ(U32(r.get(), kAttrCount), 2u);
  EXPECT_EQ(U64(r.get(), kAttrItems), Addr(r.get(), 68));
  EXPECT_EQ(U64(r.get(), 68), Addr(r.get(), 84));
  EXPECT_EQ(U64(r.get(), 76), Addr(r.get(), 152));
  EXPECT_EQ(U64(r.get(), 84 + kNext), Addr(r.get(), 152));
  EXPECT_EQ(U64(r.get(), 152 + kNext), 0u);
  EXPECT_EQ(U64(r.get(), 84 + kNameStr), Addr(r.get(), 148));
  EXPECT_EQ(U64(r.get(), kValuePtr), Addr(r.get(), 220));
  EXPECT_EQ(U64(r.get(), 220), Addr(r.get(), 228));
}

TEST(Layout, OddBufferLeavesFollowingNodeAtOddOffset) {
  ZxvList* list = NewList(nullptr);
  list->Append(NewBuffer(nullptr, "\x01\x02\x03", 3));
  list->Append(NewInt(u"i", 9));
  Block r = Lay(list);
  // header | entries 16 | buffer 67 at 80 | int at 147
  EXPECT_EQ(r->size, 64u + 16 + 67 + 68);
  EXPECT_EQ(U64(r.get(), 72), Addr(r.get(), 147));
  EXPECT_EQ(U64(r.get(), 80 + kValuePtr), Addr(r.get(), 144));
  EXPECT_EQ(std::memcmp(Raw(r.get()) + 144, "\x01\x02\x03", 3), 0);
  EXPECT_EQ(U64(r.get(), 80 + kNext), Addr(r.get(), 147));
  EXPECT_EQ(U64(r.get(), 147 + kNameStr), Addr(r.get(), 211));
  EXPECT_EQ(U32(r.get(), 147 + kValue), 9u);
  EXPECT_TRUE(Validate(r.get()));
}

}  // namespace
