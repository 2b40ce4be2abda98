// The heap copies of names and string values that builders own.
#pragma once

#include <cstdint>

namespace ZxVariantHelper::detail {

// A malloc'd copy of `text` with its NUL, or null for a null or empty text
// or a failed allocation.  length <= 0 copies up to the NUL; a positive
// length copies exactly that many units and appends a NUL.  *units receives
// the length of the copy (0 when null is returned).
char16_t* CopyText(const char16_t* text, int length, std::uint32_t* units);

// A malloc'd UTF-16 copy of UTF-8 text, or null for a null or empty text, a
// conversion that yields nothing or a failed allocation.
char16_t* CopyUtf8Text(const char* utf8, std::uint32_t* units);

}  // namespace ZxVariantHelper::detail
