// The structural check: each rule on a hand-corrupted copy of a valid block,
// the three base choices, hostile input and extreme depth; type code names.
#include <gtest/gtest.h>

#include <functional>
#include <random>

#include "record/format_testing.h"

namespace {

using namespace zxv_format;
using namespace ZxVariantHelper;
using Corruption = std::function<void(ZxVariant*)>;

// Offsets of the sample's nodes (the same in every build of it).
struct SampleMap {
  std::size_t port, host, hostAttr, blob, inner, innerAttr, empty, last;
};
SampleMap Map() {
  Block r = Sample();
  const ZxVariant* b = r.get();
  const std::size_t host = Child(b, 0, 1), inner = Child(b, 0, 3);
  return {Child(b, 0, 0), host, Attr(b, host, 0), Child(b, 0, 2),
          inner, Attr(b, inner, 0), Child(b, inner, 3), Child(b, 0, 6)};
}

// Checks a fresh sample after `corrupt`, in pointer or in zero-based form.
bool ValidAfter(const Corruption& corrupt) {
  Block r = Sample();
  corrupt(r.get());
  return Validate(r.get());
}
bool ValidZeroAfter(const Corruption& corrupt) {
  Block r = Sample();
  RebaseToZero(r.get());
  corrupt(r.get());
  return ValidateZero(r.get());
}
Corruption Set32(std::size_t at, std::uint32_t v) { return [=](ZxVariant* r) { Put32(r, at, v); }; }
Corruption Set64(std::size_t at, std::uint64_t v) { return [=](ZxVariant* r) { Put64(r, at, v); }; }
// Points the slot at `at` to offset `to` of the block.
Corruption Aim(std::size_t at, std::size_t to) { return [=](ZxVariant* r) { Put64(r, at, Addr(r, to)); }; }

TEST(Validate, AcceptsBuiltRecordsAndNull) {
  EXPECT_TRUE(ValidAfter([](ZxVariant*) {}));
  EXPECT_TRUE(ValidZeroAfter([](ZxVariant*) {}));
  EXPECT_TRUE(ValidAfter(Set64(kNext, 0xDEADBEEFCAFE)));  // a root's next is not looked at
  Block r = Sample();
  EXPECT_TRUE(ValidateAtBase(r.get(), r.get()));
  EXPECT_TRUE(Validate(nullptr) && ValidateAtBase(nullptr, r.get()) && ValidateZero(nullptr));
}

TEST(Validate, SizesMustAccountForEveryByte) {
  const SampleMap m = Map();
  const std::uint32_t portSize = 74, innerSize = U32(Sample().get(), m.inner);
  for (const Corruption& c : {Set32(kSize, 63), Set32(kSize, U32(Sample().get(), kSize) - 1),
                              Set32(m.port, portSize + 1), Set32(m.port, portSize - 1), Set32(m.port, 0),
                              Set32(m.inner, innerSize + 1), Set32(m.inner, innerSize - 1)})
    EXPECT_FALSE(ValidAfter(c));
}

TEST(Validate, RejectsBrokenNamesAndUnknownTypes) {
  const SampleMap m = Map();
  for (std::size_t n : {std::size_t{0}, m.port}) {
    SCOPED_TRACE(n);
    EXPECT_FALSE(ValidAfter(Set32(n + kNameLen, 0)));
    EXPECT_FALSE(ValidAfter(Set64(n + kNameStr, 0)));
    EXPECT_FALSE(ValidAfter(Aim(n + kNameStr, n + 8)));
    for (std::uint32_t len : {0x7FFFFFFFu, 0x80000000u, 0x80000001u, 0xFFFFFFFFu})
      EXPECT_FALSE(ValidAfter(Set32(n + kNameLen, len)));
  }
  // "port" (10 bytes) moved to run 6 bytes past its node; sizes still add up.
  EXPECT_FALSE(ValidAfter(Aim(m.port + kNameStr, m.port + 70)));
  for (std::size_t n : {std::size_t{0}, m.port, m.hostAttr}) {  // unknown type codes
    EXPECT_FALSE(ValidAfter(Set32(n + kType, 9)));
    EXPECT_FALSE(ValidAfter(Set32(n + kType, 0xFFFFFFFF)));
  }
}

TEST(Validate, ScalarWithAttributeFailsWhileContainersPass) {
  ZxvBase* holders[] = {NewInt(u"a", 5), NewString(u"a", u"text", 0), NewBuffer(u"a", "\x07", 1),
                        NewList(u"a")};
  for (ZxvBase* h : holders) h->AppendAttribute(NewInt(u"x", 1));
  Block scalar = Lay(holders[0]);
  EXPECT_EQ(scalar->size, 144u);  // the builder counts the attribute...
  EXPECT_FALSE(Validate(scalar.get()));  // ...the scalar size rule does not
  for (ZxvBase* h : {holders[1], holders[2], holders[3]}) EXPECT_TRUE(Validate(Lay(h).get()));
}

TEST(Validate, AttributeMustBeNamedAndNotAList) {
  const SampleMap m = Map();
  // A named 68-byte Int retyped into a sound empty List: fine as a child,
  // fatal as an attribute.
  auto toList = [](std::size_t n) {
    return [=](ZxVariant* r) { Put32(r, n + kType, 7), Put64(r, n + kValue, 0); };
  };
  EXPECT_TRUE(ValidAfter(toList(m.port)));
  EXPECT_FALSE(ValidAfter(toList(m.hostAttr)));
  // A Buffer whose data swallows its name's bytes: a sound node of the same
  // size, fine as a child, fatal as an attribute.
  auto unname = [](std::size_t n) {
    return [=](ZxVariant* r) {
      Put32(r, n + kValue, U32(r, n + kValue) + 2 * U32(r, n + kNameLen) + 2);
      Put64(r, n + kValuePtr, Addr(r, n + 64));
      Put32(r, n + kNameLen, 0), Put64(r, n + kNameStr, 0);
    };
  };
  EXPECT_TRUE(ValidAfter(unname(m.blob)));
  EXPECT_FALSE(ValidAfter(unname(m.innerAttr)));
}

TEST(Validate, RejectsBrokenPayloads) {
  const SampleMap m = Map();
  for (const Corruption& c :
       {Set64(m.blob + kValuePtr, 0), Aim(m.blob + kValuePtr, m.blob + 8), Aim(m.blob + kValuePtr, m.blob + 75),
        Set32(m.blob + kValue, 0xFFFFFFFF), Aim(m.last + kValuePtr, m.last + 8), Set64(m.host + kValuePtr, 0),
        Aim(m.host + kValuePtr, m.host), Set32(m.host + kValue, 0), Set32(m.host + kValue, 0x80000000),
        Set32(m.host + kValue, 0x7FFFFFFF), Set32(m.host + kValue, 0xFFFFFFFF)})
    EXPECT_FALSE(ValidAfter(c));
}

TEST(Validate, RejectsBrokenEntryArrays) {
  const SampleMap m = Map();
  Block s = Sample();
  const std::size_t end = s->size, entries = U64(s.get(), kValuePtr) - Addr(s.get());
  for (const Corruption& c :
       {Aim(m.empty + kValuePtr, m.empty + 64),  // count 0 with an array
        Set32(kValue, 0), Set32(kValue, 0x20000000), Set32(kValue, 0xFFFFFFFF), Set32(kAttrCount, 0),
        Set32(kAttrCount, 0x20000000), Set32(kAttrCount, 0xFFFFFFFF), Set64(kValuePtr, 0),
        Aim(kAttrItems, 8), Aim(kValuePtr, end - 4), Set64(entries, 0), Aim(entries, 8),
        Aim(entries, end - 4), Aim(entries, end)})
    EXPECT_FALSE(ValidAfter(c));
}

TEST(Validate, EntryArrayAndNextChainMustAgree) {
  const SampleMap m = Map();
  Block s = Sample();
  const std::size_t entries = U64(s.get(), kValuePtr) - Addr(s.get());
  const std::uint64_t e0 = U64(s.get(), entries), e1 = U64(s.get(), entries + 8);
  for (const Corruption& c : {Aim(m.last + kNext, m.port), Aim(m.last + kNext, m.last),
                              Aim(m.port + kNext, m.blob), Set32(kValue, 6), Set32(kValue, 8),
                              Corruption([=](ZxVariant* r) { Put64(r, entries, e1), Put64(r, entries + 8, e0); })})
    EXPECT_FALSE(ValidAfter(c));
}

TEST(Validate, JudgesPointersAgainstTheGivenBase) {
  Block r = Sample();
  Block moved = RawCopy(r.get());
  EXPECT_TRUE(ValidateAtBase(moved.get(), r.get()));
  EXPECT_FALSE(Validate(moved.get()));
  EXPECT_FALSE(ValidateZero(moved.get()));
  EXPECT_FALSE(ValidateAtBase(moved.get(), Raw(r.get()) + 1));
  Rebase(moved.get(), r.get(), nullptr);
  EXPECT_TRUE(ValidateZero(moved.get()));
  EXPECT_FALSE(Validate(moved.get()));
}

TEST(Validate, ZeroFormRejectsHighWordsInSlots) {
  const SampleMap m = Map();
  Block z = Sample();
  RebaseToZero(z.get());
  const std::size_t firstEntry = U32(z.get(), kValuePtr);  // the root's entry array
  for (std::size_t slot : {std::size_t{kNameStr}, std::size_t{kValuePtr}, std::size_t{kAttrItems}, m.port + kNext,
                           m.host + kNameStr, m.host + kValuePtr, m.blob + kValuePtr, firstEntry})
    EXPECT_FALSE(ValidZeroAfter(Set32(slot + 4, 1))) << slot;
}

TEST(Validate, RandomBytesAreRejectedSafely) {
  std::mt19937 rng(20240611);
  for (int i = 0; i < 3000; ++i) {
    const std::uint32_t size = 64 + rng() % 1024;
    auto* block = static_cast<ZxVariant*>(std::malloc(size));  // exact size: ASan sees overreads
    for (std::uint32_t k = 0; k < size; ++k) Raw(block)[k] = static_cast<unsigned char>(rng());
    Put32(block, kSize, size);
    if (i % 2) Put32(block, kType, rng() % 9);
    EXPECT_FALSE(Validate(block));
    EXPECT_FALSE(ValidateZero(block));
    EXPECT_FALSE(ValidateAtBase(block, reinterpret_cast<void*>(std::uintptr_t{0x10000})));
    std::free(block);
  }
}

TEST(Validate, HandlesHalfAMillionLevels) {
  constexpr std::size_t kDepth = 500000, kDeepest = 72 * (kDepth - 1);
  Block zero(MakeDeepList(kDepth, true)), pointer(MakeDeepList(kDepth, false));
  EXPECT_TRUE(ValidateZero(zero.get()));
  EXPECT_TRUE(Validate(pointer.get()));
  EXPECT_TRUE(ValidateAtBase(pointer.get(), pointer.get()));
  Put32(pointer.get(), kDeepest + kValue, 1);  // a count without an array
  EXPECT_FALSE(Validate(pointer.get()));
}

TEST(TypeCodes, ImagesAndTheirExactInverse) {
  const char16_t* names[] = {u"Null", u"Register", u"Bool", u"Int", u"Float", u"Buffer", u"String", u"List", u"Int64"};
  for (std::uint32_t code = 0; code < 9; ++code) {
    const auto type = static_cast<ZxVariant::TypeCodes>(code);
    ASSERT_NE(TypeCodeImage(type), nullptr);
    EXPECT_EQ(std::u16string(TypeCodeImage(type)), names[code]);
    EXPECT_EQ(TypeCodeFromString(names[code]), type);
  }
  EXPECT_EQ(TypeCodeImage(static_cast<ZxVariant::TypeCodes>(9)), nullptr);
  EXPECT_EQ(TypeCodeImage(static_cast<ZxVariant::TypeCodes>(0xFFFFFFFF)), nullptr);
  for (const char16_t* text : {u"null", u"INT", u" Int", u"", u"List ", u"Listx", u"Int6", u"Int640"})
    EXPECT_EQ(TypeCodeFromString(text), ZxVariant::TypeCodes::Null);
}

}  // namespace
