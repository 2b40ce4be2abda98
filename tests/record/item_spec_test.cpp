#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "record/builder_testing.h"

namespace {

using namespace ZxVariantHelper;
using namespace zxv_testing;
using Refusal = ZxvIllegalOperationException*;
using T = ZxVariant::TypeCodes;

const bool kTrue = true;
const int kInt = -9;
const double kDouble = 0.125;
const long long kInt64 = 1LL << 45;
void* const kRegister = reinterpret_cast<void*>(std::uintptr_t{0x8877665544332211});
const int kChildInts[] = {10, 20};
const ItemSpec kNested[] = {{T::Int, &kChildInts[0], 0}, {T::Int, &kChildInts[1], 0}};
const ItemSpec kEveryType[] = {
    {T::Null, nullptr, 0},      {T::Register, &kRegister, 0}, {T::Bool, &kTrue, 0},
    {T::Int, &kInt, 0},         {T::Float, &kDouble, 0},      {T::Int64, &kInt64, 0},
    {T::Buffer, "abc", 3},      {T::String, u"hi", 0},        {T::List, kNested, 2},
    {T::String, u"", 0},        {T::Buffer, "x", 0},
};

TEST(ItemSpec, LaysOutEveryTypeUnnamed) {
  BuildFromList build(kEveryType, std::size(kEveryType));
  const unsigned size = build.CalculateZxVariantSize();
  EXPECT_EQ(size, 64u + 8 * 11 + 6 * 64 + 67 + 70 + 208 + 128);
  Record record(build.BuildNewZxVariant(nullptr));
  ASSERT_NE(record, nullptr);
  EXPECT_EQ(record->size, size);
  EXPECT_TRUE(Validate(record.get()));
  ZxvView v(record.get());
  ASSERT_EQ(v.ListValueSize(), 11);
  EXPECT_TRUE(v[0].IsNull() && v[2].Bool() && v[3].Int() == kInt && v[4].Float() == kDouble);
  EXPECT_EQ(v[1].Register(), kRegister);
  EXPECT_EQ(v[5].Int64(), kInt64);
  ASSERT_EQ(v[6].Buffer().size, 3u);
  EXPECT_EQ(std::memcmp(v[6].Buffer().data, "abc", 3), 0);
  EXPECT_EQ(StoredString(v[7]->value.string), std::u16string(u"hi\0", 3));
  EXPECT_EQ(v[8][1].Int(), 20);
  EXPECT_TRUE(v[9]->value.string.str == nullptr && v[10]->value.buffer.data == nullptr);
  const unsigned sizes[] = {64, 64, 64, 64, 64, 64, 67, 70, 64 + 16 + 128, 64, 64};
  for (int i = 0; i < 11; ++i) {
    EXPECT_EQ(v[i].Size(), sizes[i]) << i;
    EXPECT_EQ(v[i].NameSize(), 0u) << "ItemSpec nodes have no names";
  }
}

TEST(ItemSpec, EmbedsRecordsBuildersAndNull) {
  Owned<ZxvList> tree = MakeRichTree();
  Record rich = Lay(*tree);
  Owned<ZxvInt> builder(NewInt(u"b", 77));
  const ItemSpec items[] = {{TypeEmbeddedRecord, nullptr, 0},
                            {TypeEmbeddedRecord, builder.get(), 0},
                            {TypeEmbeddedRecord, rich.get(), 0}};
  BuildFromList build(items, 3);
  EXPECT_EQ(build.CalculateZxVariantSize(), 64u + 24 + 64 + 68 + rich->size);
  Record record(build.BuildNewZxVariant(nullptr));
  ASSERT_NE(record, nullptr);
  EXPECT_TRUE(Validate(record.get()));
  ZxvView v(record.get());
  EXPECT_TRUE(v[0].IsNull() && v[0].Size() == 64u) << "a null embedded record is a bare Null node";
  EXPECT_TRUE(v[1].Name() == ZxvStringView(u"b") && v[1].Int() == 77);
  EXPECT_TRUE(IsEqual(v[2], rich.get())) << "copied whole and rebased";
  EXPECT_EQ(v[2][u"host"].String(), ZxvStringView(u"example.org"));

  const ItemSpec nullRoot{TypeEmbeddedRecord, nullptr, 0};
  EXPECT_EQ(Build(&nullRoot).CalculateZxVariantSize(), 64u);

  // A record laid out from a chained builder carries a stale next; the
  // embedded copy must not.
  Owned<ZxvList> chain(NewList(nullptr));
  ZxvBase* first = chain->Append(NewString(u"s", u"v", 0));
  chain->Append(NewNull(nullptr));
  Record stale = Lay(*first);
  ASSERT_NE(stale->next, nullptr);
  const ItemSpec staleRoot{TypeEmbeddedRecord, stale.get(), 0};
  Record copy(Build(&staleRoot).BuildNewZxVariant(nullptr));
  EXPECT_TRUE(copy->next == nullptr && ZxvView(copy.get()).String() == ZxvStringView(u"v"));
}

unsigned g_requested = 0;
void* RecordingAlloc(unsigned size) {
  g_requested = size;
  return std::malloc(size);
}

TEST(Build, NullRootAndBufferSizes) {
  const Build none(nullptr);
  unsigned needed = 77;
  char buffer[128];
  EXPECT_EQ(none.CalculateZxVariantSize(), 0u);
  EXPECT_EQ(none.BuildZxVariantInPlace(buffer, sizeof buffer, &needed), nullptr);
  EXPECT_EQ(needed, 0u);
  EXPECT_EQ(none.BuildZxVariant(buffer, sizeof buffer), nullptr);

  const BuildFromList build(kEveryType, std::size(kEveryType));
  const unsigned size = build.CalculateZxVariantSize();
  Record fromAlloc(build.BuildNewZxVariant(RecordingAlloc));
  EXPECT_EQ(g_requested, size);

  std::vector<char> space(size + 8, '\x5A');
  const std::vector<char> untouched = space;
  EXPECT_EQ(build.BuildZxVariantInPlace(space.data(), size - 1, &needed), nullptr);
  EXPECT_EQ(needed, size);
  EXPECT_EQ(space, untouched);
  EXPECT_THROW(build.BuildZxVariant(space.data(), size - 1), Refusal);
  EXPECT_EQ(space, untouched) << "a short buffer is never written";
  EXPECT_THROW(build.BuildZxVariant(space.data(), size + 8), Refusal);

  ZxVariant* exact = build.BuildZxVariant(space.data(), size);
  ASSERT_EQ(static_cast<void*>(exact), space.data());
  EXPECT_TRUE(Validate(exact));
  EXPECT_TRUE(IsEqual(exact, fromAlloc.get()));
}

TEST(Build, RefusesSizesPastFourGigabytes) {
  // Headers that claim almost 4 GiB: only their size words are ever read
  // before the refusal.
  alignas(8) unsigned char fake[2][64] = {};
  const std::uint32_t claimed = 0xFFFFFFF0u;
  for (auto& header : fake) std::memcpy(header, &claimed, sizeof claimed);
  const ItemSpec items[] = {{TypeEmbeddedRecord, fake[0], 0}, {TypeEmbeddedRecord, fake[1], 0}};
  const BuildFromList build(items, 2);
  unsigned needed = 0;
  char small[64];
  EXPECT_THROW(build.BuildNewZxVariant(nullptr), Refusal);
  EXPECT_THROW(build.BuildZxVariantInPlace(small, sizeof small, &needed), Refusal);
}

TEST(BuildFromList, CopiesPointAtTheirOwnRoot) {
  auto original = std::make_unique<BuildFromList>(kNested, 2);
  BuildFromList copied(*original);
  BuildFromList assigned(kEveryType, 1);
  assigned = *original;
  original.reset();  // a copy still aiming at the original's list entry is a use after free
  for (const BuildFromList* build : {&copied, &assigned}) {
    Record record(build->BuildNewZxVariant(nullptr));
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(ZxvView(record.get()).ListValueSize(), 2);
    EXPECT_EQ(ZxvView(record.get())[0].Int(), 10);
  }
}

}  // namespace
