// CZxString and CZxBufString: growth by percent and the formatted appends.
//
// Growth is decided by the virtual GrowthPercent() alone, so a derived class
// changes how the text grows without touching the append code: 0 refuses,
// a negative percent grows without freeing the buffer it leaves (a buffer the
// object does not own), and the magnitude scales the size asked for.
#include "zxvariant/zx_string.h"

#include <cstdint>
#include <cstdio>
#include <cstring>

#include "zxvariant/zx_exception.h"

namespace {

constexpr const char* kSourceFile = "..\\..\\zx\\ZxString";

// vsnprintf that keeps failing (an encoding error) is given doubled room only
// while the room stays below this many bytes.
constexpr std::uint64_t kFormatRoomLimit = 0x4000000;
// The smallest room tried after a failure when there is no buffer yet.
constexpr std::uint64_t kFirstFormatRoom = 64;

[[noreturn]] void ThrowCannotGrow() {
  throw CZxOutOfMemoryException(kSourceFile, __LINE__, "Unable to grow string");
}

// A size computed in 64 bits as a 32-bit capacity, or the growth failure.
unsigned CheckedSize(std::uint64_t bytes) {
  if (bytes > UINT32_MAX) ThrowCannotGrow();
  return static_cast<unsigned>(bytes);
}

}  // namespace

CZxString::CZxString() noexcept : m_pBuffer(nullptr), m_nCapacity(0), m_nLength(0) {}

CZxString::CZxString(const char* text) : CZxString() { Append(text); }

CZxString::CZxString(char* buffer, unsigned capacity) noexcept
    : m_pBuffer(buffer), m_nCapacity(buffer != nullptr ? capacity : 0), m_nLength(0) {
  if (m_nCapacity != 0) m_pBuffer[0] = '\0';
}

CZxString::~CZxString() { std::free(m_pBuffer); }

int CZxString::GrowthPercent() { return 100; }

void CZxString::Reserve(unsigned newCapacity, unsigned keepBytes) {
  if (newCapacity <= m_nCapacity) return;
  int percent = GrowthPercent();
  if (percent == 0) {
    throw CZxStringException(kSourceFile, __LINE__, "Illegal resize of fixed string");
  }
  const bool ownsBuffer = percent > 0;
  const std::int64_t magnitude = percent > 0 ? percent : -static_cast<std::int64_t>(percent);
  if (magnitude < 100) {
    throw CZxInternalException(kSourceFile, __LINE__, "!(nPercent >= 100)");
  }
  const unsigned newSize = CheckedSize(std::uint64_t{newCapacity} * magnitude / 100);
  auto* block = static_cast<char*>(std::malloc(newSize));
  if (block == nullptr) ThrowCannotGrow();
  if (keepBytes > m_nCapacity) keepBytes = m_nCapacity;
  if (keepBytes != 0) std::memcpy(block, m_pBuffer, keepBytes);
  // newSize > old capacity >= keepBytes, so the terminator always fits.
  block[keepBytes] = '\0';
  if (ownsBuffer) std::free(m_pBuffer);
  m_pBuffer = block;
  m_nCapacity = newSize;
  m_nLength = keepBytes;
}

void CZxString::Append(const char* text) {
  if (text != nullptr) Append(text, CheckedSize(std::strlen(text)));
}

void CZxString::Append(const char* text, unsigned count) {
  if (text == nullptr || count == 0) return;
  const unsigned needed = CheckedSize(std::uint64_t{m_nLength} + count + 1);
  if (needed > m_nCapacity) {
    // The bytes may lie inside the buffer that growth is about to replace.
    const bool inside = m_pBuffer != nullptr && text >= m_pBuffer && text < m_pBuffer + m_nCapacity;
    const std::size_t from = inside ? static_cast<std::size_t>(text - m_pBuffer) : 0;
    Reserve(needed, m_nLength);
    if (inside) text = m_pBuffer + from;
  }
  std::memmove(m_pBuffer + m_nLength, text, count);
  m_nLength += count;
  m_pBuffer[m_nLength] = '\0';
}

void CZxString::AppendFormat(const char* format, ...) {
  va_list args;
  va_start(args, format);
  try {
    FormatAtV(m_nLength, format, args);
  } catch (...) {
    va_end(args);
    throw;
  }
  va_end(args);
}

void CZxString::AppendFormatV(const char* format, va_list args) { FormatAtV(m_nLength, format, args); }

void CZxString::FormatAt(unsigned offset, const char* format, ...) {
  va_list args;
  va_start(args, format);
  try {
    FormatAtV(offset, format, args);
  } catch (...) {
    va_end(args);
    throw;
  }
  va_end(args);
}

void CZxString::FormatAtV(unsigned offset, const char* format, va_list args) {
  if (format == nullptr) return;
  if (offset > m_nLength) offset = m_nLength;
  for (;;) {
    const unsigned room = m_nCapacity - offset;  // offset <= length < capacity, or both 0
    va_list attempt;
    va_copy(attempt, args);
    const int written = std::vsnprintf(room != 0 ? m_pBuffer + offset : nullptr, room, format, attempt);
    va_end(attempt);
    if (written >= 0 && static_cast<unsigned>(written) < room) {
      m_nLength = offset + static_cast<unsigned>(written);
      return;
    }
    // Whatever vsnprintf left behind the offset is dropped before growing,
    // so a growth that throws leaves the text ending at the offset.
    m_nLength = offset;
    if (room != 0) m_pBuffer[offset] = '\0';
    if (written < 0) {
      // The room was not the problem as far as the result tells: retry with
      // twice the room, within the limit.
      const std::uint64_t wanted =
          m_nCapacity != 0 ? std::uint64_t{m_nCapacity} * 2 : kFirstFormatRoom;
      if (wanted >= kFormatRoomLimit) {
        throw CZxInternalException(kSourceFile, __LINE__, "unexpected vsnprintf failure");
      }
      Reserve(static_cast<unsigned>(wanted), offset);
    } else {
      Reserve(CheckedSize(std::uint64_t{offset} + static_cast<unsigned>(written) + 1), offset);
    }
  }
}

void CZxString::clear() noexcept {
  m_nLength = 0;
  if (m_nCapacity != 0) m_pBuffer[0] = '\0';
}

const char* CZxString::c_str() const noexcept { return m_nCapacity != 0 ? m_pBuffer : ""; }

CZxBufString::CZxBufString(char* buffer, unsigned capacity) noexcept : CZxString(buffer, capacity) {}

// The buffer is the caller's.
CZxBufString::~CZxBufString() { m_pBuffer = nullptr; }

int CZxBufString::GrowthPercent() { return 0; }
