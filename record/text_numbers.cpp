#include "record/text_numbers.h"

#include <cerrno>
#include <charconv>
#include <climits>
#include <clocale>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <string>
#include <type_traits>

#if !defined(_WIN32)
#include <locale.h>
#endif

#include "record/unaligned.h"

namespace ZxVariantHelper::detail {
namespace {

// Unit `index` of a text that ends at its NUL or after `length` units.
struct BoundedText {
  const char16_t* text;
  std::size_t length;
  char16_t operator[](std::size_t index) const { return index < length ? LoadUnit(text, index) : 0; }
};

// Leading blanks and an optional sign, as the C runtime's number parsers
// take them; returns the index of the first unit after them.
std::size_t SkipBlanksAndSign(const BoundedText& in, bool* negative) {
  std::size_t i = 0;
  while (IsBlank(in[i])) ++i;
  if (in[i] == u'+' || in[i] == u'-') {
    *negative = in[i] == u'-';
    ++i;
  }
  return i;
}

template <typename Int>
Int ParseDecimal(const char16_t* text, std::size_t length) {
  if (text == nullptr) {
    errno = EINVAL;
    return 0;
  }
  using Unsigned = std::make_unsigned_t<Int>;
  const BoundedText in{text, length};
  bool negative = false;
  std::size_t i = SkipBlanksAndSign(in, &negative);
  const Unsigned limit =
      static_cast<Unsigned>(std::numeric_limits<Int>::max()) + (negative ? 1u : 0u);
  Unsigned value = 0;
  bool overflow = false;
  // Digits past an overflow are still consumed, as the runtime's readers do.
  for (char16_t unit; IsDecimalDigit(unit = in[i]); ++i) {
    const unsigned digit = unit - u'0';
    if (overflow) continue;
    if (value > (limit - digit) / 10) {
      overflow = true;
    } else {
      value = value * 10 + digit;
    }
  }
  if (overflow) {
    errno = ERANGE;
    return negative ? std::numeric_limits<Int>::min() : std::numeric_limits<Int>::max();
  }
  return static_cast<Int>(negative ? Unsigned{0} - value : value);
}

// strtod under a "C" locale object made once, whatever the process locale is.
double StrtodC(const char* text) {
#if defined(_WIN32)
  static const _locale_t c = _create_locale(LC_ALL, "C");
  if (c != nullptr) return _strtod_l(text, nullptr, c);
#else
  static const locale_t c = newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(0));
  if (c != static_cast<locale_t>(0)) return strtod_l(text, nullptr, c);
#endif
  // Only reached when the locale object could not be made (out of memory).
  return std::strtod(text, nullptr);
}

// Writes the ASCII characters of [begin, end) as UTF-16 units.
std::size_t Widen(const char* begin, const char* end, char16_t* out) {
  std::size_t n = 0;
  for (const char* p = begin; p != end; ++p) out[n++] = static_cast<char16_t>(*p);
  return n;
}

template <typename Number>
std::size_t FormatWith(Number value, char16_t* out) {
  char digits[kNumberTextUnits];
  const std::to_chars_result r = std::to_chars(digits, digits + sizeof digits, value);
  return Widen(digits, r.ptr, out);
}

}  // namespace

int ParseInt(const char16_t* text, std::size_t length) { return ParseDecimal<int>(text, length); }

long long ParseInt64(const char16_t* text, std::size_t length) {
  return ParseDecimal<long long>(text, length);
}

double ParseDouble(const char16_t* text, std::size_t length) {
  if (text == nullptr) {
    errno = EINVAL;
    return 0.0;
  }
  // strtod reads ASCII only, so the text ends for it at the first other unit.
  const BoundedText in{text, length};
  std::string ascii;
  try {
    for (std::size_t i = 0; in[i] != 0 && in[i] < 0x80; ++i) ascii += static_cast<char>(in[i]);
  } catch (const std::bad_alloc&) {
    errno = ENOMEM;
    return 0.0;
  }
  const int before = errno;
  errno = 0;
  const double value = StrtodC(ascii.c_str());
  // strtod also reports underflow; only an overflow counts as a range error here.
  errno = errno == ERANGE && std::isinf(value) ? ERANGE : before;
  return value;
}

bool ScanPointer(const char16_t* text, std::size_t length, void** value) {
  if (text == nullptr) return false;
  const BoundedText in{text, length};
  bool negative = false;
  std::size_t i = SkipBlanksAndSign(in, &negative);
  if (in[i] == u'0' && (in[i + 1] == u'x' || in[i + 1] == u'X') && HexDigitValue(in[i + 2]) >= 0) {
    i += 2;
  }
  std::uint64_t bits = 0;
  int digits = 0;
  for (int d; digits < 16 && (d = HexDigitValue(in[i])) >= 0; ++i, ++digits) {
    bits = bits << 4 | static_cast<unsigned>(d);
  }
  if (digits == 0) return false;
  if (negative) bits = 0 - bits;
  *value = reinterpret_cast<void*>(static_cast<std::uintptr_t>(bits));
  return true;
}

std::size_t FormatPointer(const void* value, char16_t* out) {
  static constexpr char16_t kDigits[] = u"0123456789ABCDEF";
  const std::uint64_t bits = reinterpret_cast<std::uintptr_t>(value);
  const std::size_t count = bits <= 0xFFFFFFFFu ? 8 : 16;
  for (std::size_t i = 0; i < count; ++i) out[i] = kDigits[(bits >> (4 * (count - 1 - i))) & 0xF];
  return count;
}

