#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <vector>

#include "record/builder_testing.h"

namespace {

using namespace ZxVariantHelper;
using namespace zxv_testing;
using Refusal = ZxvIllegalOperationException*;
using T = ZxVariant::TypeCodes;
using namespace std::string_literals;

TEST(Builders, ScalarsStoreReplaceAndLayOutTheirValues) {
  void* const wide = reinterpret_cast<void*>(std::uintptr_t{0xA1B2C3D4E5F60718});
  Owned<ZxvList> list(NewList(u"l"));
  auto* i = static_cast<ZxvInt*>(list->Append(NewInt(u"i", 5)));
  auto* i64 = static_cast<ZxvInt64*>(list->Append(NewInt64(u"i64", -7)));
  auto* f = static_cast<ZxvFloat*>(list->Append(NewFloat(u"f", 1.5)));
  auto* b = static_cast<ZxvBool*>(list->Append(NewBool(u"b", false)));
  auto* r = static_cast<ZxvRegister*>(list->Append(NewRegister(u"r", nullptr)));
  list->Append(NewNull(nullptr));
  EXPECT_EQ(i->size, 0u) << "builders carry size 0";
  EXPECT_TRUE(i->GetValue() == 5 && i64->GetValue() == -7 && f->GetValue() == 1.5 && !b->GetValue());
  i->SetValue(-123456), i64->SetValue(1LL << 62), f->SetValue(-2.25), b->SetValue(true), r->SetValue(wide);
  EXPECT_EQ(r->GetValue(), wide);
  Record record = Lay(*list);
  ZxvView v(record.get());
  EXPECT_TRUE(v[u"i"].Int() == -123456 && v[u"i64"].Int64() == 1LL << 62 && v[u"f"].Float() == -2.25);
  EXPECT_TRUE(v[u"b"].Bool());
  EXPECT_EQ(v[u"r"].Register(), wide) << "a Register keeps the full pointer";
  EXPECT_TRUE(v[5].IsNull() && v[5].Size() == 64u);
  EXPECT_TRUE(Validate(record.get()));
}

TEST(Builders, BufferOwnsACopyOfItsBytes) {
  unsigned char bytes[3] = {1, 2, 3};
  Owned<ZxvBuffer> buffer(NewBuffer(u"buf", bytes, 3));
  bytes[0] = 99;
  ASSERT_EQ(buffer->GetValue().size, 3u);
  EXPECT_EQ(std::memcmp(buffer->GetValue().data, "\x01\x02\x03", 3), 0);
  for (int size : {0, -3}) {
    buffer->SetValue(bytes, size);
    EXPECT_TRUE(buffer->GetValue().size == 0u && buffer->GetValue().data == nullptr) << size;
  }
  buffer->SetValue("xyz", 3);
  Record record = Lay(*buffer);
  EXPECT_EQ(record->size, 64u + 8u + 3u);
  EXPECT_EQ(std::memcmp(record->value.buffer.data, "xyz", 3), 0);
}

TEST(ZxvString, LengthArgumentRules) {
  Owned<ZxvString> s(NewString(u"", u"xy", 0));
  EXPECT_EQ(s->name.length, 0u);
  EXPECT_EQ(StoredString(s->GetValue()), u"xy\0"s) << "length 0 copies the NUL";
  EXPECT_EQ(Lay(*s)->size, 70u);
  s->SetValue(u"xyz", 2);
  EXPECT_EQ(StoredString(s->GetValue()), u"xy\0"s) << "a NUL is appended";
  EXPECT_EQ(Lay(*s)->size, 70u);
  s->SetValue(u"ab\0cd", 5);
  EXPECT_EQ(StoredString(s->GetValue()), u"ab\0cd\0"s) << "copies past an inner NUL";
  s->SetValue(u"ab\0cd", 0);
  EXPECT_EQ(StoredString(s->GetValue()), u"ab\0"s);
  s->SetValue(u"abc", -1);
  EXPECT_EQ(StoredString(s->GetValue()), u"abc\0"s);
  for (const char16_t* empty : {static_cast<const char16_t*>(nullptr), u"", u"\0xy"}) {
    s->SetValue(empty, 5);
    EXPECT_TRUE(s->GetValue().length == 0u && s->GetValue().str == nullptr);
  }
  EXPECT_EQ(Lay(*s)->size, 64u);
}

TEST(ZxvString, TakeValueAdoptsTheHeapText) {
  Owned<ZxvString> s(NewString(u"s", u"old", 0));
  auto* text = static_cast<char16_t*>(std::malloc(6 * sizeof(char16_t)));
  std::memcpy(text, u"hello", 6 * sizeof(char16_t));
  s->TakeValue(text, -1);
  EXPECT_EQ(s->GetValue().str, text) << "adopted, not copied";
  EXPECT_EQ(s->GetValue().length, 5u);
  EXPECT_EQ(TextAt(Lay(*s)->value.string.str), u"hello");
  s->TakeValue(nullptr, 3);
  EXPECT_TRUE(s->GetValue().length == 0u && s->GetValue().str == nullptr);
  // An empty text is not adopted: freeing it here would double-free otherwise.
  auto* empty = static_cast<char16_t*>(std::calloc(1, sizeof(char16_t)));
  s->TakeValue(empty, 0);
  EXPECT_EQ(s->GetValue().str, nullptr);
  std::free(empty);
}

TEST(Builders, NamesFromUtf16AndUtf8) {
  Owned<ZxvInt> b(NewInt(u"abc", 1));
  EXPECT_EQ(StoredString(b->name), u"abc\0"s);
  b->SetName(u"");
  EXPECT_TRUE(b->name.length == 0u && b->name.str == nullptr);
  b->SetName("h\xC3\xA9");
  EXPECT_EQ(StoredString(b->name), u"h\u00E9\0"s);
  b->SetName("a\xFF" "b");
  EXPECT_EQ(StoredString(b->name), u"a\uFFFDb\0"s) << "ill-formed byte";
  b->SetName("\xF0\x9F\x98\x80");
  EXPECT_EQ(StoredString(b->name), u"\U0001F600\0"s) << "surrogate pair";
  b->SetName(static_cast<const char*>(nullptr));
  EXPECT_EQ(b->name.length, 0u);
  ZxvStringFromUtf8 euro(u"t", "\xE2\x82\xAC x\xC0");
  EXPECT_EQ(StoredString(euro.GetValue()), u"\u20AC x\uFFFD\0"s);
  EXPECT_EQ(ZxvStringFromUtf8(u"t", "").GetValue().str, nullptr);
}

TEST(ZxvAny, StoresSupportedTypesAndRefusesOthers) {
  const int i = 42;
  const bool yes = true;
  const double d = 2.5;
  const long long big = -(1LL << 50);
  void* const reg = reinterpret_cast<void*>(std::uintptr_t{0x0123456789ABCDEF});
  Owned<ZxvList> list(NewList(nullptr));
  list->Append(new ZxvAny(u"i", T::Int, &i));
  list->Append(new ZxvAny(u"b", T::Bool, &yes));
  list->Append(new ZxvAny(u"d", T::Float, &d));
  list->Append(new ZxvAny(u"l", T::Int64, &big));
  list->Append(new ZxvAny(u"r", T::Register, &reg));
  list->Append(new ZxvAny(u"s", T::String, u"text"));
  list->Append(new ZxvAny(u"n", T::Null, nullptr));
  Record record = Lay(*list);
  ZxvView v(record.get());
  EXPECT_TRUE(v[u"i"].Int() == 42 && v[u"b"].Bool() && v[u"d"].Float() == 2.5 && v[u"l"].Int64() == big);
  EXPECT_EQ(v[u"r"].Register(), reg);
  EXPECT_EQ(v[u"s"].String(), ZxvStringView(u"text"));
  EXPECT_TRUE(v[u"n"].IsNull() && v[u"n"].Size() == 68u);

  Owned<ZxvAny> any(new ZxvAny(u"a", T::String, u"xyz"));
  any->SetValue(T::Int, &i);  // the String copy must be released (leak check)
  int stored = 0;
  std::memcpy(&stored, any->GetValue(), sizeof stored);
  EXPECT_EQ(stored, 42);
  for (auto bad : {T::Buffer, T::List, TypeEmbeddedRecord, static_cast<T>(10)}) {
    EXPECT_THROW(any->SetValue(bad, &i), Refusal);
    EXPECT_THROW(ZxvAny(u"x", bad, &i), Refusal);
  }
  EXPECT_EQ(ZxvView(any.get()).Int(), 42) << "a refused SetValue changes nothing";
}

TEST(ZxvList, AppendSetValueAndFirstChild) {
  Owned<ZxvList> list(NewList(u"l"));
  EXPECT_TRUE(list->IsEmpty());
  ZxvBase* a = NewInt(u"a", 1);
  EXPECT_EQ(list->Append(a), a);
  list->Append(NewInt(u"b", 2));
  list->Append(NewInt(u"c", 3));
  EXPECT_FALSE(list->IsEmpty());
  Record record = Lay(*list);
  const char* base = reinterpret_cast<const char*>(record.get());
  ASSERT_EQ(record->value.list.count, 3u);
  EXPECT_EQ(reinterpret_cast<const char*>(record->value.list.items), base + 64 + 4) << "after the name";
  ZxvView v(record.get());
  const ZxVariant* nodes[3] = {v[0], v[1], v[2]};
  EXPECT_EQ(reinterpret_cast<const char*>(nodes[0]), base + 64 + 4 + 24);
  EXPECT_TRUE(nodes[0]->next == nodes[1] && nodes[1]->next == nodes[2] && nodes[2]->next == nullptr);
  EXPECT_TRUE(v[2].Name() == ZxvStringView(u"c") && Validate(record.get()));

  list->SetValue(NewInt(u"d", 4));  // a, b and c are destroyed (leak check)
  EXPECT_EQ(ZxvView(Lay(*list).get())[0].Name(), ZxvStringView(u"d"));
  list->SetValue(nullptr);
  EXPECT_TRUE(list->IsEmpty());
  list->Append(NewInt(u"e", 5));
  EXPECT_EQ(Lay(*list)->value.list.count, 1u);
  Owned<ZxvList> seeded(new ZxvList(u"s", NewBool(u"only", true)));
  EXPECT_TRUE(ZxvView(Lay(*seeded).get())[u"only"].Bool());
}

TEST(ZxvList, RefusesChildInAnotherChainAndStaysUnchanged) {
  Owned<ZxvList> owner(NewList(u"owner"));
  ZxvBase* linked = owner->Append(NewInt(u"a", 1));
  owner->Append(NewInt(u"b", 2));
  Owned<ZxvList> other(NewList(u"other"));
  other->Append(NewInt(u"keep", 7));
  EXPECT_THROW(other->Append(linked), Refusal);
  EXPECT_THROW(other->SetValue(linked), Refusal);
  EXPECT_THROW(other->AppendAttribute(linked), Refusal);
  EXPECT_THROW(new ZxvList(u"x", linked), Refusal);
  Record o = Lay(*other);
  EXPECT_TRUE(o->value.list.count == 1u && o->attributes.count == 0u);
  EXPECT_EQ(ZxvView(o.get())[0].Int(), 7);
  EXPECT_EQ(Lay(*owner)->value.list.count, 2u);
}

TEST(AppendAttribute, RefusesUnnamedListsAndUnfitCopies) {
  Owned<ZxvString> owner(NewString(u"o", u"v", 0));
  Owned<ZxvList> list(NewList(u"n"));
  Owned<ZxvInt> unnamedInt(NewInt(nullptr, 1));
  Owned<ZxvInt> namedInt(NewInt(u"x", 1));
  Record namedList = Lay(*list), unnamed = Lay(*unnamedInt), named = Lay(*namedInt);
  EXPECT_THROW(owner->AppendAttribute(unnamedInt.get()), Refusal);
  EXPECT_THROW(owner->AppendAttribute(list.get()), Refusal);
  for (const ZxVariant* unfit : {namedList.get(), unnamed.get(), static_cast<ZxVariant*>(nullptr)}) {
    ZxvCopy copy(unfit);
    EXPECT_THROW(owner->AppendAttribute(&copy), Refusal);
  }
  EXPECT_EQ(Lay(*owner)->attributes.count, 0u) << "refusals leave the owner unchanged";
  owner->AppendAttribute(new ZxvCopy(named.get()));
  owner->AppendAttribute(NewInt(u"y", 2));
  Record record = Lay(*owner);
  ZxvView v(record.get());
  EXPECT_TRUE(record->attributes.count == 2u && v.AttributeValue(u"x").Int() == 1 && v.AttributeValue(u"y").Int() == 2);
}

TEST(Copies, DeepCopyAndEmbeddedCopy) {
  Record reference = Lay(*MakeRichTree());
  Owned<ZxvBase> deep(NewZxvCopyDeep(reference.get()));
  ASSERT_NE(deep, nullptr);
  EXPECT_TRUE(IsEqual(Lay(*deep).get(), reference.get()));
  EXPECT_EQ(NewZxvCopyDeep(nullptr), nullptr);

  // A root laid out from a chained builder keeps that builder's next; an
  // embedded copy of it must come out with next cleared.
  Owned<ZxvList> chain(NewList(nullptr));
  ZxvBase* first = chain->Append(MakeRichTree().release());
  ZxvBase* after = chain->Append(NewInt(u"after", 1));
  Record source = Lay(*first);
  ASSERT_EQ(source->next, after);
  EXPECT_TRUE(Validate(source.get()));
  Owned<ZxvCopy> copy(new ZxvCopy(source.get()));
  source.reset();  // the copy is private
  Record alone = Lay(*copy);
  EXPECT_EQ(alone->next, nullptr);
  EXPECT_TRUE(IsEqual(alone.get(), reference.get()));

  Owned<ZxvList> outer(NewList(u"outer"));
  outer->Append(copy.release());
  outer->Append(NewInt(u"tail", 2));
  Record record = Lay(*outer);
  const ZxvView embedded = ZxvView(record.get())[0];
  EXPECT_EQ(embedded.Name(), ZxvStringView(u"root"));
  EXPECT_EQ(embedded.ListValueSize(), kRichChildren);
  EXPECT_EQ(embedded.AttributeValue(u"kind").String(), ZxvStringView(u"demo"));
  EXPECT_EQ(embedded->next, static_cast<const ZxVariant*>(ZxvView(record.get())[1]));
  EXPECT_TRUE(Validate(record.get()));
  Record nothing = Lay(ZxvCopy(nullptr));
  EXPECT_TRUE(nothing->size == 64u && nothing->type == T::Null);
}

TEST(Copies, ImproperCopyTakesTypeNameAndValueOnly) {
  Record rich = Lay(*MakeRichTree());
  ZxvView v(rich.get());
  Record host = Lay(ZxvCopyImproper(v[u"host"]));
  EXPECT_EQ(ZxvView(host.get()).Name(), ZxvStringView(u"host"));
  EXPECT_EQ(ZxvView(host.get()).String(), ZxvStringView(u"example.org"));
  EXPECT_EQ(host->attributes.count, 0u) << "attributes are never copied";
  Record blob = Lay(ZxvCopyImproper(v[u"blob"]));
  ASSERT_EQ(blob->value.buffer.size, 3u);
  EXPECT_EQ(std::memcmp(blob->value.buffer.data, "\x01\x02\x03", 3), 0);
  EXPECT_EQ(ZxvView(Lay(ZxvCopyImproper(v[u"reg"])).get()).Register(), v[u"reg"].Register());
  EXPECT_THROW(ZxvCopyImproper(rich.get()), Refusal);
  EXPECT_THROW(ZxvCopyImproper(nullptr), Refusal);
}

unsigned g_allocCalls = 0, g_allocSize = 0;
void* CountingAlloc(unsigned size) {
  ++g_allocCalls;
  g_allocSize = size;
  return std::malloc(size);
}
void* FailingAlloc(unsigned) { return nullptr; }

TEST(BuilderLayout, AllocatorAndInPlaceCapacity) {
  Owned<ZxvList> tree = MakeRichTree();
  const unsigned size = tree->ComputeZxVariantSize();
  Record record(tree->BuildNewZxVariant(CountingAlloc));
  EXPECT_TRUE(g_allocCalls == 1u && g_allocSize == size && record->size == size);
  EXPECT_EQ(tree->BuildNewZxVariant(FailingAlloc), nullptr);

  std::vector<unsigned char> space(size, 0xAB);
  unsigned needed = 0;
  EXPECT_EQ(tree->BuildZxVariantInPlace(space.data(), size - 1, &needed), nullptr);
  EXPECT_EQ(needed, size);
  EXPECT_EQ(std::vector<unsigned char>(size, 0xAB), space) << "nothing written when too small";
  ZxVariant* inPlace = tree->BuildZxVariantInPlace(space.data(), size, &needed);
  EXPECT_EQ(static_cast<void*>(inPlace), space.data());
  EXPECT_TRUE(IsEqual(inPlace, record.get()));
}

TEST(BuilderLayout, RefusesSizesPastFourGigabytes) {
  // Tiny texts with huge declared lengths: any layout attempt would overrun.
  auto hugeString = [](int length) {
    auto* text = static_cast<char16_t*>(std::malloc(4 * sizeof(char16_t)));
    std::memcpy(text, u"abc", 4 * sizeof(char16_t));
    ZxvString* s = NewString(u"s", nullptr, 0);
    s->TakeValue(text, length);
    return s;
  };
  Owned<ZxvString> single(hugeString(0x7FFFFFFF));
  unsigned needed = 0;
  char small[64];
  EXPECT_THROW(single->BuildNewZxVariant(nullptr), Refusal);
  EXPECT_THROW(single->BuildZxVariantInPlace(small, sizeof small, &needed), Refusal);
  Owned<ZxvList> pair(NewList(nullptr));  // each half fits, the sum wraps in 32 bits
  pair->Append(hugeString(0x3FFFFFFF));
  pair->Append(hugeString(0x3FFFFFFF));
  EXPECT_THROW(pair->BuildNewZxVariant(nullptr), Refusal);
}

TEST(BuilderLayout, DeepNestingNeedsNoDeepStack) {
  constexpr unsigned kDepth = 200000;
  ZxvList* top = NewList(u"n");
  for (unsigned level = 0; level < kDepth; ++level) {
    ZxvList* parent = NewList(nullptr);
    parent->Append(top);
    top = parent;
  }
  Owned<ZxvList> tree(top);
  Record record = Lay(*tree);
  ASSERT_NE(record, nullptr);
  EXPECT_EQ(record->size, kDepth * 72u + 68u);
  EXPECT_TRUE(Validate(record.get()));
}

}  // namespace
