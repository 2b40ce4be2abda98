// Converting pointer slots between the pointer form and the zero-based form,
// and between two addresses.
#include <gtest/gtest.h>

#include <functional>
#include <random>

#include "record/format_testing.h"

namespace {

using namespace zxv_format;
using namespace ZxVariantHelper;

// Visits every node of a zero-based block through the entry distances,
// which are measured from the owning node.
void WalkZero(const ZxVariant* z, std::size_t node, const std::function<void(std::size_t)>& visit) {
  visit(node);
  for (std::size_t countAt : {std::size_t{kValue}, std::size_t{kAttrCount}}) {
    if (countAt == kValue && U32(z, node + kType) != 7) continue;
    const std::size_t array = node + U32(z, node + countAt + 8);
    for (std::uint32_t i = 0; i < U32(z, node + countAt); ++i) {
      EXPECT_EQ(U32(z, array + 8 * i + 4), 0u);
      WalkZero(z, node + U32(z, array + 8 * i), visit);
    }
  }
}

TEST(Rebase, ZeroAndBackRestoresEveryByte) {
  Block r = Sample();
  const auto before = Image(r.get());
  RebaseToZero(r.get());
  EXPECT_NE(Image(r.get()), before);
  RebaseFromZero(r.get());
  EXPECT_EQ(Image(r.get()), before);
}

TEST(Rebase, ZeroFormMeasuresEverySlotFromItsOwnNode) {
  ZxvList* list = NewList(u"L");
  list->Append(NewInt(u"a", 1));
  list->Append(NewString(u"b", u"xy", 0))->AppendAttribute(NewInt(u"x", 2));
  list->Append(NewInt(u"c", 3));
  Block r = Lay(list);
  RebaseToZero(r.get());
  // L: header | "L" 4 | entries 24 at 68 | a 68 at 92 | b 150 at 160 | c at 310
  // b: header | "b" 4 | attribute entry at +68 | x at +76 | "xy" at +144
  const std::pair<std::size_t, std::uint64_t> slots[] = {
      {kNameStr, 64},       {kValuePtr, 68},         {68, 92},          {76, 160},         {84, 310},
      {92 + kNext, 68},     {160 + kNext, 150},      {310 + kNext, 0},  {160 + kAttrItems, 68},
      {160 + 68, 76},       {160 + kValuePtr, 144},  {92 + kNameStr, 64}, {160 + kNameStr, 64},
      {236 + kNameStr, 64}, {310 + kNameStr, 64}};
  for (const auto& [at, distance] : slots) EXPECT_EQ(U64(r.get(), at), distance) << at;
}

TEST(Rebase, EveryZeroFormNameIsAt64WithClearHighWords) {
  Block r = Sample();
  RebaseToZero(r.get());
  int nodes = 0;
  WalkZero(r.get(), 0, [&](std::size_t n) {
    ++nodes;
    EXPECT_EQ(U64(r.get(), n + kNameStr), U32(r.get(), n + kNameLen) ? 64u : 0u) << n;
    for (std::size_t slot : {kAttrItems, kNext}) EXPECT_EQ(U32(r.get(), n + slot + 4), 0u);
    const std::uint32_t type = U32(r.get(), n + kType);
    if (type >= 5 && type <= 7) {
      EXPECT_EQ(U32(r.get(), n + kValuePtr + 4), 0u) << n;
    }
  });
  EXPECT_EQ(nodes, 15);
}

TEST(Rebase, MovedBlockFollowsItsNewAddress) {
  Block r = Sample();
  Block moved = RawCopy(r.get()), foreign = RawCopy(r.get());
  Rebase(moved.get(), r.get(), moved.get());
  EXPECT_TRUE(Validate(moved.get()));
  EXPECT_TRUE(IsEqual(r.get(), moved.get()));
  // From a foreign base straight to zero gives the same bytes as from home.
  Rebase(foreign.get(), r.get(), nullptr);
  RebaseToZero(r.get());
  EXPECT_EQ(Image(foreign.get()), Image(r.get()));
}

TEST(Rebase, EqualBasesAndNullRecordChangeNothing) {
  Block r = Sample();
  const auto image = Image(r.get());
  Rebase(r.get(), r.get(), r.get());
  EXPECT_EQ(Image(r.get()), image);
  RebaseToZero(r.get());
  const auto zero = Image(r.get());
  Rebase(r.get(), nullptr, nullptr);
  EXPECT_EQ(Image(r.get()), zero);
  Rebase(nullptr, r.get(), nullptr);
  RebaseToZero(nullptr);
  RebaseFromZero(nullptr);
}

TEST(Rebase, MalformedBlocksStayInsideAndTerminate) {
  // A list whose only entry, and whose next, is the list itself.
  auto* loop = static_cast<ZxVariant*>(std::calloc(72, 1));
  Put32(loop, kSize, 72), Put32(loop, kType, 7), Put32(loop, kValue, 1);
  Put64(loop, kValuePtr, Addr(loop, 64)), Put64(loop, 64, Addr(loop)), Put64(loop, kNext, Addr(loop));
  Rebase(loop, loop, nullptr);
  Rebase(loop, nullptr, loop);
  Delete(loop);
  std::mt19937 rng(7);
  for (int i = 0; i < 2000; ++i) {  // exact-size copies, so ASan sees any overrun
    Block r = Sample();
    if (i % 2) RebaseToZero(r.get());
    for (int k = 0; k < 3; ++k) Raw(r.get())[8 + rng() % (r->size - 8)] = static_cast<unsigned char>(rng());
    Block moved = RawCopy(r.get());
    Rebase(moved.get(), i % 2 ? nullptr : r.get(), i % 2 ? moved.get() : nullptr);
  }
}

TEST(Rebase, HalfAMillionLevelsRoundTrip) {
  constexpr std::size_t kDepth = 500000;
  Block pointer(MakeDeepList(kDepth, false)), zero(MakeDeepList(kDepth, true));
  const auto image = Image(pointer.get());
  RebaseToZero(pointer.get());
  EXPECT_EQ(std::memcmp(pointer.get(), zero.get(), zero->size), 0);
  RebaseFromZero(pointer.get());
  EXPECT_EQ(std::memcmp(pointer.get(), image.data(), image.size()), 0);
}

}  // namespace
