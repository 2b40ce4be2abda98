// AppendableWideString: growth, formatted and escaping appends.
//
// Growth is geometric: doubling below 0x20000 units (the capacities callers
// have always seen), half as much again above, so that printing a large record
// appends in amortised constant time.  Where growth would happen
// step by step (the formatted append's retry loop, the escaping append's
// unit-by-unit appends), the code computes the capacity those steps end with
// and allocates it once: the same capacities, without the intermediate blocks
// and formatting passes.  A failed malloc leaves the text as it was and the
// append that needed the room writes nothing.
#include "text/xml_escape.h"
#include "zxvariant/wide_string.h"

#include <cstdarg>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "text/wide_format.h"

namespace ZxVariantHelper {
namespace {

constexpr std::uint64_t kMaxWord = 0xFFFFFFFFu;

// The capacity that ReserveCapacity(n) gives when n exceeds the current one:
// 32 below 16, 2n below 0x20000, n + n/2 above; limited to what a block of
// the saturated byte count (0xFFFFFFFF) holds.
std::uint64_t GrownCapacity(std::uint64_t n) {
  std::uint64_t capacity = n < 16 ? 32 : n < 0x20000 ? n * 2 : n + n / 2;
  std::uint64_t bytes = capacity * 2;
  if (bytes > kMaxWord) bytes = kMaxWord;
  return bytes / 2 < capacity ? bytes / 2 : capacity;
}

}  // namespace

AppendableWideString::AppendableWideString(unsigned int initialCapacity)
    : length_(0), capacity_(0), buffer_(nullptr) {
  ReserveCapacity(initialCapacity);
}

AppendableWideString::~AppendableWideString() {
  if (buffer_) std::free(buffer_);
}

AppendableWideString& AppendableWideString::operator=(const AppendableWideString& other) {
  length_ = other.length_;
  capacity_ = other.capacity_;
  buffer_ = other.buffer_;
  return *this;
}

void AppendableWideString::Clear() {
  length_ = 0;
  capacity_ = 0;
  std::free(buffer_);
  buffer_ = nullptr;
}

bool AppendableWideString::ReserveCapacity(unsigned int n) {
  if (n <= capacity_) return true;
  std::uint64_t capacity = GrownCapacity(n);
  if (capacity < n) return false;
  auto* block = static_cast<char16_t*>(std::malloc(static_cast<std::size_t>(capacity) * 2));
  if (!block) return false;
  if (buffer_) {
    // The text, and one unit more when there is one (a stored terminator).
    std::size_t units = length_ + (length_ < capacity_ ? 1u : 0u);
    std::memcpy(block, buffer_, units * sizeof(char16_t));
    std::free(buffer_);
  }
  buffer_ = block;
  capacity_ = static_cast<std::uint32_t>(capacity);
  return true;
}

void AppendableWideString::Append(char16_t unit) {
  if (length_ == kMaxWord || !ReserveCapacity(length_ + 1)) return;
  buffer_[length_++] = unit;
}

void AppendableWideString::Append(const char16_t* format, ...) {
  if (!format) return;
  va_list args;
  va_start(args, format);
  std::uint64_t reserve = 2;
  bool measured = false;
  std::size_t total = 0;
  for (;;) {
    std::uint64_t need = std::uint64_t{length_} + reserve + 1;
    if (need > kMaxWord) break;
    if (measured) {
      // The text's length is known: a step whose block would still be too
      // small is taken on paper only.
      std::uint64_t capacity = need <= capacity_ ? capacity_ : GrownCapacity(need);
      if (capacity < need) break;
      if (total >= capacity - length_ - 1) {
        reserve = capacity * 2;
        continue;
      }
    }
    if (!ReserveCapacity(static_cast<unsigned int>(need))) break;
    std::size_t limit = capacity_ - length_ - 1;
    va_list copy;
    va_copy(copy, args);
    total = detail::WideFormatCountV(buffer_ + length_, limit, format, copy);
    va_end(copy);
    measured = true;
    if (total < limit) {
      length_ += static_cast<std::uint32_t>(total);
      break;
    }
    reserve = std::uint64_t{capacity_} * 2;
  }
  va_end(args);
}

void AppendableWideString::AppendSpace(unsigned int n) {
  if (std::uint64_t{length_} + n > kMaxWord || !ReserveCapacity(length_ + n)) return;
  for (unsigned int i = 0; i < n; ++i) buffer_[length_ + i] = u' ';
  length_ += n;
}

void AppendableWideString::AppendXmlUnits(const char16_t* units, std::size_t count) {
  if (count == 0) return;
  std::uint64_t escaped = 0;
  for (std::size_t i = 0; i < count; ++i) {
    std::size_t size = 1;
    detail::XmlEntity(units[i], &size);
    escaped += size;
  }
  std::uint64_t target = std::uint64_t{length_} + escaped;
  if (target > kMaxWord) return;
  // The capacity that appending unit by unit would end with.
  std::uint64_t capacity = capacity_;
  std::uint64_t request = 0;
  while (capacity < target) {
    request = capacity + 1;
    capacity = GrownCapacity(request);
    if (capacity < request) return;
  }
  if (request != 0 && !ReserveCapacity(static_cast<unsigned int>(request))) return;
  char16_t* out = buffer_ + length_;
  for (std::size_t i = 0; i < count; ++i) {
    std::size_t size = 1;
    if (const char16_t* entity = detail::XmlEntity(units[i], &size)) {
      std::memcpy(out, entity, size * sizeof(char16_t));
      out += size;
    } else {
      *out++ = units[i];
    }
  }
  length_ = static_cast<std::uint32_t>(target);
}

void AppendableWideString::AppendXml(char16_t unit) { AppendXmlUnits(&unit, 1); }

void AppendableWideString::AppendXml(const char16_t* format, ...) {
  if (!format) return;
  // A 512-unit stack block serves the usual case; a longer text is formatted
  // into a malloc'd block of its exact size.
  char16_t small[512];
  va_list args;
  va_start(args, format);
  va_list copy;
  va_copy(copy, args);
  std::size_t total = detail::WideFormatCountV(small, sizeof small / sizeof small[0], format, copy);
  va_end(copy);
  if (total <= sizeof small / sizeof small[0]) {
    AppendXmlUnits(small, total);
  } else if (auto* large = static_cast<char16_t*>(std::malloc(total * sizeof(char16_t)))) {
    detail::WideFormatCountV(large, total, format, args);
    AppendXmlUnits(large, total);
    std::free(large);
  }
  va_end(args);
}

void AppendableWideString::NullTerminate() {
  if (length_ == kMaxWord || !ReserveCapacity(length_ + 1)) return;
  buffer_[length_] = 0;
}

char16_t* AppendableWideString::Release() {
  if (length_ < kMaxWord && ReserveCapacity(length_ + 1)) {
    buffer_[length_] = 0;
  } else if (buffer_ && capacity_ > 0) {
    buffer_[capacity_ - 1] = 0;  // no room to grow: the last unit gives way
  }
  char16_t* text = buffer_;
  length_ = 0;
  capacity_ = 0;
  buffer_ = nullptr;
  return text;
}

}  // namespace ZxVariantHelper
