// The hexadecimal helpers: room and argument checks over the record core's
// encoder and decoder.
#include "zxvariant/hex_text.h"

#include <climits>
#include <cstdint>

#include "record/text_numbers.h"

namespace ZxVariantHelper {

int BytesToHexText(const void* bytes, unsigned count, char16_t* text, unsigned room) {
  const std::uint64_t units = 2 * std::uint64_t{count} + 1;
  if (units > INT_MAX || units > room || text == nullptr || (bytes == nullptr && count != 0)) {
    return -1;
  }
  detail::HexEncode(bytes, count, text);
  text[2 * std::uint64_t{count}] = u'\0';
  return static_cast<int>(units);
}

int HexTextToBytes(const char16_t* text, unsigned count, void* bytes, unsigned room) {
  if (count % 2 != 0 || count / 2 > room || (count != 0 && (text == nullptr || bytes == nullptr))) {
    return -1;
  }
  if (!detail::HexDecode(text, count, static_cast<unsigned char*>(bytes))) return -1;
  return static_cast<int>(count / 2);
}

}  // namespace ZxVariantHelper
