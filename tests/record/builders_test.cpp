// Builder objects and ItemSpec tables: what they store, what they refuse and
// the blocks they lay out.
#include <gtest/gtest.h>

#include <functional>

#include "record/record_testing.h"

namespace {

using namespace zxt;
using namespace std::string_literals;

TEST(Builders, ScalarsReadBackAndBuffersOwnCopies) {
  EXPECT_TRUE(ZxvInt(u"i", -123456).GetValue() == -123456 && ZxvInt64(u"l", 1LL << 62).GetValue() == 1LL << 62);
  EXPECT_TRUE(ZxvFloat(u"f", -2.25).GetValue() == -2.25 && ZxvBool(u"b", true).GetValue());
  EXPECT_TRUE(ZxvRegister(u"r", kReg).GetValue() == kReg && ZxvInt(u"i", 1).size == 0u);  // builders: size 0
  unsigned char bytes[3] = {1, 2, 3};
  Owned<ZxvBuffer> buf(NewBuffer(u"buf", bytes, 3));
  bytes[0] = 99;  // the builder owns a copy
  EXPECT_EQ(std::memcmp(buf->GetValue().data, "\x01\x02\x03", 3), 0);
  for (int size : {0, -3}) {
    buf->SetValue(bytes, size);
    EXPECT_TRUE(buf->GetValue().size == 0u && !buf->GetValue().data) << size;
  }
  buf->SetValue("xyz", 3);
  EXPECT_TRUE(buf->GetValue().size == 3u && std::memcmp(Lay(*buf)->value.buffer.data, "xyz", 3) == 0);
}

TEST(Builders, StringLengthRulesAdoptedTextAndAnyStrings) {
  const struct { const char16_t* text; int length; std::u16string stored; } cases[] = {
      {u"xy", 0, u"xy\0"s},         {u"xyz", 2, u"xy\0"s},  {u"ab\0cd", 5, u"ab\0cd\0"s},  // past an inner NUL
      {u"ab\0cd", 0, u"ab\0"s},     {u"abc", -1, u"abc\0"s}, {nullptr, 5, u""},
      {u"", 5, u""},                {u"\0xy", 5, u""}};
  Owned<ZxvString> s(NewString(u"s", u"old", 0));
  for (const auto& c : cases) {
    s->SetValue(c.text, c.length);
    EXPECT_EQ(Stored(s->GetValue()), c.stored);
    EXPECT_EQ(Lay(*s)->size, 64u + 4 + (c.stored.empty() ? 0 : 2 * c.stored.size()));
  }
  char16_t* text = HeapText(u"hello");
  s->TakeValue(text, -1);
  EXPECT_TRUE(s->GetValue().str == text && s->GetValue().length == 5u);  // adopted, not copied
  EXPECT_EQ(Stored(Lay(*s)->value.string), u"hello\0"s);
  s->TakeValue(nullptr, 3);
  EXPECT_TRUE(s->GetValue().length == 0u && s->GetValue().str == nullptr);
  auto* empty = static_cast<char16_t*>(std::calloc(1, sizeof(char16_t)));
  s->TakeValue(empty, 0);  // an empty text is not adopted, so freeing it here is no double free
  EXPECT_EQ(s->GetValue().str, nullptr);
  std::free(empty);
  // ZxvAny copies a String too, and releases it when given another type.
  const int i = 42;
  Owned<ZxvAny> any(new ZxvAny(u"a", T::String, u"xyz"));
  EXPECT_EQ(Stored(Lay(*any)->value.string), u"xyz\0"s);
  any->SetValue(T::Int, &i);
  EXPECT_TRUE(Get<int>(any->GetValue()) == 42 && Lay(*any)->value.intValue == 42);
}

TEST(Builders, NamesFromUtf16AndUtf8) {
  Owned<ZxvInt> b(NewInt(u"abc", 1));
  EXPECT_EQ(Stored(b->name), u"abc\0"s);
  const std::pair<const char*, std::u16string> utf8[] = {
      {"h\xC3\xA9", u"h\u00E9\0"s}, {"a\xFF" "b", u"a\uFFFDb\0"s}, {"\xF0\x9F\x98\x80", u"\U0001F600\0"s},
      {"\xE2\x82\xAC", u"\u20AC\0"s}, {"x\xC0", u"x\uFFFD\0"s}, {"\xE2\x82x", u"\uFFFDx\0"s},
      {"\xED\xA0\x80", u"\uFFFD\uFFFD\uFFFD\0"s}, {nullptr, u""}, {"", u""}};
  for (const auto& [in, out] : utf8) {
    b->SetName(in);
    EXPECT_EQ(Stored(b->name), out);
    EXPECT_EQ(Stored(ZxvStringFromUtf8(u"t", in).GetValue()), out);
  }
  b->SetName(u"x");
  b->SetName(u"");
  EXPECT_TRUE(b->name.length == 0u && b->name.str == nullptr);
}

TEST(Builders, RefusalsThrowAndChangeNothing) {
  ZxvBase* linked = NewInt(u"a", 1);
  Owned<ZxvList> owner(ListOf(u"owner", {linked, NewInt(u"b", 2)})), other(ListOf(u"other", {NewInt(u"keep", 7)}));
  Owned<ZxvString> holder(NewString(u"o", u"v", 0));
  Owned<ZxvInt> unnamed(NewInt(nullptr, 1));
  const int seven = 7;
  Owned<ZxvAny> any(new ZxvAny(u"a", T::Int, &seven));
  Block namedList = Lay(NewList(u"n")), unnamedRecord = Lay(NewInt(nullptr, 1));
  const std::function<void()> refused[] = {
      [&] { other->Append(linked); }, [&] { other->SetValue(linked); }, [&] { other->AppendAttribute(linked); },
      [&] { ZxvList(u"x", linked); }, [&] { holder->AppendAttribute(unnamed.get()); },
      [&] { holder->AppendAttribute(other.get()); }, [&] { ZxvCopy c(namedList.get()); holder->AppendAttribute(&c); },
      [&] { ZxvCopy c(unnamedRecord.get()); holder->AppendAttribute(&c); },
      [&] { ZxvCopy c(nullptr); holder->AppendAttribute(&c); }, [&] { any->SetValue(T::Buffer, "x"); },
      [&] { any->SetValue(T::List, "x"); }, [&] { any->SetValue(TypeEmbeddedRecord, "x"); },
      [&] { any->SetValue(static_cast<T>(10), "x"); }, [&] { ZxvAny(u"x", T::Buffer, "x"); },
      [&] { ZxvAny(u"x", T::List, "x"); }, [&] { ZxvCopyImproper c(namedList.get()); },
      [&] { ZxvCopyImproper c(nullptr); }};
  int i = 0;
  for (const auto& attempt : refused) EXPECT_THROW(attempt(), Refusal) << "case " << i++;
  EXPECT_EQ(ZxvView(any.get()).Int(), 7);
  Block o = Lay(*other), h = Lay(*holder), w = Lay(*owner);
  EXPECT_TRUE(o->value.list.count == 1u && o->attributes.count == 0u && ZxvView(o.get())[0].Int() == 7);
  EXPECT_TRUE(h->attributes.count == 0u && w->value.list.count == 2u);
  holder->AppendAttribute(new ZxvCopy(Lay(NewInt(u"x", 1)).get()));  // a named scalar record is fine
  EXPECT_EQ(ZxvView(Lay(*holder).get()).AttributeValue(u"x").Int(), 1);
}

TEST(Builders, ListAppendAndSetValue) {
  Owned<ZxvList> list(NewList(u"l"));
  ZxvBase* a = NewInt(u"a", 1);
  EXPECT_TRUE(list->IsEmpty() && list->Append(a) == a && !list->IsEmpty());
  list->Append(NewInt(u"b", 2));
  list->SetValue(NewInt(u"d", 4));  // a and b are destroyed (leak check)
  Block one = Lay(*list);
  EXPECT_TRUE(one->value.list.count == 1u && S(ZxvView(one.get())[0].Name()) == u"d");
  list->SetValue(nullptr);
  EXPECT_TRUE(list->IsEmpty() && Lay(*list)->value.list.count == 0u);
}

TEST(Builders, CopiesOfBuiltRecords) {
  Block reference = Sample();
  EXPECT_EQ(NewZxvCopyDeep(nullptr), nullptr);
  // A root laid out from a chained builder keeps that builder's next; a copy
  // of it is private and comes out with next cleared, alone or embedded.
  ZxvBase* first = SampleTree().release();
  Owned<ZxvList> chain(ListOf(nullptr, {first, NewInt(u"after", 1)}));
  Block source = Lay(*first);
  ASSERT_NE(source->next, nullptr);
  auto* copy = new ZxvCopy(source.get());
  source.reset();
  Owned<ZxvList> outer(ListOf(u"outer", {NewInt(u"head", 2), copy}));
  Block alone = Lay(*copy), record = Lay(*outer), nothing = Lay(ZxvCopy(nullptr));
  EXPECT_TRUE(IsEqual(alone.get(), reference.get()) && alone->next == nullptr);
  EXPECT_TRUE(IsEqual(ZxvView(record.get())[1], reference.get()) && Validate(record.get()));
  EXPECT_TRUE(nothing->size == 64u && nothing->type == T::Null);
  // An improper copy takes type, name and value (a String up to a NUL), never attributes.
  const ZxvView v(reference.get());
  const std::pair<const char16_t*, ZxvBase*> improper[] = {
      {u"host", NewString(u"host", u"example.org", 0)}, {u"blob", NewBuffer(u"blob", "\x01\x02\x03", 3)},
      {u"reg", NewRegister(u"reg", kReg)}, {u"raw", NewString(u"raw", u"a", 0)}};
  for (const auto& c : improper) EXPECT_TRUE(IsEqual(Lay(ZxvCopyImproper(v[c.first])).get(), Lay(c.second).get()));
}

void* FailingAlloc(unsigned) { return nullptr; }

// A builder or a table: one allocation of the exact size, null when it
// fails, and a layout in place only when the capacity suffices.
template <class Source>
void ExpectAllocationAndInPlace(const Source& source, unsigned size) {
  g_calls = 0;
  Block record(source.BuildNewZxVariant(CountingAlloc));
  EXPECT_TRUE(g_calls == 1u && g_size == size && record->size == size);
  EXPECT_EQ(source.BuildNewZxVariant(FailingAlloc), nullptr);
  std::vector<unsigned char> space(size + 8, 0xAB);
  const auto untouched = space;
  unsigned needed = 0;
  EXPECT_TRUE(source.BuildZxVariantInPlace(space.data(), size - 1, &needed) == nullptr && needed == size);
  EXPECT_EQ(space, untouched);  // nothing written when too small
  ZxVariant* inPlace = source.BuildZxVariantInPlace(space.data(), size + 8, &needed);
  EXPECT_TRUE(static_cast<void*>(inPlace) == space.data() && IsEqual(inPlace, record.get()));
}

TEST(Builders, RefusesSizesPastFourGigabytes) {
  // Tiny texts with huge declared lengths: any layout attempt would overrun.
  auto huge = [](int length) {
    ZxvString* s = NewString(u"s", nullptr, 0);
    return s->TakeValue(HeapText(u"abc"), length), s;
  };
  Owned<ZxvString> single(huge(0x7FFFFFFF));
  Owned<ZxvList> pair(ListOf(nullptr, {huge(0x3FFFFFFF), huge(0x3FFFFFFF)}));  // the sum wraps in 32 bits
  // ItemSpec headers claiming almost 4 GiB: only their size words are read.
  alignas(8) unsigned char fake[64] = {0xF0, 0xFF, 0xFF, 0xFF};
  const ItemSpec items[] = {{TypeEmbeddedRecord, fake, 0}, {TypeEmbeddedRecord, fake, 0}};
  const BuildFromList build(items, 2);
  unsigned needed = 0;
  char small[64];
  EXPECT_THROW(single->BuildNewZxVariant(nullptr), Refusal);
  EXPECT_THROW(single->BuildZxVariantInPlace(small, sizeof small, &needed), Refusal);
  EXPECT_THROW(pair->BuildNewZxVariant(nullptr), Refusal);
  EXPECT_THROW(build.BuildNewZxVariant(nullptr), Refusal);
  EXPECT_THROW(build.BuildZxVariantInPlace(small, sizeof small, &needed), Refusal);
}

TEST(Builders, DeepNestingNeedsNoDeepStack) {
  constexpr unsigned kDepth = 200000;
  ZxvList* top = NewList(u"n");
  for (unsigned level = 0; level < kDepth; ++level) top = new ZxvList(nullptr, top);
  Block record = Lay(top);
  ASSERT_TRUE(record && record->size == kDepth * 72u + 68u && Validate(record.get()));
}

const bool kTrue = true;
const int kInt = -9, kChildInts[] = {10, 20};
const double kDouble = 0.125;
const long long kInt64 = 1LL << 45;
const ItemSpec kNested[] = {{T::Int, &kChildInts[0], 0}, {T::Int, &kChildInts[1], 0}};
const ItemSpec kEveryType[] = {
    {T::Null, nullptr, 0},   {T::Register, &kReg, 0},  {T::Bool, &kTrue, 0},  {T::Int, &kInt, 0},
    {T::Float, &kDouble, 0}, {T::Int64, &kInt64, 0},   {T::Buffer, "abc", 3}, {T::String, u"hi", 0},
    {T::List, kNested, 2},   {T::String, u"", 0},      {T::Buffer, "x", 0}};

TEST(ItemSpec, LaysOutEveryTypeAsTheUnnamedBuildersDo) {
  BuildFromList build(kEveryType, std::size(kEveryType));
  EXPECT_EQ(build.CalculateZxVariantSize(), 64u + 8 * 11 + 64 * 6 + 67 + 70 + 208 + 128);
  Block record(build.BuildNewZxVariant(nullptr));
  Block same = Lay(ListOf(nullptr, {NewNull(nullptr), NewRegister(nullptr, kReg), NewBool(nullptr, true),
                                    NewInt(nullptr, kInt), NewFloat(nullptr, kDouble), NewInt64(nullptr, kInt64),
                                    NewBuffer(nullptr, "abc", 3), NewString(nullptr, u"hi", 0),
                                    ListOf(nullptr, {NewInt(nullptr, 10), NewInt(nullptr, 20)}),
                                    NewString(nullptr, u"", 0), NewBuffer(nullptr, "x", 0)}));
  EXPECT_TRUE(Validate(record.get()) && IsEqual(record.get(), same.get()));
}

TEST(ItemSpec, EmbedsRecordsBuildersAndNull) {
  Block sample = Sample();
  Owned<ZxvInt> builder(NewInt(u"b", 77));
  ZxvBase* first = NewString(u"s", u"v", 0);
  Owned<ZxvList> chain(ListOf(nullptr, {first, NewNull(nullptr)}));
  Block stale = Lay(*first);  // carries the chained builder's next
  const ItemSpec items[] = {{TypeEmbeddedRecord, nullptr, 0}, {TypeEmbeddedRecord, builder.get(), 0},
                            {TypeEmbeddedRecord, stale.get(), 0}, {TypeEmbeddedRecord, sample.get(), 0}};
  BuildFromList build(items, 4);
  EXPECT_EQ(build.CalculateZxVariantSize(), 64u + 32 + 64 + 68 + sample->size + stale->size);
  Block record(build.BuildNewZxVariant(nullptr));
  Block same = Lay(ListOf(nullptr, {new ZxvCopy(nullptr), NewInt(u"b", 77), new ZxvCopy(stale.get()),
                                    new ZxvCopy(sample.get())}));
  EXPECT_TRUE(Validate(record.get()) && IsEqual(record.get(), same.get()));
  const Build staleRoot(&items[2]), nullRoot(&items[0]);
  EXPECT_TRUE(Block(staleRoot.BuildNewZxVariant(nullptr))->next == nullptr && nullRoot.CalculateZxVariantSize() == 64u);
}

TEST(ItemSpec, AllocatorsAndCallerBuffersOfTablesAndBuilders) {
  Owned<ZxvList> tree = SampleTree();
  ExpectAllocationAndInPlace(*tree, tree->ComputeZxVariantSize());
  const Build none(nullptr);
  unsigned needed = 77;
  char buffer[128];
  EXPECT_TRUE(none.CalculateZxVariantSize() == 0u && none.BuildZxVariant(buffer, sizeof buffer) == nullptr);
  EXPECT_TRUE(none.BuildZxVariantInPlace(buffer, sizeof buffer, &needed) == nullptr && needed == 0u);
  const BuildFromList build(kEveryType, std::size(kEveryType));
  const unsigned size = build.CalculateZxVariantSize();
  ExpectAllocationAndInPlace(build, size);
  // The exact-size form refuses any other size and never writes a short buffer.
  std::vector<char> space(size + 8, '\x5A');
  const std::vector<char> untouched = space;
  EXPECT_THROW(build.BuildZxVariant(space.data(), size - 1), Refusal);
  EXPECT_EQ(space, untouched);
  EXPECT_THROW(build.BuildZxVariant(space.data(), size + 8), Refusal);
  ZxVariant* exact = build.BuildZxVariant(space.data(), size);
  EXPECT_TRUE(static_cast<void*>(exact) == space.data() && IsEqual(exact, Block(build.BuildNewZxVariant()).get()));
  // Copies of a BuildFromList aim at their own list entry, not the original's.
  auto original = std::make_unique<BuildFromList>(kNested, 2);
  BuildFromList copied(*original), assigned(kEveryType, 1);
  assigned = *original;
  original.reset();
  for (const BuildFromList* b : {&copied, &assigned}) {
    EXPECT_EQ(ZxvView(Block(b->BuildNewZxVariant(nullptr)).get())[1].Int(), 20);
  }
}

}  // namespace
