// JSON: what the reader makes of every construct, leniency and failure, what
// the writer prints, hostile input, and reading back what was written.
#include <gtest/gtest.h>

#include <charconv>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "record/record_testing.h"
#include "zxvariant/json.h"

namespace {

using namespace zxt;

struct FreeText {
  void operator()(char16_t* t) const { ZxVariantHelper::Delete(t); }
};
using Text = std::unique_ptr<char16_t, FreeText>;

std::u16string Json(const ZxVariant* record) {
  Text text(NewJson(record));
  return text ? std::u16string(text.get()) : u"<null>";
}
Block Read(const std::u16string& text) { return Block(NewJson(text.c_str())); }
// ASCII as itself, every other unit as \x{...}, for messages and comparisons.
std::string Narrow(const std::u16string& s) {
  std::string out;
  for (char16_t unit : s) {
    char hex[16];
    std::snprintf(hex, sizeof hex, "\\x{%x}", static_cast<unsigned>(unit));
    out += unit >= 0x20 && unit < 0x7F ? std::string(1, static_cast<char>(unit)) : std::string(hex);
  }
  return out;
}

ZxvList* ListOf(const char16_t* name, std::initializer_list<ZxvBase*> items) {
  ZxvList* list = NewList(name);
  for (ZxvBase* item : items) list->Append(item);
  return list;
}

// ---- reading ----------------------------------------------------------------

TEST(JsonRead, BuildsTheRecordsTheBuildersWouldLayOut) {
  const struct {
    std::u16string text;
    std::function<ZxvBase*()> expected;
  } cases[] = {
      {u"{\"a\":1}", [] { return NewInt(u"a", 1); }},
      {u"[1,2]", [] { return ListOf(nullptr, {NewInt(nullptr, 1), NewInt(nullptr, 2)}); }},
      {u"[[1,2]]", [] { return ListOf(nullptr, {NewInt(nullptr, 1), NewInt(nullptr, 2)}); }},
      {u"[[[]]]", [] { return ListOf(nullptr, {NewList(nullptr)}); }},
      {u"[]", [] { return NewList(nullptr); }},
      {u" \t\r\n\v\f{ }", [] { return NewList(nullptr); }},
      {u"[1,]", [] { return NewInt(nullptr, 1); }},
      {u"{\"a\":1,}", [] { return NewInt(u"a", 1); }},
      {u"[1 2]", [] { return NewInt(nullptr, 12); }},
      {u"[ - 1 2 . 5 ]", [] { return NewFloat(nullptr, -12.5); }},
      {u"[0012]", [] { return NewInt(nullptr, 12); }},
      {u"[-0]", [] { return NewInt(nullptr, 0); }},
      {u"[2147483646]", [] { return NewInt(nullptr, 2147483646); }},
      {u"[-2147483647]", [] { return NewInt(nullptr, -2147483647); }},
      {u"[2147483647]", [] { return NewInt64(nullptr, 2147483647); }},
      {u"[-2147483648]", [] { return NewInt64(nullptr, INT_MIN); }},
      {u"[0000000002147483648]", [] { return NewInt64(nullptr, 2147483648LL); }},
      {u"[99999999999999999999]", [] { return NewInt64(nullptr, LLONG_MAX); }},
      {u"[-99999999999999999999]", [] { return NewInt64(nullptr, LLONG_MIN); }},
      {u"[1.5e3]", [] { return NewFloat(nullptr, 1500.0); }},
      {u"[1.25E-2]", [] { return NewFloat(nullptr, 0.0125); }},
      {u"[2.e+1]", [] { return NewFloat(nullptr, 20.0); }},
      {u"[1.]", [] { return NewFloat(nullptr, 1.0); }},
      {u"[1.5e999]", [] { return NewFloat(nullptr, HUGE_VAL); }},
      {u"[-0.0]", [] { return NewFloat(nullptr, -0.0); }},
      {u"[\"\\u0041\"]", [] { return NewString(nullptr, u"A", 0); }},
      {u"[\"\\\"\\\\\\/\\b\\f\\n\\r\\t\"]", [] { return NewString(nullptr, u"\"\\/\b\f\n\r\t", 0); }},
      {u"[\"\\ud83D\\uDE00\"]", [] { return NewString(nullptr, u"\xD83D\xDE00", 0); }},
      {u"[\"\x01\xE9\xFFFF\"]", [] { return NewString(nullptr, u"\x01\xE9\xFFFF", 0); }},
      {u"[\"ab\\u0000cd\"]", [] { return NewString(nullptr, u"ab", 0); }},
      {u"[\"\"]", [] { return NewString(nullptr, u"", 0); }},
      {u"{\"\":1,\"\\u0000x\":2,\"b\":3}",
       [] { return ListOf(nullptr, {NewInt(nullptr, 1), NewInt(nullptr, 2), NewInt(u"b", 3)}); }},
      {u"{\"x\": {\"y\": [true, false, null]}} trailing text is ignored",
       [] { return ListOf(u"x", {ListOf(u"y", {NewBool(nullptr, true), NewBool(nullptr, false), NewNull(nullptr)})}); }},
      {u"{\"s\":\"x\",\"n\":null,\"o\":{\"k\":-3},\"e\":[],\"s\":\"\\t\"}",
       [] {
         return ListOf(nullptr, {NewString(u"s", u"x", 0), NewNull(u"n"), ListOf(u"o", {NewInt(u"k", -3)}),
                                 NewList(u"e"), NewString(u"s", u"\t", 0)});
       }},
  };
  for (const auto& c : cases) {
    Block read = Read(c.text);
    Block expected = Lay(c.expected());
    ASSERT_TRUE(read) << Narrow(c.text);
    EXPECT_TRUE(Validate(read.get())) << Narrow(c.text);
    EXPECT_TRUE(IsEqual(read.get(), expected.get())) << Narrow(c.text) << " read back as " << Narrow(Json(read.get()));
    // The same text at an odd address, as when it is taken from a record.
    std::vector<char> odd(2 * c.text.size() + 3);
    std::memcpy(odd.data() + 1, c.text.c_str(), 2 * c.text.size() + 2);
    Block unaligned(NewJson(reinterpret_cast<const char16_t*>(odd.data() + 1)));
    EXPECT_TRUE(IsEqual(unaligned.get(), expected.get())) << Narrow(c.text);
  }
}

TEST(JsonRead, LongAndEscapedTextsKeepEveryUnit) {
  std::u16string plain(100000, u'p'), escaped;
  for (int i = 0; i < 5000; ++i) escaped += u"\\u00e9\\n";
  Block read = Read(u"{\"" + plain + u"\": [\"" + escaped + u"\", \"" + plain + u"\"]}");
  std::u16string decoded;
  for (int i = 0; i < 5000; ++i) decoded += u"\xE9\n";
  Block expected = Lay(ListOf(plain.c_str(), {NewString(nullptr, decoded.c_str(), 0), NewString(nullptr, plain.c_str(), 0)}));
  ASSERT_TRUE(read);
  EXPECT_TRUE(IsEqual(read.get(), expected.get()));
  // Enough elements to span several chunks of the reader's node list.
  std::u16string many = u"[";
  Owned<ZxvList> builder(NewList(nullptr));
  for (int i = 0; i < 40000; ++i) many += (i % 2 ? u"-" : u"") + std::u16string(1, u'0' + i % 10) + u",";
  for (int i = 0; i < 40000; ++i) builder->Append(NewInt(nullptr, i % 2 ? -(i % 10) : i % 10));
  Block manyRead = Read(many + u"]");
  ASSERT_TRUE(manyRead);
  EXPECT_TRUE(IsEqual(manyRead.get(), Lay(*builder).get()));
}

// The reader passes runs of blanks and of plain string units in blocks of
// eight; every run length must end on the right unit wherever the text lies.
TEST(JsonRead, RunsOfEveryLengthEndOnTheirLastUnitAtEveryAddress) {
  for (std::size_t shift = 0; shift < 18; ++shift) {
    for (std::size_t length = 0; length < 40; ++length) {
      std::u16string blanks, plain;
      for (std::size_t i = 0; i < length; ++i) {
        blanks += u" \t\n\r\v\f"[i % 6];
        plain += static_cast<char16_t>(i % 3 == 0 ? u'a' + i % 26 : i % 3 == 1 ? 0x4E00 + i : u'#');
      }
      for (const std::u16string& tail : {std::u16string(u""), std::u16string(u"\\n!")}) {
        const std::u16string text = u"[" + blanks + u"\"" + plain + tail + u"\"" + blanks + u", " + blanks + u"7" + blanks + u"]";
        std::vector<char> storage(2 * text.size() + 2 + shift);
        std::memcpy(storage.data() + shift, text.c_str(), 2 * text.size() + 2);
        Block read(NewJson(reinterpret_cast<const char16_t*>(storage.data() + shift)));
        const std::u16string expected = plain + (tail.empty() ? u"" : u"\n!");
        Block want = Lay(ListOf(nullptr, {NewString(nullptr, expected.c_str(), static_cast<int>(expected.size())),
                                          NewInt(nullptr, 7)}));
        ASSERT_TRUE(read) << "shift " << shift << " length " << length;
        EXPECT_TRUE(IsEqual(read.get(), want.get())) << "shift " << shift << " length " << length;
      }
    }
  }
}

// Numbers without blanks inside are read straight from the text, others and
// long ones by the general road; both give the same values.
TEST(JsonRead, NumbersGiveTheSameValueWithBlanksInsideAndAtAnyLength) {
  const std::u16string digits70 = std::u16string(69, u'0') + u"7";
  const struct {
    std::u16string text;
    std::function<ZxvBase*()> expected;
  } cases[] = {
      {u"[0." + digits70 + u"]", [] { return NewFloat(nullptr, std::strtod(("0." + std::string(69, '0') + "7").c_str(), nullptr)); }},
      {u"[1" + digits70 + u"]", [] { return NewInt64(nullptr, LLONG_MAX); }},
      {u"[-" + digits70 + u"]", [] { return NewInt(nullptr, -7); }},
      {u"[-0000000000000000000000000000000000000000000000000000000000000000000002147483648]",
       [] { return NewInt64(nullptr, INT_MIN); }},
      {u"[12345678.5e-3, 1 .5, 2. 5e1, 3.5 e1, 4.5e 1, 4.5e- 1]",
       [] {
         return ListOf(nullptr, {NewFloat(nullptr, 12345.6785), NewFloat(nullptr, 1.5), NewFloat(nullptr, 25.0),
                                 NewFloat(nullptr, 35.0), NewFloat(nullptr, 45.0), NewFloat(nullptr, 0.45)});
       }},
      {u"[123456789, 1234567890, -123456789]",
       [] { return ListOf(nullptr, {NewInt(nullptr, 123456789), NewInt(nullptr, 1234567890), NewInt(nullptr, -123456789)}); }},
  };
  for (const auto& c : cases) {
    Block read = Read(c.text);
    Block expected = Lay(c.expected());
    ASSERT_TRUE(read) << Narrow(c.text);
    EXPECT_TRUE(IsEqual(read.get(), expected.get())) << Narrow(c.text) << " read back as " << Narrow(Json(read.get()));
  }
  std::size_t position = 0;
  const char16_t* expected = nullptr;
  EXPECT_EQ(NewJson(u"[- x]", &expected, &position), nullptr);
  EXPECT_EQ(position, 3u);
  EXPECT_EQ(Narrow(expected), "number");
}

TEST(JsonRead, FailsWithTheExpectedTextWhereItStops) {
  const struct {
    std::u16string text;
    const char16_t* expected;
    std::size_t position;
  } cases[] = {
      {u"", u"[ or {", 0},
      {u"  1", u"[ or {", 2},
      {u"[1e3]", u", or ]", 2},
      {u"{\"a\":1e3}", u", or }", 6},
      {u"[1 x]", u", or ]", 3},
      {u"[1", u", or ]", 2},
      {u"[", u"string, number, object, array, true, false, or null", 1},
      {u"[,]", u"string, number, object, array, true, false, or null", 1},
      {u"[1,,2]", u"string, number, object, array, true, false, or null", 3},
      {u"[+1]", u"string, number, object, array, true, false, or null", 1},
      {u"[tru]", u"true", 4},
      {u"[fals]", u"false", 5},
      {u"[nul", u"null", 4},
      {u"{a:1}", u"\"", 1},
      {u"{\"a\" 1}", u":", 5},
      {u"{,}", u"\"", 1},
      {u"[\"abc", u"string character or \\ or \"", 5},
      {u"[\"a\\x\"]", u"escaped character: \", \\, /, b, f, n, r, t, or u", 4},
      {u"[\"a\\", u"escaped character: \", \\, /, b, f, n, r, t, or u", 4},
      {u"[\"\\u12G4\"]", u"4 hex digits", 6},
      {u"[\"\\u12", u"4 hex digits", 6},
      {u"[-]", u"number", 2},
      {u"[- x]", u"number", 3},
  };
  for (const auto& c : cases) {
    const char16_t* expected = u"unset";
    std::size_t position = 99;
    Block read(NewJson(c.text.c_str(), &expected, &position));
    EXPECT_FALSE(read) << Narrow(c.text);
    EXPECT_EQ(ZxvStringView(expected), ZxvStringView(c.expected)) << Narrow(c.text) << " gave " << Narrow(expected ? expected : u"null");
    EXPECT_EQ(position, c.position) << Narrow(c.text);
  }
  const char16_t* expected = u"unset";
  EXPECT_EQ(NewJson(static_cast<const char16_t*>(nullptr), &expected, nullptr), nullptr);
  EXPECT_EQ(expected, nullptr);
  EXPECT_EQ(NewJson(static_cast<const char16_t*>(nullptr)), nullptr);
}

TEST(JsonRead, RefusesNestingPastTheLimitWithoutExhaustingTheStack) {
  const std::size_t limit = kJsonMaxNesting;
  const std::u16string deepest = std::u16string(limit, u'[') + u"1" + std::u16string(limit, u']');
  Block read = Read(deepest);
  ASSERT_TRUE(read);
  EXPECT_TRUE(Validate(read.get()));
  ZxvView inner(read.get());  // the outermost List is unwrapped
  for (std::size_t level = 2; level < limit; ++level) inner = inner.First();
  EXPECT_EQ(inner.First().Int(), 1);
  for (const std::u16string& text :
       {std::u16string(limit + 1, u'[') + std::u16string(limit + 1, u']'), std::u16string(1000000, u'['),
        std::u16string(1000000, u'[') + std::u16string(1000000, u']'),
        [] {
          std::u16string objects;
          for (int i = 0; i < 1000000; ++i) objects += u"{\"a\":";
          return objects;
        }()}) {
    const char16_t* expected = nullptr;
    EXPECT_EQ(NewJson(text.c_str(), &expected, nullptr), nullptr);
    EXPECT_NE(expected, nullptr);
  }
}

TEST(JsonRead, SurvivesRandomInput) {
  std::mt19937 random(20240611);
  const std::u16string alphabet = u"[]{}\",:0123456789-+.eEtrufalsn\\/ \t\nbxu\xE9\xD800";
  const std::u16string seeds[] = {u"{\"a\": [1, 2.5e-3, \"x\\u0041\", {\"b\": null}], \"c\": true}",
                                  u"[[], {}, -12, \"\\\"\\\\\", false]"};
  int accepted = 0;
  for (int round = 0; round < 30000; ++round) {
    std::u16string text;
    if (round % 3 == 0) {
      text = seeds[round % 2];
      for (int edits = 1 + random() % 4; edits > 0; --edits) {
        text[random() % text.size()] = alphabet[random() % alphabet.size()];
      }
    } else {
      text.resize(random() % 40);
      for (char16_t& unit : text) unit = round % 3 == 1 ? alphabet[random() % alphabet.size()] : static_cast<char16_t>(random());
    }
    Block read = Read(text);
    if (read) {
      ++accepted;
      ASSERT_TRUE(Validate(read.get())) << Narrow(text);
    }
  }
  EXPECT_GT(accepted, 100);  // the mutations keep many texts valid
}

// ---- writing ----------------------------------------------------------------

TEST(JsonWrite, LaysOutRecordsAsTheGoldenTexts) {
  const struct {
    std::function<ZxvBase*()> record;
    std::u16string text;
  } cases[] = {
      {[] { return ListOf(u"cfg", {NewInt(u"port", 80), ListOf(u"hosts", {NewString(nullptr, u"a", 0), NewString(nullptr, u"b", 0)})}); },
       u"{\"cfg\": {\n    \"port\": 80,\n    \"hosts\": [\n        \"a\",\n        \"b\"]}}"},
      {[] { return NewInt(u"port", 8080); }, u"{\"port\": 8080}"},
      {[] { return NewInt(nullptr, -5); }, u"[-5]"},
      {[] { return NewNull(nullptr); }, u"[null]"},
      {[] { return NewBool(u"b", false); }, u"{\"b\": false}"},
      {[] { return NewInt64(nullptr, LLONG_MIN); }, u"[-9223372036854775808]"},
      {[] { return NewFloat(nullptr, 1500.0); }, u"[1500]"},
      {[] { return NewFloat(nullptr, 1e6); }, u"[1e+06]"},
      {[] { return NewFloat(nullptr, 1.0 / 3); }, u"[0.333333]"},
      {[] { return NewRegister(nullptr, reinterpret_cast<void*>(std::intptr_t{-2})); }, u"[-2]"},
      {[] { return NewBuffer(nullptr, "\x00\x7f\xff", 3); }, u"[[0, 127, 255]]"},
      {[] { return NewBuffer(u"e", nullptr, 0); }, u"{\"e\": []}"},
      {[] { return NewString(u"q\"", u"a\"b\\c/\b\t\n\f\r\v\x1F\x7F\xE9\xFFFF ~", 0); },
       u"{\"q\\\"\": \"a\\\"b\\\\c/\\b\\t\\n\\f\\r\\u000b\\u001f\\u007f\\u00e9\\uffff ~\"}"},
      {[] { return NewList(nullptr); }, u"[[]]"},
      {[] { return ListOf(u"m", {NewInt(nullptr, 1), NewInt(u"x", 2)}); },
       u"{\"m\": {\n    1,\n    \"x\": 2}}"},
      {[] { return ListOf(nullptr, {ListOf(nullptr, {NewList(nullptr)}), NewNull(nullptr)}); },
       u"[[\n    [\n        []],\n    null]]"},
  };
  for (const auto& c : cases) {
    Owned<ZxvBase> builder(c.record());
    Block record = Lay(*builder);
    EXPECT_EQ(Narrow(Json(record.get())), Narrow(c.text));
    EXPECT_EQ(Narrow(Json(builder.get())), Narrow(c.text)) << "builders are written like their blocks";
  }
  EXPECT_EQ(Json(nullptr), u"");
}

TEST(JsonWrite, ReadsUnalignedBlocksAndSkipsWhatJsonCannotHold) {
  Block sample = Sample();  // odd-address nodes, attributes, a Register, an embedded NUL
  EXPECT_EQ(Narrow(Json(sample.get())),
            Narrow(u"{\"root\": {\n    \"blob\": [1, 2, 3],\n    \"port\": 8080,\n    \"host\": \"example.org\",\n"
                   u"    \"backup\": \"example.net\",\n    \"inner\": {\n        \"on\": true,\n"
                   u"        \"big\": 1099511627776,\n        \"f\": 0.5,\n        \"empty\": []},\n"
                   u"    \"reg\": 1234605616436508552,\n    null,\n    \"raw\": \"a\\u0000b\",\n    []}}"));
  Block odd = Lay(NewInt(u"n", 1));
  Put32(odd.get(), kType, 9);  // an unknown type code has no value text
  EXPECT_EQ(Json(odd.get()), u"{\"n\": }");
}

// The writer copies blocks of eight units that need no escape at once; a
// unit that does must be escaped wherever it falls in or across a block.
TEST(JsonWrite, EscapesEveryUnitWhereverItFallsInABlock) {
  auto escaped = [](const std::u16string& text) {
    std::u16string out = u"[\"";
    for (char16_t unit : text) {
      const char16_t* shortForm = unit == u'"' ? u"\\\"" : unit == u'\\' ? u"\\\\" : unit == 8 ? u"\\b"
                                  : unit == 9 ? u"\\t" : unit == 10 ? u"\\n" : unit == 12 ? u"\\f"
                                  : unit == 13 ? u"\\r" : nullptr;
      if (shortForm != nullptr) {
        out += shortForm;
      } else if (unit >= 0x20 && unit < 0x7F) {
        out += unit;
      } else {
        char hex[8];
        std::snprintf(hex, sizeof hex, "\\u%04x", static_cast<unsigned>(unit));
        for (const char* p = hex; *p; ++p) out += static_cast<char16_t>(*p);
      }
    }
    return out + u"\"]";
  };
  const char16_t specials[] = {u'"', u'\\', 0x01, 0x09, 0x1F, 0x7F, 0xE9, 0xFFFF};
  for (std::size_t length = 1; length < 34; ++length) {
    for (std::size_t at = 0; at < length; ++at) {
      for (char16_t special : specials) {
        std::u16string text(length, u'x');
        text[at] = special;
        if (at + 9 < length) text[at + 9] = special;  // a second one, a block further on
        Block record = Lay(NewString(nullptr, text.c_str(), static_cast<int>(text.size())));
        ASSERT_EQ(Narrow(Json(record.get())), Narrow(escaped(text))) << "length " << length << " at " << at;
      }
    }
  }
}

// Floats are written as %g: six significant digits, rounded from the exact
// binary value.  The values printf writes without an exponent take a path of
// their own; ties, carries into the next power of ten and the edges of that
// range must come out as the general formatter writes them.
TEST(JsonWrite, FloatsAreWrittenAsPercentG) {
  std::vector<double> values = {0.0,        -0.0,     1e-4,     9.99995e-5, 0.0001000005, 0.00010000049999,
                                999999.5,   999999.4, 999995.0, 123456.5,   123457.5,     0.5,
                                2.5,        1e6,      1e5,      99999.95,   9.999995,     9.9999949999999,
                                1.0 / 3,    -1.0,     10.0,     1e-5,       HUGE_VAL,     5e-324};
  std::mt19937_64 rng(11);
  for (int i = 0; i < 60000; ++i) {
    double v;
    if (i % 3 == 0) {
      v = std::ldexp(static_cast<double>(rng() >> 11), static_cast<int>(rng() % 100) - 80);
    } else if (i % 3 == 1) {  // seven digits ending in 5: as near a tie as a double gets
      char text[32];
      std::snprintf(text, sizeof text, "%.6g5e%d", static_cast<double>(rng() % 1000000) / 100000.0,
                    static_cast<int>(rng() % 12) - 6);
      v = std::strtod(text, nullptr);
    } else {
      v = std::pow(10.0, static_cast<int>(rng() % 12) - 5) * (1 + static_cast<double>(rng() % 2000) / 1000.0);
    }
    values.push_back(rng() % 2 ? -v : v);
  }
  for (double v : values) {
    char expected[32];
    const auto end = std::to_chars(expected, expected + sizeof expected, v, std::chars_format::general, 6).ptr;
    Block record = Lay(NewFloat(nullptr, v));
    ASSERT_EQ(Narrow(Json(record.get())), "[" + std::string(expected, end) + "]") << v;
  }
}

// ---- round trip ---------------------------------------------------------------

class RandomRecords {
 public:
  explicit RandomRecords(unsigned seed) : m_random(seed) {}

