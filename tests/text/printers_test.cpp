// The text printers: golden outputs of every dialect, their deliberate
// quirks, zero-based == pointer-form output, deep and malformed records.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "record/record_testing.h"
#include "zxvariant/zxvariant.h"

namespace {

using namespace zxt;

std::u16string Take(char16_t* text) {
  std::u16string s = text != nullptr ? text : u"<no text>";
  ZxVariantPrintDelete(text);
  return s;
}
// Each line followed by "\n", the form every table of golden lines has.
std::u16string Lines(std::initializer_list<const char16_t*> lines) {
  std::u16string s;
  for (const char16_t* line : lines) s.append(line).push_back(u'\n');
  return s;
}
std::u16string Tree(const ZxVariant* r, bool types) { return Take(ZxVariantPrintNew(r, types)); }
std::u16string TreeZ(const ZxVariant* zero, bool types) { return Take(ZxVariantPrintNew(AsZeroBased(zero), types)); }
char16_t* PrintTree(const ZxVariant* r, bool types) { return ZxVariantPrintNew(r, types); }
ZxvBase* With(ZxvBase* node, std::initializer_list<ZxvBase*> attributes) {
  for (ZxvBase* attribute : attributes) node->AppendAttribute(attribute);
  return node;
}

struct Golden {
  const char* what;
  ZxvBase* record;
  bool flag;
  std::u16string expected;
};
void ExpectGolden(std::vector<Golden> cases, char16_t* (*print)(const ZxVariant*, bool)) {
  for (Golden& c : cases) EXPECT_EQ(Take(print(Lay(c.record).get(), c.flag)), c.expected) << c.what;
}

TEST(TreePrinter, GoldenOutputs) {
  auto cfg = [] {
    return ListOf(u"cfg", {With(NewInt(u"port", 80), {NewString(u"unit", u"s", 0)}), NewBool(u"on", true)});
  };
  ExpectGolden(
      {
          {"example", cfg(), false, Lines({u"cfg = ", u"|   port(unit=s) = 80", u"|   on = true", u""})},
          {"typed example", cfg(), true,
           Lines({u"List[2] cfg = ", u"|   Int port(String[1]:unit=s) = 80", u"|   Bool on = true", u""})},
          {"unnamed Int", NewInt(nullptr, 5), false, u"5\n"},
          {"empty named List", NewList(u"L"), false, u"L = \n\n"},
          {"Buffer is never dumped", NewBuffer(u"b", "\xAB\x01", 2), false, u"b = 0x0nyi\n"},
          {"typed Buffer", NewBuffer(u"b", "\xAB\x01", 2), true, u"Buffer[2] b = 0x0nyi\n"},
          {"Null", NewNull(u"n"), false, u"n = <null>\n"},
          {"typed unnamed Null", NewNull(nullptr), true, u"Null = <null>\n"},
          {"Register", NewRegister(u"r", reinterpret_cast<void*>(0x1234)), false, u"r = 0x00001234\n"},
          {"Float", NewFloat(u"f", 1e20), true, u"Float f = 1e+20\n"},
          {"Int64", NewInt64(u"i", -(1LL << 40)), false, u"i = -1099511627776\n"},
          {"String stops at NUL", NewString(u"s", u"a\0b", 3), true, u"String[3] s = a\n"},
          {"nested lists", ListOf(u"a", {ListOf(nullptr, {NewInt(nullptr, 1)}), NewBool(nullptr, false)}), false,
           Lines({u"a = ", u"|   ", u"|   |   1", u"", u"|   false", u""})},
          {"several attributes", With(NewNull(nullptr), {NewInt(u"x", 1), NewNull(u"y")}), true,
           u"Null(Int:x=1, Null:y=<null>) = <null>\n"},
      },
      PrintTree);
}

// Kept for compatibility: an attribute's name is the format text; the node's
// own name is plain text.
TEST(TreePrinter, AttributeNameIsFormatText) {
  const std::pair<const char16_t*, const char16_t*> cases[] = {
      {u"n%d", u"v(n0=x) = 1\n"}, {u"%s", u"v((null)=x) = 1\n"}, {u"100%%", u"v(100%=x) = 1\n"},
      {u"%.*s|%*d|%g|%p", u"v(|0|0|00000000=x) = 1\n"},
      // Too many conversions, or a huge width: written as it stands.
      {u"%d%d%d%d%d%d%d%d%d", u"v(%d%d%d%d%d%d%d%d%d=x) = 1\n"}, {u"%99999d", u"v(%99999d=x) = 1\n"}};
  for (const auto& [name, expected] : cases) {
    EXPECT_EQ(Tree(Lay(With(NewInt(u"v", 1), {NewString(name, u"x", 0)})).get(), false), expected);
  }
  EXPECT_EQ(Tree(Lay(NewInt(u"n%d", 1)).get(), false), u"n%d = 1\n");
}

// Random records, most nodes at odd addresses: the zero-based form prints the
// tree the pointer form prints, and every dialect prints without fault or leak.
TEST(Printers, RandomRecordsInEveryDialectAndZeroBasedLikePointerForm) {
  std::mt19937 rng(20240611);
  for (int i = 0; i < 300; ++i) {
    Block record = i == 0 ? Sample() : Lay(RandomTree(rng));
    Block zero(NewCopy(record.get(), nullptr, false, true));
    for (bool types : {false, true}) ASSERT_EQ(TreeZ(RawCopy(zero.get()).get(), types), Tree(record.get(), types)) << i;
    EXPECT_FALSE(Take(NewSimple(record.get(), true)).empty());
    EXPECT_FALSE(Take(NewYam(record.get(), i % 2 == 0)).empty());
    EXPECT_NE(Take(QvFramework(record.get())), u"");  // null, or a text
    Take(NewDom(record.get(), nullptr));
    Take(NewVireoConfig(record.get()));
  }
  EXPECT_EQ(Take(ZxVariantPrintNew(static_cast<const ZxVariantZ*>(nullptr), true)), u"");
}

// A received block is read only inside its size word, whatever its slots say.
TEST(TreePrinter, MalformedZeroBasedBlocksAreReadInsideTheirSize) {
  std::mt19937 rng(7);
  Block zero(NewCopy(Sample().get(), nullptr, false, true));
  const std::uint32_t size = zero->size;
  for (int i = 0; i < 2000; ++i) {
    Block bad = RawCopy(zero.get());
    // Flip bytes past the size word.
    for (int flips = 1 + rng() % 4; flips != 0; --flips) Raw(bad.get())[4 + rng() % (size - 4)] = rng() & 0xFF;
    Take(ZxVariantPrintNew(AsZeroBased(bad.get()), i % 2 == 0));
  }
  // A size word below one header: nothing to print.
  Put32(zero.get(), kSize, 63);
  EXPECT_EQ(TreeZ(zero.get(), true), u"");
  // A String whose units would run past the size word is not read.
  Block text(NewCopy(Lay(NewString(u"s", u"ab", 0)).get(), nullptr, false, true));
  Put32(text.get(), kValue, 4);
  EXPECT_EQ(TreeZ(text.get(), false), u"s = \n");
}

TEST(TreePrinter, DeepRecordsAndLoops) {
  constexpr std::size_t kDepth = 3000;
  std::u16string text = Tree(DeepList(kDepth, false).get(), false);
  EXPECT_EQ(std::count(text.begin(), text.end(), u'\n'), static_cast<long>(2 * kDepth));
  EXPECT_EQ(text.substr(text.size() - 4 - (kDepth + 1)), u"|   " + std::u16string(kDepth + 1, u'\n'));
  EXPECT_EQ(TreeZ(DeepList(kDepth, true).get(), false), text);
  // A pointer-form list whose entry leads back to itself: the walk stops
  // after as many nodes as the block can hold (2 here).
  Block loop = DeepList(2, false);
  Put32(loop.get(), 72 + kValue, 1);
  Put64(loop.get(), 72 + kValuePtr, Addr(loop.get(), 64));
  EXPECT_EQ(Tree(loop.get(), false), u"\n|   \n\n\n");
}

TEST(SimplePrinter, GoldenOutputs) {
  ExpectGolden(
      {
          {"example", ListOf(u"cfg", {NewInt(u"port", 80), NewString(u"7up", u"a<b", 0)}), true,
           Lines({u"<cfg type=\"List\">", u"    <port type=\"Int\">80</port>",
                  u"    <z7up type=\"String\" prefix=\"z\">a<b</z7up>", u"</cfg>"})},
          {"Float has no type", NewFloat(u"f", 0.5), true, u"<f>0.5</f>\n"},
          {"Buffer in hex", NewBuffer(u"b", "\xAB\x01", 2), true, u"<b type=\"Buffer\">0xab01</b>\n"},
          {"underscore prefixed", NewNull(u"_x"), false, u"<z_x prefix=\"z\"></z_x>\n"},
          {"non-ASCII letter prefixed", NewBool(u"\u00e9t\u00e9", true), false,
           u"<z\u00e9t\u00e9 prefix=\"z\">true</z\u00e9t\u00e9>\n"},
          {"unnamed nodes", ListOf(nullptr, {NewInt(nullptr, 5), NewInt64(u"big", 1LL << 40)}), false,
           Lines({u"", u"    <Property>5</Property>", u"    <big>1099511627776</big>", u""})},
          {"attributes are not written", With(NewInt(u"a", 1), {NewInt(u"x", 2)}), true,
           u"<a type=\"Int\">1</a>\n"},
          {"register", NewRegister(u"r", reinterpret_cast<void*>(std::uintptr_t{0xABCDEF0123})), false,
           u"<r>0x000000ABCDEF0123</r>\n"},
      },
      NewSimple);
}

TEST(DomPrinter, GoldenOutputs) {
  auto dom = [](const char16_t* name, ZxvBase* attributes, ZxvBase* children, ZxvBase* text) {
    return ListOf(name, {attributes, children, text});
  };
  Block example = Lay(dom(u"a", ListOf(nullptr, {NewString(u"x", u"1&2", 0)}),
                          ListOf(nullptr, {dom(u"b", NewList(nullptr), NewNull(nullptr), NewNull(nullptr))}),
                          NewNull(nullptr)));
  EXPECT_EQ(Take(NewDom(example.get(), nullptr)), Lines({u"<a x=\"1&amp;2\">", u"    <b />", u"</a>"}));
  EXPECT_EQ(Take(NewDom(example.get(), u"\r\n")), u"<a x=\"1&amp;2\">\r\n    <b />\r\n</a>\r\n");
  const std::pair<ZxvBase*, std::u16string> cases[] = {
      {dom(u"c", NewNull(nullptr), NewNull(nullptr), NewString(u"cdata", u"x<y", 0)), u"<c><![CDATA[x<y]]></c>\n"},
      {dom(u"t", ListOf(nullptr, {NewInt(u"n", 1), NewString(nullptr, u"v", 0), NewString(u"k", u"", 0)}),
           NewList(nullptr), NewString(u"CDATA", u"x<y", 0)),
       u"<t k=\"\">x&lt;y</t>\n"},
      {dom(nullptr, NewNull(nullptr), NewList(nullptr), NewNull(nullptr)), u"<></>\n"},
      // Not in DOM form: nothing.
      {ListOf(u"a", {NewList(nullptr), NewList(nullptr)}), u""},
      {ListOf(u"a", {NewList(nullptr), NewList(nullptr), NewNull(nullptr), NewNull(nullptr)}), u""},
      {NewString(u"a", u"b", 0), u""}};
  for (const auto& [builder, expected] : cases) EXPECT_EQ(Take(NewDom(Lay(builder).get(), nullptr)), expected);
}

TEST(YamPrinter, GoldenOutputs) {
  auto example = [] { return ListOf(u"cfg", {NewInt(u"port", 80)}); };
  ExpectGolden(
      {
          {"example", example(), false,
           Lines({u"<List name=\"cfg\">", u"    <Int name=\"port\" value=\"80\"/>", u"</List>"})},
          {"only the outermost takes its name", example(), true,
           Lines({u"<cfg>", u"    <Int name=\"port\" value=\"80\"/>", u"</cfg>"})},
          {"escaping and attributes", With(NewString(u"a&b", u"<\"'>", 0), {NewInt(u"unit", 3), NewNull(u"n")}), true,
           u"<a&b value=\"&lt;&quot;&apos;&gt;\" _unit.Int=\"3\" _n.Null=\"\"/>\n"},
          {"empty values", ListOf(nullptr, {NewNull(nullptr), NewString(nullptr, u"", 0), NewList(u"e")}), true,
           Lines({u"<List>", u"    <Null/>", u"    <String/>", u"    <List name=\"e\"></List>", u"</List>"})},
          {"Buffer", NewBuffer(u"b", "\x01\xFE", 2), false, u"<Buffer name=\"b\" value=\"0x01fe\"/>\n"},
      },
      NewYam);
}

TEST(VireoConfigPrinter, GoldenOutputs) {
  Block config = Lay(ListOf(nullptr, {ListOf(u"BO1", {NewString(u"a", u"x", 0), ListOf(u"T1", {NewInt(u"n", 1)}),
                                                      ListOf(nullptr, {NewInt(u"u", 2)})}),
                                      NewInt(u"skipped", 1), ListOf(nullptr, {NewInt(u"skipped", 2)}),
                                      ListOf(u"BO2", {})}));
  EXPECT_EQ(Take(NewVireoConfig(config.get())),
            Lines({u"<businessObject id=\"BO1\" version=\"1.0\">", u"    <a>x</a>", u"<Task id=\"T1\">",
                   u"        <n>1</n>", u"</Task>", u"    ", u"        <u>2</u>", u"    ",
                   u"</businessObject><businessObject id=\"BO2\" version=\"1.0\">"}) +
                u"</businessObject>");
  Block empty = Lay(NewList(u"x")), scalar = Lay(NewInt(u"x", 1));
  for (const ZxVariant* r : {empty.get(), scalar.get(), static_cast<ZxVariant*>(nullptr)}) {
    EXPECT_EQ(Take(NewVireoConfig(r)), u"");
  }
}

TEST(QvFrameworkPrinter, GoldenOutputs) {
  Block policy = Lay(With(ListOf(u"Policy", {NewInt(u"Level", 3), NewString(u"Mode", u"on", 0)}),
                          {NewString(u"Id", u"p1", 0)}));
  EXPECT_EQ(Take(QvFramework(policy.get())),
            Lines({u"<Policy Id=\"p1\">", u"    <Level value=\"3\" type=\"Int\"/>",
                   u"    <Mode type=\"String\">on</Mode>", u"</Policy>"}));
  Block forms = Lay(ListOf(u"R", {With(NewString(u"S", u"a&b", 0), {NewBool(u"ReadOnly", true), NewInt(u"Max", 4)}),
                                  With(NewNull(u"N"), {NewString(u"Id", u"q", 0), NewInt(u"Max", 4)}), NewList(u"E")}));
  EXPECT_EQ(Take(QvFramework(forms.get())),
            Lines({u"<R>", u"    <S ReadOnly=\"true\" Max.Int=\"4\" type=\"String\">a&amp;b</S>",
                   u"    <N type=\"Null\" _Id.String=\"q\" _Max.Int=\"4\"/>", u"    <E></E>", u"</R>"}));
  // Kept for compatibility: an unnamed node wipes what was written before it.
  Block unnamedRoot = Lay(ListOf(nullptr, {NewInt(u"a", 1)}));
  EXPECT_TRUE(QvFramework(unnamedRoot.get()) == nullptr && QvFramework(nullptr) == nullptr);
  Block nested = Lay(ListOf(u"R", {NewInt(u"a", 1), NewInt(nullptr, 2), NewInt(u"b", 3)}));
  EXPECT_EQ(Take(QvFramework(nested.get())), Lines({u"    <b value=\"3\" type=\"Int\"/>", u"</R>"}));
}

TEST(Printers, NullRecordsAndLongTexts) {
  EXPECT_EQ(Take(ZxVariantPrintNew(nullptr, false)) + Take(NewSimple(nullptr, true)) + Take(NewDom(nullptr, nullptr)) +
                Take(NewYam(nullptr, true)),
            u"");
  ZxVariantPrintDelete(nullptr);
  // Texts far beyond the first 256 units grow the buffer and arrive whole.
  std::u16string big(70000, u'a');
  big[69999] = u'&';
  Block record = Lay(ListOf(u"L", {NewString(u"s", big.c_str(), 0)}));
  EXPECT_EQ(Tree(record.get(), false), u"L = \n|   s = " + big + u"\n\n");
  EXPECT_EQ(Take(QvFramework(record.get())),
            u"<L>\n    <s type=\"String\">" + big.substr(0, 69999) + u"&amp;</s>\n</L>\n");
}

}  // namespace
