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
#include <iterator>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "text/wide_format.h"
#include "zxvariant/zxvariant.h"

namespace {

using ZxVariantHelper::AppendableWideString;
using ZxVariantHelper::detail::WideFormat;
using ZxVariantHelper::detail::WideFormatString;

std::u16string Widen(const std::string& ascii) { return std::u16string(ascii.begin(), ascii.end()); }

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
  const int n = std::snprintf(buffer, sizeof buffer, format.c_str(), args...);
  EXPECT_TRUE(n >= 0 && n < static_cast<int>(sizeof buffer)) << format;
  return std::string(buffer, n < 0 ? 0 : static_cast<std::size_t>(n));
}

template <class... Args>
std::string Widef(const std::string& format, Args... args) {
  return Narrow(WideFormatString(Widen(format).c_str(), args...));
}

// "%", every subset of `flags` in their order, each width, each precision;
// the conversion is appended by the caller.
std::vector<std::string> Prefixes(const std::string& flags, const std::vector<std::string>& widths,
                                  const std::vector<std::string>& precisions) {
  std::vector<std::string> out;
  for (unsigned mask = 0; mask < (1u << flags.size()); ++mask) {
    std::string set = "%";
    for (std::size_t i = 0; i < flags.size(); ++i) {
      if (mask & (1u << i)) set += flags[i];
    }
    for (const std::string& w : widths) {
      for (const std::string& p : precisions) out.push_back(set + w + p);
    }
  }
  return out;
}

// WideFormat into `limit` units of a '#'-filled array: the result and the
// array's first limit + 1 units.
using Result = std::pair<int, std::u16string>;
template <class... Args>
Result Bounded(std::size_t limit, const char16_t* format, Args... args) {
  char16_t out[64];
  std::fill(std::begin(out), std::end(out), u'#');
  const int result = WideFormat(out, limit, format, args...);
  return {result, std::u16string(out, limit + 1)};
}

// ------------------------------------------------------------ integers

TEST(WideFormat, IntConversionsMatchSnprintf) {
  const int values[] = {0, 1, -1, 7, 42, -42, 255, -255, 65535, 123456789, INT_MAX, INT_MIN};
  const std::vector<std::string> widths = {"", "1", "5", "12", "25"}, precisions = {"", ".", ".0", ".1", ".3", ".8", ".20"};
  for (const std::string& prefix : Prefixes("-+ #0", widths, precisions)) {
    for (const char* conv : {"d", "i", "u", "x", "X", "o"}) {
      const bool isSigned = conv[0] == 'd' || conv[0] == 'i';
      // '#' is undefined in C for d, i and u.
      if (prefix.find('#') != std::string::npos && (isSigned || conv[0] == 'u')) continue;
      const std::string format = prefix + conv;
      for (int v : values) {
        if (isSigned) {
          ASSERT_EQ(Widef(format, v), Narrowf(format, v)) << format << " " << v;
        } else {
          ASSERT_EQ(Widef(format, static_cast<unsigned>(v)), Narrowf(format, static_cast<unsigned>(v))) << format << " " << v;
        }
      }
    }
  }
}

