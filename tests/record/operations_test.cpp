// Whole-record operations: Copy and NewCopy between forms and addresses,
// Delete, IsEqual and Examine.
#include <gtest/gtest.h>

#include "record/format_testing.h"

namespace {

using namespace zxv_format;
using namespace ZxVariantHelper;

// The zero-based form is position-independent, so any build of the sample
// converted in place gives the expected bytes of every zero-based copy.
std::vector<unsigned char> SampleZeroImage() {
  Block r = Sample();
  RebaseToZero(r.get());
  return Image(r.get());
}
Block Allocate(std::uint32_t size) { return Block(static_cast<ZxVariant*>(std::malloc(size))); }

TEST(Copy, ConvertsBetweenAllFourFormPairs) {
  Block src = Sample();
  const auto srcImage = Image(src.get());
  Block moved = Allocate(src->size), zero = Allocate(src->size), zero2 = Allocate(src->size),
        back = Allocate(src->size);
  Copy(moved.get(), src.get(), false, false);
  EXPECT_TRUE(Validate(moved.get()));
  EXPECT_EQ(U64(moved.get(), kNameStr), Addr(moved.get(), 64));
  EXPECT_TRUE(IsEqual(src.get(), moved.get()));

  Copy(zero.get(), src.get(), false, true);
  EXPECT_EQ(Image(zero.get()), SampleZeroImage());
  EXPECT_EQ(Image(src.get()), srcImage);  // the source is left alone

  Copy(zero2.get(), zero.get(), true, true);
  EXPECT_EQ(Image(zero2.get()), Image(zero.get()));

  Copy(back.get(), zero.get(), true, false);
  EXPECT_TRUE(Validate(back.get()));
  EXPECT_TRUE(IsEqual(src.get(), back.get()));
  EXPECT_EQ(Image(zero.get()), SampleZeroImage());
}

int g_calls = 0;
unsigned int g_requested = 0;
void* CountingAlloc(unsigned int size) { return ++g_calls, g_requested = size, std::malloc(size); }
void* FailingAlloc(unsigned int) { return ++g_calls, nullptr; }

TEST(NewCopy, TakesExactlyTheSizeFromTheGivenAllocator) {
  Block src = Sample();
  g_calls = 0;
  Block zero(NewCopy(src.get(), CountingAlloc, false, true));
  EXPECT_EQ(g_calls, 1);
  EXPECT_EQ(g_requested, src->size);
  EXPECT_EQ(Image(zero.get()), SampleZeroImage());
  Block back(NewCopy(zero.get(), nullptr, true, false));
  EXPECT_TRUE(IsEqual(src.get(), back.get()));

  EXPECT_EQ(NewCopy(src.get(), FailingAlloc, false, true), nullptr);
  EXPECT_EQ(g_calls, 2);
  EXPECT_EQ(NewCopy(nullptr, CountingAlloc, false, false), nullptr);
  EXPECT_EQ(g_calls, 2);
  Delete(static_cast<ZxVariant*>(nullptr));
  Delete(static_cast<char16_t*>(nullptr));
}

TEST(IsEqual, IgnoresAddressButNotContent) {
  Block a = Sample();
  EXPECT_TRUE(IsEqual(a.get(), Block(NewCopy(a.get(), nullptr, false, false)).get()));
  EXPECT_TRUE(IsEqual(a.get(), Sample().get()));
  Block lower = Lay(NewInt(u"a", 5));
  EXPECT_FALSE(IsEqual(lower.get(), Lay(NewInt(u"A", 5)).get()));
  EXPECT_FALSE(IsEqual(lower.get(), Lay(NewInt(u"a", 6)).get()));
  EXPECT_FALSE(IsEqual(lower.get(), Lay(NewString(nullptr, u"xy", 0)).get()));  // 68 against 70 bytes
  EXPECT_FALSE(IsEqual(Lay(NewFloat(u"f", 0.0)).get(), Lay(NewFloat(u"f", -0.0)).get()));
}

TEST(IsEqual, AttributeOrderAndReservedWordsCount) {
  auto make = [](bool xFirst) {
    ZxvString* s = NewString(u"s", u"v", 0);
    s->AppendAttribute(NewInt(xFirst ? u"x" : u"y", 1));
    s->AppendAttribute(NewInt(xFirst ? u"y" : u"x", 1));
    return Lay(s);
  };
  Block xy = make(true), yx = make(false), marked = make(true);
  ASSERT_EQ(xy->size, yx->size);
  EXPECT_FALSE(IsEqual(xy.get(), yx.get()));
  EXPECT_TRUE(IsEqual(xy.get(), marked.get()));
  Put32(marked.get(), kNameReserved, 1);
  EXPECT_FALSE(IsEqual(xy.get(), marked.get()));
}

TEST(Examine, ClassifiesTheFormOfABlock) {
  using R = ExamineBase::Result;
  Block named = Lay(NewInt(u"a", 5));
  Block zero(NewCopy(named.get(), nullptr, false, true)), foreign = RawCopy(named.get());
  EXPECT_EQ(ExamineBase::Examine(zero.get()), R::ZeroBased);
  EXPECT_EQ(ExamineBase::Examine(named.get()), R::PointerForm);
  EXPECT_EQ(ExamineBase::Examine(foreign.get()), R::Foreign);

  Block text = Lay(NewString(nullptr, u"xy", 0));  // no name: the payload pointer decides
  EXPECT_EQ(ExamineBase::Examine(text.get()), R::PointerForm);
  RebaseToZero(text.get());
  EXPECT_EQ(ExamineBase::Examine(text.get()), R::ZeroBased);
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

}  // namespace
