// The char16_t printf (text/wide_format.h) against the C library's snprintf,
// its _vsnwprintf limit contract, and AppendableWideString.
#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <climits>
#include <clocale>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <limits>
#include <string>
#include <vector>

#include "text/wide_format.h"
#include "zxvariant/zxvariant.h"

namespace {

using ZxVariantHelper::AppendableWideString;
using ZxVariantHelper::detail::WideFormat;
using ZxVariantHelper::detail::WideFormatString;

std::u16string Widen(const std::string& ascii) {
  std::u16string out;
  for (char c : ascii) out.push_back(static_cast<unsigned char>(c));
  return out;
}

// Units below 128 as bytes; anything else shows as '?' so that a mismatch
// is visible.
std::string Narrow(const std::u16string& text) {
  std::string out;
  for (char16_t u : text) out.push_back(u < 128 ? static_cast<char>(u) : '?');
  return out;
}

template <class... Args>
std::string Narrowf(const std::string& format, Args... args) {
  char buffer[2048];
  int n = std::snprintf(buffer, sizeof buffer, format.c_str(), args...);
  EXPECT_GE(n, 0);
  EXPECT_LT(n, static_cast<int>(sizeof buffer));
  return std::string(buffer, static_cast<std::size_t>(n));
}

template <class... Args>
std::string Widef(const std::string& format, Args... args) {
  std::u16string wide = Widen(format);
  return Narrow(WideFormatString(wide.c_str(), args...));
}

// Every subset of the flags, in their usual order.
std::vector<std::string> FlagSets(const std::string& flags) {
  std::vector<std::string> out;
  for (unsigned mask = 0; mask < (1u << flags.size()); ++mask) {
    std::string set;
    for (std::size_t i = 0; i < flags.size(); ++i) {
      if (mask & (1u << i)) set.push_back(flags[i]);
    }
    out.push_back(set);
  }
  return out;
}

// "%" flags width precision; the conversion is appended by the caller.
std::vector<std::string> DirectivePrefixes(const std::string& flags, const std::vector<std::string>& widths,
                                      const std::vector<std::string>& precisions) {
  std::vector<std::string> out;
  for (const std::string& f : FlagSets(flags)) {
    for (const std::string& w : widths) {
      for (const std::string& p : precisions) out.push_back("%" + f + w + p);
    }
  }
  return out;
}

const std::vector<std::string> kWidths = {"", "1", "5", "12", "25"};
const std::vector<std::string> kIntPrecisions = {"", ".", ".0", ".1", ".3", ".8", ".20"};

// ------------------------------------------------------------ integers

TEST(WideFormat, IntConversionsMatchSnprintf) {
  const int values[] = {0, 1, -1, 7, 42, -42, 255, -255, 65535, 123456789, INT_MAX, INT_MIN};
  int compared = 0;
  for (const std::string& prefix : DirectivePrefixes("-+ #0", kWidths, kIntPrecisions)) {
    for (const char* conv : {"d", "i", "u", "x", "X", "o"}) {
      bool isSigned = conv[0] == 'd' || conv[0] == 'i';
      // '#' is meaningless for d, i and u (undefined in C); skip it there.
      if (prefix.find('#') != std::string::npos && (isSigned || conv[0] == 'u')) continue;
      std::string format = prefix + conv;
      for (int v : values) {
        if (isSigned) {
          ASSERT_EQ(Widef(format, v), Narrowf(format, v)) << format << " " << v;
        } else {
          unsigned u = static_cast<unsigned>(v);
          ASSERT_EQ(Widef(format, u), Narrowf(format, u)) << format << " " << u;
        }
        ++compared;
      }
    }
  }
  EXPECT_GT(compared, 10000);
}

TEST(WideFormat, SixtyFourBitConversionsMatchSnprintf) {
  const long long values[] = {0,         1,          -1,        4294967296LL, -4294967296LL,
                              1000000000000LL, LLONG_MAX, LLONG_MIN, 0x7FFFFFFFLL, -0x80000000LL};
  // The MSVC spellings against their C equivalents.
  const std::pair<const char*, const char*> convs[] = {
      {"lld", "lld"}, {"lli", "lli"}, {"I64d", "lld"}, {"I64i", "lli"}, {"llu", "llu"},
      {"I64u", "llu"}, {"llx", "llx"}, {"I64x", "llx"}, {"I64X", "llX"}, {"llo", "llo"},
      {"jd", "jd"},   {"qd", "lld"}};
  for (const std::string& prefix : DirectivePrefixes("-+ 0", kWidths, kIntPrecisions)) {
    for (const auto& [wide, narrow] : convs) {
      for (long long v : values) {
        std::string wf = prefix + wide;
        std::string nf = prefix + narrow;
        if (narrow[2] == 'd' || narrow[2] == 'i' || narrow[1] == 'd') {
          ASSERT_EQ(Widef(wf, v), Narrowf(nf, v)) << wf << " " << v;
        } else {
          unsigned long long u = static_cast<unsigned long long>(v);
          ASSERT_EQ(Widef(wf, u), Narrowf(nf, u)) << wf << " " << u;
        }
      }
    }
  }
  EXPECT_EQ(Widef("%I64d", -9223372036854775807LL - 1), "-9223372036854775808");
  EXPECT_EQ(Widef("%I64u", ULLONG_MAX), "18446744073709551615");
}

TEST(WideFormat, PointerSizedAndShortModifiers) {
  const std::intptr_t values[] = {0, 1, -1, INTPTR_MAX, INTPTR_MIN, 1234567, -1234567};
  for (const std::string& prefix : DirectivePrefixes("-+0", kWidths, {"", ".0", ".5"})) {
    for (std::intptr_t v : values) {
      ASSERT_EQ(Widef(prefix + "Id", v), Narrowf(prefix + "td", static_cast<std::ptrdiff_t>(v)));
      ASSERT_EQ(Widef(prefix + "Iu", static_cast<std::uintptr_t>(v)),
                Narrowf(prefix + "zu", static_cast<std::size_t>(v)));
      ASSERT_EQ(Widef(prefix + "zd", v), Narrowf(prefix + "td", static_cast<std::ptrdiff_t>(v)));
      ASSERT_EQ(Widef(prefix + "hd", static_cast<int>(v)), Narrowf(prefix + "hd", static_cast<int>(v)));
      ASSERT_EQ(Widef(prefix + "hhd", static_cast<int>(v)),
                Narrowf(prefix + "hhd", static_cast<int>(v)));
      ASSERT_EQ(Widef(prefix + "hu", static_cast<unsigned>(v)),
                Narrowf(prefix + "hu", static_cast<unsigned>(v)));
      ASSERT_EQ(Widef(prefix + "hhx", static_cast<unsigned>(v)),
                Narrowf(prefix + "hhx", static_cast<unsigned>(v)));
      // %I32d and (as on MSVC) %ld are 32 bits wide.
      ASSERT_EQ(Widef(prefix + "I32d", static_cast<int>(v)), Narrowf(prefix + "d", static_cast<int>(v)));
      ASSERT_EQ(Widef(prefix + "ld", static_cast<int>(v)), Narrowf(prefix + "d", static_cast<int>(v)));
    }
  }
}

TEST(WideFormat, StarWidthAndPrecision) {
  for (int width : {-30, -12, -5, -1, 0, 1, 5, 12, 30}) {
    for (int precision : {-3, -1, 0, 1, 4, 10}) {
      for (int v : {0, 7, -7, 123456, INT_MIN}) {
        ASSERT_EQ(Widef("%*d", width, v), Narrowf("%*d", width, v));
        ASSERT_EQ(Widef("%.*d", precision, v), Narrowf("%.*d", precision, v));
        ASSERT_EQ(Widef("%*.*d", width, precision, v), Narrowf("%*.*d", width, precision, v));
        ASSERT_EQ(Widef("%0*x", width, v), Narrowf("%0*x", width, v));
      }
      ASSERT_EQ(Widef("%*.*f", width, precision, 3.14159), Narrowf("%*.*f", width, precision, 3.14159));
      ASSERT_EQ(Narrow(WideFormatString(u"%-*.*s|", width, precision, u"abcdefgh")),
                Narrowf("%-*.*s|", width, precision, "abcdefgh"));
      ASSERT_EQ(Narrow(WideFormatString(u"%*.*s|", width, precision, u"abcdefgh")),
                Narrowf("%*.*s|", width, precision, "abcdefgh"));
    }
  }
}

// ------------------------------------------------------------ doubles

// "%#g" by the C standard's definition, through snprintf's %e and %f.  (glibc's
// own %#g drops the zeros when rounding carries into a new power of ten:
// "%#g" of 999999.5 gives "1.e+06" there, where C99 asks for "1.00000e+06".)
std::string AltGReference(const std::string& prefix, char conv, double v) {
  if (!std::isfinite(v)) return Narrowf(prefix + conv, v);
  std::size_t dot = prefix.find('.');
  int p = 6;
  if (dot != std::string::npos) p = std::atoi(prefix.c_str() + dot + 1);
  if (p == 0) p = 1;
  std::string head = dot == std::string::npos ? prefix : prefix.substr(0, dot);
  std::string e = Narrowf("%.*e", p - 1, std::fabs(v));
  int x = std::atoi(e.c_str() + e.find('e') + 1);
  bool upper = conv == 'G';
  if (p > x && x >= -4) return Narrowf(head + "." + std::to_string(p - 1 - x) + (upper ? "F" : "f"), v);
  return Narrowf(head + "." + std::to_string(p - 1) + (upper ? "E" : "e"), v);
}

TEST(WideFormat, DoubleConversionsMatchSnprintf) {
  const double values[] = {0.0,
                           -0.0,
                           1.0,
                           -1.5,
                           0.1,
                           0.5,
                           2.5,
                           123.456,
                           -987654.321,
                           1e-5,
                           1e-4,
                           9.9999995e-5,
                           0.000123456789,
                           999999.5,
                           1e6,
                           1234567.0,
                           1.5e15,
                           1e21,
                           1e100,
                           -3.3e-200,
                           DBL_MAX,
                           DBL_MIN,
                           DBL_TRUE_MIN,
                           1e-310,
                           std::numeric_limits<double>::infinity(),
                           -std::numeric_limits<double>::infinity(),
                           std::numeric_limits<double>::quiet_NaN(),
                           -std::numeric_limits<double>::quiet_NaN()};
  const std::vector<std::string> widths = {"", "1", "8", "15", "30"};
  const std::vector<std::string> precisions = {"", ".", ".0", ".1", ".2", ".3", ".6", ".10", ".17"};
  int compared = 0;
  for (const std::string& prefix : DirectivePrefixes("-+ #0", widths, precisions)) {
    for (const char* conv : {"f", "F", "e", "E", "g", "G"}) {
      std::string format = prefix + conv;
      for (double v : values) {
        bool altG = prefix.find('#') != std::string::npos && (conv[0] == 'g' || conv[0] == 'G');
        std::string expected = altG ? AltGReference(prefix, conv[0], v) : Narrowf(format, v);
        ASSERT_EQ(Widef(format, v), expected) << format << " " << v;
        ++compared;
      }
    }
  }
  EXPECT_GT(compared, 50000);
}

TEST(WideFormat, DoubleLargePrecisionMatchesSnprintf) {
  for (const char* format : {"%.41f", "%.60f", "%.100e", "%#.80g", "%.120g", "%300.50f", "%-80.45e"}) {
    for (double v : {0.0, 1.0 / 3.0, -2.0 / 3.0, 1e300, DBL_MAX, 5e-324, 123.456}) {
      ASSERT_EQ(Widef(format, v), Narrowf(format, v)) << format << " " << v;
    }
  }
}

TEST(WideFormat, DoubleIsLocaleIndependent) {
  const char* names[] = {"de_DE.UTF-8", "de_DE.utf8", "fr_FR.UTF-8", "fr_FR.utf8", "ru_RU.UTF-8"};
  const char* chosen = nullptr;
  for (const char* name : names) {
    if (std::setlocale(LC_ALL, name)) {
      chosen = name;
      break;
    }
  }
  // Whatever locale is in force, the point stays a point.
  std::u16string g = WideFormatString(u"%g %f %e %.2f", 1.5, 2.25, 31250.0, 1234567.891);
  std::string c = Narrowf("%g", 1.5);  // the C library follows the locale
  std::setlocale(LC_ALL, "C");
  if (chosen) {
    EXPECT_EQ(c, "1,5") << chosen;
  }
  EXPECT_EQ(Narrow(g), "1.5 2.250000 3.125000e+04 1234567.89");
  if (!chosen) GTEST_SKIP() << "no comma-decimal locale installed; checked in the C locale only";
}

TEST(WideFormat, ScalarFormsOfThePrinters) {
  EXPECT_EQ(Widef("%g", 0.1), "0.1");
  EXPECT_EQ(Widef("%g", 1e-5), "1e-05");
  EXPECT_EQ(Widef("%g", 1e100), "1e+100");
  EXPECT_EQ(Widef("%g", 100000.0), "100000");
  EXPECT_EQ(Widef("%g", 1000000.0), "1e+06");
  EXPECT_EQ(Widef("%e", 0.0), "0.000000e+00");
  EXPECT_EQ(Widef("%d", INT_MIN), "-2147483648");
  EXPECT_EQ(Widef("%u", 4294967295u), "4294967295");
}

// ------------------------------------------------------------ pointers

TEST(WideFormat, PointerFollowsTheFixedRule) {
  std::vector<std::uint64_t> values = {0, 1, 0x1234, 0xABCDEF, 0x7FFFFFFF, 0xFFFFFFFF, 0x100000000ULL,
                                       0xDEADBEEFCAFEBABEULL, 0xFFFFFFFFFFFFFFFFULL};
  for (int shift = 0; shift < 64; shift += 3) values.push_back(0x9ULL << shift);
  for (std::uint64_t v : values) {
    void* p = reinterpret_cast<void*>(static_cast<std::uintptr_t>(v));
    std::string expected = v <= 0xFFFFFFFFULL ? Narrowf("%08llX", static_cast<unsigned long long>(v))
                                              : Narrowf("%016llX", static_cast<unsigned long long>(v));
    ASSERT_EQ(Widef("%p", p), expected);
    ASSERT_EQ(Widef("0x%p", p), "0x" + expected);
    ASSERT_EQ(Widef("%20p|", p), Narrowf("%20s|", expected.c_str()));
    ASSERT_EQ(Widef("%-20p|", p), Narrowf("%-20s|", expected.c_str()));
  }
  EXPECT_EQ(Widef("%p", static_cast<void*>(nullptr)), "00000000");
}

// ------------------------------------------------------------ strings

TEST(WideFormat, WideStringsMatchSnprintf) {
  const char* texts[] = {"", "a", "hello", "a longer string of text"};
  for (const std::string& prefix : DirectivePrefixes("-", kWidths, {"", ".", ".0", ".1", ".3", ".8", ".30"})) {
    for (const char* text : texts) {
      std::u16string wide = Widen(text);
      for (const char* conv : {"s", "ls", "ws", "lS"}) {
        std::u16string format = Widen(prefix + conv + "|");
        ASSERT_EQ(Narrow(WideFormatString(format.c_str(), wide.c_str())),
                  Narrowf(prefix + "s|", text))
            << prefix + conv;
      }
      for (const char* conv : {"S", "hs", "hS"}) {
        ASSERT_EQ(Widef(prefix + conv + "|", text), Narrowf(prefix + "s|", text)) << prefix + conv;
      }
    }
  }
}

TEST(WideFormat, NullStrings) {
  EXPECT_EQ(WideFormatString(u"[%s]", static_cast<const char16_t*>(nullptr)), u"[(null)]");
  EXPECT_EQ(WideFormatString(u"[%S]", static_cast<const char*>(nullptr)), u"[(null)]");
  EXPECT_EQ(WideFormatString(u"[%hs]", static_cast<const char*>(nullptr)), u"[(null)]");
  EXPECT_EQ(WideFormatString(u"[%8s]", static_cast<const char16_t*>(nullptr)), u"[  (null)]");
  EXPECT_EQ(WideFormatString(u"[%.3s]", static_cast<const char16_t*>(nullptr)), u"[(nu]");
}

TEST(WideFormat, NarrowStringsAreUtf8) {
  // h é llo € and a supplementary character (a surrogate pair).
  const char* utf8 = "h\xC3\xA9llo \xE2\x82\xAC \xF0\x9D\x84\x9E";
  EXPECT_EQ(WideFormatString(u"%S", utf8), u"h\u00E9llo \u20AC \U0001D11E");
  EXPECT_EQ(WideFormatString(u"%hs", utf8), u"h\u00E9llo \u20AC \U0001D11E");
  // Width counts UTF-16 units of the result.
  EXPECT_EQ(WideFormatString(u"[%6S]", "\xC3\xA9"), u"[     \u00E9]");
  // Precision counts bytes of the source; a cut through a character drops it.
  EXPECT_EQ(WideFormatString(u"[%.2S]", "\xC3\xA9z"), u"[\u00E9]");
  EXPECT_EQ(WideFormatString(u"[%.1S]", "\xC3\xA9z"), u"[]");
  EXPECT_EQ(WideFormatString(u"[%.3S]", "a\xE2\x82\xAC"), u"[a]");
  // Ill-formed input becomes U+FFFD.
  EXPECT_EQ(WideFormatString(u"%S", "a\xFF" "b"), u"a\uFFFDb");
  // Longer than the stack buffer.
  std::string big;
  std::u16string bigWide;
  for (int i = 0; i < 700; ++i) {
    big += "\xC3\xA9x";
    bigWide += u"\u00E9x";
  }
  EXPECT_EQ(WideFormatString(u"%S", big.c_str()), bigWide);
  EXPECT_EQ(WideFormatString(u"%S", std::string(3000, 'q').c_str()), std::u16string(3000, u'q'));
}

TEST(WideFormat, PrecisionStopsReadingUnterminatedText) {
  const char16_t units[4] = {u'a', u'b', u'c', u'd'};  // no terminator
  EXPECT_EQ(WideFormatString(u"%.*s", 3, units), u"abc");
  EXPECT_EQ(WideFormatString(u"%.*s", 4, units), u"abcd");
  const char bytes[3] = {'x', 'y', 'z'};
  EXPECT_EQ(WideFormatString(u"%.*S", 3, bytes), u"xyz");
  // Embedded text with its own NUL stops there.
  EXPECT_EQ(WideFormatString(u"%.*s", 10, u"ab"), u"ab");
}

TEST(WideFormat, Characters) {
  EXPECT_EQ(WideFormatString(u"%c", u'x'), u"x");
  EXPECT_EQ(WideFormatString(u"%c", u'\u00E9'), u"\u00E9");
  EXPECT_EQ(WideFormatString(u"%lc%wc", u'\u20AC', u'y'), u"\u20ACy");
  EXPECT_EQ(WideFormatString(u"%hc%C", 'A', 'B'), u"AB");
  EXPECT_EQ(WideFormatString(u"[%3c][%-3c]", u'a', u'b'), u"[  a][b  ]");
  for (int c = 32; c < 127; ++c) {
    ASSERT_EQ(Widef("%c|%4c|%-4c", c, c, c), Narrowf("%c|%4c|%-4c", c, c, c));
  }
  std::u16string withNul = WideFormatString(u"a%cb", 0);
  EXPECT_EQ(withNul, std::u16string(u"a\0b", 3));
}

TEST(WideFormat, PercentAndUnknownConversions) {
  EXPECT_EQ(WideFormatString(u"100%%"), u"100%");
  EXPECT_EQ(WideFormatString(u"%%d %d", 5), u"%d 5");
  EXPECT_EQ(WideFormatString(u"%y|%5k"), u"%y|%5k");
  EXPECT_EQ(WideFormatString(u"end%"), u"end%");
  EXPECT_EQ(WideFormatString(u"end%-5"), u"end%-5");
  EXPECT_EQ(WideFormatString(u""), u"");
  int ignored = 0;
  EXPECT_EQ(WideFormatString(u"a%nb%d", &ignored, 3), u"ab3");
  EXPECT_EQ(ignored, 0);
}

TEST(WideFormat, MixedArguments) {
  EXPECT_EQ(WideFormatString(u"%s=%d (%I64d, %g, %p) %S%c", u"key", -5, 1LL << 40, 0.25,
                             reinterpret_cast<void*>(0x10), "n", u'!'),
            u"key=-5 (1099511627776, 0.25, 00000010) n!");
}

// ------------------------------------------------------------ limit contract

TEST(WideFormat, LimitContract) {
  constexpr char16_t kSentinel = u'#';
  for (std::size_t n = 0; n < 40; ++n) {
    std::u16string text(n, u'a');
    for (std::size_t i = 0; i < n; ++i) text[i] = static_cast<char16_t>(u'a' + i % 26);
    for (std::size_t limit = 0; limit <= n + 3; ++limit) {
      std::vector<char16_t> out(n + 8, kSentinel);
      int result = WideFormat(out.data(), limit, u"%s", text.c_str());
      if (n < limit) {
        ASSERT_EQ(result, static_cast<int>(n));
        ASSERT_EQ(std::u16string(out.data(), n), text);
        ASSERT_EQ(out[n], 0) << "terminated when there is room";
        ASSERT_EQ(out[n + 1], kSentinel);
      } else if (n == limit) {
        ASSERT_EQ(result, static_cast<int>(n)) << "fits exactly";
        ASSERT_EQ(std::u16string(out.data(), n), text);
        ASSERT_EQ(out[n], kSentinel) << "no terminator when the count equals the limit";
      } else {
        ASSERT_EQ(result, -1) << "one short or more";
        ASSERT_EQ(std::u16string(out.data(), limit), text.substr(0, limit));
        ASSERT_EQ(out[limit], kSentinel) << "nothing written past the limit";
      }
    }
  }
}

TEST(WideFormat, LimitContractWithConversions) {
  char16_t out[16];
  std::fill(std::begin(out), std::end(out), u'#');
  EXPECT_EQ(WideFormat(out, 5, u"%d", 12345), 5);
  EXPECT_EQ(std::u16string(out, 6), u"12345#");
  EXPECT_EQ(WideFormat(out, 4, u"%d", 12345), -1);
  EXPECT_EQ(std::u16string(out, 6), u"12345#");  // 4 units rewritten, same digits
  EXPECT_EQ(WideFormat(out, 6, u"%d", 12345), 5);
  EXPECT_EQ(out[5], 0);
  EXPECT_EQ(WideFormat(out, 9, u"%08.3f", -1.5), 8);
  EXPECT_EQ(std::u16string(out), u"-001.500");
  EXPECT_EQ(WideFormat(out, 7, u"%08.3f", -1.5), -1);
  EXPECT_EQ(WideFormat(nullptr, 0, u""), 0);
  EXPECT_EQ(WideFormat(nullptr, 0, u"x"), -1);
  EXPECT_EQ(WideFormat(out, 16, nullptr), -1);
}

// ------------------------------------------------------------ AppendableWideString

std::u16string Text(const AppendableWideString& s) {
  return s.Buffer() ? std::u16string(s.Buffer(), s.Length()) : std::u16string();
}

// The growth rule: doubling below 0x20000 units, then half as much again.
std::uint64_t Grown(std::uint64_t n) { return n < 16 ? 32 : n < 0x20000 ? n * 2 : n + n / 2; }

// The capacity the formatted append's retry loop ends with.
std::uint64_t CapacityAfterFormat(std::uint64_t length, std::uint64_t capacity, std::uint64_t total) {
  std::uint64_t reserve = 2;
  for (;;) {
    std::uint64_t need = length + reserve + 1;
    if (need > capacity) capacity = Grown(need);
    if (total < capacity - length - 1) return capacity;
    reserve = capacity * 2;
  }
}

TEST(AppendableWideString, StartsEmpty) {
  AppendableWideString empty(0);
  EXPECT_EQ(empty.Length(), 0u);
  EXPECT_EQ(empty.Capacity(), 0u);
  EXPECT_EQ(empty.Buffer(), nullptr);
  AppendableWideString printer(256);  // ReserveCapacity(256) doubles it
  EXPECT_EQ(printer.Length(), 0u);
  EXPECT_EQ(printer.Capacity(), 512u);
  EXPECT_NE(printer.Buffer(), nullptr);
  AppendableWideString small(3);
  EXPECT_EQ(small.Capacity(), 32u);
}

TEST(AppendableWideString, GrowsGeometricallyUnitByUnit) {
  AppendableWideString s(0);
  std::u16string expected;
  std::uint64_t capacity = 0;
  int growths = 0;
  for (int i = 0; i < 100000; ++i) {
    char16_t unit = static_cast<char16_t>(u'A' + i % 50);
    s.Append(unit);
    expected.push_back(unit);
    if (expected.size() > capacity) {
      capacity = Grown(expected.size());
      ++growths;
    }
    ASSERT_EQ(s.Capacity(), capacity) << i;
  }
  EXPECT_EQ(Text(s), expected);
  EXPECT_LT(growths, 20);
}

TEST(AppendableWideString, GrowsByHalfAbove0x20000) {
  AppendableWideString s(0);
  s.AppendSpace(0x20000);
  EXPECT_EQ(s.Capacity(), 0x30000u);
  s.AppendSpace(0x10000);
  EXPECT_EQ(s.Capacity(), 0x30000u);
  s.Append(u'x');
  EXPECT_EQ(s.Capacity(), 0x30001u + 0x18000u);
  EXPECT_EQ(s.Length(), 0x30001u);
  EXPECT_EQ(s.Buffer()[0x30000], u'x');
  EXPECT_EQ(s.Buffer()[0x1FFFF], u' ');
}

TEST(AppendableWideString, FormattedAppend) {
  AppendableWideString s(0);
  s.Append(u"%d-%s", 42, u"x");
  EXPECT_EQ(Text(s), u"42-x");
  EXPECT_EQ(s.Capacity(), 32u);
  s.Append(nullptr);
  s.Append(static_cast<const char16_t*>(nullptr), 5);
  EXPECT_EQ(Text(s), u"42-x");
  s.Append(u"");
  EXPECT_EQ(Text(s), u"42-x");
  s.Append(u'|');
  s.Append(u"%I64d %g %p", -7LL, 2.5, reinterpret_cast<void*>(0xAB));
  EXPECT_EQ(Text(s), u"42-x|-7 2.5 000000AB");
}

TEST(AppendableWideString, FormattedAppendGrowsAndRetriesUntilItFits) {
  for (std::size_t start : {0u, 1u, 30u, 256u}) {
    for (std::size_t size : {1u, 27u, 28u, 29u, 30u, 31u, 100u, 1000u, 5000u, 300000u}) {
      AppendableWideString s(static_cast<unsigned>(start));
      s.AppendSpace(3);
      std::uint64_t capacityBefore = s.Capacity();
      std::u16string piece(size, u'z');
      piece[0] = u'<';
      piece[size - 1] = u'>';
      s.Append(u"%s", piece.c_str());
      ASSERT_EQ(Text(s), u"   " + piece);
      ASSERT_EQ(s.Capacity(), CapacityAfterFormat(3, capacityBefore, size)) << start << " " << size;
    }
  }
}

TEST(AppendableWideString, AttributeNameUsedAsFormat) {
  AppendableWideString s(256);
  s.Append(u"a%db", 17);
  EXPECT_EQ(Text(s), u"a17b");
}

TEST(AppendableWideString, AppendSpace) {
  AppendableWideString s(0);
  s.AppendSpace(0);
  EXPECT_EQ(s.Length(), 0u);
  EXPECT_EQ(s.Capacity(), 0u);
  s.AppendSpace(5);
  EXPECT_EQ(Text(s), u"     ");
  s.Append(u'x');
  s.AppendSpace(2);
  EXPECT_EQ(Text(s), u"     x  ");
}

TEST(AppendableWideString, XmlEscapingOfOneUnit) {
  AppendableWideString s(0);
  for (char16_t unit : {u'"', u'&', u'\'', u'<', u'>', u'a', u'\u0001', u']', u'\u00E9'}) s.AppendXml(unit);
  EXPECT_EQ(Text(s), u"&quot;&amp;&apos;&lt;&gt;a\u0001]\u00E9");
}

TEST(AppendableWideString, XmlEscapingOfFormattedText) {
  AppendableWideString s(0);
  s.AppendXml(u"%s", u"a<b>&\"'c");
  EXPECT_EQ(Text(s), u"a&lt;b&gt;&amp;&quot;&apos;c");
  s.Clear();
  // The format's own text is escaped too: the whole result is.
  s.AppendXml(u"<%d>", 5);
  EXPECT_EQ(Text(s), u"&lt;5&gt;");
  s.Clear();
  // Nothing else is touched: control units, "]]>" apart from its '>',
  // surrogate pairs.
  s.AppendXml(u"\t\u0002]]>\U0001F600");
  EXPECT_EQ(Text(s), u"\t\u0002]]&gt;\U0001F600");
}

TEST(AppendableWideString, XmlEmptyResultAppendsNothing) {
  AppendableWideString s(0);
  s.AppendXml(u"%s", u"");
  s.AppendXml(static_cast<const char16_t*>(nullptr));
  EXPECT_EQ(s.Length(), 0u);
  EXPECT_EQ(s.Capacity(), 0u);
  EXPECT_EQ(s.Buffer(), nullptr);
}

TEST(AppendableWideString, XmlLongResultsAndGrowth) {
  for (std::size_t n : {100u, 511u, 512u, 513u, 2000u, 70000u}) {
    AppendableWideString s(0);
    std::u16string input(n, u'&');
    input[n / 2] = u'q';
    s.AppendXml(u"%s", input.c_str());
    std::u16string expected;
    std::uint64_t capacity = 0;
    for (char16_t unit : input) {
      expected += unit == u'&' ? u"&amp;" : u"q";
    }
    // The capacity that appending unit by unit gives.
    for (std::size_t length = 1; length <= expected.size(); ++length) {
      if (length > capacity) capacity = Grown(length);
    }
    ASSERT_EQ(Text(s), expected) << n;
    ASSERT_EQ(s.Capacity(), capacity) << n;
  }
}

TEST(AppendableWideString, NullTerminate) {
  AppendableWideString s(0);
  s.Append(u"abc");
  s.NullTerminate();
  EXPECT_EQ(s.Length(), 3u);
  EXPECT_EQ(std::u16string(s.Buffer()), u"abc");
  // Full buffer: terminating grows it.
  AppendableWideString full(0);
  full.AppendSpace(32);
  EXPECT_EQ(full.Capacity(), 64u);  // AppendSpace(32) reserves 32 -> 64
  AppendableWideString exact(0);
  for (int i = 0; i < 32; ++i) exact.Append(u'x');
  EXPECT_EQ(exact.Capacity(), 32u);
  exact.NullTerminate();
  EXPECT_EQ(exact.Length(), 32u);
  EXPECT_EQ(exact.Capacity(), 66u);
  EXPECT_EQ(std::u16string(exact.Buffer()), std::u16string(32, u'x'));
  // On an empty object it allocates.
  AppendableWideString empty(0);
  empty.NullTerminate();
  ASSERT_NE(empty.Buffer(), nullptr);
  EXPECT_EQ(empty.Buffer()[0], 0);
  EXPECT_EQ(empty.Length(), 0u);
}

TEST(AppendableWideString, Clear) {
  AppendableWideString s(256);
  s.Append(u"hello %d", 1);
  s.Clear();
  EXPECT_EQ(s.Length(), 0u);
  EXPECT_EQ(s.Capacity(), 0u);
  EXPECT_EQ(s.Buffer(), nullptr);
  s.Append(u"again");
  EXPECT_EQ(Text(s), u"again");
  s.Clear();
  s.Clear();
  EXPECT_EQ(s.Buffer(), nullptr);
}

TEST(AppendableWideString, ReleaseHandsOverTheTerminatedBuffer) {
  AppendableWideString s(256);
  s.Append(u"<%s/>", u"a");
  char16_t* text = s.Release();
  ASSERT_NE(text, nullptr);
  EXPECT_EQ(std::u16string(text), u"<a/>");
  EXPECT_EQ(s.Length(), 0u);
  EXPECT_EQ(s.Capacity(), 0u);
  EXPECT_EQ(s.Buffer(), nullptr);
  ZxVariantHelper::Delete(text);
  AppendableWideString none(0);
  char16_t* empty = none.Release();
  ASSERT_NE(empty, nullptr);
  EXPECT_EQ(empty[0], 0);
  ZxVariantHelper::Delete(empty);
}

TEST(AppendableWideString, AssignmentSharesTheBuffer) {
  AppendableWideString a(0);
  a.Append(u"shared");
  AppendableWideString b(0);
  b = a;
  EXPECT_EQ(b.Buffer(), a.Buffer());
  EXPECT_EQ(b.Length(), a.Length());
  EXPECT_EQ(b.Capacity(), a.Capacity());
  EXPECT_EQ(Text(b), u"shared");
  // Only one side may free it: empty b by assigning an empty object.
  b = AppendableWideString(0);
  EXPECT_EQ(b.Buffer(), nullptr);
  EXPECT_EQ(Text(a), u"shared");
}

}  // namespace
