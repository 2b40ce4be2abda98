// NewNatural: golden Natural XML texts, the element-naming and CDATA rules
// its readers depend on, escaping, line ends, deep and malformed records.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "record/record_testing.h"
#include "zxvariant/zxvariant.h"

namespace {

using namespace zxt;

// The text of NewNatural, freed; "<null>" stands for a null result.
std::u16string Xml(const ZxVariant* record, const char16_t* newline = nullptr) {
  char16_t* text = NewNatural(record, newline);
  if (text == nullptr) return u"<null>";
  std::u16string copy(text);
  Delete(text);
  return copy;
}

// A one-item list named `list` holding `item`.
Block Holding(const char16_t* list, ZxvBase* item) {
  ZxvList* root = NewList(list);
  root->Append(item);
  return Lay(root);
}

Block ServersExample() {
  ZxvList* servers = NewList(u"Servers");
  servers->AppendAttribute(NewString(u"region", u"eu", 0));
  servers->Append(NewString(nullptr, u"a&b", 0));
  servers->Append(NewString(nullptr, u"c", 0));
  servers->Append(NewInt(u"Port", 80));
  return Lay(servers);
}

constexpr char16_t kServersGolden[] =
    u"<Servers region=\"eu\">\n"
    u"    <Server>a&amp;b</Server>\n"
    u"    <Server>c</Server>\n"
    u"    <Port>80</Port>\n"
    u"</Servers>\n";

TEST(NaturalXml, WritesTheServersExampleAndNothingForNull) {
  EXPECT_EQ(Xml(ServersExample().get()), kServersGolden);
  EXPECT_EQ(Xml(nullptr), u"");
}

TEST(NaturalXml, UnnamedItemsTakeTheListNameWithoutOneFinalS) {
  const struct { const char16_t* list; const char16_t* item; } cases[] = {
      {u"Items", u"Item"}, {u"Class", u"Clas"}, {u"Data", u"Data"}, {u"BOXES", u"BOXE"}, {u"s", u""}};
  for (const auto& c : cases) {
    const std::u16string list = c.list, item = c.item;
    EXPECT_EQ(Xml(Holding(c.list, NewInt(nullptr, 1)).get()),
              u"<" + list + u">\n    <" + item + u">1</" + item + u">\n</" + list + u">\n")
        << std::string(list.begin(), list.end());
  }
  // A named item keeps its own name; below an unnamed list, and at the top,
  // an unnamed node has an empty element name.
  EXPECT_EQ(Xml(Holding(u"Items", NewInt(u"own", 2)).get()), u"<Items>\n    <own>2</own>\n</Items>\n");
  ZxvList* inner = NewList(nullptr);
  inner->Append(NewInt(nullptr, 3));
  EXPECT_EQ(Xml(Holding(u"Lists", inner).get()),
            u"<Lists>\n    <List>\n        <>3</>\n    </List>\n</Lists>\n");
  EXPECT_EQ(Xml(Lay(NewInt(nullptr, 5)).get()), u"<>5</>\n");
}

TEST(NaturalXml, ScalarTextsAndEmptyForms) {
  const unsigned char bytes[] = {0xAB, 0x01};
  const struct { ZxvBase* node; const char16_t* line; } cases[] = {
      {NewBool(u"x", true), u"<x>true</x>\n"},
      {NewBool(u"x", false), u"<x>false</x>\n"},
      {NewInt(u"x", -7), u"<x>-7</x>\n"},
      {NewInt64(u"x", -(1LL << 40)), u"<x>-1099511627776</x>\n"},
      {NewFloat(u"x", 0.5), u"<x>0.5</x>\n"},
      {NewFloat(u"x", 1e6), u"<x>1e+06</x>\n"},
      {NewBuffer(u"x", bytes, 2), u"<x>0xab01</x>\n"},
      {NewBuffer(u"x", nullptr, 0), u"<x>0x</x>\n"},
      {NewRegister(u"x", reinterpret_cast<void*>(std::uintptr_t{0xBEEF})), u"<x>0x0000BEEF</x>\n"},
      {NewString(u"x", u"\"&'<>", 0), u"<x>&quot;&amp;&apos;&lt;&gt;</x>\n"},
      {NewString(u"x", u"", 0), u"<x />\n"},
      {NewNull(u"X"), u"<X />\n"},
      {NewList(u"L"), u"<L></L>\n"},
  };
  for (const auto& c : cases) {
    const std::u16string line = c.line;
    EXPECT_EQ(Xml(Lay(c.node).get()), line) << std::string(line.begin(), line.end());
  }
}

TEST(NaturalXml, OnlyANodeNamedExactlyCdataGetsACdataSection) {
  EXPECT_EQ(Xml(Lay(NewString(u"cdata", u"a<b", 0)).get()), u"<cdata><![CDATA[a<b]]></cdata>\n");
  EXPECT_EQ(Xml(Lay(NewInt(u"cdata", 4)).get()), u"<cdata><![CDATA[4]]></cdata>\n");
  EXPECT_EQ(Xml(Lay(NewString(u"Cdata", u"a<b", 0)).get()), u"<Cdata>a&lt;b</Cdata>\n");
  EXPECT_EQ(Xml(Lay(NewString(u"cdatas", u"a<b", 0)).get()), u"<cdatas>a&lt;b</cdatas>\n");
  // The name borrowed from the list is not the node's own name.
  EXPECT_EQ(Xml(Holding(u"cdatas", NewString(nullptr, u"a<b", 0)).get()),
            u"<cdatas>\n    <cdata>a&lt;b</cdata>\n</cdatas>\n");
}

TEST(NaturalXml, AttributesAreEscapedNamedNonListsOnly) {
  ZxvBase* node = NewNull(u"n");
  node->AppendAttribute(NewString(u"q", u"say \"hi\"", 0));
  node->AppendAttribute(NewInt(u"a&b", 5));
  node->AppendAttribute(NewString(u"empty", u"", 0));
  node->AppendAttribute(NewString(u"gone", u"x", 0));
  node->AppendAttribute(NewString(u"list", u"y", 0));
  Block record = Lay(node);
  EXPECT_EQ(Xml(record.get()), u"<n q=\"say &quot;hi&quot;\" a&b=\"5\" empty=\"\" gone=\"x\" list=\"y\" />\n");
  // Builders refuse unnamed and List attributes, so a laid-out block is edited.
  Put32(record.get(), Attr(record.get(), 0, 3) + kNameLen, 0);
  Put32(record.get(), Attr(record.get(), 0, 4) + kType, static_cast<std::uint32_t>(T::List));
  EXPECT_EQ(Xml(record.get()), u"<n q=\"say &quot;hi&quot;\" a&b=\"5\" empty=\"\" />\n");
}

TEST(NaturalXml, NewlineTextEndsEveryLine) {
  EXPECT_EQ(Xml(ServersExample().get(), u"\r\n"),
            u"<Servers region=\"eu\">\r\n    <Server>a&amp;b</Server>\r\n    <Server>c</Server>\r\n"
            u"    <Port>80</Port>\r\n</Servers>\r\n");
  EXPECT_EQ(Xml(ServersExample().get(), u""),
            u"<Servers region=\"eu\">    <Server>a&amp;b</Server>    <Server>c</Server>    "
            u"<Port>80</Port></Servers>");
  // After an opening list tag the line end is format text: "%%" becomes "%".
  ZxvList* list = NewList(u"L");
  list->Append(NewNull(u"a"));
  list->Append(NewList(u"b"));
  EXPECT_EQ(Xml(Lay(list).get(), u"%%|%d|"), u"<L>%|%d|    <a />%%|%d|    <b></b>%%|%d|</L>%%|%d|");
}

TEST(NaturalXml, LongEscapedTextComesOutWhole) {
  std::u16string escaped;
  for (int i = 0; i < 3001; ++i) escaped += u"&amp;";
  const std::u16string raw(3001, u'&');
  EXPECT_EQ(Xml(Lay(NewString(u"s", raw.c_str(), 0)).get()), u"<s>" + escaped + u"</s>\n");
}

TEST(NaturalXml, RecordAtAnOddAddressPrintsTheSame) {
  // Every field and text of the copy lies at an odd address.
  Block record = ServersExample();
  auto* memory = static_cast<unsigned char*>(std::malloc(record->size + 1));
  auto* odd = reinterpret_cast<ZxVariant*>(std::memcpy(memory + 1, record.get(), record->size));
  Rebase(odd, record.get(), odd);
  EXPECT_EQ(Xml(odd), kServersGolden);
  std::free(memory);
}

TEST(NaturalXml, DeepNestingIsWrittenInOrder) {
  constexpr unsigned kDepth = 2000;
  ZxvList* top = NewList(u"n");
  for (unsigned level = 0; level < kDepth; ++level) top = new ZxvList(u"d", top);
  Block record = Lay(top);
  std::u16string expected;
  for (unsigned level = 0; level < kDepth; ++level) expected += std::u16string(4 * level, u' ') + u"<d>\n";
  expected += std::u16string(4 * kDepth, u' ') + u"<n></n>\n";
  for (unsigned level = kDepth; level-- > 0;) expected += std::u16string(4 * level, u' ') + u"</d>\n";
  EXPECT_EQ(Xml(record.get()), expected);
}

TEST(NaturalXml, LoopingBlockGivesNullInsteadOfHanging) {
  ZxvList* outer = NewList(u"a");
  outer->Append(NewList(u"b"))->AppendAttribute(NewInt(u"i", 1));
  ZxvList* inner = NewList(u"c");
  inner->Append(NewInt(u"v", 1));
  outer->Append(inner);
  Block record = Lay(outer);
  ASSERT_EQ(Xml(record.get()), u"<a>\n    <b i=\"1\"></b>\n    <c>\n        <v>1</v>\n    </c>\n</a>\n");
  // c's only entry now points back at the root.
  const std::size_t c = Child(record.get(), 0, 1);
  Put64(record.get(), U64(record.get(), c + kValuePtr) - Addr(record.get()), Addr(record.get()));
  EXPECT_EQ(Xml(record.get()), u"<null>");
}

}  // namespace
