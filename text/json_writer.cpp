// The JSON writer.
//
// The text goes into one UTF-16 buffer that starts at 256 units and doubles
// whenever an append needs more room, and is handed to the caller at the end.
// Lists are walked with an explicit stack, so records of any depth print
// without recursion.  Records are read through their packed headers and
// memcpy loads only: nothing in a block is aligned.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "record/explicit_stack.h"
#include "record/text_numbers.h"
#include "record/unaligned.h"
#include "zxvariant/json.h"
#include "zxvariant/record.h"

namespace ZxVariantHelper {
namespace {

using T = ZxVariant::TypeCodes;
using detail::LoadUnit;

// The growing output text.  After a failed allocation every append is
// ignored and Release() answers null.
class Output {
 public:
  Output() { Reserve(256); }
  ~Output() { std::free(m_units); }
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  // Room for `more` units beyond the text; false once memory ran out.
  bool Reserve(std::size_t more) {
    if (m_failed) return false;
    if (m_capacity - m_length >= more) return true;
    std::size_t capacity = m_capacity == 0 ? 256 : m_capacity;
    while (capacity - m_length < more) {
      if (capacity > SIZE_MAX / 4) return Failed();
      capacity *= 2;
    }
    auto* units = static_cast<char16_t*>(std::realloc(m_units, capacity * sizeof(char16_t)));
    if (units == nullptr) return Failed();
    m_units = units;
    m_capacity = capacity;
    return true;
  }

  // REQUIRES: Reserve(1).
  void PutReserved(char16_t unit) { m_units[m_length++] = unit; }

  void Put(char16_t unit) {
    if (Reserve(1)) PutReserved(unit);
  }
  // An ASCII literal from this file.
  template <std::size_t kSize>
  void Put(const char16_t (&text)[kSize]) {
    constexpr std::size_t kCount = kSize - 1;  // without the NUL
    if (!Reserve(kCount)) return;
    std::memcpy(m_units + m_length, text, kCount * sizeof(char16_t));
    m_length += kCount;
  }
  // What goes before an element: the comma after the one before it (when
  // `comma`), the line break and `depth` blanks, in one reservation.
  void Break(bool comma, std::size_t depth) {
    if (!Reserve(depth + 2)) return;
    if (comma) PutReserved(u',');
    PutReserved(u'\n');
    char16_t* out = m_units + m_length;
    std::size_t i = 0;
    for (constexpr std::uint64_t kFour = 0x0020002000200020ull; i + 4 <= depth; i += 4) {
      std::memcpy(out + i, &kFour, sizeof kFour);  // four blanks at once
    }
    for (; i < depth; ++i) out[i] = u' ';
    m_length += depth;
  }
  // A number written by one of the text_numbers formatters.
  template <typename Formatter, typename Value>
  void Number(Formatter format, Value value) {
    if (Reserve(detail::kNumberTextUnits)) m_length += format(value, m_units + m_length);
  }

  // Text units at any address, `count` of them, as a JSON string.
  void String(const char16_t* text, std::size_t count);

  // The NUL-terminated text, handed over; null when memory ran out.
  char16_t* Release() {
    if (!Reserve(1)) return nullptr;
    m_units[m_length] = 0;
    char16_t* units = m_units;
    m_units = nullptr;
    return units;
  }

 private:
  bool Failed() {
    m_failed = true;
    return false;
  }

