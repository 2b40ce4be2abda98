// CZxString, CZxBufString and CZxFixedString<N>: growable narrow (UTF-8 or
// plain byte) text buffers used by the messaging support code and by the
// CZxException family to compose their messages.
//
// The three classes share one implementation and differ only in how they
// grow, which each decides through the virtual GrowthPercent():
//   CZxString          100   grows to exactly the size asked for; the old
//                            buffer is freed.
//   CZxBufString         0   wraps a buffer supplied by the caller and never
//                            grows: an append past its capacity throws
//                            CZxStringException "Illegal resize of fixed
//                            string".
//   CZxFixedString<N>  -200, then 200
//                            starts in an N-byte buffer inside the object;
//                            the first growth moves the text to a heap buffer
//                            of twice the size asked for (the negative sign
//                            says the inner buffer is not to be freed), later
//                            growths double the request again and free the
//                            previous heap buffer.
//
// Example:
//
//   CZxFixedString<64> line;
//   line.Append("user=");
//   line.AppendFormat("%s id=%u", "guest", 42u);  // "user=guest id=42"
//   std::fputs(line.c_str(), stdout);
//   line.clear();                                 // empty, keeps its buffer
//
//   char room[32];
//   CZxBufString fixed(room, sizeof room);        // writes into `room`
//   fixed.Append("at most 31 bytes fit");
//
// The text is always NUL-terminated; length() counts bytes without the NUL.
// Formatted appends use the C library's vsnprintf rules ("C" locale), so
// every printf conversion is available; a wide string is best converted to
// UTF-8 before it is formatted with %s.
//
// Errors: growth throws (by value, catch CZxException from zx_exception.h):
//   CZxStringException      "Illegal resize of fixed string" (CZxBufString),
//   CZxInternalException    "!(nPercent >= 100)" when a derived class
//                           reports a growth percent between -100 and 100,
//                           "unexpected vsnprintf failure" when vsnprintf
//                           keeps failing (an encoding error) and the room
//                           would pass 0x4000000 bytes,
//   CZxOutOfMemoryException "Unable to grow string" when malloc fails or
//                           the size would pass 32 bits.
// After an exception the object is still valid; an append that failed left
// the text as it was before that append.
//
// Thread safety: an object is used by one thread at a time; distinct objects
// share nothing.
#pragma once

#include <cstdarg>
#include <cstdlib>

#include "zxvariant/export.h"

class ZXV_EXPORT CZxString {
 public:
  // Empty, without a buffer.
  CZxString() noexcept;
  // A copy of `text` (null is taken as empty).
  explicit CZxString(const char* text);
  virtual ~CZxString();

  CZxString(const CZxString&) = delete;
  CZxString& operator=(const CZxString&) = delete;

  // How growth treats the buffer: 100 or more is the factor in percent of the
  // size asked for; a negative value means the same factor, but the current
  // buffer is not owned and must not be freed; 0 means the string cannot grow.
  virtual int GrowthPercent();
  // When newCapacity exceeds the capacity: moves to a new buffer of
  // newCapacity * |GrowthPercent()| / 100 bytes, keeping the first
  // `keepBytes` bytes (at most the old capacity) as the text.  Otherwise
  // nothing changes.  Throws as described above.
  virtual void Reserve(unsigned newCapacity, unsigned keepBytes);

  // Appends a NUL-terminated text (null appends nothing).
  void Append(const char* text);
  // Appends `count` bytes; the bytes may come from this string itself.
  void Append(const char* text, unsigned count);
  // printf-style append at the end of the text.
  void AppendFormat(const char* format, ...) __attribute__((format(printf, 2, 3)));
  void AppendFormatV(const char* format, va_list args);
  // printf-style write from byte `offset` (at most the length): the text is
  // cut at `offset` and the formatted text follows.  On an exception the
  // text ends at `offset`.
  void FormatAt(unsigned offset, const char* format, ...) __attribute__((format(printf, 3, 4)));
  void FormatAtV(unsigned offset, const char* format, va_list args);

  // Empties the text; the buffer is kept.
  void clear() noexcept;
  // The NUL-terminated text; "" when there is no buffer.  Valid until the
  // next change.
  const char* c_str() const noexcept;
  // Bytes of text, the NUL not counted.
  unsigned length() const noexcept { return m_nLength; }
  // Bytes the buffer holds, the NUL's byte included.
  unsigned capacity() const noexcept { return m_nCapacity; }
  // Bytes that can still be appended without growing (one stays for the NUL).
  unsigned room() const noexcept { return m_nCapacity > m_nLength ? m_nCapacity - m_nLength - 1 : 0; }

 protected:
  // Starts empty in `buffer` (capacity bytes), which this object does not
  // own: the derived class's destructor must clear m_pBuffer before this
  // destructor runs, or free it itself.
  CZxString(char* buffer, unsigned capacity) noexcept;

  char* m_pBuffer;
  unsigned m_nCapacity;
  unsigned m_nLength;
};

// Text inside a caller's buffer, which must outlive the object.
class ZXV_EXPORT CZxBufString : public CZxString {
 public:
  CZxBufString(char* buffer, unsigned capacity) noexcept;
  ~CZxBufString() override;

  int GrowthPercent() override;  // 0: never grows
};

// Text in an N-byte buffer inside the object until it needs more.
template <unsigned N>
class CZxFixedString : public CZxString {
  static_assert(N > 0, "the inner buffer needs room for the NUL");

 public:
  CZxFixedString() noexcept : CZxString(m_szInner, N) { m_szInner[0] = '\0'; }
  explicit CZxFixedString(const char* text) : CZxFixedString() { Append(text); }
  ~CZxFixedString() override {
    if (OnHeap()) std::free(m_pBuffer);
    m_pBuffer = nullptr;
  }

  // -200 while the text is in the inner buffer (which must not be freed),
  // 200 once it lives on the heap.
  int GrowthPercent() override { return OnHeap() ? 200 : -200; }

  // True once the text has moved to a heap buffer.
  bool OnHeap() const noexcept { return m_pBuffer != m_szInner; }

 private:
  char m_szInner[N];
};