TEST(WideFormat, LengthModifiersMatchTheirCEquivalents) {
  // The MSVC spellings against C's, by the argument they read: 'q' 64 bits,
  // 'p' pointer-sized, 'i' an int (l is 32 bits, as on MSVC).
  const struct { const char* wide; const char* narrow; char size; } modifiers[] = {
      {"lld", "lld", 'q'}, {"I64d", "lld", 'q'}, {"I64i", "lli", 'q'}, {"qd", "lld", 'q'}, {"jd", "lld", 'q'},
      {"llu", "llu", 'q'}, {"I64u", "llu", 'q'}, {"I64x", "llx", 'q'}, {"I64X", "llX", 'q'}, {"llo", "llo", 'q'},
      {"Id", "td", 'p'},   {"zd", "td", 'p'},     {"Iu", "zu", 'p'},    {"ld", "d", 'i'},   {"I32d", "d", 'i'},
      {"hd", "hd", 'i'},   {"hhd", "hhd", 'i'},   {"hu", "hu", 'i'},    {"hhx", "hhx", 'i'}};
  const long long values[] = {0,    1,           -1,           255,       -255,     65543, 0x7FFFFFFFLL,
                              4294967296LL, -4294967296LL, 1000000000000LL, LLONG_MAX, LLONG_MIN};
  for (const std::string& prefix : Prefixes("-+ 0", {"", "5", "25"}, {"", ".", ".0", ".3", ".20"})) {
    for (const auto& m : modifiers) {
      const std::string wide = prefix + m.wide, narrow = prefix + m.narrow;
      for (long long v : values) {
        const std::string got = m.size == 'q'   ? Widef(wide, v)
                                : m.size == 'p' ? Widef(wide, static_cast<std::intptr_t>(v))
                                                : Widef(wide, static_cast<int>(v));
        const std::string expected = m.size == 'q'   ? Narrowf(narrow, v)
                                     : m.size == 'p' ? Narrowf(narrow, static_cast<std::ptrdiff_t>(v))
                                                     : Narrowf(narrow, static_cast<int>(v));
        ASSERT_EQ(got, expected) << wide << " " << v;
      }
    }
  }
}

TEST(WideFormat, StarWidthAndPrecision) {
  for (int width : {-30, -12, -5, -1, 0, 1, 5, 12, 30}) {
    for (int precision : {-3, -1, 0, 1, 4, 10}) {
      for (int v : {0, 7, -7, 123456, INT_MIN}) {
        ASSERT_EQ(Widef("%*d|%.*d|%0*x", width, v, precision, v, width, v),
                  Narrowf("%*d|%.*d|%0*x", width, v, precision, v, width, v));
        ASSERT_EQ(Widef("%*.*d", width, precision, v), Narrowf("%*.*d", width, precision, v));
      }
      ASSERT_EQ(Widef("%*.*f", width, precision, 3.14159), Narrowf("%*.*f", width, precision, 3.14159));
      ASSERT_EQ(Narrow(WideFormatString(u"%-*.*s|%*.*s", width, precision, u"abcdefgh", width, precision, u"abcdefgh")),
                Narrowf("%-*.*s|%*.*s", width, precision, "abcdefgh", width, precision, "abcdefgh"));
    }
  }
}

// ------------------------------------------------------------ doubles

// "%#g" by the C standard's definition, through snprintf's %e and %f.  (glibc's
// own %#g drops the zeros when rounding carries into a new power of ten:
// "%#g" of 999999.5 gives "1.e+06" there, where C99 asks for "1.00000e+06".)
std::string AltGReference(const std::string& prefix, char conv, double v) {
  if (!std::isfinite(v)) return Narrowf(prefix + conv, v);
  const std::size_t dot = prefix.find('.');
  int p = dot == std::string::npos ? 6 : std::atoi(prefix.c_str() + dot + 1);
  if (p == 0) p = 1;
  const std::string head = prefix.substr(0, dot);
  const std::string e = Narrowf("%.*e", p - 1, std::fabs(v));
  const int x = std::atoi(e.c_str() + e.find('e') + 1);
  const bool upper = conv == 'G';
  if (p > x && x >= -4) return Narrowf(head + "." + std::to_string(p - 1 - x) + (upper ? "F" : "f"), v);
  return Narrowf(head + "." + std::to_string(p - 1) + (upper ? "E" : "e"), v);
}

