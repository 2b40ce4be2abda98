#include "record/utf8.h"

#include <cstdint>

#include "record/unaligned.h"

namespace ZxVariantHelper::detail {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

// Decodes one code point at text[*pos], advancing past it; an ill-formed
// sequence consumes its maximal valid prefix (at least one byte).
char32_t DecodeOne(const unsigned char* text, std::size_t size, std::size_t* pos) {
  unsigned char lead = text[*pos];
  ++*pos;
  if (lead < 0x80) return lead;
  int trail;
  char32_t cp;
  unsigned char low = 0x80, high = 0xBF;  // allowed range of the first trail byte
  if (lead >= 0xC2 && lead <= 0xDF) {
    trail = 1;
    cp = lead & 0x1F;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    trail = 2;
    cp = lead & 0x0F;
    if (lead == 0xE0) low = 0xA0;
    if (lead == 0xED) high = 0x9F;  // no encoded surrogates
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    trail = 3;
    cp = lead & 0x07;
    if (lead == 0xF0) low = 0x90;
    if (lead == 0xF4) high = 0x8F;
  } else {
    return kReplacement;
  }
  for (int i = 0; i < trail; ++i) {
    if (*pos >= size) return kReplacement;
    unsigned char b = text[*pos];
    if (b < low || b > high) return kReplacement;
    low = 0x80;
    high = 0xBF;
    cp = (cp << 6) | (b & 0x3F);
    ++*pos;
  }
  return cp;
}

}  // namespace

std::size_t Utf8ToUtf16(const char* text, std::size_t size, char16_t* out, std::size_t capacity) {
  const auto* bytes = reinterpret_cast<const unsigned char*>(text);
  std::size_t pos = 0, written = 0;
  while (pos < size) {
    char32_t cp = DecodeOne(bytes, size, &pos);
    if (cp >= 0x10000) {
      if (written + 2 > capacity) break;
      cp -= 0x10000;
      out[written++] = static_cast<char16_t>(0xD800 + (cp >> 10));
      out[written++] = static_cast<char16_t>(0xDC00 + (cp & 0x3FF));
    } else {
      if (written + 1 > capacity) break;
      out[written++] = static_cast<char16_t>(cp);
    }
  }
  return written;
}

std::u16string Utf8ToUtf16(const std::string& text) {
  std::u16string out(text.size(), u'\0');
  out.resize(Utf8ToUtf16(text.data(), text.size(), out.data(), out.size()));
  return out;
}

std::string Utf16ToUtf8(const char16_t* text, std::size_t length) {
  std::string out;
  out.reserve(length);
  for (std::size_t i = 0; i < length; ++i) {
    char32_t cp = LoadUnit(text, i);
    if (cp >= 0xD800 && cp <= 0xDBFF && i + 1 < length) {
      char32_t low = LoadUnit(text, i + 1);
      if (low >= 0xDC00 && low <= 0xDFFF) {
        cp = 0x10000 + ((cp - 0xD800) << 10) + (low - 0xDC00);
        ++i;
      }
    }
    if (cp >= 0xD800 && cp <= 0xDFFF) cp = kReplacement;
    if (cp < 0x80) {
      out += static_cast<char>(cp);
    } else if (cp < 0x800) {
      out += static_cast<char>(0xC0 | (cp >> 6));
      out += static_cast<char>(0x80 | (cp & 0x3F));
    } else if (cp < 0x10000) {
      out += static_cast<char>(0xE0 | (cp >> 12));
      out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
      out += static_cast<char>(0x80 | (cp & 0x3F));
    } else {
      out += static_cast<char>(0xF0 | (cp >> 18));
      out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
      out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
      out += static_cast<char>(0x80 | (cp & 0x3F));
    }
  }
  return out;
}

}  // namespace ZxVariantHelper::detail
