// The printf over char16_t that stands in for _vsnwprintf; see wide_format.h.
//
// One template walks the format and writes through a sink: the bounded sink
// fills a caller's array (counting what does not fit), the string sink
// appends to a std::u16string.  Numbers are formatted into small stack
// buffers; doubles go through std::to_chars, which follows printf in the
// "C" locale whatever the process locale is.
#include "text/wide_format.h"

#include <charconv>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

#include "record/text_numbers.h"
#include "record/utf8.h"

namespace ZxVariantHelper::detail {
namespace {

// ---------------------------------------------------------------- sinks

class BoundedSink {
 public:
  BoundedSink(char16_t* out, std::size_t limit) : out_(out), limit_(out ? limit : 0) {}
  void Put(char16_t unit) {
    if (count_ < limit_) out_[count_] = unit;
    ++count_;
  }
  void Put(const char16_t* units, std::size_t n) {
    if (count_ < limit_) {
      std::size_t room = limit_ - count_;
      std::memcpy(out_ + count_, units, (n < room ? n : room) * sizeof(char16_t));
    }
    count_ += n;
  }
  // ASCII text (digits, signs, "inf").
  void PutAscii(const char* text, std::size_t n) {
    if (count_ < limit_) {
      std::size_t room = limit_ - count_;
      std::size_t k = n < room ? n : room;
      char16_t* to = out_ + count_;
      for (std::size_t i = 0; i < k; ++i) to[i] = static_cast<unsigned char>(text[i]);
    }
    count_ += n;
  }
  void Fill(char16_t unit, std::size_t n) {
    if (count_ < limit_) {
      std::size_t room = limit_ - count_;
      std::size_t k = n < room ? n : room;
      char16_t* to = out_ + count_;
      for (std::size_t i = 0; i < k; ++i) to[i] = unit;
    }
    count_ += n;
  }
  std::size_t count() const { return count_; }

 private:
  char16_t* out_;
  std::size_t limit_;
  std::size_t count_ = 0;
};

class StringSink {
 public:
  explicit StringSink(std::u16string& out) : out_(out) {}
  void Put(char16_t unit) { out_.push_back(unit); }
  void Put(const char16_t* units, std::size_t n) { out_.append(units, n); }
  void PutAscii(const char* text, std::size_t n) {
    std::size_t at = out_.size();
    out_.resize(at + n);
    for (std::size_t i = 0; i < n; ++i) out_[at + i] = static_cast<unsigned char>(text[i]);
  }
  void Fill(char16_t unit, std::size_t n) { out_.append(n, unit); }

