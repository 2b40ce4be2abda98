// Randomized round trips over a few hundred generated trees: describe ->
// build -> check -> zero-based copy -> check -> copy back -> compare ->
// rebase in place -> deep copy into builders -> lay out again -> compare.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <string>

#include "record/format_testing.h"

namespace {

using namespace zxv_format;
using namespace ZxVariantHelper;
using T = ZxVariant::TypeCodes;

// A tree as the test means it, independent of the library.
struct Desc {
  T type = T::Null;
  std::u16string name, text;
  std::uint64_t bits = 0;  // Register, Bool (0/1), Int, Float, Int64
  std::vector<unsigned char> bytes;
  std::vector<Desc> attrs, children;
};

class TreeMaker {
 public:
  explicit TreeMaker(unsigned seed) : rng_(seed) {}
  Desc Tree() {
    budget_ = 1 + Pick(80);
    return Node(0, false);
  }

 private:
  unsigned Pick(unsigned n) { return rng_() % n; }

  // Names end at a NUL; String values keep one, being given with a length.
  std::u16string Text(unsigned minPieces, bool nulInside) {
    static const char16_t* const kPieces[] = {u"a", u"Z", u"port", u"\u00e4", u"\u65e5\u672c", u"\U0001F600", u" "};
    std::u16string s;
    for (unsigned n = minPieces + Pick(4); n > 0; --n) s += kPieces[Pick(7)];
    if (nulInside && !s.empty() && Pick(8) == 0) s += std::u16string(1, u'\0') + u"tail";
    return s;
  }

  Desc Node(int depth, bool attribute) {
    Desc d;
    --budget_;
    // Lists are favoured (roots in three trees of four) so trees grow wide
    // and deep; attributes are named and never lists.
    const bool list = !attribute && depth < 7 && (depth == 0 ? Pick(4) != 0 : Pick(12) >= 9);
    d.type = list ? T::List : static_cast<T>(Pick(8) == 7 ? 8 : Pick(7));
    d.name = Text(attribute ? 1 : 0, false);
    switch (d.type) {
      case T::Bool: d.bits = Pick(2); break;
      case T::Int: d.bits = static_cast<std::uint32_t>(rng_()); break;
      case T::Register: case T::Int64: d.bits = (std::uint64_t{rng_()} << 32) | rng_(); break;
      case T::Float: {
        const double v = Pick(5) == 0 ? -0.0 : std::ldexp(static_cast<double>(rng_()), int(Pick(80)) - 40);
        d.bits = Get<std::uint64_t>(&v, 0);
        break;
      }
      case T::Buffer:  // odd lengths included
        for (unsigned n = Pick(3) ? Pick(40) : 0; n > 0; --n) d.bytes.push_back(static_cast<unsigned char>(rng_()));
        break;
      case T::String: d.text = Text(0, true); break;
      case T::List:
        for (unsigned n = Pick(7); n > 0 && budget_ > 0; --n) d.children.push_back(Node(depth + 1, false));
        break;
      default: break;
    }
    // A scalar carrying attributes fails the check, so only these carry them.
    if ((d.type == T::String || d.type == T::Buffer || d.type == T::List) && Pick(3) == 0)
      for (unsigned n = 1 + Pick(3); n > 0 && budget_ > 0; --n) d.attrs.push_back(Node(depth + 1, true));
    return d;
  }

