// SmartWcharPtr: the wide-string argument type of the wrapper, property,
// event and message families.
//
// It holds its own copy of a NUL-terminated UTF-16 text, or holds null, so a
// caller may pass a temporary (a literal, a std::u16string that goes away)
// and the callee may keep the value.  Null and the empty text are different:
// `isNull()` tells them apart, and `get()` gives back null for a null value.
//
// Example:
//
//   using zexora_com::endpoint::string_utils::SmartWcharPtr;
//   SmartWcharPtr name = u"Port";               // owns a copy of "Port"
//   SmartWcharPtr none = nullptr;               // holds null
//   std::u16string text = u"Host";
//   SmartWcharPtr host = text;                  // copies; `text` may change
//   const char16_t* raw = host;                 // u"Host"
//   bool missing = none.isNull();               // true
//
// Copies share the text (it is immutable) and are cheap; every operation is
// noexcept except construction from non-null text, which throws
// std::bad_alloc when the copy cannot be allocated.
//
// Thread safety: a value may be copied and read from several threads at once
// (the shared count is atomic); one object is assigned by one thread at a time.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "zxvariant/export.h"

namespace zexora_com::endpoint::string_utils {

class ZXV_EXPORT SmartWcharPtr {
 public:
  SmartWcharPtr() noexcept = default;
  SmartWcharPtr(std::nullptr_t) noexcept {}
  SmartWcharPtr(const char16_t* text);  // NOLINT: converts implicitly by design
  SmartWcharPtr(const char16_t* text, std::size_t length);
  SmartWcharPtr(const std::u16string& text);  // NOLINT
  // The same text given as 16-bit units of another spelling.
  explicit SmartWcharPtr(const unsigned short* text);

  // The held text, or null.
  const char16_t* get() const noexcept { return text_ ? text_.get() : nullptr; }
  operator const char16_t*() const noexcept { return get(); }  // NOLINT
  bool isNull() const noexcept { return text_ == nullptr; }
  // Length in UTF-16 units without the NUL; 0 for null.
  std::size_t length() const noexcept { return length_; }
  bool empty() const noexcept { return length_ == 0; }

 private:
  std::shared_ptr<const char16_t[]> text_;
  std::size_t length_ = 0;
};

}  // namespace zexora_com::endpoint::string_utils
