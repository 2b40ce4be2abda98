// ZxvCast and the ZxvConvert... family: the conversion table, the text parses,
// the text forms, hex in both directions and the converted node's header.
#include <gtest/gtest.h>

#include <bit>
#include <cerrno>
#include <climits>
#include <cmath>
#include <limits>

#include "record/record_testing.h"

namespace {

using namespace zxt;
using namespace std::string_literals;

Block Str(const char16_t* text) { return Lay(NewString(u"s", text, 0)); }
Block Reg(std::uint64_t bits) { return Lay(NewRegister(u"r", reinterpret_cast<void*>(bits))); }
Block RawBool(unsigned char byte) {
  Block b = Lay(NewBool(u"b", true));
  std::memcpy(Raw(b.get()) + kValue, &byte, 1);
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

struct Case {
  const ZxVariant* source;
  T target;
  std::uint64_t bits;
  bool valid;
};

void Check(const Case& c, std::ptrdiff_t index) {
  ZxvConvertAny any(*c.source, c.target);
  const ZxVariant* node = any;
  EXPECT_EQ(node->type, c.target) << "case " << index;
  EXPECT_EQ(Bits(node), c.bits) << "case " << index;
  EXPECT_EQ(any.IsValid(), c.valid) << "case " << index;
}

TEST(ConversionTable, BetweenScalarTypes) {
  const Block null = Lay(NewNull(u"n")), allOnes = Reg(0xFFFFFFFFu), wide = Reg(0x8000000155667788u);
  const Block two = RawBool(2), minusOne = Lay(NewInt(u"i", -1)), big = Lay(NewInt64(u"l", 1LL << 32));
  const Block f39 = Lay(NewFloat(u"f", 3.9)), fm39 = Lay(NewFloat(u"f", -3.9)), half = Lay(NewFloat(u"f", 0.5));
  const Block f2p32 = Lay(NewFloat(u"f", 4294967296.0)), f3e9 = Lay(NewFloat(u"f", 3e9));
  const Block huge = Lay(NewFloat(u"f", 1e20)), nan = Lay(NewFloat(u"f", std::nan("")));
  const std::uint64_t kMin64 = 1ull << 63;
  const Case cases[] = {
      {null.get(), T::Register, 0, true}, {null.get(), T::Bool, 0, true}, {null.get(), T::Int, 0, true},
      {null.get(), T::Int64, 0, true},    {null.get(), T::Float, 0, true},
      {allOnes.get(), T::Float, F(4294967295.0), true}, {allOnes.get(), T::Int, I(-1), true},
      {wide.get(), T::Int, 0x55667788, true},           {wide.get(), T::Int64, 0x8000000155667788u, true},
      {wide.get(), T::Float, F(9223372042582521856.0), true}, {wide.get(), T::Bool, 1, true},
      {two.get(), T::Int, 1, true}, {two.get(), T::Register, 1, true}, {two.get(), T::Float, F(1.0), true},
      {two.get(), T::Bool, 1, true},
      {minusOne.get(), T::Register, 0xFFFFFFFFu, true}, {minusOne.get(), T::Int64, ~0ull, true},
      {minusOne.get(), T::Float, F(-1.0), true},        {minusOne.get(), T::Bool, 1, true},
      {f39.get(), T::Int, 3, true}, {fm39.get(), T::Int, I(-3), true}, {fm39.get(), T::Int64, ~0ull - 2, true},
      {half.get(), T::Bool, 0, true}, {f2p32.get(), T::Bool, 0, true}, {f2p32.get(), T::Register, 1ull << 32, true},
      {f3e9.get(), T::Int, I(-1294967296), true}, {huge.get(), T::Int64, kMin64, true},
      {huge.get(), T::Int, 0, true}, {nan.get(), T::Int64, kMin64, true},
      {big.get(), T::Int, 0, true}, {big.get(), T::Bool, 1, true}, {big.get(), T::Float, F(4294967296.0), true},
      {big.get(), T::Register, 1ull << 32, true},
  };
  for (const Case& c : cases) Check(c, &c - cases);
}

TEST(ConversionTable, BuffersListsAndEmptyStringsConvertToNoScalar) {
  const Block buffer = Lay(NewBuffer(u"b", "12", 2)), list = Sample(), empty = Str(u"");
  for (const ZxVariant* source : {buffer.get(), list.get(), empty.get()}) {
    for (T target : {T::Register, T::Bool, T::Int, T::Int64, T::Float}) Check({source, target, 0, false}, static_cast<int>(target));
  }
  for (T target : {T::List, static_cast<T>(42)}) Check({buffer.get(), target, 0, false}, static_cast<int>(target));
  ZxvConvertAny toNull(*buffer, T::Null);
  EXPECT_TRUE(toNull.IsValid() && ZxvView(toNull).IsNull() && ZxvView(toNull).Name() == ZxvStringView(u"b"));
}

TEST(ConversionTextParses, IntegersNeedASignAndDigitsOnly) {
  const struct { const char16_t* text; long long value; bool valid; } ints[] = {
      {u"12", 12, true},          {u"+7", 7, true},     {u"-2147483648", INT_MIN, true}, {u"007", 7, true},
      {u" 12", 0, false},         {u"12a", 0, false},   {u"+", 0, false},  {u"", 0, false},
      {u"0x10", 0, false},        {u"--1", 0, false},
      {u"2147483648", INT_MAX, false},  // saturated and invalid
  };
  for (const auto& c : ints) {
    const Block s = Str(c.text);
    errno = ERANGE;  // cleared before reading, unlike the Bool reading
    ZxvConvertInt conv(*s);
    EXPECT_TRUE(static_cast<int>(conv) == c.value && conv.IsValid() == c.valid) << c.value;
  }
  const Block max64 = Str(u"9223372036854775807"), over64 = Str(u"-9223372036854775809");
  EXPECT_TRUE(ZxvConvertInt64(*max64).IsValid() && static_cast<long long>(ZxvConvertInt64(*max64)) == LLONG_MAX);
  EXPECT_TRUE(!ZxvConvertInt64(*over64).IsValid() && static_cast<long long>(ZxvConvertInt64(*over64)) == LLONG_MIN);
  EXPECT_EQ(static_cast<long long>(ZxvConvertInt64(*Str(u"-5000000000"))), -5000000000LL);
}

TEST(ConversionTextParses, BoolIsDecidedByTheFirstUnit) {
  const struct { const char16_t* text; bool value, valid; } cases[] = {
      {u"Truth", true, true}, {u"t", true, true}, {u"false", false, true}, {u"Fx", false, true},
      {u"0", false, true},    {u"12", true, true}, {u" 1", false, false},  {u"+1", false, false},
      {u"yes", false, false}, {u"99999999999", true, false},  // overflow: the value stays, invalid
  };
  for (const auto& c : cases) {
    const Block s = Str(c.text);
    errno = 0;
    ZxvConvertBool conv(*s);
    EXPECT_TRUE(static_cast<bool>(conv) == c.value && conv.IsValid() == c.valid) << (&c - cases);
  }
  // errno is deliberately read without clearing it first.
  const Block one = Str(u"1");
  errno = ERANGE;
  ZxvConvertBool stale(*one);
  EXPECT_TRUE(static_cast<bool>(stale) && !stale.IsValid());
  errno = 0;
  EXPECT_TRUE(ZxvConvertBool(*one).IsValid());
}

TEST(ConversionTextParses, FloatHasNoSyntaxCheckButRangeErrors) {
  const struct { const char16_t* text; double value; bool valid; } cases[] = {
      {u"abc", 0.0, true},  {u"1.5e3", 1500.0, true}, {u" \t-2.25xyz", -2.25, true}, {u"0x1p4", 16.0, true},
      {u"1e-400", 0.0, true}, {u"1e999", HUGE_VAL, false}, {u"-1e999", -HUGE_VAL, false},
      {u"2.5\u00e9", 2.5, true},
  };
  for (const auto& c : cases) {
    const Block s = Str(c.text);
    errno = EINVAL;
    ZxvConvertFloat conv(*s);
    EXPECT_TRUE(static_cast<double>(conv) == c.value && conv.IsValid() == c.valid) << c.value;
  }
}

TEST(ConversionTextParses, RegisterNeedsALowerCaseHexPrefix) {
  const struct { const char16_t* text; std::uint64_t value; bool valid; } cases[] = {
      {u"0x1A2b", 0x1A2B, true},  {u"0xFFFFFFFFFFFFFFFF", ~0ull, true},
      {u"0x123456789ABCDEF01", 0x123456789ABCDEF0u, true},  // 16 digits are read, the rest ignored
      {u"0x 7g", 7, true},        {u"0x", 0, false}, {u"0X12", 0, false}, {u"12", 0, false}, {u"0xg", 0, false},
  };
  for (const auto& c : cases) {
    const Block s = Str(c.text);
    ZxvConvertRegister conv(*s);
    EXPECT_TRUE(reinterpret_cast<std::uintptr_t>(static_cast<void*>(conv)) == c.value && conv.IsValid() == c.valid)
        << c.value;
  }
}

TEST(ConversionToString, TextForms) {
  const Block null = Lay(NewNull(nullptr)), list = Sample();
  const struct { Block source; std::u16string text; } cases[] = {
      {Reg(0xABC), u"0x00000ABC"},          {Reg(0x1122334455667788u), u"0x1122334455667788"},
      {Reg(0x100000000u), u"0x0000000100000000"},
      {RawBool(2), u"true"},                {RawBool(0), u"false"},
      {Lay(NewInt(u"i", INT_MIN)), u"-2147483648"},  {Lay(NewInt64(u"l", LLONG_MIN)), u"-9223372036854775808"},
      {Lay(NewFloat(u"f", 0.5)), u"0.5"},   {Lay(NewFloat(u"f", 1e20)), u"1e+20"},
      {Lay(NewFloat(u"f", 1e-5)), u"1e-05"}, {Lay(NewFloat(u"f", 123456789.0)), u"1.23457e+08"},
      {Lay(NewFloat(u"f", 100000.0)), u"100000"}, {Lay(NewFloat(u"f", -0.0)), u"-0"},
      {Lay(NewFloat(u"f", HUGE_VAL)), u"inf"},
      {Lay(NewBuffer(u"b", "\x0A\xFF", 2)), u"0x0aff"}, {Lay(NewBuffer(u"b", nullptr, 0)), u"0x"},
  };
  for (const auto& c : cases) {
    ZxvConvertString conv(*c.source);
    const char16_t* text = conv;
    EXPECT_TRUE(conv.IsValid() && conv.Len() == c.text.size() && text[conv.Len()] == 0);
    EXPECT_EQ(std::u16string(text, conv.Len()), c.text);
  }
  ZxvConvertString fromNull(*null), fromList(*list);
  EXPECT_TRUE(fromNull.IsValid() && fromNull.Len() == 0u && *static_cast<const char16_t*>(fromNull) == 0);
  EXPECT_TRUE(!fromList.IsValid() && fromList.Len() == 0u && *static_cast<const char16_t*>(fromList) == 0);
  const Block s = Str(u"shared");
  ZxvConvertString same(*s);
  EXPECT_TRUE(same.IsValid() && static_cast<const ZxVariant::String&>(same).str == s->value.string.str);
}

TEST(ConversionToString, TextsReadBackToTheSameValue) {
  for (std::uint64_t bits : {0ull, 1ull, 0xFFFFFFFFull, 0x100000000ull, ~0ull}) {
    const Block r = Reg(bits);
    ZxvConvertString text(*r);
    ZxvCast back(static_cast<const char16_t*>(text));
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(static_cast<void*>(ZxvConvertRegister(*back))), bits);
  }
  const Block i64 = Lay(NewInt64(u"l", LLONG_MIN));
  ZxvCast back(static_cast<const char16_t*>(ZxvConvertString(*i64)));
  EXPECT_EQ(static_cast<long long>(ZxvConvertInt64(*back)), LLONG_MIN);
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
  const Block buffer = Lay(NewBuffer(u"b", "\x00\x7F\x80\xFF", 4)), number = Lay(NewInt(u"i", 1));
  ZxvConvertBuffer same(*buffer);
  EXPECT_TRUE(same.IsValid() && static_cast<const ZxVariant::Buffer&>(same).data == buffer->value.buffer.data);
  ZxvCast text(static_cast<const char16_t*>(ZxvConvertString(*buffer)));
  ZxvConvertBuffer back(*text);
  EXPECT_TRUE(back.IsValid() && std::memcmp(static_cast<const ZxVariant::Buffer&>(back).data, "\x00\x7F\x80\xFF", 4) == 0);
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
      {ZxvCast(true), Lay(NewBool(nullptr, true))},
      {ZxvCast(-7), Lay(NewInt(nullptr, -7))},
      {ZxvCast(2.5), Lay(NewFloat(nullptr, 2.5))},
      {ZxvCast(bytes, 3), Lay(NewBuffer(nullptr, bytes, 3))},
      {ZxvCast(u"text"), Lay(NewString(nullptr, u"text", 0))},
      {ZxvCast("caf\xC3\xA9 \xFF"), Lay(NewString(nullptr, u"caf\u00e9 \uFFFD", 0))},
      {ZxvCast(u"n", static_cast<void*>(nullptr)), Lay(NewRegister(u"n", nullptr))},
      {ZxvCast(u"n", false), Lay(NewBool(u"n", false))},
      {ZxvCast(u"n", INT_MAX), Lay(NewInt(u"n", INT_MAX))},
      {ZxvCast(u"n", -0.0), Lay(NewFloat(u"n", -0.0))},
      {ZxvCast(u"n", bytes, 0), Lay(NewBuffer(u"n", nullptr, 0))},
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
