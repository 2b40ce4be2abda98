// Views over the pointer form, builders and the zero-based form.
#include <gtest/gtest.h>

#include "record/record_testing.h"

namespace {

using namespace zxt;

class SampleView : public ::testing::Test {
 protected:
  Block record_ = Sample();
  ZxvView root_{record_.get()};
};

TEST_F(SampleView, TheNullAndTypeMismatchesAnswerZeros) {
  for (const ZxvView v : {ZxvView(nullptr), root_[u"missing"], root_[u"port"][0], root_[-1]}) {
    EXPECT_TRUE(v.IsTheNull() && v.IsNull() && v.Size() == 0u && v.ValueSize() == 0u && v.ValuePtr() == nullptr);
    EXPECT_TRUE(v.Name().IsEmpty() && v.Name().Str() != nullptr && v.String().Str() != nullptr);
    EXPECT_TRUE(v.Next().IsTheNull() && v.First().IsTheNull() && v[u"x"].IsTheNull());
    EXPECT_TRUE(v.ListValueSize() == -1 && v.AttributeValue(u"x").IsTheNull());
  }
  const ZxvView port = root_[u"port"];
  EXPECT_EQ(static_cast<int>(port), 8080);
  EXPECT_TRUE(port.Float() == 0.0 && port.Int64() == 0 && !port.Bool() && port.Register() == nullptr);
  EXPECT_TRUE(port.String().IsEmpty() && port.String().Str() != nullptr && port.List().count == 0u);
  EXPECT_TRUE(port.Buffer().size == 0u && port.Buffer().data == nullptr && port.ListValueSize() == -1);
  EXPECT_TRUE(root_[u"host"].Int() == 0 && root_[u"reg"].Int64() == 0);  // no conversion between types
}

TEST_F(SampleView, SizesAndValuePointers) {
  const unsigned valueSizes[] = {3, 4, 24, 24, 0, sizeof(void*), 0, 8, 0};
  const unsigned nameSizes[] = {10, 10, 10, 14, 12, 8, 0, 8, 0};
  for (int i = 0; i < kSampleChildren; ++i)
    EXPECT_TRUE(root_[i].ValueSize() == valueSizes[i] && root_[i].NameSize() == nameSizes[i]) << i;
  EXPECT_TRUE(root_[u"inner"][0].ValueSize() == 1u && root_[u"inner"][1].ValueSize() == 8u);
  const ZxVariant* port = root_[u"port"];
  EXPECT_EQ(root_[u"port"].ValuePtr(), reinterpret_cast<const char*>(port) + 24);  // scalars: the value area
  EXPECT_EQ(root_[u"blob"].ValuePtr(), root_[u"blob"].Buffer().data);
  EXPECT_EQ(root_[u"host"].ValuePtr(), root_[u"host"].String().Str());
  EXPECT_TRUE(root_[u"inner"].ValuePtr() == nullptr && root_[6].ValuePtr() == nullptr);
  EXPECT_TRUE(root_.ListValueSize() == kSampleChildren && root_.Size() == record_->size);
}

TEST_F(SampleView, ChildrenAttributesAndSearches) {
  EXPECT_TRUE(root_[-1].IsTheNull() && root_[kSampleChildren].IsTheNull());
  EXPECT_TRUE(root_[kSampleChildren - 1].IsBuffer() && S(root_[7].String()) == std::u16string(u"a\0b", 3));
  int visited = 0;
  for (ZxvView child = root_.First(); !child.IsTheNull(); child = child.Next(), ++visited)
    EXPECT_EQ(static_cast<const ZxVariant*>(child), static_cast<const ZxVariant*>(root_[visited]));
  EXPECT_EQ(visited, kSampleChildren);
  EXPECT_EQ(root_[u"inner"][u"big"].Int64(), 1LL << 40);
  EXPECT_TRUE(root_[u"PORT"].IsTheNull() && root_[u"por"].IsTheNull());  // exact, case-sensitive names
  EXPECT_EQ(S(root_.AttributeValue(u"kind").String()), u"demo");
  EXPECT_TRUE(root_.AttributeValue(u"Kind").IsTheNull() && root_.AttributeValue(u"port").IsTheNull());
  EXPECT_EQ(S(root_.FindItemWithAttributeValue(u"role", u"secondary").Name()), u"backup");
  EXPECT_EQ(S(root_.FindItemWithAttributeValue(u"role", u"primary").Name()), u"host");
  EXPECT_TRUE(root_.FindItemWithAttributeValue(u"role", u"PRIMARY").IsTheNull());
  EXPECT_TRUE(root_.FindItemWithAttributeValue(u"role", u"prim").IsTheNull());
  // A child lacking the attribute reads it as empty.
  EXPECT_EQ(S(root_.FindItemWithAttributeValue(u"role", u"").Name()), u"blob");
  EXPECT_EQ(S(root_.FindItemWithAttributeValue(u"role", nullptr).Name()), u"blob");
  EXPECT_TRUE(root_[u"port"].FindItemWithAttributeValue(u"role", u"").IsTheNull());
}

TEST(ZxvView, ReadsBuildersByIndexOnly) {
  Owned<ZxvList> list(NewList(u"l"));
  ZxvBase* x = list->Append(NewInt(u"x", 1));
  ZxvBase* y = list->Append(NewInt(u"y", 2));
  list->AppendAttribute(NewInt(u"a", 3));
  const ZxvView v(list.get());
  EXPECT_TRUE(v.Size() == 0u && v.ListValueSize() == 2 && v[1].Int() == 2);
  EXPECT_TRUE(static_cast<const ZxVariant*>(v[0]) == x && static_cast<const ZxVariant*>(v.First()) == x);
  EXPECT_EQ(static_cast<const ZxVariant*>(v[1]), y);
  EXPECT_TRUE(v[2].IsTheNull() && v[-1].IsTheNull());
  EXPECT_TRUE(v[u"x"].IsTheNull() && v.AttributeValue(u"a").IsTheNull());  // builders are not searched by name
  Owned<ZxvList> empty(NewList(nullptr));
  EXPECT_TRUE(ZxvView(empty.get()).ListValueSize() == 0 && ZxvView(empty.get()).First().IsTheNull());
}

// Lookups by name measure the wanted name once and compare whole names,
// last units first; names that share a prefix or a length, or that lie at
// odd addresses, must still be told apart in both forms.
TEST(ZxvView, NameLookupsTellApartNamesThatShareTheirLength) {
  Owned<ZxvList> list(NewList(nullptr));
  list->Append(NewBuffer(u"odd", "\x01", 1));  // every later name at an odd address
  const char16_t* names[] = {u"field10", u"field11", u"gield10", u"field1", u"f", u"x\u00e9y"};
  int value = 0;
  for (const char16_t* name : names) list->Append(NewInt(name, ++value));
  list->Append(NewString(u"n", u"v", 0))->AppendAttribute(NewInt(u"a", 7));
  Block r = Lay(*list);
  Block wire(NewCopy(r.get(), nullptr, false, true));
  const ZxvView view(r.get());
  const ZxvZView zero(AsZeroBased(wire.get()));
  value = 0;
  for (const char16_t* name : names) {
    ++value;
    EXPECT_EQ(view[name].Int(), value) << value;
    EXPECT_EQ(zero[name].Int(), value) << value;
  }
  for (const char16_t* missing : {u"field12", u"field0", u"fielD10", u"field100", u"xey", u""}) {
    EXPECT_TRUE(view[missing].IsTheNull() && zero[missing].IsTheNull());
  }
  EXPECT_TRUE(view[static_cast<const char16_t*>(nullptr)].IsTheNull());
  EXPECT_EQ(view[u"n"].AttributeValue(u"a").Int(), 7);
}

TEST(ZxvStringView, ComparesLengthsAndFoldsOnlyAsciiLetters) {
  using V = ZxvStringView;
  EXPECT_TRUE(V(u"Name") == V(u"Name") && V(u"Name") != V(u"NAME") && V(u"ab") != V(u"abc"));
  EXPECT_TRUE(V(u"Name").Equals(u"NAME", false) && !V(u"Name").Equals(u"NAME", true));
  EXPECT_TRUE(V(u"a-Z_9").Equals(u"A-z_9", false) && !V(u"ab").Equals(u"abc", false));
  // Not accented letters, nor the punctuation pairs a bit-twiddling fold would merge.
  EXPECT_FALSE(V(u"\u00E9").Equals(u"\u00C9", false) || V(u"[@").Equals(u"{`", false));
  EXPECT_TRUE(V() == V(static_cast<const char16_t*>(nullptr)) && V(u"").Equals(V(), false));
  EXPECT_NE(V(ZxVariant::String{0, 0, nullptr}).Str(), nullptr);
  EXPECT_EQ(V(static_cast<const char16_t*>(nullptr)).Str(), nullptr);
}

TEST_F(SampleView, ZeroBasedViewsTranslateDistances) {
  Block wire(NewCopy(record_.get(), nullptr, false, true));
  const ZxVariantZ* z = AsZeroBased(wire.get());
  const char* base = reinterpret_cast<const char*>(wire.get());
  const ZxvZView root(z);
  auto count = [](ZxvZView v) { return static_cast<ZxvListView>(v).Count(); };
  ASSERT_TRUE(root.IsList() && count(root) == kSampleChildren && count(root[u"port"]) == -1);
  EXPECT_EQ(S(root.Name()), u"root");
  // The entry array is read in 4-byte steps: index 2k is child k, odd indexes are theNull.
  const ZxvZView blob = root[0], port = root[2];
  EXPECT_TRUE(static_cast<const ZxVariantZ*>(root.First()) == blob && static_cast<const ZxVariantZ*>(blob.Next()) == port);
  EXPECT_TRUE(S(blob.Name()) == u"blob" && S(port.Name()) == u"port" && port.Int() == 8080);
  EXPECT_TRUE(root[1].IsTheNull() && root[3].IsTheNull() && root[-1].IsTheNull() && root[2 * kSampleChildren].IsTheNull());
  // The range counts entries, not steps: index 8 is child 4, index 10 is out.
  EXPECT_TRUE(S(root[8].Name()) == u"inner" && root[10].IsTheNull() && S(root[8][2].Name()) == u"big");
  const ZxVariant::Buffer buffer = blob.Buffer();
  const char* data = static_cast<const char*>(buffer.data);
  ASSERT_TRUE(buffer.size == 3u && data > base && data + 3 <= base + wire->size);
  EXPECT_TRUE(std::memcmp(data, "\x01\x02\x03", 3) == 0 && blob.ValuePtr() == buffer.data);
  const ZxvZView host = root[u"host"];
  EXPECT_TRUE(S(host.String()) == u"example.org" && host.ValueSize() == 24u && host.NameSize() == 10u);
  EXPECT_TRUE(root[u"Host"].IsTheNull() && S(root[u"inner"][0].Name()) == u"on");
  // The raw accessors of the zero-based node.
  EXPECT_TRUE(z->ValueListIndex(1) == nullptr && z->ValueListIndex(0)->Next() == z->ValueListIndex(2));
  EXPECT_TRUE(z->NameStr() == reinterpret_cast<const char16_t*>(base + 64) && Units(z->NameStr(), 4) == u"root");
  EXPECT_TRUE(z->ValueListLen() == 9u && z->ValueListIndex(0)->ValueBufferLen() == 3u && z->Next() == nullptr);
  EXPECT_EQ(std::memcmp(z->ValueListIndex(0)->ValueBufferBuf(), "\x01\x02\x03", 3), 0);
  ASSERT_EQ(z->AttributesLen(), 1u);
  EXPECT_EQ(Units(z->AttributesIndex(0)->ValueStringStr(), 4), u"demo");
  EXPECT_EQ(z->ValueListIndex(2 * (kSampleChildren - 1))->Next(), nullptr);
  // A view of null answers zeros.
  const ZxvZView none;
  EXPECT_TRUE(none.IsTheNull() && ZxvZView::theNull == nullptr && none.Type() == T::Null && none.Int() == 0 &&
              none.Size() == 0u && none.Name().IsEmpty() && none.String().IsEmpty() && none.Buffer().size == 0u &&
              none.NameSize() == 0u && none.ValueSize() == 0u && none.ValuePtr() == nullptr && none.First().IsTheNull() &&
              none.Next().IsTheNull() && none[0].IsTheNull() && none[u"x"].IsTheNull());
}

}  // namespace