std::size_t FormatInt(int value, char16_t* out) { return FormatWith(value, out); }

std::size_t FormatInt64(long long value, char16_t* out) { return FormatWith(value, out); }

#if defined(__SIZEOF_INT128__)
namespace {

// %.6g for the values printf writes without an exponent, |value| in
// [1e-4, 1e6), by exact integer arithmetic: value = m * 2^q, and
// value * 10^k = m * 5^k * 2^(q + k) with k = 5 - (decimal exponent), whose
// integer part is the six digits and whose remainder decides the rounding
// (far cheaper than the general formatter, which canada.json-like records
// of coordinates spend most of their writing time in).
// An exact tie (which printf rounds by its own rule) and every other value
// answer 0: the caller then takes the general road.
std::size_t FormatSixDigitsFixed(double value, char16_t* out) {
  static constexpr std::uint64_t kPowersOfFive[] = {1, 5, 25, 125, 625, 3125, 15625, 78125, 390625, 1953125};
  const double magnitude = std::fabs(value);
  if (!(magnitude >= 9e-5 && magnitude < 1.1e6)) return 0;  // roughly; the exact range is checked below
  // A normal double in this range: value = m * 2^q with a 53-bit m.
  std::uint64_t bits;
  std::memcpy(&bits, &magnitude, sizeof bits);
  const int biased = static_cast<int>(bits >> 52);
  const std::uint64_t mantissa = (bits & ((std::uint64_t{1} << 52) - 1)) | (std::uint64_t{1} << 52);
  const int q = biased - 1075;
  // The decimal exponent, first estimated from the binary one (log10(2) is
  // about 1233 / 4096), then corrected until the scaled integer part has
  // exactly six digits.
  int exponent10 = ((biased - 1023) * 1233) >> 12;
  unsigned __int128 scaled = 0;
  unsigned __int128 remainder = 0;
  unsigned shift = 0;
  for (int attempt = 0; attempt < 3; ++attempt) {
    const int k = 5 - exponent10;
    if (k < 0 || k > 9) return 0;
    const unsigned __int128 product = static_cast<unsigned __int128>(mantissa) * kPowersOfFive[k];
    const int s = q + k;
    if (s >= 0 || -s >= 127) return 0;  // not reached in this range
    shift = static_cast<unsigned>(-s);
    scaled = product >> shift;
    remainder = product - (scaled << shift);
    if (scaled < 100000) {
      --exponent10;
    } else if (scaled >= 1000000) {
      ++exponent10;
    } else {
      break;
    }
  }
  if (scaled < 100000 || scaled >= 1000000 || exponent10 < -4) return 0;
  const unsigned __int128 half = static_cast<unsigned __int128>(1) << (shift - 1);
  if (remainder == half) return 0;  // an exact tie
  auto digits = static_cast<std::uint32_t>(scaled) + (remainder > half ? 1 : 0);
  if (digits == 1000000) {  // rounded up to the next power of ten
    digits = 100000;
    ++exponent10;
  }
  if (exponent10 >= 6) return 0;  // printf switches to the exponent form
  char16_t six[6];
  for (int i = 5; i >= 0; --i, digits /= 10) six[i] = static_cast<char16_t>(u'0' + digits % 10);
  std::size_t n = 0;
  if (value < 0) out[n++] = u'-';
  if (exponent10 >= 0) {
    for (int i = 0; i <= exponent10; ++i) out[n++] = six[i];
  } else {
    out[n++] = u'0';
  }
  // The fraction, 5 - X digits as printf's precision P - 1 - X asks: zeros
  // before the digits when X < 0, then the digits left; without trailing
  // zeros, and without the point when nothing is left.
  char16_t fractionText[16];
  int f = 0;
  for (int i = exponent10; i < -1; ++i) fractionText[f++] = u'0';
  for (int i = exponent10 >= 0 ? exponent10 + 1 : 0; i < 6; ++i) fractionText[f++] = six[i];
  while (f > 0 && fractionText[f - 1] == u'0') --f;
  if (f > 0) {
    out[n++] = u'.';
    for (int i = 0; i < f; ++i) out[n++] = fractionText[i];
  }
  return n;
}

}  // namespace
#endif

std::size_t FormatDouble(double value, char16_t* out) {
#if defined(__SIZEOF_INT128__)
  if (const std::size_t n = FormatSixDigitsFixed(value, out); n != 0) return n;
#endif
  // to_chars with a precision formats exactly as printf's %.6g in the "C" locale.
  char digits[kNumberTextUnits];
  const std::to_chars_result r =
      std::to_chars(digits, digits + sizeof digits, value, std::chars_format::general, 6);
  return Widen(digits, r.ptr, out);
}

void HexEncode(const void* bytes, std::size_t size, char16_t* out) {
  static constexpr char16_t kDigits[] = u"0123456789abcdef";
  const auto* in = static_cast<const unsigned char*>(bytes);
  for (std::size_t i = 0; i < size; ++i) {
    out[2 * i] = kDigits[in[i] >> 4];
    out[2 * i + 1] = kDigits[in[i] & 0xF];
  }
}

bool HexDecode(const char16_t* text, std::size_t units, unsigned char* out) {
  if (units % 2 != 0) return false;
  for (std::size_t i = 0; i < units; i += 2) {
    const int high = HexDigitValue(LoadUnit(text, i));
    const int low = HexDigitValue(LoadUnit(text, i + 1));
    if (high < 0 || low < 0) return false;
    out[i / 2] = static_cast<unsigned char>(high << 4 | low);
  }
  return true;
}

}  // namespace ZxVariantHelper::detail
