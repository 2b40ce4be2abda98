// Builder objects and ItemSpec tables: what they store, what they refuse and
// the blocks they lay out.
#include <gtest/gtest.h>

#include <functional>
#include <tuple>

#include "record/record_testing.h"

namespace {

using namespace zxt;
using namespace std::string_literals;

TEST(Builders, SettersReplaceValuesAndBuffersOwnCopies) {
  Owned<ZxvList> list(NewList(u"l"));
  auto* i = static_cast<ZxvInt*>(list->Append(NewInt(u"i", 5)));
  auto* i64 = static_cast<ZxvInt64*>(list->Append(NewInt64(u"i64", -7)));
  auto* f = static_cast<ZxvFloat*>(list->Append(NewFloat(u"f", 1.5)));
  auto* b = static_cast<ZxvBool*>(list->Append(NewBool(u"b", false)));
  auto* r = static_cast<ZxvRegister*>(list->Append(NewRegister(u"r", nullptr)));
  unsigned char bytes[3] = {1, 2, 3};
  auto* buf = static_cast<ZxvBuffer*>(list->Append(NewBuffer(u"buf", bytes, 3)));
  bytes[0] = 99;  // the builder owns a copy
  EXPECT_TRUE(std::memcmp(buf->GetValue().data, "\x01\x02\x03", 3) == 0 && i->size == 0u);  // builders: size 0
  i->SetValue(-123456), i64->SetValue(1LL << 62), f->SetValue(-2.25), b->SetValue(true), r->SetValue(kReg);
  EXPECT_TRUE(i->GetValue() == -123456 && i64->GetValue() == 1LL << 62 && f->GetValue() == -2.25 && b->GetValue());
  for (int size : {0, -3}) {
    buf->SetValue(bytes, size);
    EXPECT_TRUE(buf->GetValue().size == 0u && !buf->GetValue().data) << size;
  }
  buf->SetValue("xyz", 3);
  Block record = Lay(*list);
  ZxvView v(record.get());
  EXPECT_TRUE(v[u"i"].Int() == -123456 && v[u"i64"].Int64() == 1LL << 62 && v[u"f"].Float() == -2.25);
  EXPECT_TRUE(v[u"b"].Bool() && v[u"r"].Register() == kReg && v[u"buf"].Buffer().size == 3u);
  EXPECT_EQ(std::memcmp(v[u"buf"].Buffer().data, "xyz", 3), 0);
  EXPECT_TRUE(Validate(record.get()));
}

TEST(Builders, StringLengthRulesAndAdoptedText) {
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

TEST(Builders, AnyStoresScalarsAndStrings) {
  const int i = 42;
  const bool yes = true;
  const double d = 2.5;
  const long long big = -(1LL << 50);
  Owned<ZxvList> list(NewList(nullptr));
  for (auto [name, type, value] : {std::tuple<const char16_t*, T, const void*>{u"i", T::Int, &i}, {u"b", T::Bool, &yes},
                                   {u"d", T::Float, &d}, {u"l", T::Int64, &big}, {u"r", T::Register, &kReg},
                                   {u"s", T::String, u"text"}, {u"n", T::Null, nullptr}})
    list->Append(new ZxvAny(name, type, value));
  Block record = Lay(*list);
  ZxvView v(record.get());
  EXPECT_TRUE(v[u"i"].Int() == 42 && v[u"b"].Bool() && v[u"d"].Float() == 2.5 && v[u"l"].Int64() == big);
  EXPECT_TRUE(v[u"r"].Register() == kReg && S(v[u"s"].String()) == u"text" && v[u"n"].IsNull());
  Owned<ZxvAny> any(new ZxvAny(u"a", T::String, u"xyz"));
  any->SetValue(T::Int, &i);  // the String copy is released (leak check)
  EXPECT_EQ(Get<int>(any->GetValue()), 42);
}

TEST(Builders, RefusalsThrowAndChangeNothing) {
  Owned<ZxvList> owner(NewList(u"owner"));
  ZxvBase* linked = owner->Append(NewInt(u"a", 1));
  owner->Append(NewInt(u"b", 2));
  Owned<ZxvList> other(NewList(u"other"));
  other->Append(NewInt(u"keep", 7));
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

TEST(Builders, ListAppendSetValueAndSeed) {
  Owned<ZxvList> list(NewList(u"l"));
  ZxvBase* a = NewInt(u"a", 1);
  EXPECT_TRUE(list->IsEmpty() && list->Append(a) == a && !list->IsEmpty());
  list->Append(NewInt(u"b", 2));
  list->SetValue(NewInt(u"d", 4));  // a and b are destroyed (leak check)
  Block one = Lay(*list);
  EXPECT_TRUE(one->value.list.count == 1u && S(ZxvView(one.get())[0].Name()) == u"d");
  list->SetValue(nullptr);
  EXPECT_TRUE(list->IsEmpty() && Lay(*list)->value.list.count == 0u);
  EXPECT_TRUE(ZxvView(Lay(new ZxvList(u"s", NewBool(u"only", true))).get())[u"only"].Bool());
}

TEST(Builders, CopiesOfBuiltRecords) {
  Block reference = Sample();
  Owned<ZxvBase> deep(NewZxvCopyDeep(reference.get()));
  ASSERT_NE(deep, nullptr);
  EXPECT_TRUE(IsEqual(Lay(*deep).get(), reference.get()) && NewZxvCopyDeep(nullptr) == nullptr);
  // A root laid out from a chained builder keeps that builder's next; an
  // embedded copy of it comes out with next cleared.
  Owned<ZxvList> chain(NewList(nullptr));
  ZxvBase* first = chain->Append(SampleTree().release());
  chain->Append(NewInt(u"after", 1));
  Block source = Lay(*first);
  ASSERT_NE(source->next, nullptr);
  Owned<ZxvCopy> copy(new ZxvCopy(source.get()));
  source.reset();  // the copy is private
  EXPECT_TRUE(IsEqual(Lay(*copy).get(), reference.get()) && Lay(*copy)->next == nullptr);
  Owned<ZxvList> outer(NewList(u"outer"));
  outer->Append(NewInt(u"head", 2)), outer->Append(copy.release());
  Block record = Lay(*outer), nothing = Lay(ZxvCopy(nullptr));
  EXPECT_TRUE(IsEqual(ZxvView(record.get())[1], reference.get()) && Validate(record.get()));
  EXPECT_TRUE(nothing->size == 64u && nothing->type == T::Null);
  // An improper copy takes type, name and value, never attributes.
  ZxvView v(reference.get());
  Block host = Lay(ZxvCopyImproper(v[u"host"])), blob = Lay(ZxvCopyImproper(v[u"blob"]));
  EXPECT_TRUE(S(ZxvView(host.get()).Name()) == u"host" && S(ZxvView(host.get()).String()) == u"example.org");
  EXPECT_TRUE(host->attributes.count == 0u && host->size == 64u + 10 + 24);
  EXPECT_TRUE(blob->value.buffer.size == 3u && std::memcmp(blob->value.buffer.data, "\x01\x02\x03", 3) == 0);
  EXPECT_EQ(ZxvView(Lay(ZxvCopyImproper(v[u"reg"])).get()).Register(), kReg);
}

void* FailingAlloc(unsigned) { return nullptr; }

TEST(Builders, AllocatorsAndInPlaceCapacity) {
  Owned<ZxvList> tree = SampleTree();
  const unsigned size = tree->ComputeZxVariantSize();
  g_calls = 0;
  Block record(tree->BuildNewZxVariant(CountingAlloc));
  EXPECT_TRUE(g_calls == 1u && g_size == size && record->size == size);
  EXPECT_EQ(tree->BuildNewZxVariant(FailingAlloc), nullptr);
  std::vector<unsigned char> space(size, 0xAB);
  unsigned needed = 0;
  EXPECT_TRUE(tree->BuildZxVariantInPlace(space.data(), size - 1, &needed) == nullptr && needed == size);
  EXPECT_EQ(std::vector<unsigned char>(size, 0xAB), space);  // nothing written when too small
  ZxVariant* inPlace = tree->BuildZxVariantInPlace(space.data(), size, &needed);
  EXPECT_TRUE(static_cast<void*>(inPlace) == space.data() && IsEqual(inPlace, record.get()));
}

TEST(Builders, RefusesSizesPastFourGigabytes) {
  // Tiny texts with huge declared lengths: any layout attempt would overrun.
  auto huge = [](int length) {
    ZxvString* s = NewString(u"s", nullptr, 0);
    return s->TakeValue(HeapText(u"abc"), length), s;
  };
  Owned<ZxvString> single(huge(0x7FFFFFFF));
  Owned<ZxvList> pair(NewList(nullptr));  // each half fits, the sum wraps in 32 bits
  pair->Append(huge(0x3FFFFFFF)), pair->Append(huge(0x3FFFFFFF));
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

TEST(ItemSpec, LaysOutEveryTypeUnnamed) {
  BuildFromList build(kEveryType, std::size(kEveryType));
  const unsigned size = build.CalculateZxVariantSize();
  EXPECT_EQ(size, 64u + 8 * 11 + 64 * 6 + 67 + 70 + 208 + 128);
  Block record(build.BuildNewZxVariant(nullptr));
  ASSERT_TRUE(record && record->size == size && Validate(record.get()));
  ZxvView v(record.get());
  ASSERT_EQ(v.ListValueSize(), 11);
  EXPECT_TRUE(v[0].IsNull() && v[1].Register() == kReg && v[2].Bool() && v[3].Int() == kInt);
  EXPECT_TRUE(v[4].Float() == kDouble && v[5].Int64() == kInt64 && v[6].Buffer().size == 3u);
  EXPECT_TRUE(std::memcmp(v[6].Buffer().data, "abc", 3) == 0 && v[8][1].Int() == 20);
  EXPECT_EQ(Stored(v[7]->value.string), u"hi\0"s);
  const unsigned sizes[] = {64, 64, 64, 64, 64, 64, 67, 70, 64 + 16 + 128, 64, 64};
  for (int i = 0; i < 11; ++i) EXPECT_TRUE(v[i].Size() == sizes[i] && v[i].NameSize() == 0u) << i;
}

TEST(ItemSpec, EmbedsRecordsBuildersAndNull) {
  Block sample = Sample();
  Owned<ZxvInt> builder(NewInt(u"b", 77));
  Owned<ZxvList> chain(NewList(nullptr));
  ZxvBase* first = chain->Append(NewString(u"s", u"v", 0));
  chain->Append(NewNull(nullptr));
  Block stale = Lay(*first);  // carries the chained builder's next
  const ItemSpec items[] = {{TypeEmbeddedRecord, nullptr, 0}, {TypeEmbeddedRecord, builder.get(), 0},
                            {TypeEmbeddedRecord, stale.get(), 0}, {TypeEmbeddedRecord, sample.get(), 0}};
  BuildFromList build(items, 4);
  EXPECT_EQ(build.CalculateZxVariantSize(), 64u + 32 + 64 + 68 + sample->size + stale->size);
  Block record(build.BuildNewZxVariant(nullptr));
  ASSERT_TRUE(record && Validate(record.get()));
  ZxvView v(record.get());
  EXPECT_TRUE(v[0].IsNull() && v[0].Size() == 64u && S(v[1].Name()) == u"b" && v[1].Int() == 77);
  EXPECT_TRUE(IsEqual(v[3], sample.get()) && S(v[2].String()) == u"v");
  const Build staleRoot(&items[2]), nullRoot(&items[0]);
  EXPECT_TRUE(Block(staleRoot.BuildNewZxVariant(nullptr))->next == nullptr && nullRoot.CalculateZxVariantSize() == 64u);
}

TEST(ItemSpec, BuildIntoCallerBuffers) {
  const Build none(nullptr);
  unsigned needed = 77;
  char buffer[128];
  EXPECT_TRUE(none.CalculateZxVariantSize() == 0u && none.BuildZxVariant(buffer, sizeof buffer) == nullptr);
  EXPECT_TRUE(none.BuildZxVariantInPlace(buffer, sizeof buffer, &needed) == nullptr && needed == 0u);
  const BuildFromList build(kEveryType, std::size(kEveryType));
  const unsigned size = build.CalculateZxVariantSize();
  g_calls = 0;
  Block fromAlloc(build.BuildNewZxVariant(CountingAlloc));
  EXPECT_TRUE(g_calls == 1u && g_size == size);
  std::vector<char> space(size + 8, '\x5A');
  const std::vector<char> untouched = space;
  EXPECT_TRUE(build.BuildZxVariantInPlace(space.data(), size - 1, &needed) == nullptr && needed == size);
  EXPECT_THROW(build.BuildZxVariant(space.data(), size - 1), Refusal);
  EXPECT_EQ(space, untouched);  // a short buffer is never written
  EXPECT_THROW(build.BuildZxVariant(space.data(), size + 8), Refusal);
  ZxVariant* exact = build.BuildZxVariant(space.data(), size);
  EXPECT_TRUE(static_cast<void*>(exact) == space.data() && Validate(exact) && IsEqual(exact, fromAlloc.get()));
  // Copies of a BuildFromList aim at their own list entry, not the original's.
  auto original = std::make_unique<BuildFromList>(kNested, 2);
  BuildFromList copied(*original), assigned(kEveryType, 1);
  assigned = *original;
  original.reset();
  for (const BuildFromList* b : {&copied, &assigned})
    EXPECT_EQ(ZxvView(Block(b->BuildNewZxVariant(nullptr)).get())[1].Int(), 20);
}

}  // namespace
