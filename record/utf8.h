// UTF-8 <-> UTF-16 conversion with the replacement rules of the platform's
// code-page 65001 converter: every ill-formed sequence (a maximal subpart of
// a well-formed one, or a lone byte) becomes one U+FFFD, and so does every
// unpaired surrogate on the way out.
#pragma once

#include <cstddef>
#include <string>

namespace ZxVariantHelper::detail {

// Converts `size` bytes into at most `capacity` units; returns the number of
// units written.  UTF-16 never needs more units than UTF-8 has bytes.
std::size_t Utf8ToUtf16(const char* text, std::size_t size, char16_t* out, std::size_t capacity);

std::u16string Utf8ToUtf16(const std::string& text);
std::string Utf16ToUtf8(const char16_t* text, std::size_t length);

}  // namespace ZxVariantHelper::detail