 private:
  std::u16string& out_;
};

// ---------------------------------------------------------------- directives

struct Directive {
  bool left = false;
  bool plus = false;
  bool space = false;
  bool alt = false;
  bool zero = false;
  std::size_t width = 0;
  int precision = -1;  // -1: none
};

enum class Size { None, Char, Short, Long, LongLong, Int32, Pointer, IntMax, LongDouble, Wide };

inline bool IsDigit(char16_t c) { return c >= u'0' && c <= u'9'; }

// Reads a decimal count, saturating at INT_MAX.
int ReadCount(const char16_t*& f) {
  long long value = 0;
  while (IsDigit(*f)) {
    value = value * 10 + (*f - u'0');
    if (value > INT_MAX) value = INT_MAX;
    ++f;
  }
  return static_cast<int>(value);
}

template <class Sink>
void Pad(Sink& sink, std::size_t width, std::size_t used) {
  if (width > used) sink.Fill(u' ', width - used);
}

// ---------------------------------------------------------------- integers

template <class Sink>
void EmitInteger(Sink& sink, const Directive& dir, std::uint64_t magnitude, bool negative,
                 bool isSigned, char16_t conv) {
  char digits[24];
  char* end = digits + sizeof digits;
  char* p = end;
  unsigned base = 10;
  const char* set = "0123456789abcdef";
  if (conv == u'x') {
    base = 16;
  } else if (conv == u'X') {
    base = 16;
    set = "0123456789ABCDEF";
  } else if (conv == u'o') {
    base = 8;
  }
  if (!(magnitude == 0 && dir.precision == 0)) {
    std::uint64_t v = magnitude;
    do {
      *--p = set[v % base];
      v /= base;
    } while (v != 0);
  }
  std::size_t ndigits = static_cast<std::size_t>(end - p);

  char prefix[2];
  std::size_t nprefix = 0;
  if (isSigned) {
    if (negative) {
      prefix[nprefix++] = '-';
    } else if (dir.plus) {
      prefix[nprefix++] = '+';
    } else if (dir.space) {
      prefix[nprefix++] = ' ';
    }
  }
  std::size_t zeros = 0;
  if (dir.precision > 0 && static_cast<std::size_t>(dir.precision) > ndigits) {
    zeros = static_cast<std::size_t>(dir.precision) - ndigits;
  }
  if (dir.alt) {
    if (base == 16 && magnitude != 0) {
      prefix[nprefix++] = '0';
      prefix[nprefix++] = static_cast<char>(conv);
    } else if (base == 8 && zeros == 0 && (ndigits == 0 || *p != '0')) {
      zeros = 1;
    }
  }
  if (dir.zero && !dir.left && dir.precision < 0) {
    std::size_t used = nprefix + zeros + ndigits;
    if (dir.width > used) zeros += dir.width - used;
  }
  std::size_t used = nprefix + zeros + ndigits;
  if (!dir.left) Pad(sink, dir.width, used);
  sink.PutAscii(prefix, nprefix);
  sink.Fill(u'0', zeros);
  sink.PutAscii(p, ndigits);
  if (dir.left) Pad(sink, dir.width, used);
}

// ---------------------------------------------------------------- doubles

// Formats |value| (finite) into [first, last); returns the end, or null when
// the buffer is too small.
char* FormatMagnitude(char* first, char* last, double a, char16_t lower, int precision, bool alt) {
  std::to_chars_result r;
  if (lower == u'f') {
    r = std::to_chars(first, last, a, std::chars_format::fixed, precision);
    if (r.ec != std::errc()) return nullptr;
    if (alt && precision == 0) {
      if (r.ptr == last) return nullptr;
      *r.ptr++ = '.';
    }
    return r.ptr;
  }
  if (lower == u'e') {
    r = std::to_chars(first, last, a, std::chars_format::scientific, precision);
    if (r.ec != std::errc()) return nullptr;
    if (alt && precision == 0) {
      // d e+XX -> d. e+XX
      if (r.ptr == last) return nullptr;
      char* e = static_cast<char*>(std::memchr(first, 'e', static_cast<std::size_t>(r.ptr - first)));
      std::memmove(e + 1, e, static_cast<std::size_t>(r.ptr - e));
      *e = '.';
      ++r.ptr;
    }
    return r.ptr;
  }
  // g
  int p = precision == 0 ? 1 : precision;
  if (!alt) {
    r = std::to_chars(first, last, a, std::chars_format::general, p);
    return r.ec == std::errc() ? r.ptr : nullptr;
  }
  // '#': the C rule by hand, keeping trailing zeros and the point.
  r = std::to_chars(first, last, a, std::chars_format::scientific, p - 1);
  if (r.ec != std::errc()) return nullptr;
  char* e = static_cast<char*>(std::memchr(first, 'e', static_cast<std::size_t>(r.ptr - first)));
  int x = 0;
  std::from_chars(e + (e[1] == '+' ? 2 : 1), r.ptr, x);
  if (p > x && x >= -4) {
    r = std::to_chars(first, last, a, std::chars_format::fixed, p - 1 - x);
    if (r.ec != std::errc()) return nullptr;
    if (!std::memchr(first, '.', static_cast<std::size_t>(r.ptr - first))) {
      if (r.ptr == last) return nullptr;
      *r.ptr++ = '.';
    }
    return r.ptr;
  }
  if (!std::memchr(first, '.', static_cast<std::size_t>(e - first))) {
    if (r.ptr == last) return nullptr;
    std::memmove(e + 1, e, static_cast<std::size_t>(r.ptr - e));
    *e = '.';
    ++r.ptr;
  }
  return r.ptr;
}

template <class Sink>
void EmitDouble(Sink& sink, const Directive& dir, double value, char16_t conv) {
  bool upper = conv == u'F' || conv == u'E' || conv == u'G';
  char16_t lower = upper ? static_cast<char16_t>(conv + (u'a' - u'A')) : conv;
  int precision = dir.precision < 0 ? 6 : dir.precision;
  bool negative = std::signbit(value);
  double a = std::fabs(value);

  char sign = 0;
  if (negative) {
    sign = '-';
  } else if (dir.plus) {
    sign = '+';
  } else if (dir.space) {
    sign = ' ';
  }

  char small[400];
  std::unique_ptr<char[]> large;
  const char* body;
  std::size_t nbody;
  bool finite = std::isfinite(a);
  if (!finite) {
    body = std::isnan(a) ? (upper ? "NAN" : "nan") : (upper ? "INF" : "inf");
    nbody = 3;
  } else {
    char* first = small;
    std::size_t size = sizeof small;
    if (precision > 40) {
      size = 340 + static_cast<std::size_t>(precision);
      large.reset(new char[size]);
      first = large.get();
    }
    char* last = FormatMagnitude(first, first + size, a, lower, precision, dir.alt);
    if (!last) return;  // cannot happen with the sizes above
    if (upper) {
      for (char* c = first; c != last; ++c) {
        if (*c >= 'a' && *c <= 'z') *c = static_cast<char>(*c - 'a' + 'A');
      }
    }
    body = first;
    nbody = static_cast<std::size_t>(last - first);
  }

  std::size_t nsign = sign ? 1 : 0;
  std::size_t zeros = 0;
  if (dir.zero && !dir.left && finite && dir.width > nsign + nbody) {
    zeros = dir.width - nsign - nbody;
  }
  std::size_t used = nsign + zeros + nbody;
  if (!dir.left) Pad(sink, dir.width, used);
  if (sign) sink.Put(static_cast<char16_t>(sign));
  sink.Fill(u'0', zeros);
  sink.PutAscii(body, nbody);
  if (dir.left) Pad(sink, dir.width, used);
}

// ---------------------------------------------------------------- strings

template <class Sink>
void EmitUnits(Sink& sink, const Directive& dir, const char16_t* units, std::size_t n) {
  if (!dir.left) Pad(sink, dir.width, n);
  sink.Put(units, n);
  if (dir.left) Pad(sink, dir.width, n);
}

std::size_t WideLength(const char16_t* text, int precision) {
  std::size_t n = 0;
  if (precision < 0) {
    while (text[n]) ++n;
  } else {
    std::size_t cap = static_cast<std::size_t>(precision);
    while (n < cap && text[n]) ++n;
  }
  return n;
}

template <class Sink>
void EmitWideString(Sink& sink, const Directive& dir, const char16_t* text) {
  if (!text) text = u"(null)";
  EmitUnits(sink, dir, text, WideLength(text, dir.precision));
}

template <class Sink>
void EmitNarrowString(Sink& sink, const Directive& dir, const char* text) {
  if (!text) text = "(null)";
  std::size_t bytes;
  if (dir.precision < 0) {
    bytes = std::strlen(text);
  } else {
    bytes = strnlen(text, static_cast<std::size_t>(dir.precision));
    // A cut through a multi-byte character drops the partial character
    // rather than printing it as U+FFFD.
    if (bytes == static_cast<std::size_t>(dir.precision)) {
      for (std::size_t back = 1; back <= 3 && back <= bytes; ++back) {
        unsigned char c = static_cast<unsigned char>(text[bytes - back]);
        if ((c & 0xC0) == 0x80) continue;  // continuation: look further back
        std::size_t need = c >= 0xF0 ? 4 : c >= 0xE0 ? 3 : c >= 0xC0 ? 2 : 1;
        if (need > back && c >= 0xC2 && c <= 0xF4) bytes -= back;
        break;
      }
    }
  }
  char16_t small[512];
  if (bytes <= sizeof small / sizeof small[0]) {
    std::size_t n = Utf8ToUtf16(text, bytes, small, sizeof small / sizeof small[0]);
    EmitUnits(sink, dir, small, n);
  } else {
    std::u16string wide(bytes, u'\0');
    std::size_t n = Utf8ToUtf16(text, bytes, wide.data(), wide.size());
    EmitUnits(sink, dir, wide.data(), n);
  }
}

// ---------------------------------------------------------------- walker

template <class Sink>
void Format(Sink& sink, const char16_t* f, va_list args) {
  while (*f) {
    if (*f != u'%') {
      const char16_t* run = f;
      while (*f && *f != u'%') ++f;
      sink.Put(run, static_cast<std::size_t>(f - run));
      continue;
    }
    const char16_t* start = f++;
    if (*f == u'%') {
      sink.Put(u'%');
      ++f;
      continue;
    }
    Directive dir;
    for (;; ++f) {
      if (*f == u'-') {
        dir.left = true;
      } else if (*f == u'+') {
        dir.plus = true;
      } else if (*f == u' ') {
        dir.space = true;
      } else if (*f == u'#') {
        dir.alt = true;
      } else if (*f == u'0') {
        dir.zero = true;
      } else {
        break;
      }
    }
    if (*f == u'*') {
      ++f;
      int w = va_arg(args, int);
      if (w < 0) {
        dir.left = true;
        dir.width = static_cast<std::size_t>(-static_cast<long long>(w));
      } else {
        dir.width = static_cast<std::size_t>(w);
      }
    } else {
      dir.width = static_cast<std::size_t>(ReadCount(f));
    }
    if (*f == u'.') {
      ++f;
      if (*f == u'*') {
        ++f;
        int p = va_arg(args, int);
        dir.precision = p < 0 ? -1 : p;
      } else {
        dir.precision = ReadCount(f);
      }
    }
    Size size = Size::None;
    switch (*f) {
      case u'h':
        ++f;
        if (*f == u'h') {
          ++f;
          size = Size::Char;
        } else {
          size = Size::Short;
        }
        break;
      case u'l':
        ++f;
        if (*f == u'l') {
          ++f;
          size = Size::LongLong;
        } else {
          size = Size::Long;
        }
        break;
      case u'w':
        ++f;
        size = Size::Wide;
        break;
      case u'L':
        ++f;
        size = Size::LongDouble;
        break;
      case u'j':
        ++f;
        size = Size::IntMax;
        break;
      case u'z':
      case u't':
        ++f;
        size = Size::Pointer;
        break;
      case u'q':
        ++f;
        size = Size::LongLong;
        break;
      case u'I':
        if (f[1] == u'6' && f[2] == u'4') {
          f += 3;
          size = Size::LongLong;
        } else if (f[1] == u'3' && f[2] == u'2') {
          f += 3;
          size = Size::Int32;
        } else {
          ++f;
          size = Size::Pointer;
        }
        break;
      default:
        break;
    }
    char16_t conv = *f;
    if (conv == 0) {  // the format ends inside a conversion: copy it
      sink.Put(start, static_cast<std::size_t>(f - start));
      break;
    }
    ++f;
    switch (conv) {
      case u'd':
      case u'i': {
        long long v;
        switch (size) {
          case Size::Char:
            v = static_cast<signed char>(va_arg(args, int));
            break;
          case Size::Short:
            v = static_cast<short>(va_arg(args, int));
            break;
          case Size::LongLong:
          case Size::IntMax:
            v = va_arg(args, long long);
            break;
          case Size::Pointer:
            v = static_cast<long long>(va_arg(args, std::intptr_t));
            break;
          default:  // none, l (32 bits as on MSVC), I32
            v = va_arg(args, int);
            break;
        }
        bool negative = v < 0;
        std::uint64_t magnitude =
            negative ? 0 - static_cast<std::uint64_t>(v) : static_cast<std::uint64_t>(v);
        EmitInteger(sink, dir, magnitude, negative, true, conv);
        break;
      }
      case u'u':
      case u'x':
      case u'X':
      case u'o': {
        std::uint64_t v;
        switch (size) {
          case Size::Char:
            v = static_cast<unsigned char>(va_arg(args, unsigned int));
            break;
          case Size::Short:
            v = static_cast<unsigned short>(va_arg(args, unsigned int));
            break;
          case Size::LongLong:
          case Size::IntMax:
            v = va_arg(args, unsigned long long);
            break;
          case Size::Pointer:
            v = static_cast<std::uint64_t>(va_arg(args, std::uintptr_t));
            break;
          default:
            v = va_arg(args, unsigned int);
            break;
        }
        EmitInteger(sink, dir, v, false, false, conv);
        break;
      }
      case u'f':
      case u'F':
      case u'e':
      case u'E':
      case u'g':
      case u'G':
        EmitDouble(sink, dir, va_arg(args, double), conv);
        break;
      case u's':
        if (size == Size::Short) {
          EmitNarrowString(sink, dir, va_arg(args, const char*));
        } else {
          EmitWideString(sink, dir, va_arg(args, const char16_t*));
        }
        break;
      case u'S':
        if (size == Size::Long || size == Size::Wide) {
          EmitWideString(sink, dir, va_arg(args, const char16_t*));
        } else {
          EmitNarrowString(sink, dir, va_arg(args, const char*));
        }
        break;
      case u'c':
      case u'C': {
        int v = va_arg(args, int);
        bool narrow = size == Size::Short || (conv == u'C' && size != Size::Long && size != Size::Wide);
        char16_t unit;
        if (narrow) {
          unsigned char byte = static_cast<unsigned char>(v);
          unit = byte < 0x80 ? static_cast<char16_t>(byte) : u'\uFFFD';
        } else {
          unit = static_cast<char16_t>(v);
        }
        EmitUnits(sink, dir, &unit, 1);
        break;
      }
      case u'p': {
        char16_t text[kNumberTextUnits];
        std::size_t n = FormatPointer(va_arg(args, void*), text);
        EmitUnits(sink, dir, text, n);
        break;
      }
      case u'n':
        (void)va_arg(args, void*);  // never written to (as MSVC by default)
        break;
      default:  // unknown: copied as written
        sink.Put(start, static_cast<std::size_t>(f - start));
        break;
    }
  }
}

}  // namespace

std::size_t WideFormatCountV(char16_t* out, std::size_t limit, const char16_t* format,
                             va_list args) {
  if (!format) return 0;
  BoundedSink sink(out, limit);
  Format(sink, format, args);
  return sink.count();
}

int WideFormatV(char16_t* out, std::size_t limit, const char16_t* format, va_list args) {
  if (!format) return -1;
  BoundedSink sink(out, limit);
  Format(sink, format, args);
  std::size_t total = sink.count();
  if (total > limit || total > static_cast<std::size_t>(INT_MAX)) return -1;
  if (total < limit) out[total] = 0;
  return static_cast<int>(total);
}

int WideFormat(char16_t* out, std::size_t limit, const char16_t* format, ...) {
  va_list args;
  va_start(args, format);
  int result = WideFormatV(out, limit, format, args);
  va_end(args);
  return result;
}

void WideAppendFormatV(std::u16string& out, const char16_t* format, va_list args) {
  if (!format) return;
  StringSink sink(out);
  Format(sink, format, args);
}

void WideAppendFormat(std::u16string& out, const char16_t* format, ...) {
  va_list args;
  va_start(args, format);
  WideAppendFormatV(out, format, args);
  va_end(args);
}

std::u16string WideFormatString(const char16_t* format, ...) {
  std::u16string out;
  va_list args;
  va_start(args, format);
  WideAppendFormatV(out, format, args);
  va_end(args);
  return out;
}

}  // namespace ZxVariantHelper::detail