TEST(WideFormat, DoubleConversionsMatchSnprintf) {
  constexpr double kInf = std::numeric_limits<double>::infinity(), kNaN = std::numeric_limits<double>::quiet_NaN();
  const double values[] = {0.0,     -0.0,     1.0,         -1.5,  0.1,          0.5,   2.5,     123.456,
                           -987654.321, 1e-5, 1e-4,        9.9999995e-5, 0.000123456789, 999999.5, 1e6, 1234567.0,
                           1.5e15,  1e21,     1e100,       -3.3e-200, DBL_MAX,  DBL_MIN, DBL_TRUE_MIN, 1e-310,
                           kInf,    -kInf,    kNaN,        -kNaN};
  const std::vector<std::string> widths = {"", "1", "8", "15", "30"};
  const std::vector<std::string> precisions = {"", ".", ".0", ".1", ".2", ".3", ".6", ".10", ".17"};
  for (const std::string& prefix : Prefixes("-+ #0", widths, precisions)) {
    for (const char conv : {'f', 'F', 'e', 'E', 'g', 'G'}) {
      const std::string format = prefix + conv;
      const bool altG = prefix.find('#') != std::string::npos && (conv == 'g' || conv == 'G');
      for (double v : values) {
        ASSERT_EQ(Widef(format, v), altG ? AltGReference(prefix, conv, v) : Narrowf(format, v)) << format << " " << v;
      }
    }
  }
  // Precisions past the stack buffer.
  for (const char* format : {"%.41f", "%.60f", "%.100e", "%#.80g", "%.120g", "%300.50f", "%-80.45e"}) {
    for (double v : {0.0, 1.0 / 3.0, -2.0 / 3.0, 1e300, DBL_MAX, 5e-324, 123.456}) {
      ASSERT_EQ(Widef(format, v), Narrowf(format, v)) << format << " " << v;
    }
  }
}

TEST(WideFormat, DoublesIgnoreTheProcessLocale) {
  const char* chosen = nullptr;
  for (const char* name : {"de_DE.UTF-8", "de_DE.utf8", "fr_FR.UTF-8", "fr_FR.utf8", "ru_RU.UTF-8"}) {
    if (chosen == nullptr && std::setlocale(LC_ALL, name) != nullptr) chosen = name;
  }
  const std::u16string wide = WideFormatString(u"%g %f %e %.2f", 1.5, 2.25, 31250.0, 1234567.891);
  const std::string narrow = Narrowf("%g", 1.5);  // the C library follows the locale
  std::setlocale(LC_ALL, "C");
  EXPECT_EQ(Narrow(wide), "1.5 2.250000 3.125000e+04 1234567.89");
  if (chosen == nullptr) GTEST_SKIP() << "no comma-decimal locale installed; checked in the C locale only";
  EXPECT_EQ(narrow, "1,5") << chosen;
}

// ------------------------------------------------------------ pointers, strings, characters

TEST(WideFormat, PointersAreUpperCaseHexOfEightOrSixteenDigits) {
  std::vector<std::uint64_t> values = {0, 0x1234, 0x7FFFFFFF, 0xFFFFFFFF, 0x100000000ULL, 0xDEADBEEFCAFEBABEULL, ~0ULL};
  for (int shift = 0; shift < 64; shift += 3) values.push_back(0x9ULL << shift);
  for (std::uint64_t v : values) {
    void* p = reinterpret_cast<void*>(static_cast<std::uintptr_t>(v));
    const std::string digits = Narrowf(v <= 0xFFFFFFFFULL ? "%08llX" : "%016llX", static_cast<unsigned long long>(v));
    ASSERT_EQ(Widef("%p|0x%p|%20p|%-20p|", p, p, p, p),
              Narrowf("%s|0x%s|%20s|%-20s|", digits.c_str(), digits.c_str(), digits.c_str(), digits.c_str()));
  }
}

TEST(WideFormat, WideAndNarrowStringsMatchSnprintf) {
  for (const std::string& prefix : Prefixes("-", {"", "1", "5", "12", "25"}, {"", ".", ".0", ".1", ".3", ".30"})) {
    for (const char* text : {"", "a", "hello", "a longer string of text"}) {
      const std::u16string wide = Widen(text);
      const std::string expected = Narrowf(prefix + "s|", text);
      for (const char* conv : {"s", "ls", "ws", "lS"}) {
        ASSERT_EQ(Narrow(WideFormatString(Widen(prefix + conv + "|").c_str(), wide.c_str())), expected) << prefix + conv;
      }
      for (const char* conv : {"S", "hs", "hS"}) ASSERT_EQ(Widef(prefix + conv + "|", text), expected) << prefix + conv;
    }
  }
}