  char16_t* m_units = nullptr;
  std::size_t m_length = 0;
  std::size_t m_capacity = 0;
  bool m_failed = false;
};

// Writes one unit with its escape at `out`; returns the end.
char16_t* PutEscaped(char16_t unit, char16_t* out) {
  static constexpr char16_t kHex[] = u"0123456789abcdef";
  if (unit >= 0x20 && unit < 0x7F) {
    if (unit == u'"' || unit == u'\\') *out++ = u'\\';
    *out++ = unit;
    return out;
  }
  *out++ = u'\\';
  switch (unit) {
    case 0x08: *out++ = u'b'; break;
    case 0x09: *out++ = u't'; break;
    case 0x0A: *out++ = u'n'; break;
    case 0x0C: *out++ = u'f'; break;
    case 0x0D: *out++ = u'r'; break;
    default:
      *out++ = u'u';
      *out++ = kHex[unit >> 12];
      *out++ = kHex[(unit >> 8) & 0xF];
      *out++ = kHex[(unit >> 4) & 0xF];
      *out++ = kHex[unit & 0xF];
      break;
  }
  return out;
}

// The quote, the units with their escapes, the quote.  Printable ASCII
// (0x20-0x7E, the "C" locale's isprint) passes unchanged except " and \;
// every other unit without a short escape becomes \u and four lower-case
// hexadecimal digits, so the text is plain ASCII.  With SSE2, blocks of
// eight units that need no escape are copied as they are.
void Output::String(const char16_t* text, std::size_t count) {
  // Each unit takes at most 6 units of output; work in slices so that a long
  // string never reserves six times its length at once.
  constexpr std::size_t kSlice = 4096;
  Put(u'"');
  for (std::size_t done = 0; done < count;) {
    const std::size_t slice = count - done < kSlice ? count - done : kSlice;
    if (!Reserve(6 * slice)) return;
    char16_t* out = m_units + m_length;
    std::size_t i = done;
    const std::size_t end = done + slice;
#if defined(__SSE2__)
    const char* bytes = reinterpret_cast<const char*>(text);
    while (end - i >= 8) {
      const __m128i units = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + 2 * i));
      // 0x20-0x7E: unit - 0x20 saturates to 0 after subtracting 0x5E more.
      const __m128i printable = _mm_cmpeq_epi16(
          _mm_subs_epu16(_mm_sub_epi16(units, _mm_set1_epi16(0x20)), _mm_set1_epi16(0x5E)), _mm_setzero_si128());
      const __m128i special = _mm_or_si128(_mm_cmpeq_epi16(units, _mm_set1_epi16(u'"')),
                                           _mm_cmpeq_epi16(units, _mm_set1_epi16(u'\\')));
      const unsigned plain = static_cast<unsigned>(_mm_movemask_epi8(_mm_andnot_si128(special, printable)));
      // The 16 bytes always fit: 6 units of room are reserved per unit left.
      _mm_storeu_si128(reinterpret_cast<__m128i*>(out), units);
      if (plain == 0xFFFF) {
        out += 8;
        i += 8;
        continue;
      }
      // The plain units before the first that needs an escape are written;
      // the rest of the block goes unit by unit.
      const std::size_t prefix = static_cast<unsigned>(__builtin_ctz(~plain)) / 2;
      out += prefix;
      for (std::size_t k = i + prefix; k < i + 8; ++k) out = PutEscaped(LoadUnit(text, k), out);
      i += 8;
    }
#endif
    for (; i < end; ++i) out = PutEscaped(LoadUnit(text, i), out);
    m_length = static_cast<std::size_t>(out - m_units);
    done += slice;
  }
  Put(u'"');
}

bool IsNamed(const ZxVariant* node) { return node->name.length != 0 && node->name.str != nullptr; }

// The elements of a List, in order: a built block's entry array holds
// `count` entries; builders and loose records chain from the first entry
// through next.
class Children {
 public:
  Children() = default;
  explicit Children(const ZxVariant* list) {
    const ZxVariant::List& value = list->value.list;
    if (value.items == nullptr || (list->size != 0 && value.count == 0)) return;
    m_next = reinterpret_cast<const ZxVariant*>(detail::LoadSlot(value.items));
    m_left = list->size != 0 ? value.count : UINT32_MAX;
  }
  bool More() const { return m_next != nullptr && m_left != 0; }
  const ZxVariant* Take() {
    const ZxVariant* child = m_next;
    m_next = child->next;
    --m_left;
    return child;
  }

