// Hexadecimal text for byte buffers: the form in which Buffer values travel
// inside text (two lower-case digits per byte, high nibble first).
//
// Example:
//
//   const unsigned char bytes[] = {0x0a, 0xff};
//   char16_t text[5];
//   int units = ZxVariantHelper::BytesToHexText(bytes, 2, text, 5);  // 5, u"0aff"
//   unsigned char back[2];
//   int count = ZxVariantHelper::HexTextToBytes(u"0AfF", 4, back, 2); // 2
//
// Errors: both answer -1 and write nothing useful when the output room is
// short or an argument is null (with a non-zero count); HexTextToBytes also
// answers -1 for an odd count or a unit that is no hexadecimal digit.
//
// Thread safety: pure functions over their arguments.
#pragma once

#include "zxvariant/export.h"

namespace ZxVariantHelper {

// Writes two lower-case hexadecimal digits per byte of bytes[0, count) and a
// terminating NUL to `text`, which holds `room` units.  Returns 2 * count + 1
// (the units written, NUL included), or -1 when room < 2 * count + 1.
ZXV_EXPORT int BytesToHexText(const void* bytes, unsigned count, char16_t* text, unsigned room);

// Reads `count` UTF-16 hexadecimal digits (0-9, a-f, A-F) in pairs into
// bytes[0, count / 2), which holds `room` bytes.  Returns count / 2, or -1
// when count is odd, room < count / 2, or a unit is no hexadecimal digit.
ZXV_EXPORT int HexTextToBytes(const char16_t* text, unsigned count, void* bytes, unsigned room);

}  // namespace ZxVariantHelper
