// The block itself: exact layout bytes, the structural check rule by rule,
// rebasing between forms and addresses, and the whole-record operations.
#include <gtest/gtest.h>

#include <functional>
#include <random>

#include "record/record_testing.h"

namespace {

using namespace zxt;
using Corruption = std::function<void(ZxVariant*)>;

// Offsets of every node of a pointer-form block, attributes before children.
void Nodes(const ZxVariant* b, std::size_t n, std::vector<std::size_t>& out) {
  out.push_back(n);
  for (unsigned i = 0; i < U32(b, n + kAttrCount); ++i) Nodes(b, Attr(b, n, i), out);
  for (unsigned i = 0; U32(b, n + kType) == 7 && i < U32(b, n + kValue); ++i) Nodes(b, Child(b, n, i), out);
}

TEST(Layout, ScalarAndStringBytesAtTheirOffsets) {
  const double f = -2.5;
  const struct { ZxvBase* builder; std::uint32_t type; std::uint64_t bits; std::size_t width; } cases[] = {
      {NewNull(u"a"), 0, 0, 0},        {NewRegister(u"a", kReg), 1, 0x1122334455667788u, 8},
      {NewBool(u"a", true), 2, 1, 1},  {NewInt(u"a", -2), 3, 0xFFFFFFFEu, 4},
      {NewFloat(u"a", f), 4, Get<std::uint64_t>(&f), 8},
      {NewInt64(u"a", -(5LL << 40)), 8, static_cast<std::uint64_t>(-(5LL << 40)), 8}};
  // Every byte: header with the name's full 64-bit address, zero reserved
  // words and unused value bytes, then "a" and its terminator.
  for (const auto& c : cases) {
    Block r = Lay(c.builder);
    std::vector<unsigned char> expected(68, 0);
    Put32(expected.data(), kSize, 68), Put32(expected.data(), kType, c.type), Put32(expected.data(), kNameLen, 1);
    Put64(expected.data(), kNameStr, Addr(r.get(), 64)), expected[64] = 'a';
    std::memcpy(expected.data() + kValue, &c.bits, c.width);
    EXPECT_EQ(Image(r.get()), expected) << c.type;
  }
  Block s = Lay(NewString(u"", u"xy", 0));  // unnamed: length and slot 0
  std::vector<unsigned char> expected(70, 0);
  Put32(expected.data(), kSize, 70), Put32(expected.data(), kType, 6), Put32(expected.data(), kValue, 2);
  Put64(expected.data(), kValuePtr, Addr(s.get(), 64)), expected[64] = 'x', expected[66] = 'y';
  EXPECT_EQ(Image(s.get()), expected);
}

TEST(Layout, NameThenAttributesThenPayloadWithOddOffsets) {
  ZxvList* list = NewList(u"L");
  list->AppendAttribute(NewInt(u"x", 7));
  list->Append(NewBuffer(nullptr, "\x01\x02\x03", 3));
  list->Append(NewInt(u"i", 9));
  Block r = Lay(list);
  // header | "L" 4 | attribute entry at 68 | x at 76 | entries at 144 | buffer at 160 (data 224) | i at 227
  ASSERT_EQ(r->size, 64u + 4 + 8 + 68 + 16 + 67 + 68);
  EXPECT_TRUE(U32(r.get(), kValue) == 2u && U32(r.get(), kAttrCount) == 1u && U32(r.get(), 227 + kValue) == 9u);
  const std::pair<std::size_t, std::size_t> slots[] = {
      {kNameStr, 64}, {kAttrItems, 68}, {68, 76}, {76 + kNameStr, 140}, {76 + kNext, 0}, {kValuePtr, 144},
      {144, 160},     {152, 227},       {160 + kValuePtr, 224}, {160 + kNext, 227}, {227 + kNameStr, 291},
      {227 + kNext, 0}, {kNext, 0}};
  for (const auto& [at, to] : slots) EXPECT_EQ(U64(r.get(), at), to ? Addr(r.get(), to) : 0u) << at;
  EXPECT_EQ(std::memcmp(Raw(r.get()) + 224, "\x01\x02\x03", 3), 0);
  EXPECT_TRUE(Validate(r.get()));
}

TEST(Validate, AcceptsBuiltBlocksAgainstTheirOwnBaseOnly) {
  Block r = Sample(), moved = RawCopy(r.get());
  EXPECT_TRUE(Validate(r.get()) && ValidateAtBase(r.get(), r.get()) && ValidateAtBase(moved.get(), r.get()));
  EXPECT_FALSE(Validate(moved.get()) || ValidateZero(moved.get()) || ValidateAtBase(moved.get(), Raw(r.get()) + 1));
  RebaseToZero(r.get());
  EXPECT_TRUE(ValidateZero(r.get()) && !Validate(r.get()));
  EXPECT_TRUE(Validate(nullptr) && ValidateAtBase(nullptr, r.get()) && ValidateZero(nullptr));
}

TEST(Validate, EachRuleRejectsItsCorruption) {
  Block s = Sample();
  const ZxVariant* b = s.get();
  const std::size_t port = Child(b, 0, 1), host = Child(b, 0, 2), hostAttr = Attr(b, host, 0),
                    blob = Child(b, 0, 0), inner = Child(b, 0, 4), innerAttr = Attr(b, inner, 0),
                    empty = Child(b, inner, 3), last = Child(b, 0, 8), end = b->size,
                    entries = U64(b, kValuePtr) - Addr(b);
  const std::uint32_t innerSize = U32(b, inner);
  const std::uint64_t e0 = U64(b, entries), e1 = U64(b, entries + 8);
  auto set32 = [](std::size_t at, std::uint32_t v) { return Corruption([=](ZxVariant* r) { Put32(r, at, v); }); };
  auto set64 = [](std::size_t at, std::uint64_t v) { return Corruption([=](ZxVariant* r) { Put64(r, at, v); }); };
  auto aim = [](std::size_t at, std::size_t to) { return Corruption([=](ZxVariant* r) { Put64(r, at, Addr(r, to)); }); };
  // A named 68-byte Int retyped into a sound empty List: fine as a child, not as an attribute.
  auto toList = [](std::size_t n) {
    return Corruption([=](ZxVariant* r) { Put32(r, n + kType, 7), Put64(r, n + kValue, 0); });
  };
  // A Buffer whose data swallows its name: a sound node, fine as a child, not as an attribute.
  auto unname = [](std::size_t n) {
    return Corruption([=](ZxVariant* r) {
      Put32(r, n + kValue, U32(r, n + kValue) + 2 * U32(r, n + kNameLen) + 2);
      Put64(r, n + kValuePtr, Addr(r, n + 64)), Put32(r, n + kNameLen, 0), Put64(r, n + kNameStr, 0);
    });
  };
  const std::pair<Corruption, int> cases[] = {
      {set64(kNext, 0xDEADBEEFCAFE), 1}, {toList(port), 1}, {unname(blob), 1},  // a root's next is not looked at
      {toList(hostAttr), 0}, {unname(innerAttr), 0},
      // sizes; names and types
      {set32(kSize, 63), 0}, {set32(kSize, end - 1), 0}, {set32(port, 75), 0}, {set32(port, 73), 0}, {set32(port, 0), 0},
      {set32(inner, innerSize + 1), 0}, {set32(inner, innerSize - 1), 0}, {set32(kNameLen, 0), 0}, {set64(kNameStr, 0), 0},
      {aim(kNameStr, 8), 0}, {set32(port + kNameLen, 0x7FFFFFFF), 0}, {set32(port + kNameLen, 0x80000001), 0},
      {set32(port + kNameLen, 0xFFFFFFFF), 0}, {aim(port + kNameStr, port + 70), 0}, {set32(kType, 9), 0},
      {set32(port + kType, 0xFFFFFFFF), 0}, {set32(hostAttr + kType, 9), 0},
      // payloads
      {set64(blob + kValuePtr, 0), 0}, {aim(blob + kValuePtr, blob + 8), 0}, {aim(blob + kValuePtr, blob + 75), 0},
      {set32(blob + kValue, 0xFFFFFFFF), 0}, {aim(last + kValuePtr, last + 8), 0}, {set64(host + kValuePtr, 0), 0},
      {aim(host + kValuePtr, host), 0}, {set32(host + kValue, 0), 0}, {set32(host + kValue, 0x80000000), 0},
      {set32(host + kValue, 0xFFFFFFFF), 0},
      // entry arrays
      {aim(empty + kValuePtr, empty + 64), 0}, {set32(kValue, 0), 0}, {set32(kValue, 0x20000000), 0},
      {set32(kAttrCount, 0), 0}, {set32(kAttrCount, 0xFFFFFFFF), 0}, {set64(kValuePtr, 0), 0}, {aim(kAttrItems, 8), 0},
      {aim(kValuePtr, end - 4), 0}, {set64(entries, 0), 0}, {aim(entries, 8), 0}, {aim(entries, end - 4), 0},
      {aim(entries, end), 0},
      // entry arrays and next chains must agree: last child's next, count, order
      {aim(last + kNext, port), 0}, {aim(last + kNext, last), 0}, {aim(port + kNext, blob), 0}, {set32(kValue, 8), 0},
      {set32(kValue, 10), 0}, {[=](ZxVariant* r) { Put64(r, entries, e1), Put64(r, entries + 8, e0); }, 0}};
  int i = 0;
  for (const auto& [corrupt, valid] : cases) {
    Block r = Sample();
    corrupt(r.get());
    EXPECT_EQ(Validate(r.get()), valid != 0) << "case " << i++;
  }
  // Zero-based slots are 32-bit distances: a set high word is never valid.
  for (std::size_t slot : {std::size_t{kNameStr}, std::size_t{kValuePtr}, std::size_t{kAttrItems}, port + kNext,
                           host + kNameStr, host + kValuePtr, blob + kValuePtr, entries}) {
    Block z = Sample();
    RebaseToZero(z.get());
    Put32(z.get(), (slot == entries ? U32(z.get(), kValuePtr) : slot) + 4, 1);
    EXPECT_FALSE(ValidateZero(z.get())) << slot;
  }
}

TEST(Validate, ScalarWithAttributeFailsWhileContainersPass) {
  ZxvBase* holders[] = {NewInt(u"a", 5), NewString(u"a", u"t", 0), NewBuffer(u"a", "\x07", 1), NewList(u"a")};
  for (ZxvBase* h : holders) h->AppendAttribute(NewInt(u"x", 1));
  Block scalar = Lay(holders[0]);
  EXPECT_EQ(scalar->size, 144u);         // the builder counts the attribute...
  EXPECT_FALSE(Validate(scalar.get()));  // ...the scalar size rule leaves it out
  for (ZxvBase* h : {holders[1], holders[2], holders[3]}) EXPECT_TRUE(Validate(Lay(h).get()));
}

TEST(Validate, OnlyTheFirstEntryIsCheckedAgainstItsNode) {
  // Zero-based root R {L {A, B}, X}.  L keeps its entry array in its last 8
  // bytes, so entry 1 is the first word of X: X's size 128, which is also
  // L's distance to B.  The next chain proves it, so the block passes.
  Block z(static_cast<ZxVariant*>(std::calloc(416, 1)));
  const std::pair<std::size_t, std::uint64_t> words[] = {
      {0, 416}, {4, 7}, {24, 2}, {32, 64}, {64, 80}, {72, 288},              // R
      {80, 208}, {84, 7}, {104, 2}, {112, 200}, {136, 208}, {280, 64},      // L, its entry 0
      {144, 64}, {200, 64}, {208, 64}, {288, 128}, {296, 31}, {304, 64}};  // A, B, X named 31 units
  for (const auto& [at, v] : words) Put32(z.get(), at, static_cast<std::uint32_t>(v));
  EXPECT_TRUE(ValidateZero(z.get()));
  Put32(z.get(), 112, 204);  // the first entry itself reaching past L fails
  EXPECT_FALSE(ValidateZero(z.get()));
}

TEST(Validate, RandomBytesAreRejectedSafely) {
  std::mt19937 rng(20240611);
  for (int i = 0; i < 3000; ++i) {
    const std::uint32_t size = 64 + rng() % 1024;
    Block block(static_cast<ZxVariant*>(std::malloc(size)));  // exact size: ASan sees overreads
    for (std::uint32_t k = 0; k < size; ++k) Raw(block.get())[k] = static_cast<unsigned char>(rng());
    Put32(block.get(), kSize, size);
    if (i % 2) Put32(block.get(), kType, rng() % 9);
    EXPECT_FALSE(Validate(block.get()) || ValidateZero(block.get()) ||
                 ValidateAtBase(block.get(), reinterpret_cast<void*>(std::uintptr_t{0x10000})));
  }
}

TEST(DeepBlock, HalfAMillionLevelsCheckAndRoundTrip) {
  constexpr std::size_t kDepth = 500000;
  Block pointer = DeepList(kDepth, false), zero = DeepList(kDepth, true);
  EXPECT_TRUE(Validate(pointer.get()) && ValidateAtBase(pointer.get(), pointer.get()) && ValidateZero(zero.get()));
  const auto image = Image(pointer.get());
  RebaseToZero(pointer.get());
  EXPECT_EQ(std::memcmp(pointer.get(), zero.get(), zero->size), 0);
  RebaseFromZero(pointer.get());
  EXPECT_EQ(std::memcmp(pointer.get(), image.data(), image.size()), 0);
  Put32(pointer.get(), 72 * (kDepth - 1) + kValue, 1);  // the deepest claims a child it lacks
  EXPECT_FALSE(Validate(pointer.get()));
}

TEST(Rebase, ZeroFormMeasuresSlotsFromTheirNodeAndRestoresBytes) {
  ZxvList* list = NewList(u"L");
  list->Append(NewInt(u"a", 1));
  list->Append(NewString(u"b", u"xy", 0))->AppendAttribute(NewInt(u"x", 2));
  list->Append(NewInt(u"c", 3));
  Block r = Lay(list);
  const auto before = Image(r.get());
  RebaseToZero(r.get());
  // L: header | "L" | entries at 68 | a at 92 | b at 160 | c at 310; b: "b" | entry at +68 | x at +76 | "xy" at +144
  const std::pair<std::size_t, std::uint64_t> slots[] = {
      {kNameStr, 64},   {kValuePtr, 68},       {68, 92},         {76, 160},          {84, 310},
      {92 + kNext, 68}, {160 + kNext, 150},    {310 + kNext, 0}, {160 + kAttrItems, 68},
      {160 + 68, 76},   {160 + kValuePtr, 144}, {236 + kNext, 0}};
  for (const auto& [at, distance] : slots) EXPECT_EQ(U64(r.get(), at), distance) << at;
  RebaseFromZero(r.get());
  EXPECT_EQ(Image(r.get()), before);

  // Every name slot of the sample, at any depth, becomes the distance 64.
  Block s = Sample();
  const auto image = Image(s.get());
  std::vector<std::size_t> nodes;
  Nodes(s.get(), 0, nodes), RebaseToZero(s.get());
  ASSERT_EQ(nodes.size(), 18u);
  for (std::size_t n : nodes) EXPECT_EQ(U64(s.get(), n + kNameStr), U32(s.get(), n + kNameLen) ? 64u : 0u) << n;
  Rebase(s.get(), nullptr, nullptr), RebaseFromZero(s.get()), Rebase(s.get(), s.get(), s.get());  // equal bases: no-op
  Rebase(nullptr, s.get(), nullptr), RebaseToZero(nullptr), RebaseFromZero(nullptr);
  EXPECT_EQ(Image(s.get()), image);
}

TEST(Rebase, MalformedBlocksStayInsideAndTerminate) {
  // A list whose only entry, and whose next, is the list itself.
  Block loop(static_cast<ZxVariant*>(std::calloc(72, 1)));
  ZxVariant* l = loop.get();
  Put32(l, kSize, 72), Put32(l, kType, 7), Put32(l, kValue, 1);
  Put64(l, kValuePtr, Addr(l, 64)), Put64(l, 64, Addr(l)), Put64(l, kNext, Addr(l));
  Rebase(l, l, nullptr);
  Rebase(l, nullptr, l);
  std::mt19937 rng(7);
  for (int i = 0; i < 2000; ++i) {
    Block r = Sample();
    if (i % 2) RebaseToZero(r.get());
    for (int k = 0; k < 3; ++k) Raw(r.get())[8 + rng() % (r->size - 8)] = static_cast<unsigned char>(rng());
    Block moved = RawCopy(r.get());
    Rebase(moved.get(), i % 2 ? nullptr : r.get(), i % 2 ? moved.get() : nullptr);
  }
}

// The check and the conversion take the leaves of a List without attributes
// on the spot and give the List a frame of its own only where a deeper List
// follows; both must resume exactly there.
TEST(Walks, ListsOfLeavesResumeWhereADeeperListFollows) {
  auto make = [] {
    ZxvList* outer = NewList(u"outer");
    for (int group = 0; group < 3; ++group) {
      ZxvList* mixed = NewList(nullptr);
      mixed->Append(NewInt(u"a", group));
      mixed->Append(NewString(u"s", u"text", 0));
      ZxvList* deeper = NewList(u"deeper");
      deeper->Append(NewFloat(nullptr, 0.25));
      deeper->Append(NewList(nullptr));
      mixed->Append(deeper);
      mixed->Append(NewBuffer(u"b", "\x01", 1));  // later nodes at odd addresses
      mixed->Append(NewInt64(u"c", 5));
      outer->Append(mixed);
      outer->Append(NewBool(nullptr, group == 1));
    }
    outer->AppendAttribute(NewString(u"k", u"v", 0));
    return Lay(outer);
  };
  Block r = make();
  const auto image = Image(r.get());
  ASSERT_TRUE(Validate(r.get()));
  Block zero(NewCopy(r.get(), nullptr, false, true));
  ASSERT_TRUE(ValidateZero(zero.get()));
  RebaseToZero(r.get());
  EXPECT_EQ(Image(r.get()), Image(zero.get()));
  RebaseFromZero(r.get());
  EXPECT_EQ(Image(r.get()), image);
  // Corruptions after the deeper List of each group are still found.
  for (unsigned group = 0; group < 3; ++group) {
    const std::size_t mixed = Child(r.get(), 0, 2 * group);
    const std::size_t afterDeeper = Child(r.get(), mixed, 3), last = Child(r.get(), mixed, 4);
    const std::pair<std::size_t, std::uint32_t> cases[] = {
        {afterDeeper + kSize, U32(r.get(), afterDeeper + kSize) + 1}, {last + kNameLen, 0}, {mixed + kValue, 6}};
    for (const auto& [at, v] : cases) {
      Block bad = make();
      Put32(bad.get(), at, v);
      EXPECT_FALSE(Validate(bad.get())) << group << " " << at;
      Block badZero(NewCopy(make().get(), nullptr, false, true));
      Put32(badZero.get(), at, v);
      EXPECT_FALSE(ValidateZero(badZero.get())) << group << " " << at;
    }
  }
}

void* FailingAlloc(unsigned) { return ++g_calls, nullptr; }

TEST(Copy, AllFourFormPairsAndNewCopyAllocation) {
  Block src = Sample(), expectedZero = Sample();
  RebaseToZero(expectedZero.get());  // the zero-based form is position-independent
  const auto srcImage = Image(src.get());
  for (bool fromZero : {false, true}) {
    for (bool toZero : {false, true}) {
      SCOPED_TRACE(testing::Message() << fromZero << toZero);
      const ZxVariant* from = fromZero ? expectedZero.get() : src.get();
      Block copy(static_cast<ZxVariant*>(std::malloc(src->size)));
      Copy(copy.get(), from, fromZero, toZero);
      g_calls = 0;
      Block fresh(NewCopy(from, CountingAlloc, fromZero, toZero));
      EXPECT_TRUE(g_calls == 1u && g_size == src->size);
      for (const ZxVariant* c : {copy.get(), fresh.get()}) {
        if (toZero) {
          EXPECT_EQ(Image(c), Image(expectedZero.get()));
        } else {
          EXPECT_TRUE(Validate(c) && IsEqual(c, src.get()) && U64(c, kNameStr) == Addr(c, 64));
        }
      }
    }
  }
  EXPECT_EQ(Image(src.get()), srcImage);  // sources are left alone
  g_calls = 0;
  EXPECT_EQ(NewCopy(src.get(), FailingAlloc, false, true), nullptr);
  EXPECT_EQ(NewCopy(nullptr, CountingAlloc, false, false), nullptr);
  EXPECT_EQ(g_calls, 1u);
  Delete(static_cast<ZxVariant*>(nullptr)), Delete(static_cast<char16_t*>(nullptr)), Delete(nullptr);
}

TEST(IsEqual, IgnoresAddressButNotContentOrOrder) {
  Block a = Sample();
  EXPECT_TRUE(IsEqual(a.get(), Sample().get()));
  Block lower = Lay(NewInt(u"a", 5));
  for (ZxvBase* other : {static_cast<ZxvBase*>(NewInt(u"A", 5)), static_cast<ZxvBase*>(NewInt(u"a", 6)),
                         static_cast<ZxvBase*>(NewString(nullptr, u"xy", 0))})
    EXPECT_FALSE(IsEqual(lower.get(), Lay(other).get()));
  EXPECT_FALSE(IsEqual(Lay(NewFloat(u"f", 0.0)).get(), Lay(NewFloat(u"f", -0.0)).get()));
  auto make = [](bool xFirst) {
    ZxvString* s = NewString(u"s", u"v", 0);
    s->AppendAttribute(NewInt(xFirst ? u"x" : u"y", 1));
    s->AppendAttribute(NewInt(xFirst ? u"y" : u"x", 1));
    return Lay(s);
  };
  Block xy = make(true), yx = make(false), marked = make(true);
  EXPECT_FALSE(IsEqual(xy.get(), yx.get()));
  EXPECT_TRUE(IsEqual(xy.get(), marked.get()));
  Put32(marked.get(), kNameReserved, 1);
  EXPECT_FALSE(IsEqual(xy.get(), marked.get()));
  EXPECT_TRUE(IsEqual(nullptr, nullptr));
  EXPECT_FALSE(IsEqual(xy.get(), nullptr) || IsEqual(nullptr, xy.get()));
}

TEST(Examine, ClassifiesTheFormOfABlock) {
  using R = ExamineBase::Result;
  Block named = Lay(NewInt(u"a", 5)), text = Lay(NewString(nullptr, u"xy", 0));
  Block zero(NewCopy(named.get(), nullptr, false, true)), foreign = RawCopy(named.get());
  Block zeroText(NewCopy(text.get(), nullptr, false, true));  // no name: the payload decides
  const std::pair<const ZxVariant*, R> cases[] = {{zero.get(), R::ZeroBased}, {named.get(), R::PointerForm},
      {foreign.get(), R::Foreign}, {text.get(), R::PointerForm}, {zeroText.get(), R::ZeroBased}};
  for (const auto& [block, result] : cases) EXPECT_EQ(ExamineBase::Examine(block), result);
  for (ZxvBase* b : {static_cast<ZxvBase*>(NewInt(nullptr, 1)), static_cast<ZxvBase*>(NewList(nullptr)),
                     static_cast<ZxvBase*>(NewString(nullptr, u"", 0))})
    EXPECT_EQ(ExamineBase::Examine(Lay(b).get()), R::Undecided);
  Put32(foreign.get(), kSize, 63);
  EXPECT_EQ(ExamineBase::Examine(foreign.get()), R::NotARecord);
  Put32(foreign.get(), kSize, 68), Put32(foreign.get(), kType, 9);
  EXPECT_EQ(ExamineBase::Examine(foreign.get()), R::NotARecord);
  Put32(foreign.get(), kType, 3), Put64(foreign.get(), kNameStr, 0);  // named, chosen slot null
  EXPECT_EQ(ExamineBase::Examine(foreign.get()), R::NotARecord);
}

TEST(TypeCodes, ImagesAndTheirExactInverse) {
  const char16_t* names[] = {u"Null", u"Register", u"Bool", u"Int", u"Float", u"Buffer", u"String", u"List", u"Int64"};
  for (std::uint32_t code = 0; code < 9; ++code) {
    ASSERT_NE(TypeCodeImage(static_cast<T>(code)), nullptr);
    EXPECT_TRUE(TypeCodeImage(static_cast<T>(code)) == std::u16string(names[code]) &&
                TypeCodeFromString(names[code]) == static_cast<T>(code)) << code;
  }
  EXPECT_TRUE(TypeCodeImage(static_cast<T>(9)) == nullptr && TypeCodeImage(static_cast<T>(0xFFFFFFFF)) == nullptr);
  for (const char16_t* text : {u"null", u"INT", u" Int", u"", u"List ", u"Int6", u"Int640"})
    EXPECT_EQ(TypeCodeFromString(text), T::Null);
}

}  // namespace
