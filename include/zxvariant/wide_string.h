// AppendableWideString: the growable UTF-16 buffer that every printer and
// text writer of the library writes into.  It offers plain,
// printf-style and XML-escaping appends, and hands its finished, NUL-
// terminated text to the caller as a malloc'd block.
//
// Example:
//
//   using ZxVariantHelper::AppendableWideString;
//   AppendableWideString out(256);              // 256 units, from malloc
//   out.Append(u"<%s", u"port");                // formatted append
//   out.Append(u' ');
//   out.AppendXml(u"v=\"%d\" a&b", 80);         // escaped: v=&quot;80&quot; a&amp;b
//   out.AppendSpace(4);                         // four blanks
//   char16_t* text = out.Release();             // NUL-terminated; out is empty
//   // ... use text ...
//   ZxVariantHelper::Delete(text);              // free()
//
// The formatted appends use the library's own printf over char16_t (the
// replacement of _vsnwprintf): %s and %ls take const char16_t*, %S and %hs a
// UTF-8 const char*, %c a char16_t (passed as int); %d %i %u %x %X with flags,
// width and precision; %.*s and %*d; %I64d %I64u %lld %llu; %Id; %g %f %e as
// C99 printf (locale-independent); %p (upper-case hex, 8 digits when the
// value fits in 32 bits, else 16); %%.  A null %s argument prints "(null)".
// A null format appends nothing.
//
// Growth (ReserveCapacity): a request n beyond the capacity makes the new
// capacity 32 when n < 16, 2n when n < 0x20000, and n + n/2 from there on
// (geometric throughout, so long outputs append in amortised constant time).
// When malloc fails the buffer is left as it was and the append that needed
// the room writes nothing (the library never crashes on it).
//
// Thread safety: an object is used by one thread at a time; distinct objects
// share nothing.
#pragma once

#include <cstddef>
#include <cstdint>

#include "zxvariant/export.h"

namespace ZxVariantHelper {

class ZXV_EXPORT AppendableWideString {
 public:
  // Zeroes the three fields, then reserves `initialCapacity` units (0 takes
  // no block at all).  The printers start with 256.
  explicit AppendableWideString(unsigned int initialCapacity);
  // Frees the buffer if non-null.
  ~AppendableWideString();

  // HAZARD: assignment copies the three fields, as callers have always
  // relied on; both objects then share one buffer, and both destructors would
  // free it.  The caller must make sure only one of them frees it (for
  // instance by calling Release() on one side and freeing that text once).
  // The target's old buffer is NOT freed (it leaks unless the target was
  // empty).
  AppendableWideString& operator=(const AppendableWideString& other);
  // Copy construction would share the buffer the same way; it is refused.
  AppendableWideString(const AppendableWideString&) = delete;

  // Length and capacity to 0, frees the buffer and sets it to null.
  void Clear();

  // Appends one unit.
  void Append(char16_t unit);
  // printf-style append (see above); a null format appends nothing.
  void Append(const char16_t* format, ...);
  // Appends n blanks (U+0020).
  void AppendSpace(unsigned int n);
  // Appends one unit with XML escaping: " & ' < > become &quot; &amp; &apos;
  // &lt; &gt;; every other unit passes unchanged.
  void AppendXml(char16_t unit);
  // Formats as Append does, then appends the result with XML escaping.
  void AppendXml(const char16_t* format, ...);

  // Stores a 0 after the text (growing if needed); Length() is unchanged.
  // The text is NOT kept terminated by the other appends: call this (or
  // Release) before reading Buffer() as a C string.
  void NullTerminate();

  // Hands the finished text to the caller: NUL-terminates it and returns the
  // malloc'd buffer, which the caller frees with ZxVariantHelper::Delete
  // (char16_t*) / free().  The object is left empty (length, capacity 0,
  // buffer null).  Null only when no buffer could ever be allocated.
  char16_t* Release();

  // Units written so far, the terminator not counted.
  unsigned int Length() const { return length_; }
  // Units the buffer can hold.
  unsigned int Capacity() const { return capacity_; }
  // The text (null when there is no buffer); not NUL-terminated unless
  // NullTerminate() was called after the last append.
  const char16_t* Buffer() const { return buffer_; }

 private:
  // Growth rule above.  True when afterwards capacity >= n.
  bool ReserveCapacity(unsigned int n);
  // Appends `count` units with XML escaping.
  void AppendXmlUnits(const char16_t* units, std::size_t count);

  // Length and capacity in units, then the buffer; the pointer is a full
  // pointer on a 64-bit build.
  std::uint32_t length_;
  std::uint32_t capacity_;
  char16_t* buffer_;
};

}  // namespace ZxVariantHelper