TEST(WideFormat, NarrowStringsAreUtf8AndPrecisionBoundsWhatIsRead) {
  const char16_t* noWide = nullptr;
  const char* noNarrow = nullptr;
  EXPECT_EQ(WideFormatString(u"[%s][%S][%hs][%8s][%.3s]", noWide, noNarrow, noNarrow, noWide, noWide),
            u"[(null)][(null)][(null)][  (null)][(nu]");
  // h é llo € and a supplementary character (a surrogate pair).
  const char* utf8 = "h\xC3\xA9llo \xE2\x82\xAC \xF0\x9D\x84\x9E";
  EXPECT_EQ(WideFormatString(u"%S|%hs", utf8, utf8), u"h\u00E9llo \u20AC \U0001D11E|h\u00E9llo \u20AC \U0001D11E");
  // Width counts UTF-16 units of the result, precision bytes of the source; a
  // character cut through is dropped, ill-formed input becomes U+FFFD.
  EXPECT_EQ(WideFormatString(u"[%6S][%.2S][%.1S][%.3S]", "\xC3\xA9", "\xC3\xA9z", "\xC3\xA9z", "a\xE2\x82\xAC"),
            u"[     \u00E9][\u00E9][][a]");
  EXPECT_EQ(WideFormatString(u"%S", "a\xFF" "b"), u"a\uFFFDb");
  std::string big;  // longer than the stack buffer
  std::u16string bigWide;
  for (int i = 0; i < 700; ++i) {
    big += "\xC3\xA9x";
    bigWide += u"\u00E9x";
  }
  EXPECT_EQ(WideFormatString(u"%S", big.c_str()), bigWide);
  const char16_t units[4] = {u'a', u'b', u'c', u'd'};  // no terminator
  const char bytes[3] = {'x', 'y', 'z'};
  EXPECT_EQ(WideFormatString(u"%.*s|%.*s|%.*S|%.*s", 3, units, 4, units, 3, bytes, 10, u"ab"), u"abc|abcd|xyz|ab");
}

TEST(WideFormat, CharactersPercentsUnknownConversionsAndMixedArguments) {
  EXPECT_EQ(WideFormatString(u"%c%c%lc%wc%hc%C[%3c][%-3c]", u'x', u'\u00E9', u'\u20AC', u'y', 'A', 'B', u'a', u'b'),
            u"x\u00E9\u20ACyAB[  a][b  ]");
  EXPECT_EQ(WideFormatString(u"a%cb", 0), std::u16string(u"a\0b", 3));
  EXPECT_EQ(WideFormatString(u"100%% %%d %d %y|%5k end%-5", 5), u"100% %d 5 %y|%5k end%-5");
  EXPECT_EQ(WideFormatString(u"end%"), u"end%");
  EXPECT_EQ(WideFormatString(u""), u"");
  int untouched = 0;
  EXPECT_EQ(WideFormatString(u"a%nb%d", &untouched, 3), u"ab3");  // %n takes its pointer, writes nothing
  EXPECT_EQ(untouched, 0);
  EXPECT_EQ(WideFormatString(u"%s=%d (%I64d, %g, %e, %p) %S%c", u"key", -5, 1LL << 40, 1e-5, 0.0,
                             reinterpret_cast<void*>(0x10), "n", u'!'),
            u"key=-5 (1099511627776, 1e-05, 0.000000e+00, 00000010) n!");
}

// ------------------------------------------------------------ limit contract