 private:
  const ZxVariant* m_next = nullptr;
  std::uint32_t m_left = 0;
};

// An open List: the elements still to write and how to close it.
struct Frame {
  Children children;
  std::size_t depth;  // of the elements
  char16_t close;
  bool first;
};

class Writer {
 public:
  explicit Writer(Output& out) : m_out(out) {}
  // The record and, through the stack, everything below it.
  bool Write(const ZxVariant* record);

 private:
  // One record at `depth`; a non-empty List only gets its opening bracket
  // or brace and a frame for its elements.
  bool Node(const ZxVariant* node, std::size_t depth);

  Output& m_out;
  detail::ExplicitStack<Frame> m_open;
};

bool Writer::Node(const ZxVariant* node, std::size_t depth) {
  if (IsNamed(node)) {
    m_out.String(node->name.str, node->name.length);
    m_out.Put(u": ");
  }
  switch (node->type) {
    case T::Null: m_out.Put(u"null"); break;
    case T::Register:
      m_out.Number(detail::FormatInt64,
                   static_cast<long long>(reinterpret_cast<std::intptr_t>(node->value.registerValue)));
      break;
    case T::Bool:
      if (node->value.boolValue != 0) {
        m_out.Put(u"true");
      } else {
        m_out.Put(u"false");
      }
      break;
    case T::Int: m_out.Number(detail::FormatInt, static_cast<int>(node->value.intValue)); break;
    case T::Int64: m_out.Number(detail::FormatInt64, static_cast<long long>(node->value.int64Value)); break;
    case T::Float: m_out.Number(detail::FormatDouble, static_cast<double>(node->value.floatValue)); break;
    case T::Buffer: {
      m_out.Put(u'[');
      const auto* bytes = static_cast<const unsigned char*>(node->value.buffer.data);
      const std::uint32_t size = bytes != nullptr ? node->value.buffer.size : 0;
      for (std::uint32_t i = 0; i < size; ++i) {
        if (i != 0) m_out.Put(u", ");
        m_out.Number(detail::FormatInt, static_cast<int>(bytes[i]));
      }
      m_out.Put(u']');
      break;
    }
    case T::String:
      if (node->value.string.str != nullptr) {
        m_out.String(node->value.string.str, node->value.string.length);
      } else {
        m_out.Put(u"\"\"");
      }
      break;
    case T::List: {
      bool named = false;
      for (Children scan(node); scan.More() && !named;) named = IsNamed(scan.Take());
      Children children(node);
      m_out.Put(named ? u'{' : u'[');
      if (!children.More()) {
        m_out.Put(named ? u'}' : u']');
        break;
      }
      if (!m_open.Push(Frame{children, depth + 4, named ? u'}' : u']', true})) return false;
      break;
    }
    default:
      break;  // an unknown type code has no value text
  }
  return true;
}

bool Writer::Write(const ZxVariant* record) {
  if (!Node(record, 0)) return false;
  while (!m_open.Empty()) {
    Frame& frame = m_open.Top();
    if (!frame.children.More()) {
      m_out.Put(frame.close);
      m_open.Pop();
      continue;
    }
    m_out.Break(!frame.first, frame.depth);
    frame.first = false;
    const ZxVariant* child = frame.children.Take();
    if (!Node(child, frame.depth)) return false;  // frame is stale from here on
  }
  return true;
}

}  // namespace

char16_t* NewJson(const ZxVariant* record) {
  Output out;
  if (record != nullptr) {
    // One more bracket or brace around the record than its value needs, so
    // that reading the text back unwraps to this record, name included.
    const bool named = IsNamed(record);
    out.Put(named ? u'{' : u'[');
    Writer writer(out);
    if (!writer.Write(record)) return nullptr;
    out.Put(named ? u'}' : u']');
  }
  return out.Release();
}

}  // namespace ZxVariantHelper
