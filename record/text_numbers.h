// Locale-independent number <-> UTF-16 text helpers shared by the
// conversions, the printers and the text readers.
//
// Every rule here is the one the "C" locale gives, fixed so that a result
// never depends on the locale of the process or the machine:
//   * blanks are space, tab, LF, VT, FF and CR; digits are 0-9 only;
//   * the integer readers skip leading blanks, take an optional sign and then
//     decimal digits, stop at the first other unit, saturate on overflow and
//     then set errno to ERANGE; a null text gives 0 and errno EINVAL.  They
//     never clear errno: callers that need a clean errno clear it first;
//   * the double reader takes what strtod takes (blanks, sign, decimal or
//     hexadecimal digits, exponent, inf, nan) and sets errno to ERANGE on
//     overflow only;
//   * numbers are written as printf writes %d, %lld and %g (C99: at least two
//     exponent digits, "inf", "nan").
//
// Texts are read through LoadUnit, so they may lie at odd addresses inside a
// record.  A reader stops at the NUL or after `length` units, whichever comes
// first.  Writers fill a caller's buffer of at least kNumberTextUnits units,
// add no terminator and return the number of units written.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ZxVariantHelper::detail {

inline constexpr std::size_t kNoLength = static_cast<std::size_t>(-1);

// Room for any single number text below ("0x" and 16 digits, "-1.79769e+308").
inline constexpr std::size_t kNumberTextUnits = 32;

inline bool IsBlank(char16_t unit) {
  return unit == u' ' || (unit >= u'\t' && unit <= u'\r');
}
inline bool IsDecimalDigit(char16_t unit) { return unit >= u'0' && unit <= u'9'; }
// 0-9, a-f, A-F; -1 for any other unit.
inline int HexDigitValue(char16_t unit) {
  if (unit >= u'0' && unit <= u'9') return unit - u'0';
  if (unit >= u'a' && unit <= u'f') return unit - u'a' + 10;
  if (unit >= u'A' && unit <= u'F') return unit - u'A' + 10;
  return -1;
}

// Decimal integers: INT_MIN/INT_MAX and the 64-bit limits on overflow.
int ParseInt(const char16_t* text, std::size_t length = kNoLength);
long long ParseInt64(const char16_t* text, std::size_t length = kNoLength);

// A double by strtod's rules; on overflow +-HUGE_VAL and ERANGE.  A text that
// is no number gives 0.0 and leaves errno alone.
double ParseDouble(const char16_t* text, std::size_t length = kNoLength);

// Reads a pointer the way scanf's %p does: blanks, an optional sign, an
// optional 0x or 0X, then up to 16 hexadecimal digits (a minus negates).
// False, with *value untouched, when no digit follows.
bool ScanPointer(const char16_t* text, std::size_t length, void** value);

// The text of a pointer as %p writes it here: upper-case hexadecimal, 8
// digits when the value fits in 32 bits, otherwise 16.  No "0x".
std::size_t FormatPointer(const void* value, char16_t* out);
std::size_t FormatInt(int value, char16_t* out);
std::size_t FormatInt64(long long value, char16_t* out);
// %g: 6 significant digits, trailing zeros removed, exponent form below 1e-4
// and from 1e6 up.
std::size_t FormatDouble(double value, char16_t* out);

// Two lower-case hexadecimal digits per byte, high nibble first; writes
// 2 * size units to `out` (which must not overlap `bytes`).
void HexEncode(const void* bytes, std::size_t size, char16_t* out);
// Decodes `units` hexadecimal digits (either case) into units / 2 bytes.
// False for an odd count or any unit that is not a hexadecimal digit; `out`
// may then hold a partial result.
bool HexDecode(const char16_t* text, std::size_t units, unsigned char* out);

}  // namespace ZxVariantHelper::detail