TEST(WideFormat, WritesAtMostLimitUnitsAndTerminatesOnlyWhenThereIsRoom) {
  for (std::size_t n = 0; n < 40; ++n) {
    std::u16string text;
    for (std::size_t i = 0; i < n; ++i) text += static_cast<char16_t>(u'a' + i % 26);
    for (std::size_t limit = 0; limit <= n + 3; ++limit) {
      const std::u16string written =
          n < limit ? text + u'\0' + std::u16string(limit - n, u'#') : text.substr(0, limit) + u'#';
      ASSERT_EQ(Bounded(limit, u"%s", text.c_str()), Result(n <= limit ? static_cast<int>(n) : -1, written))
          << n << " " << limit;
    }
  }
  // Numbers, padding and zeros are cut at the limit too.
  EXPECT_EQ(Bounded(5, u"%d", 12345), Result(5, u"12345#"));
  EXPECT_EQ(Bounded(4, u"%d", 12345), Result(-1, u"1234#"));
  EXPECT_EQ(Bounded(3, u"%5d", 1), Result(-1, u"   #"));
  EXPECT_EQ(Bounded(2, u"%-5c", u'x'), Result(-1, u"x #"));
  EXPECT_EQ(Bounded(7, u"%08.3f", -1.5), Result(-1, u"-001.50#"));
  EXPECT_EQ(Bounded(8, u"%08.3f", -1.5), Result(8, u"-001.500#"));
  EXPECT_EQ(Bounded(3, nullptr).first, -1);
  EXPECT_EQ(WideFormat(nullptr, 0, u""), 0);
  EXPECT_EQ(WideFormat(nullptr, 0, u"x"), -1);
}

// ------------------------------------------------------------ AppendableWideString

std::u16string Text(const AppendableWideString& s) {
  return s.Buffer() ? std::u16string(s.Buffer(), s.Length()) : std::u16string();
}

// The growth rule: 32 below 16 units, doubling below 0x20000, then half as
// much again.
std::uint64_t Grown(std::uint64_t n) { return n < 16 ? 32 : n < 0x20000 ? n * 2 : n + n / 2; }

TEST(AppendableWideString, ReservesAndGrowsGeometrically) {
  EXPECT_EQ(AppendableWideString(0).Buffer(), nullptr);
  EXPECT_EQ(AppendableWideString(3).Capacity(), 32u);
  EXPECT_EQ(AppendableWideString(256).Capacity(), 512u);
  AppendableWideString s(0);
  std::u16string expected;
  std::uint64_t capacity = 0;
  for (int i = 0; i < 5000; ++i) {
    s.Append(static_cast<char16_t>(u'A' + i % 50));
    expected.push_back(static_cast<char16_t>(u'A' + i % 50));
    if (expected.size() > capacity) capacity = Grown(expected.size());
    ASSERT_EQ(s.Capacity(), capacity) << i;
  }
  EXPECT_EQ(Text(s), expected);
  AppendableWideString spaces(0);
  spaces.AppendSpace(0);
  EXPECT_EQ(spaces.Capacity(), 0u);
  spaces.AppendSpace(0x20000);
  EXPECT_EQ(spaces.Capacity(), 0x30000u);
  spaces.AppendSpace(0x10000);
  EXPECT_EQ(spaces.Capacity(), 0x30000u);
  spaces.Append(u'x');
  EXPECT_EQ(spaces.Capacity(), 0x30001u + 0x18000u);
  EXPECT_EQ(Text(spaces), std::u16string(0x30000, u' ') + u'x');
}

TEST(AppendableWideString, FormattedAppendGrowsAndRetriesUntilItFits) {
  AppendableWideString s(0);
  s.Append(u"%d-%s|%I64d %g %p", 42, u"x", -7LL, 2.5, reinterpret_cast<void*>(0xAB));
  s.Append(nullptr);
  EXPECT_EQ(Text(s), u"42-x|-7 2.5 000000AB");
  // The retry loop reserves 2 units more, then twice the capacity, until the
  // text fits; the capacity is the one those steps end with.
  const auto capacityAfter = [](std::uint64_t length, std::uint64_t capacity, std::uint64_t total) {
    for (std::uint64_t reserve = 2;; reserve = capacity * 2) {
      if (length + reserve + 1 > capacity) capacity = Grown(length + reserve + 1);
      if (total < capacity - length - 1) return capacity;
    }
  };
  for (unsigned start : {0u, 1u, 30u, 256u}) {
    for (std::size_t size : {1u, 27u, 28u, 29u, 30u, 31u, 100u, 1000u, 5000u, 300000u}) {
      AppendableWideString grown(start);
      grown.AppendSpace(3);
      const std::uint64_t before = grown.Capacity();
      std::u16string piece(size, u'z');
      piece.front() = u'<';
      piece.back() = u'>';
      grown.Append(u"%s", piece.c_str());
      ASSERT_EQ(Text(grown), u"   " + piece);
      ASSERT_EQ(grown.Capacity(), capacityAfter(3, before, size)) << start << " " << size;
    }
  }
}