  std::mt19937 rng_;
  int budget_ = 0;
};

ZxvBase* MakeBuilder(const Desc& d) {
  const char16_t* name = d.name.empty() ? nullptr : d.name.c_str();
  ZxvBase* b = nullptr;
  switch (d.type) {
    case T::Null: b = NewNull(name); break;
    case T::Register: b = NewRegister(name, reinterpret_cast<void*>(static_cast<std::uintptr_t>(d.bits))); break;
    case T::Bool: b = NewBool(name, d.bits != 0); break;
    case T::Int: b = NewInt(name, static_cast<int>(static_cast<std::uint32_t>(d.bits))); break;
    case T::Float: b = NewFloat(name, Get<double>(&d.bits, 0)); break;
    case T::Int64: b = NewInt64(name, static_cast<long long>(d.bits)); break;
    case T::Buffer: b = NewBuffer(name, d.bytes.data(), static_cast<int>(d.bytes.size())); break;
    case T::String: b = NewString(name, d.text.c_str(), static_cast<int>(d.text.size())); break;
    default: {
      ZxvList* l = NewList(name);
      for (const Desc& c : d.children) l->Append(MakeBuilder(c));
      b = l;
    }
  }
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
  auto bytesAt = [&](std::size_t ptrAt, std::size_t count) {
    const unsigned char* p = count ? Raw(b) + (U64(b, n + ptrAt) - Addr(b)) : nullptr;
    return std::vector<unsigned char>(p, p + count);
  };
  auto same = [&](std::size_t countAt, const std::u16string& s) {
    const std::vector<unsigned char> units(Raw(s.data()), Raw(s.data()) + 2 * s.size());
    return U32(b, n + countAt) == s.size() && bytesAt(countAt + 8, units.size()) == units;
  };
  bool ok = U32(b, n + kType) == static_cast<std::uint32_t>(d.type) && same(kNameLen, d.name) &&
            U32(b, n + kSize) == ExpectedSize(d) && U32(b, n + kAttrCount) == d.attrs.size();
  for (unsigned i = 0; ok && i < d.attrs.size(); ++i) ok = Matches(b, Attr(b, n, i), d.attrs[i]);
  switch (d.type) {
    case T::Bool: return ok && Raw(b)[n + kValue] == d.bits;
    case T::Int: return ok && U32(b, n + kValue) == d.bits;
    case T::Register: case T::Float: case T::Int64: return ok && U64(b, n + kValue) == d.bits;
    case T::String: return ok && same(kValue, d.text);
    case T::Buffer: return ok && U32(b, n + kValue) == d.bytes.size() && bytesAt(kValuePtr, d.bytes.size()) == d.bytes;
    case T::List:
      ok = ok && U32(b, n + kValue) == d.children.size();
      for (unsigned i = 0; ok && i < d.children.size(); ++i) ok = Matches(b, Child(b, n, i), d.children[i]);
      return ok;
    default: return ok;
  }
}

TEST(RoundTrip, RandomTreesSurviveEveryConversion) {
  for (unsigned seed : {1u, 42u, 2024u}) {
    TreeMaker maker(seed);
    for (int i = 0; i < 100; ++i) {
      SCOPED_TRACE(testing::Message() << "seed " << seed << " tree " << i);
      const Desc desc = maker.Tree();
      Owned<ZxvBase> builder(MakeBuilder(desc));
      ASSERT_EQ(builder->ComputeZxVariantSize(), ExpectedSize(desc));
      Block rec(builder->BuildNewZxVariant(nullptr));
      ASSERT_TRUE(rec && Validate(rec.get()));
      ASSERT_TRUE(Matches(rec.get(), 0, desc));

      Block zero(NewCopy(rec.get(), nullptr, false, true));
      ASSERT_TRUE(ValidateZero(zero.get()));
      Block back(NewCopy(zero.get(), nullptr, true, false));
      EXPECT_TRUE(Validate(back.get()));
      EXPECT_TRUE(IsEqual(rec.get(), back.get()));

      const auto image = Image(rec.get());
      RebaseToZero(rec.get());
      EXPECT_EQ(Image(rec.get()), Image(zero.get()));
      RebaseFromZero(rec.get());
      ASSERT_EQ(Image(rec.get()), image);

      Block moved = RawCopy(rec.get());
      EXPECT_TRUE(ValidateAtBase(moved.get(), rec.get()));
      Rebase(moved.get(), rec.get(), moved.get());
      EXPECT_TRUE(IsEqual(rec.get(), moved.get()));

      Owned<ZxvBase> deep(NewZxvCopyDeep(rec.get()));
      ASSERT_NE(deep, nullptr);
      EXPECT_TRUE(IsEqual(rec.get(), Block(deep->BuildNewZxVariant(nullptr)).get()));
    }
  }
}

}  // namespace
