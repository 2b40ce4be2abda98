#include <gtest/gtest.h>

#include <cstring>

#include "record/builder_testing.h"

namespace {

using namespace ZxVariantHelper;
using namespace zxv_testing;
using T = ZxVariant::TypeCodes;

class RichRecord : public ::testing::Test {
 protected:
  Record record_ = Lay(*MakeRichTree());
  ZxvView root_{record_.get()};
};

TEST(ZxvView, NullViewAnswersZeros) {
  const ZxvView v(nullptr);
  EXPECT_TRUE(v.IsTheNull() && v.IsNull());
  EXPECT_EQ(v.Int(), 0);
  EXPECT_TRUE(v.Name().IsEmpty());
  EXPECT_NE(v.Name().Str(), nullptr) << "an empty name still has a text";
  EXPECT_NE(v.String().Str(), nullptr);
  EXPECT_TRUE(v.Size() == 0u && v.ValueSize() == 0u && v.ValuePtr() == nullptr);
  EXPECT_EQ(v.ListValueSize(), -1);
  EXPECT_TRUE(v.Next().IsTheNull() && v.First().IsTheNull() && v[0].IsTheNull());
  EXPECT_TRUE(v[u"x"].IsTheNull() && v.AttributeValue(u"x").IsTheNull());
}

TEST_F(RichRecord, TypedAccessorsAnswerZeroOnMismatch) {
  const ZxvView port = root_[u"port"];
  EXPECT_EQ(static_cast<int>(port), 8080);
  EXPECT_TRUE(port.Float() == 0.0 && port.Int64() == 0 && !port.Bool() && port.Register() == nullptr);
  EXPECT_TRUE(port.String().IsEmpty());
  EXPECT_NE(port.String().Str(), nullptr);
  EXPECT_TRUE(port.Buffer().size == 0u && port.Buffer().data == nullptr);
  EXPECT_EQ(port.List().count, 0u);
  EXPECT_EQ(port.ListValueSize(), -1);
  EXPECT_EQ(root_[u"host"].Int(), 0);
  EXPECT_EQ(root_[u"reg"].Int64(), 0) << "no conversion between types";
}

TEST_F(RichRecord, SizesAndValuePointers) {
  // Children in order: blob, port, host, backup, inner, ratio, reg, nothing, raw.
  const unsigned valueSizes[] = {3, 4, 24, 24, 0, 8, sizeof(void*), 0, 8};
  const unsigned nameSizes[] = {10, 10, 10, 14, 12, 12, 8, 16, 8};
  for (int i = 0; i < kRichChildren; ++i) {
    EXPECT_EQ(root_[i].ValueSize(), valueSizes[i]) << i;
    EXPECT_EQ(root_[i].NameSize(), nameSizes[i]) << i;
  }
  EXPECT_TRUE(root_[u"inner"][u"on"].ValueSize() == 1u && root_[u"inner"][u"big"].ValueSize() == 8u);
  const ZxVariant* port = root_[u"port"];
  EXPECT_EQ(root_[u"port"].ValuePtr(), reinterpret_cast<const char*>(port) + 24) << "scalars: the value area";
  EXPECT_EQ(root_[u"blob"].ValuePtr(), root_[u"blob"].Buffer().data);
  EXPECT_EQ(root_[u"host"].ValuePtr(), root_[u"host"].String().Str());
  EXPECT_TRUE(root_[u"inner"].ValuePtr() == nullptr && root_[u"nothing"].ValuePtr() == nullptr);
  EXPECT_EQ(root_.ListValueSize(), kRichChildren);
  EXPECT_EQ(root_.Size(), record_->size);
}

TEST_F(RichRecord, ChildrenByIndexAndByName) {
  EXPECT_TRUE(root_[-1].IsTheNull());
  EXPECT_TRUE(root_[kRichChildren].IsTheNull());
  EXPECT_EQ(root_[kRichChildren - 1].Name(), ZxvStringView(u"raw"));
  int visited = 0;
  for (ZxvView child = root_.First(); !child.IsTheNull(); child = child.Next(), ++visited) {
    EXPECT_EQ(static_cast<const ZxVariant*>(child), static_cast<const ZxVariant*>(root_[visited]));
  }
  EXPECT_EQ(visited, kRichChildren);
  EXPECT_EQ(root_[u"inner"][u"big"].Int64(), 1LL << 40);
  EXPECT_TRUE(root_[u"PORT"].IsTheNull()) << "names match case-sensitively";
  EXPECT_TRUE(root_[u"por"].IsTheNull());
  EXPECT_TRUE(root_[u"port"][0].IsTheNull()) << "a scalar has no children";
  EXPECT_EQ(root_.AttributeValue(u"kind").String(), ZxvStringView(u"demo"));
  EXPECT_TRUE(root_.AttributeValue(u"Kind").IsTheNull());
  EXPECT_TRUE(root_.AttributeValue(u"port").IsTheNull()) << "children are not attributes";
}

TEST_F(RichRecord, FindItemWithAttributeValue) {
  EXPECT_EQ(root_.FindItemWithAttributeValue(u"role", u"secondary").Name(), ZxvStringView(u"backup"));
  EXPECT_EQ(root_.FindItemWithAttributeValue(u"role", u"primary").Name(), ZxvStringView(u"host"));
  EXPECT_TRUE(root_.FindItemWithAttributeValue(u"role", u"PRIMARY").IsTheNull());
  EXPECT_TRUE(root_.FindItemWithAttributeValue(u"role", u"prim").IsTheNull());
  // A child lacking the attribute reads it as empty.
  EXPECT_EQ(root_.FindItemWithAttributeValue(u"role", u"").Name(), ZxvStringView(u"blob"));
  EXPECT_EQ(root_.FindItemWithAttributeValue(u"role", nullptr).Name(), ZxvStringView(u"blob"));
  EXPECT_TRUE(root_[u"port"].FindItemWithAttributeValue(u"role", u"").IsTheNull());
}

TEST(ZxvView, ReadsBuilders) {
  Owned<ZxvList> list(NewList(u"l"));
  ZxvBase* x = list->Append(NewInt(u"x", 1));
  ZxvBase* y = list->Append(NewInt(u"y", 2));
  list->AppendAttribute(NewInt(u"a", 3));
  const ZxvView v(list.get());
  EXPECT_EQ(v.Size(), 0u);
  EXPECT_EQ(v.ListValueSize(), 2);
  EXPECT_EQ(static_cast<const ZxVariant*>(v[0]), x);
  EXPECT_EQ(static_cast<const ZxVariant*>(v.First()), x);
  EXPECT_EQ(static_cast<const ZxVariant*>(v[1]), y);
  EXPECT_TRUE(v[2].IsTheNull() && v[-1].IsTheNull());
  EXPECT_TRUE(v[u"x"].IsTheNull()) << "builders are not searched by name";
  EXPECT_TRUE(v.AttributeValue(u"a").IsTheNull());
  Owned<ZxvList> empty(NewList(nullptr));
  EXPECT_TRUE(ZxvView(empty.get()).ListValueSize() == 0 && ZxvView(empty.get()).First().IsTheNull());
}

TEST(ZxvStringView, ComparesLengthsAndUnits) {
  EXPECT_TRUE(ZxvStringView(u"Name") == ZxvStringView(u"Name"));
  EXPECT_FALSE(ZxvStringView(u"Name") == ZxvStringView(u"NAME"));
  EXPECT_TRUE(ZxvStringView(u"Name") != ZxvStringView(u"NAME"));
  EXPECT_TRUE(ZxvStringView(u"Name").Equals(u"NAME", false));
  EXPECT_FALSE(ZxvStringView(u"Name").Equals(u"NAME", true));
  EXPECT_FALSE(ZxvStringView(u"ab") == ZxvStringView(u"abc"));
  EXPECT_FALSE(ZxvStringView(u"ab").Equals(u"abc", false));
  EXPECT_TRUE(ZxvStringView() == ZxvStringView(static_cast<const char16_t*>(nullptr)));
  EXPECT_TRUE(ZxvStringView(u"").Equals(ZxvStringView(), false));
  // Only A-Z and a-z fold: not accented letters, nor the punctuation pairs a
  // bit-twiddling fold would merge.
  EXPECT_FALSE(ZxvStringView(u"\u00E9").Equals(u"\u00C9", false));
  EXPECT_FALSE(ZxvStringView(u"[@").Equals(u"{`", false));
  EXPECT_TRUE(ZxvStringView(u"a-Z_9").Equals(u"A-z_9", false));

  const ZxVariant::String empty{0, 0, nullptr};
  EXPECT_NE(ZxvStringView(empty).Str(), nullptr);
  EXPECT_EQ(ZxvStringView(static_cast<const char16_t*>(nullptr)).Str(), nullptr);
}

int ChildCount(ZxvZView view) {
  ZxvListView count = view;
  return count.Count();
}

class ZeroBasedRecord : public RichRecord {
 protected:
  Record wire_{NewCopy(record_.get(), nullptr, false, true)};
  const ZxVariantZ* z_ = AsZeroBased(wire_.get());
  const char* base_ = reinterpret_cast<const char*>(wire_.get());
};

TEST_F(ZeroBasedRecord, ZViewTranslatesDistances) {
  const ZxvZView root(z_);
  ASSERT_TRUE(root.IsList());
  EXPECT_EQ(ChildCount(root), kRichChildren);
  EXPECT_EQ(root.Name(), ZxvStringView(u"root"));
  const ZxvZView blob = root[0];
  EXPECT_EQ(blob.Name(), ZxvStringView(u"blob"));
  EXPECT_EQ(static_cast<const ZxVariantZ*>(root.First()), static_cast<const ZxVariantZ*>(blob));
  EXPECT_TRUE(root[1].IsTheNull()) << "odd indexes read an entry's high word";
  EXPECT_EQ(root[2].Name(), ZxvStringView(u"port"));
  EXPECT_EQ(root[2].Int(), 8080);
  EXPECT_EQ(static_cast<const ZxVariantZ*>(blob.Next()), static_cast<const ZxVariantZ*>(root[2]));
  EXPECT_TRUE(root[-1].IsTheNull());
  EXPECT_TRUE(root[2 * kRichChildren].IsTheNull());

  const ZxVariant::Buffer buffer = blob.Buffer();
  ASSERT_EQ(buffer.size, 3u);
  const char* data = static_cast<const char*>(buffer.data);
  EXPECT_TRUE(data > base_ && data + 3 <= base_ + wire_->size) << "an address inside the block";
  EXPECT_EQ(std::memcmp(data, "\x01\x02\x03", 3), 0);
  EXPECT_EQ(blob.ValuePtr(), buffer.data);

  const ZxvZView host = root[u"host"];
  EXPECT_EQ(host.String(), ZxvStringView(u"example.org"));
  EXPECT_EQ(host.ValueSize(), 24u);
  EXPECT_EQ(host.NameSize(), 10u);
  EXPECT_TRUE(root[u"Host"].IsTheNull());
  EXPECT_EQ(root[u"inner"][0].Name(), ZxvStringView(u"on"));
  EXPECT_TRUE(root[u"inner"][2].IsTheNull()) << "the range test counts entries, not 4-byte steps";
  EXPECT_EQ(ChildCount(root[u"port"]), -1);
}

TEST_F(ZeroBasedRecord, ZxVariantZAccessors) {
  const ZxVariantZ* first = z_->ValueListIndex(0);
  const ZxVariantZ* second = z_->ValueListIndex(2);
  ASSERT_NE(first, nullptr);
  EXPECT_TRUE(z_->ValueListIndex(1) == nullptr && first->Next() == second);
  EXPECT_EQ(TextAt(z_->NameStr()), u"root");
  EXPECT_EQ(z_->NameStr(), reinterpret_cast<const char16_t*>(base_ + 64));
  EXPECT_EQ(z_->ValueListLen(), static_cast<unsigned>(kRichChildren));
  EXPECT_TRUE(second->ValueInt() == 8080 && first->ValueBufferLen() == 3u);
  EXPECT_EQ(std::memcmp(first->ValueBufferBuf(), "\x01\x02\x03", 3), 0);
  ASSERT_EQ(z_->AttributesLen(), 1u);
  const ZxVariantZ* kind = z_->AttributesIndex(0);
  EXPECT_EQ(TextAt(kind->NameStr()), u"kind");
  EXPECT_EQ(TextAt(kind->ValueStringStr()), u"demo");
  EXPECT_TRUE(z_->ValueListIndex(2 * (kRichChildren - 1))->Next() == nullptr && z_->Next() == nullptr);
}

TEST(ZxvZView, NullViewAnswersZeros) {
  const ZxvZView v;
  EXPECT_TRUE(v.IsTheNull());
  EXPECT_EQ(ZxvZView::theNull, nullptr);
  EXPECT_TRUE(v.Int() == 0 && v.Size() == 0u && v.Type() == T::Null);
  EXPECT_TRUE(v.Name().IsEmpty() && v.String().IsEmpty() && v.Buffer().size == 0u);
  EXPECT_TRUE(v.NameSize() == 0u && v.ValueSize() == 0u && v.ValuePtr() == nullptr);
  EXPECT_TRUE(v.First().IsTheNull() && v.Next().IsTheNull() && v[0].IsTheNull() && v[u"x"].IsTheNull());
}

}  // namespace