TEST(AppendableWideString, XmlAppendsEscapeTheFiveCharactersOfTheWholeResult) {
  AppendableWideString s(0);
  for (char16_t unit : {u'"', u'&', u'\'', u'<', u'>', u'a', u'\u0001', u']', u'\u00E9'}) s.AppendXml(unit);
  EXPECT_EQ(Text(s), u"&quot;&amp;&apos;&lt;&gt;a\u0001]\u00E9");
  s.Clear();
  s.AppendXml(u"<%s>\t\u0002]]>\U0001F600", u"a<b>&\"'c");  // the format's own text too
  EXPECT_EQ(Text(s), u"&lt;a&lt;b&gt;&amp;&quot;&apos;c&gt;\t\u0002]]&gt;\U0001F600");
  AppendableWideString empty(0);
  empty.AppendXml(u"%s", u"");
  empty.AppendXml(static_cast<const char16_t*>(nullptr));
  EXPECT_EQ(empty.Capacity(), 0u);  // nothing appended, nothing reserved
  for (std::size_t n : {100u, 511u, 512u, 513u, 2000u, 70000u}) {  // around the 512-unit stack block
    std::u16string input(n, u'&'), expected;
    input[n / 2] = u'q';
    for (char16_t unit : input) expected += unit == u'&' ? u"&amp;" : u"q";
    AppendableWideString xml(0);
    xml.AppendXml(u"%s", input.c_str());
    std::uint64_t capacity = 0;  // what appending unit by unit gives
    for (std::size_t length = 1; length <= expected.size(); ++length) {
      if (length > capacity) capacity = Grown(length);
    }
    ASSERT_EQ(Text(xml), expected) << n;
    ASSERT_EQ(xml.Capacity(), capacity) << n;
  }
}

TEST(AppendableWideString, TerminatesClearsReleasesAndSharesOnAssignment) {
  AppendableWideString s(0);
  s.NullTerminate();  // an empty object allocates
  ASSERT_NE(s.Buffer(), nullptr);
  EXPECT_EQ(s.Buffer()[0], 0);
  for (int i = 0; i < 32; ++i) s.Append(u'x');
  EXPECT_EQ(s.Capacity(), 32u);
  s.NullTerminate();  // a full buffer grows
  EXPECT_EQ(s.Length(), 32u);
  EXPECT_EQ(s.Capacity(), 66u);
  EXPECT_EQ(std::u16string(s.Buffer()), std::u16string(32, u'x'));
  s.Clear();
  EXPECT_EQ(s.Length() + s.Capacity(), 0u);
  EXPECT_EQ(s.Buffer(), nullptr);
  s.Append(u"<%s/>", u"a");
  char16_t* text = s.Release();
  EXPECT_EQ(std::u16string(text), u"<a/>");
  EXPECT_EQ(s.Length() + s.Capacity(), 0u);
  EXPECT_EQ(s.Buffer(), nullptr);
  ZxVariantHelper::Delete(text);
  char16_t* empty = AppendableWideString(0).Release();
  ASSERT_NE(empty, nullptr);
  EXPECT_EQ(empty[0], 0);
  ZxVariantHelper::Delete(empty);
  AppendableWideString a(0), b(0);
  a.Append(u"shared");
  b = a;
  EXPECT_EQ(b.Buffer(), a.Buffer());
  EXPECT_EQ(Text(b), u"shared");
  b = AppendableWideString(0);  // only one side may free it
  EXPECT_EQ(b.Buffer(), nullptr);
  EXPECT_EQ(Text(a), u"shared");
}

}  // namespace
