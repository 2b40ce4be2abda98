// ZxvCast and the ZxvConvert... family: the conversion table, the text parses,
// the text forms, hex in both directions and the converted node's header.
#include <gtest/gtest.h>

#include <bit>
#include <cerrno>
#include <climits>
#include <cmath>
#include <tuple>
#include <utility>
#include <vector>

#include "record/record_testing.h"

namespace {

using namespace zxt;

Block Str(const char16_t* text) { return Lay(NewString(u"s", text, 0)); }
Block Reg(std::uint64_t bits) { return Lay(NewRegister(u"r", reinterpret_cast<void*>(bits))); }
Block Flt(double v) { return Lay(NewFloat(u"f", v)); }
Block RawBool(unsigned char byte) {
  Block b = Lay(NewBool(u"b", true));
  Raw(b.get())[kValue] = byte;
  return b;
}

// Expected value areas: Int and Bool fill the low bytes only.
std::uint64_t I(int v) { return static_cast<std::uint32_t>(v); }
std::uint64_t F(double v) { return std::bit_cast<std::uint64_t>(v); }
std::uint64_t Bits(const ZxVariant* node) {
  const std::size_t width = node->type == T::Int ? 4 : node->type == T::Bool ? 1 : 8;
  std::uint64_t bits = 0;
  std::memcpy(&bits, Raw(node) + kValue, width);
  return bits;
}

void Check(const ZxVariant* source, T target, std::uint64_t bits, bool valid, int index) {
  ZxvConvertAny any(*source, target);
  const ZxVariant* node = any;
  EXPECT_EQ(node->type, target) << "case " << index;
  EXPECT_EQ(Bits(node), bits) << "case " << index;
  EXPECT_EQ(any.IsValid(), valid) << "case " << index;
}

TEST(ConversionTable, BetweenScalarTypes) {
  const std::uint64_t kMin64 = 1ull << 63;
  const struct { Block source; std::vector<std::pair<T, std::uint64_t>> results; } rows[] = {
      {Lay(NewNull(u"n")), {{T::Register, 0}, {T::Bool, 0}, {T::Int, 0}, {T::Int64, 0}, {T::Float, 0}}},
      {Reg(0xFFFFFFFFu), {{T::Float, F(4294967295.0)}, {T::Int, I(-1)}}},
      {Reg(0x8000000155667788u), {{T::Int, 0x55667788}, {T::Int64, 0x8000000155667788u},
                                  {T::Float, F(9223372042582521856.0)}, {T::Bool, 1}}},
      {RawBool(2), {{T::Int, 1}, {T::Register, 1}, {T::Float, F(1.0)}, {T::Bool, 1}}},
      {Lay(NewInt(u"i", -1)), {{T::Register, 0xFFFFFFFFu}, {T::Int64, ~0ull}, {T::Float, F(-1.0)}, {T::Bool, 1}}},
      {Lay(NewInt64(u"l", 1LL << 32)),
       {{T::Int, 0}, {T::Bool, 1}, {T::Float, F(4294967296.0)}, {T::Register, 1ull << 32}}},
      {Flt(3.9), {{T::Int, 3}}}, {Flt(-3.9), {{T::Int, I(-3)}, {T::Int64, ~0ull - 2}}}, {Flt(0.5), {{T::Bool, 0}}},
      {Flt(4294967296.0), {{T::Bool, 0}, {T::Register, 1ull << 32}}}, {Flt(3e9), {{T::Int, I(-1294967296)}}},
      {Flt(1e20), {{T::Int64, kMin64}, {T::Int, 0}}}, {Flt(std::nan("")), {{T::Int64, kMin64}}}};
  int index = 0;
  for (const auto& row : rows) {
    for (const auto& [target, bits] : row.results) Check(row.source.get(), target, bits, true, index++);
  }
}

TEST(ConversionTable, BuffersListsAndEmptyStringsConvertToNoScalar) {
  const Block buffer = Lay(NewBuffer(u"b", "12", 2)), list = Sample(), empty = Str(u"");
  int index = 0;
  for (const ZxVariant* source : {buffer.get(), list.get(), empty.get()}) {
    for (T target : {T::Register, T::Bool, T::Int, T::Int64, T::Float, T::List, static_cast<T>(42)}) {
      Check(source, target, 0, false, index++);
    }
  }
  ZxvConvertAny toNull(*buffer, T::Null);
  EXPECT_TRUE(toNull.IsValid() && ZxvView(toNull).IsNull() && ZxvView(toNull).Name() == ZxvStringView(u"b"));
}

// Int and Int64 take a sign and digits only (an overflow saturates and is
// invalid), Bool decides by the first unit, Float follows strtod with no
// syntax check but range errors, Register needs "0x" then reads as %p.
TEST(ConversionTextParses, EachTargetReadsItsOwnSyntax) {
  using Parses = std::vector<std::tuple<const char16_t*, std::uint64_t, bool>>;
  const std::pair<T, Parses> tables[] = {
      {T::Int, {{u"12", 12, true}, {u"+7", 7, true}, {u"-2147483648", I(INT_MIN), true}, {u"007", 7, true},
                {u" 12", 0, false}, {u"12a", 0, false}, {u"+", 0, false}, {u"0x10", 0, false}, {u"--1", 0, false},
                {u"2147483648", I(INT_MAX), false}}},
      {T::Int64, {{u"9223372036854775807", LLONG_MAX, true}, {u"-9223372036854775808", 1ull << 63, true},
                  {u"-9223372036854775809", 1ull << 63, false}, {u"-5000000000", ~4999999999ull, true}}},
      {T::Bool, {{u"Truth", 1, true}, {u"t", 1, true}, {u"false", 0, true}, {u"Fx", 0, true}, {u"0", 0, true},
                 {u"12", 1, true}, {u" 1", 0, false}, {u"+1", 0, false}, {u"yes", 0, false},
                 {u"99999999999", 1, false}}},  // overflow: the value stays, invalid
      {T::Float, {{u"abc", 0, true}, {u"1.5e3", F(1500.0), true}, {u" \t-2.25xyz", F(-2.25), true},
                  {u"0x1p4", F(16.0), true}, {u"1e-400", 0, true}, {u"1e999", F(HUGE_VAL), false},
                  {u"-1e999", F(-HUGE_VAL), false}, {u"2.5\u00e9", F(2.5), true}}},
      {T::Register, {{u"0x1A2b", 0x1A2B, true}, {u"0xFFFFFFFFFFFFFFFF", ~0ull, true},
                     {u"0x123456789ABCDEF01", 0x123456789ABCDEF0u, true},  // 16 digits at most
                     {u"0x 7g", 7, true}, {u"0x", 0, false}, {u"0X12", 0, false}, {u"12", 0, false},
                     {u"0xg", 0, false}}}};
  int index = 0;
  for (const auto& [target, parses] : tables) {
    for (const auto& [text, bits, valid] : parses) {
      const Block s = Str(text);
      errno = target == T::Bool ? 0 : ERANGE;  // the others clear errno before reading
      Check(s.get(), target, bits, valid, index++);
    }
  }
  // Bool reads errno without clearing it first, on purpose.
  const Block one = Str(u"1");
  for (int stale : {ERANGE, EINVAL, 0}) {
    errno = stale;
    ZxvConvertBool b(*one);
    EXPECT_TRUE(static_cast<bool>(b) && b.IsValid() == (stale == 0)) << stale;
  }
}

TEST(ConversionToString, TextForms) {
  const struct { Block source; std::u16string text; bool valid = true; } cases[] = {
      {Lay(NewNull(nullptr)), u""}, {Sample(), u"", false},
      {Reg(0xABC), u"0x00000ABC"},          {Reg(0xFFFFFFFFu), u"0xFFFFFFFF"},
      {Reg(0x100000000u), u"0x0000000100000000"}, {Reg(~0ull), u"0xFFFFFFFFFFFFFFFF"},
      {RawBool(2), u"true"},                {RawBool(0), u"false"},
      {Lay(NewInt(u"i", INT_MIN)), u"-2147483648"},  {Lay(NewInt64(u"l", LLONG_MIN)), u"-9223372036854775808"},
      {Flt(0.5), u"0.5"}, {Flt(1e20), u"1e+20"}, {Flt(1e-5), u"1e-05"}, {Flt(123456789.0), u"1.23457e+08"},
      {Flt(100000.0), u"100000"}, {Flt(-0.0), u"-0"}, {Flt(HUGE_VAL), u"inf"},
      {Lay(NewBuffer(u"b", "\x0A\xFF", 2)), u"0x0aff"}, {Lay(NewBuffer(u"b", nullptr, 0)), u"0x"},
  };
  for (const auto& c : cases) {
    ZxvConvertString conv(*c.source);
    const char16_t* text = conv;
    ASSERT_TRUE(text != nullptr && text[conv.Len()] == 0);  // never null, always terminated
    EXPECT_TRUE(conv.IsValid() == c.valid && std::u16string(text, conv.Len()) == c.text) << &c - cases;
  }
  const Block s = Str(u"shared");
  ZxvConvertString same(*s);
  EXPECT_TRUE(same.IsValid() && static_cast<const ZxVariant::String&>(same).str == s->value.string.str);
}

TEST(ConversionToBuffer, HexTextsSharedBytesAndRefusals) {
  const struct { const char16_t* text; std::string bytes; bool valid; } cases[] = {
      {u"0x0AfF", "\x0A\xFF", true}, {u"0aff", "\x0A\xFF", true}, {u"0x", "", true}, {u"", "", true},
      {u"0xabc", "", false},         {u"0X0a", "", false},        {u"0x0g", "", false}, {u"x", "", false},
  };
  for (const auto& c : cases) {
    const Block s = Str(c.text);
    ZxvConvertBuffer conv(*s);
    const ZxVariant::Buffer& b = conv;
    EXPECT_TRUE(conv.IsValid() == c.valid && b.size == c.bytes.size()) << c.bytes.size();
    EXPECT_EQ(std::string(static_cast<const char*>(b.data), b.size), c.bytes);
  }
  const Block buffer = Lay(NewBuffer(u"b", "\x00\xFF", 2)), number = Lay(NewInt(u"i", 1));
  ZxvConvertBuffer same(*buffer);
  EXPECT_TRUE(same.IsValid() && static_cast<const ZxVariant::Buffer&>(same).data == buffer->value.buffer.data);
  EXPECT_FALSE(ZxvConvertBuffer(*number).IsValid());
}

TEST(ConverterNode, SharesTheNameAndLooksLikeAnUnlinkedNode) {
  // The String lies at an odd address behind a 1-byte buffer.
  Owned<ZxvList> tree(NewList(u"root"));
  tree->Append(NewBuffer(u"pad", "x", 1));
  tree->Append(NewString(u"count", u"42", 0))->AppendAttribute(NewInt(u"unit", 1));
  const Block record = Lay(*tree);
  const ZxVariant* count = ZxvView(record.get())[u"count"];
  ZxvConvertInt conv(*count);
  const ZxVariant* node = conv;
  EXPECT_TRUE(conv.IsValid() && static_cast<int>(conv) == 42);
  EXPECT_TRUE(node->name.str == count->name.str && node->size == 64u + 12 && node->type == T::Int);
  EXPECT_TRUE(node->attributes.count == 0u && node->attributes.items == nullptr && node->next == nullptr);
  const ZxvView view(node);
  EXPECT_TRUE(view.Int() == 42 && view.Name() == ZxvStringView(u"count") && view.Next().IsTheNull());
  const Block unnamed = Lay(NewInt(nullptr, 5));
  EXPECT_EQ(static_cast<const ZxVariant*>(ZxvConvertFloat(*unnamed))->size, 64u);
  // Running conversions one after another on one converter replaces what it owned.
  ZxvConvertBase reused;
  EXPECT_TRUE(reused.SetAsString(*unnamed) && reused.SetAsBuffer(*Str(u"0x01")) && !reused.SetAs(*count, T::List));
  EXPECT_EQ(ZxvView(reused).Type(), T::List);
}

TEST(Cast, LaysOutWhatTheBuilderLaysOut) {
  char bytes[3] = {1, 2, 3};
  int marker = 0;
  const struct { ZxvCast cast; Block expected; } cases[] = {
      {ZxvCast(static_cast<void*>(&marker)), Lay(NewRegister(nullptr, &marker))},
      {ZxvCast(true), Lay(NewBool(nullptr, true))}, {ZxvCast(-7), Lay(NewInt(nullptr, -7))},
      {ZxvCast(2.5), Lay(NewFloat(nullptr, 2.5))}, {ZxvCast(bytes, 3), Lay(NewBuffer(nullptr, bytes, 3))},
      {ZxvCast(u"text"), Lay(NewString(nullptr, u"text", 0))},
      {ZxvCast("caf\xC3\xA9 \xFF"), Lay(NewString(nullptr, u"caf\u00e9 \uFFFD", 0))},
      {ZxvCast(u"n", static_cast<void*>(nullptr)), Lay(NewRegister(u"n", nullptr))},
      {ZxvCast(u"n", false), Lay(NewBool(u"n", false))}, {ZxvCast(u"n", INT_MAX), Lay(NewInt(u"n", INT_MAX))},
      {ZxvCast(u"n", -0.0), Lay(NewFloat(u"n", -0.0))}, {ZxvCast(u"n", bytes, 0), Lay(NewBuffer(u"n", nullptr, 0))},
      {ZxvCast(u"n", u""), Lay(NewString(u"n", nullptr, 0))},
      {ZxvCast(u"n", static_cast<const char*>(nullptr)), Lay(NewString(u"n", nullptr, 0))},
      {ZxvCast(u"n", "\xE2\x82\xAC"), Lay(NewString(u"n", u"\u20ac", 0))},
  };
  for (const auto& c : cases) {
    const ZxVariant* record = c.cast;
    ASSERT_NE(record, nullptr);
    EXPECT_TRUE(Validate(record) && IsEqual(record, c.expected.get())) << static_cast<int>(c.expected->type);
  }
}

}  // namespace
