#include "zxvariant/smart_wchar_ptr.h"

#include <cstring>

namespace zexora_com::endpoint::string_utils {

namespace {

std::size_t UnitCount(const char16_t* text) noexcept {
  std::size_t n = 0;
  while (text[n] != u'\0') ++n;
  return n;
}

}  // namespace

SmartWcharPtr::SmartWcharPtr(const char16_t* text, std::size_t length) {
  if (text == nullptr) return;
  std::shared_ptr<char16_t[]> copy(new char16_t[length + 1]);
  if (length != 0) std::memcpy(copy.get(), text, length * sizeof(char16_t));
  copy[length] = u'\0';
  text_ = std::move(copy);
  length_ = length;
}

SmartWcharPtr::SmartWcharPtr(const char16_t* text)
    : SmartWcharPtr(text, text == nullptr ? 0 : UnitCount(text)) {}

SmartWcharPtr::SmartWcharPtr(const std::u16string& text)
    : SmartWcharPtr(text.c_str(), text.size()) {}

SmartWcharPtr::SmartWcharPtr(const unsigned short* text)
    : SmartWcharPtr(reinterpret_cast<const char16_t*>(text)) {}

}  // namespace zexora_com::endpoint::string_utils
