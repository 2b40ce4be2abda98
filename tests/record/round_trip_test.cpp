// Randomized round trips: describe a tree -> build -> compare every node with
// the description -> zero-based copy -> copy back -> rebase in place and to
// another address -> deep copy into builders -> lay out again.
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "record/record_testing.h"

namespace {

using namespace zxt;

// A tree as the test means it, independent of the library.
struct Desc {
  T type = T::Null;
  std::u16string name, text;
  std::uint64_t bits = 0;  // Register, Bool, Int, Float, Int64
  std::vector<unsigned char> bytes;
  std::vector<Desc> attrs, children;
};

struct TreeMaker {
  std::mt19937 rng;
  int budget = 0;
  unsigned Pick(unsigned n) { return rng() % n; }
  // Names end at a NUL; String values are given with a length and may hold one.
  std::u16string Text(unsigned minPieces, bool nulInside) {
    static const char16_t* const kPieces[] = {u"a", u"Z", u"port", u"\u00e4", u"\u65e5\u672c", u"\U0001F600", u" "};
    std::u16string s;
    for (unsigned n = minPieces + Pick(4); n > 0; --n) s += kPieces[Pick(7)];
    if (nulInside && !s.empty() && Pick(8) == 0) s += std::u16string(1, u'\0') + u"tail";
    return s;
  }
  Desc Node(int depth, bool attribute) {
    Desc d;
    --budget;
    // Lists are favoured so trees grow wide and deep; attributes are named non-lists.
    const bool list = !attribute && depth < 7 && (depth == 0 ? Pick(4) != 0 : Pick(12) >= 9);
    d.type = list ? T::List : static_cast<T>(Pick(8) == 7 ? 8 : Pick(7));
    d.name = Text(attribute ? 1 : 0, false);
    if (d.type == T::Bool) d.bits = Pick(2);
    if (d.type == T::Int) d.bits = static_cast<std::uint32_t>(rng());
    if (d.type == T::Register || d.type == T::Int64) d.bits = (std::uint64_t{rng()} << 32) | rng();
    if (d.type == T::Float) {
      const double v = Pick(5) == 0 ? -0.0 : std::ldexp(static_cast<double>(rng()), int(Pick(80)) - 40);
      d.bits = Get<std::uint64_t>(&v);
    }
    for (unsigned n = d.type == T::Buffer && Pick(3) ? Pick(40) : 0; n > 0; --n) d.bytes.push_back(rng() & 0xFF);
    if (d.type == T::String) d.text = Text(0, true);
    for (unsigned n = list ? Pick(7) : 0; n > 0 && budget > 0; --n) d.children.push_back(Node(depth + 1, false));
    // A scalar carrying attributes fails the check, so only these carry them.
    if ((d.type == T::String || d.type == T::Buffer || list) && Pick(3) == 0)
      for (unsigned n = 1 + Pick(3); n > 0 && budget > 0; --n) d.attrs.push_back(Node(depth + 1, true));
    return d;
  }
};

ZxvBase* MakeBuilder(const Desc& d) {
  const char16_t* name = d.name.empty() ? nullptr : d.name.c_str();
  ZxvBase* b = d.type == T::Buffer   ? NewBuffer(name, d.bytes.data(), static_cast<int>(d.bytes.size()))
               : d.type == T::String ? NewString(name, d.text.c_str(), static_cast<int>(d.text.size()))
               : d.type == T::List   ? static_cast<ZxvBase*>(NewList(name))
                                     : new ZxvAny(name, d.type, &d.bits);  // reads its 1, 4 or 8 bytes
  for (const Desc& c : d.children) static_cast<ZxvList*>(b)->Append(MakeBuilder(c));
  for (const Desc& a : d.attrs) b->AppendAttribute(MakeBuilder(a));
  return b;
}

std::uint64_t TextBytes(const std::u16string& s) { return s.empty() ? 0 : 2 * s.size() + 2; }
std::uint64_t ExpectedSize(const Desc& d) {
  std::uint64_t size = 64 + TextBytes(d.name) + d.bytes.size() + TextBytes(d.text);
  for (const auto* list : {&d.attrs, &d.children})
    for (const Desc& x : *list) size += 8 + ExpectedSize(x);
  return size;
}

// Compares the node at offset n of a pointer-form block with its description.
bool Matches(const ZxVariant* b, std::size_t n, const Desc& d) {
  auto bytesAt = [&](std::size_t slot, std::size_t count) {
    const unsigned char* p = count ? Raw(b) + (U64(b, n + slot) - Addr(b)) : nullptr;
    return std::vector<unsigned char>(p, p + count);
  };
  auto text = [&](std::size_t countAt, const std::u16string& s) {  // units and the terminator
    return U32(b, n + countAt) == s.size() && bytesAt(countAt + 8, TextBytes(s)) ==
           std::vector<unsigned char>(Raw(s.c_str()), Raw(s.c_str()) + TextBytes(s));
  };
  bool ok = U32(b, n + kType) == static_cast<std::uint32_t>(d.type) && text(kNameLen, d.name) &&
            U32(b, n + kSize) == ExpectedSize(d) && U32(b, n + kAttrCount) == d.attrs.size();
  for (unsigned i = 0; ok && i < d.attrs.size(); ++i) ok = Matches(b, Attr(b, n, i), d.attrs[i]);
  for (unsigned i = 0; ok && i < d.children.size(); ++i) ok = Matches(b, Child(b, n, i), d.children[i]);
  switch (d.type) {
    case T::Bool: return ok && Raw(b)[n + kValue] == d.bits;
    case T::Int: return ok && U32(b, n + kValue) == d.bits;
    case T::Register: case T::Float: case T::Int64: return ok && U64(b, n + kValue) == d.bits;
    case T::String: return ok && text(kValue, d.text);
    case T::Buffer: return ok && U32(b, n + kValue) == d.bytes.size() && bytesAt(kValuePtr, d.bytes.size()) == d.bytes;
    case T::List: return ok && U32(b, n + kValue) == d.children.size();
    default: return ok;
  }
}

TEST(RoundTrip, RandomTreesSurviveEveryConversion) {
  for (unsigned seed : {1u, 42u, 2024u}) {
    TreeMaker maker{std::mt19937(seed)};
    for (int i = 0; i < 100; ++i) {
      SCOPED_TRACE(testing::Message() << "seed " << seed << " tree " << i);
      maker.budget = 1 + maker.Pick(80);
      const Desc desc = maker.Node(0, false);
      Owned<ZxvBase> builder(MakeBuilder(desc));
      ASSERT_EQ(builder->ComputeZxVariantSize(), ExpectedSize(desc));
      Block rec = Lay(*builder);
      ASSERT_TRUE(rec && Validate(rec.get()) && Matches(rec.get(), 0, desc));
      Block zero(NewCopy(rec.get(), nullptr, false, true)), back(NewCopy(zero.get(), nullptr, true, false));
      ASSERT_TRUE(ValidateZero(zero.get()));
      EXPECT_TRUE(Validate(back.get()) && IsEqual(rec.get(), back.get()));
      const auto image = Image(rec.get());
      RebaseToZero(rec.get());
      EXPECT_EQ(Image(rec.get()), Image(zero.get()));
      RebaseFromZero(rec.get());
      ASSERT_EQ(Image(rec.get()), image);
      Block moved = RawCopy(rec.get());
      EXPECT_TRUE(ValidateAtBase(moved.get(), rec.get()));
      Rebase(moved.get(), rec.get(), moved.get());
      EXPECT_TRUE(IsEqual(rec.get(), moved.get()));
      Block again = Lay(NewZxvCopyDeep(rec.get()));
      EXPECT_TRUE(again && IsEqual(rec.get(), again.get()));
    }
  }
}

}  // namespace
