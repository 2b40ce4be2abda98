#include "record/text_numbers.h"

#include <cerrno>
#include <charconv>
#include <climits>
#include <clocale>
#include <cmath>
#include <cstdlib>
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

std::size_t FormatDouble(double value, char16_t* out) {
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
