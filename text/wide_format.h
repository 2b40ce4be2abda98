// The library's printf over UTF-16 (char16_t), with the contract and the
// conversion meanings of the Windows C runtime's bounded wide printf.  Internal to the library; the
// functions are exported only so that the text tests can reach them.
//
// Conversions, with their MSVC meanings:
//   %s %ls %ws      const char16_t*  (null prints "(null)"; precision caps
//                   the units read, so "%.*s" may take unterminated text)
//   %S %hs %hS      const char*, UTF-8, converted as MultiByteToWideChar does
//                   (precision caps the bytes read)
//   %c %lc %wc      a char16_t (passed as int); %hc %C a narrow char
//   %d %i %u %o %x %X   int; modifiers hh h (char, short), l (32 bits, as on
//                   MSVC: pass an int or unsigned), ll I64 (64 bits),
//                   I32 (32 bits), I z t j (pointer-sized / size_t / ptrdiff_t
//                   / intmax_t)
//   %f %F %e %E %g %G   double as C99 printf in the "C" locale (at least two
//                   exponent digits, "inf", "nan"), whatever the process
//                   locale; L is accepted and reads a double
//   %p              void*: upper-case hexadecimal, 8 digits when the value
//                   fits in 32 bits, otherwise 16; no "0x"
//   %%              a percent sign
// Flags - + space # 0, a width and a precision (either may be *, taken from an
// int argument; a negative * width means "-"; a negative * precision means
// none).  %n writes nothing (its pointer is consumed).  An unknown conversion
// is copied to the output as written.
//
// No heap allocation for ordinary conversions: numbers are formatted into a
// small stack buffer.  (Only %f of a huge precision, and %S of more than 512
// bytes, take a temporary block.)
#pragma once

#include <cstdarg>
#include <cstddef>
#include <string>

#include "zxvariant/export.h"

namespace ZxVariantHelper::detail {

// _vsnwprintf's contract: writes at most `limit` units to `out`.  When the
// whole text has fewer than `limit` units it is written with a terminating 0
// and its length is returned; when it has exactly `limit` units it is written
// without a terminator and `limit` is returned; when it is longer, the first
// `limit` units are written (no terminator) and -1 is returned.  A null
// format gives -1.  `args` is consumed (va_copy it to format twice).
ZXV_EXPORT int WideFormatV(char16_t* out, std::size_t limit, const char16_t* format, va_list args);
ZXV_EXPORT int WideFormat(char16_t* out, std::size_t limit, const char16_t* format, ...);

// Like vsnprintf: writes at most `limit` units (never a terminator) and
// returns the length of the whole text, however long.  A null format gives 0.
ZXV_EXPORT std::size_t WideFormatCountV(char16_t* out, std::size_t limit, const char16_t* format,
                                        va_list args);

// Appends the formatted text to `out`.  A null format appends nothing.
ZXV_EXPORT void WideAppendFormatV(std::u16string& out, const char16_t* format, va_list args);
ZXV_EXPORT void WideAppendFormat(std::u16string& out, const char16_t* format, ...);
ZXV_EXPORT std::u16string WideFormatString(const char16_t* format, ...);

}  // namespace ZxVariantHelper::detail