  // A builder of a shape JSON can express: Ints inside the 32-bit range but
  // off its limits, Int64s outside it, Floats whose %g text has a point, text
  // without U+0000, Lists whose elements are all named or all unnamed.
  ZxvBase* Make(const char16_t* name, int depth) {
    switch (Pick(depth > 0 ? 8 : 7)) {
      case 0: return NewNull(name);
      case 1: return NewBool(name, Pick(2) == 1);
      case 2: return NewInt(name, static_cast<int>(Pick(0xFFFFFFFEu) - 0x7FFFFFFF));
      case 3: {
        const long long magnitude = 2147483647LL + static_cast<long long>(Pick(0xFFFFFFFFu)) * static_cast<long long>(Pick(0x7FFFFFFFu));
        return NewInt64(name, Pick(2) ? magnitude : -magnitude - 1);
      }
      case 4: return NewFloat(name, Float());
      case 5:
      case 6: return NewString(name, Units(Pick(20)).c_str(), 0);
      default: {
        ZxvList* list = NewList(name);
        const bool named = Pick(2) == 1;
        for (unsigned n = Pick(5); n > 0; --n) {
          const std::u16string childName = Units(1 + Pick(8));
          list->Append(Make(named ? childName.c_str() : nullptr, depth - 1));
        }
        return list;
      }
    }
  }
  std::u16string Units(unsigned count) {
    std::u16string s;
    while (s.size() < count) {
      const unsigned kind = Pick(4);
      const auto unit = static_cast<char16_t>(kind == 0 ? 1 + Pick(0x7F) : kind == 1 ? 1 + Pick(0xFFFE) : 0x20 + Pick(0x5F));
      s += unit;
    }
    return s;
  }

 private:
  unsigned Pick(unsigned bound) { return static_cast<unsigned>(m_random() % bound); }
  double Float() {
    for (;;) {
      char text[64];
      std::snprintf(text, sizeof text, "%g", std::ldexp(static_cast<double>(m_random()) / 4294967296.0 - 0.5, static_cast<int>(Pick(120)) - 60));
      if (std::strchr(text, '.') != nullptr) return std::strtod(text, nullptr);
    }
  }

  std::mt19937 m_random;
};

TEST(JsonRoundTrip, ReadingWhatWasWrittenGivesTheSameRecord) {
  RandomRecords random(7);
  for (int round = 0; round < 3000; ++round) {
    const std::u16string name = random.Units(1 + round % 6);
    Block record = Lay(random.Make(round % 2 ? name.c_str() : nullptr, 4));
    const std::u16string text = Json(record.get());
    Block read = Read(text);
    ASSERT_TRUE(read) << Narrow(text);
    ASSERT_TRUE(IsEqual(record.get(), read.get())) << Narrow(text) << "\nread back as\n" << Narrow(Json(read.get()));
  }
}

}  // namespace
