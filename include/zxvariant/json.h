// JSON: reading JSON text into a record and writing a record as JSON text.
//
// The reader maps an object to a List of named elements (the member names,
// in text order), an array to a List of unnamed elements, a string to a
// String, a number with a fraction part to a Float, other numbers to an Int
// (an Int64 when the value does not fit in 32 bits, see below), true and
// false to a Bool and null to a Null.  The text must begin (after blanks)
// with "[" or "{"; what follows its closing bracket or brace is ignored.
// When that outermost array or object holds exactly one element, the result
// is that element alone, with its name if it has one; otherwise it is the
// outermost List itself (unnamed).  So {"a":1} gives an Int named a, [1,2]
// an unnamed List of two Ints and [[1,2]] the inner List.
//
// Kept on purpose, for compatibility with every producer of such text:
//   * a trailing comma before "]" or "}" is accepted ([1,] is [1]);
//   * blanks between the digits of a number are skipped ([1 2] is [12]);
//   * an integer whose 32-bit reading saturates (2147483647, -2147483648 and
//     everything beyond) becomes an Int64, itself saturated at the 64-bit
//     limits;
//   * an exponent is read only after a fraction part: [1.5e3] is 1500.0,
//     while [1e3] fails;
//   * \uXXXX gives one UTF-16 unit; surrogate pairs are two escapes;
//   * strings and names end at their first U+0000 (a name that ends up
//     empty leaves its element unnamed).
// Nesting deeper than kJsonMaxNesting arrays and objects fails.
//
// The writer puts a named record into {...} and an unnamed one into [...],
// so that reading its text back gives the same record; every List element
// starts on a new line indented by four blanks per level, the closing
// bracket or brace follows the last element directly, Lists with at least
// one named element are written with braces.  Strings escape ", \, the
// controls \b \t \n \f \r, and every other unit outside 0x20-0x7E as \u and
// four lower-case hexadecimal digits.  Register values are written as signed
// decimal numbers, Buffers as arrays of byte values, attributes not at all.
//
// Example:
//
//   using namespace ZxVariantHelper;
//   ZxVariant* record = NewJson(u"{\"port\": 8080}");   // Int port = 8080
//   int port = ZxvView(record).Int();
//   char16_t* text = NewJson(record);                   // {"port": 8080}
//   Delete(text);
//   Delete(record);
//
// Thread safety: both directions keep no shared mutable state; any number of
// threads may read and write JSON at once.
#pragma once

#include <cstddef>

#include "zxvariant/export.h"
#include "zxvariant/record.h"

namespace ZxVariantHelper {

// Arrays and objects may nest this many levels deep, the outermost included.
inline constexpr std::size_t kJsonMaxNesting = 10000;

// A new record in one malloc'd block (pointer form), freed with
// Delete(ZxVariant*); null for a null text, any syntax error, nesting past
// kJsonMaxNesting, a record that would pass 0xFFFFFFFF bytes, or when memory
// runs out.
ZXV_EXPORT ZxVariant* NewJson(const char16_t* text);

// The same, telling why reading failed.  On failure *expected (when not
// null) receives a static text naming what was expected where reading
// stopped (such as ", or ]" or "4 hex digits"), or null when the failure was
// no syntax error (null text, size limit, memory), and *position (when not
// null) the index of the unit where reading stopped.  On success *expected
// is null and *position the index just past the outermost "]" or "}".
ZXV_EXPORT ZxVariant* NewJson(const char16_t* text, const char16_t** expected,
                              std::size_t* position);

// The record as JSON text, malloc'd and NUL-terminated, freed with
// Delete(char16_t*); an empty text for a null record; null only when memory
// runs out.
ZXV_EXPORT char16_t* NewJson(const ZxVariant* record);

}  // namespace ZxVariantHelper
