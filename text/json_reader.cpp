// The JSON reader.
//
// Reading runs in two passes and never recurses:
//   1. The parser walks the text once with an explicit stack of open arrays
//      and objects and records every node it meets as one compact Event, in
//      document order (which is also the order of the nodes in the block).
//      A string or name without escapes is kept as a range of the input; only
//      escaped ones are decoded, into one shared pool.  When an array or
//      object closes, its Event learns its child count, its subtree's byte
//      size and its subtree's Event count, so that the byte offset of every
//      node is known before anything is written.
//   2. One malloc'd block of the exact size is filled front to back: each
//      node writes its header, name, String units or entry array; a List finds
//      its children's offsets by hopping over their subtrees, a node links to
//      its next sibling at its own offset plus its subtree size.
// The block is byte for byte what laying out the equivalent builder tree
// gives, without one heap object per node.
//
// Runs of blanks and the plain units of strings are passed over eight units
// at a time where the processor has SSE2 (see RunEnd).  Numbers are read
// straight from the text unless a blank lies inside them.
#include <cerrno>
#include <charconv>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <new>
#include <string>
#include <vector>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "record/explicit_stack.h"
#include "record/text_numbers.h"
#include "record/unaligned.h"
#include "record/value_bytes.h"
#include "zxvariant/json.h"
#include "zxvariant/record.h"

namespace ZxVariantHelper {
namespace {

using T = ZxVariant::TypeCodes;
using detail::LoadUnit;

constexpr std::uint64_t kMaxBlock = 0xFFFFFFFFu;
constexpr std::uint64_t kHeader = sizeof(ZxVariant);
// The outermost List costs a header and one entry more than a single element
// that is unwrapped from it; beyond this total no result can fit in a block.
constexpr std::uint64_t kMaxTotal = kMaxBlock + kHeader + 8;

// What the parser expected where it stopped.
constexpr const char16_t* kExpectOpen = u"[ or {";
constexpr const char16_t* kExpectValue = u"string, number, object, array, true, false, or null";
constexpr const char16_t* kExpectColon = u":";
constexpr const char16_t* kExpectObjectNext = u", or }";
constexpr const char16_t* kExpectArrayNext = u", or ]";
constexpr const char16_t* kExpectQuote = u"\"";
constexpr const char16_t* kExpectStringUnit = u"string character or \\ or \"";
constexpr const char16_t* kExpectEscape = u"escaped character: \", \\, /, b, f, n, r, t, or u";
constexpr const char16_t* kExpectHex = u"4 hex digits";
constexpr const char16_t* kExpectNumber = u"number";
constexpr const char16_t* kExpectShallower = u"at most 10000 levels of nested arrays and objects";
static_assert(kJsonMaxNesting == 10000, "kExpectShallower names the limit");

// Character classes of the units below 128 (every other unit is "other").
enum Class : std::uint8_t {
  kOther, kBlank, kOpenBracket, kCloseBracket, kOpenBrace, kCloseBrace, kQuote, kDigit,
  kMinus, kLetterT, kLetterF, kLetterN, kEnd,
};

struct ClassTable {
  Class of[128];
  constexpr ClassTable() : of() {
    for (Class& c : of) c = kOther;
    // isspace in the "C" locale.
    for (char16_t unit : u" \t\n\v\f\r") of[unit] = kBlank;
    for (char16_t unit = u'0'; unit <= u'9'; ++unit) of[unit] = kDigit;
    of[u'['] = kOpenBracket;
    of[u']'] = kCloseBracket;
    of[u'{'] = kOpenBrace;
    of[u'}'] = kCloseBrace;
    of[u'"'] = kQuote;
    of[u'-'] = kMinus;
    of[u't'] = kLetterT;
    of[u'f'] = kLetterF;
    of[u'n'] = kLetterN;
    of[0] = kEnd;
  }
};
constexpr ClassTable kClasses;

inline Class ClassOf(char16_t unit) { return unit < 128 ? kClasses.of[unit] : kOther; }

// isspace in the "C" locale: space, tab, LF, VT, FF, CR.  Every unit above the
// space is answered by the first comparison.
inline bool IsBlankUnit(char16_t unit) { return unit <= u' ' && (unit == u' ' || (unit >= u'\t' && unit <= u'\r')); }

// Where a run of units ends: the first unit at or after `pos` that is no
// blank (kBlanks), or that is a quote, a backslash or U+0000 (strings).
//
// With SSE2 and an even text address, whole 16-byte blocks are compared at
// once.  The blocks are aligned, so a load never crosses into another page;
// the first and the last block of a run may hold bytes before `pos` and
// after the terminating U+0000, which are ignored.  Those bytes may lie
// outside the caller's allocation, so StopMask is left out of address
// sanitizing: its loads are safe by construction, not by the allocation's
// bounds.
enum class Run { kBlanks, kStringUnits };

#if defined(__GNUC__) || defined(__clang__)
#define ZXV_NO_ADDRESS_SANITIZING __attribute__((no_sanitize_address))
#else
#define ZXV_NO_ADDRESS_SANITIZING
#endif

#if defined(__SSE2__)
// One bit per byte of the aligned 16-byte block at `address`, set where the
// run stops.
template <Run kRun>
ZXV_NO_ADDRESS_SANITIZING unsigned StopMask(std::uintptr_t address) {
  const __m128i units = _mm_load_si128(reinterpret_cast<const __m128i*>(address));
  __m128i stop;
  if constexpr (kRun == Run::kBlanks) {
    // Space, or \t..\r: unit - 9 saturates to 0 after subtracting 4 more.
    const __m128i space = _mm_cmpeq_epi16(units, _mm_set1_epi16(u' '));
    const __m128i control = _mm_cmpeq_epi16(
        _mm_subs_epu16(_mm_sub_epi16(units, _mm_set1_epi16(9)), _mm_set1_epi16(4)), _mm_setzero_si128());
    stop = _mm_andnot_si128(_mm_or_si128(space, control), _mm_set1_epi16(-1));
  } else {
    stop = _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi16(units, _mm_set1_epi16(u'"')),
                                     _mm_cmpeq_epi16(units, _mm_set1_epi16(u'\\'))),
                        _mm_cmpeq_epi16(units, _mm_setzero_si128()));
  }
  return static_cast<unsigned>(_mm_movemask_epi8(stop));
}
#endif

template <Run kRun>
std::size_t RunEnd(const char16_t* text, std::size_t pos) {
#if defined(__SSE2__)
  const auto at = reinterpret_cast<std::uintptr_t>(text) + 2 * pos;
  if ((at & 1) == 0) {
    std::uintptr_t block = at & ~std::uintptr_t{15};
    unsigned mask = StopMask<kRun>(block) & (0xFFFFu << (at - block));
    while (mask == 0) {
      block += 16;
      mask = StopMask<kRun>(block);
    }
    return (block + static_cast<unsigned>(__builtin_ctz(mask)) - reinterpret_cast<std::uintptr_t>(text)) / 2;
  }
#endif
  for (;; ++pos) {
    const char16_t unit = LoadUnit(text, pos);
    if constexpr (kRun == Run::kBlanks) {
      if (!IsBlankUnit(unit)) return pos;
    } else {
      if (unit == u'"' || unit == u'\\' || unit == 0) return pos;
    }
  }
}

// The characters of a number as the reader gathers them: on the stack up to
// kInline units (every ordinary number), in a heap string beyond.
class NumberText {
 public:
  static constexpr std::size_t kInline = 64;

  void push_back(char16_t unit) {
    if (m_size < kInline) {
      m_inline[m_size++] = unit;
      return;
    }
    if (m_size == kInline) m_spill.assign(m_inline, kInline);
    m_spill.push_back(unit);
    ++m_size;
  }
  const char16_t* data() const { return m_size <= kInline ? m_inline : m_spill.data(); }
  std::size_t size() const { return m_size; }

 private:
  char16_t m_inline[kInline];
  std::size_t m_size = 0;
  std::u16string m_spill;
};

// A run of UTF-16 units: a range of the input text, or of the escape pool.
struct Units {
  std::size_t start = 0;
  std::uint32_t length = 0;
  bool pooled = false;
};

// One node of the result, in document order.
struct Event {
  std::uint64_t value;      // Bool, Int, Int64, Float bits; String: start of its units
  std::uint64_t bytes;      // the node's whole block, descendants included
  std::size_t nameStart;
  std::uint32_t nameLength;  // 0: unnamed
  std::uint32_t count;       // String: units; List: children
  std::uint32_t nodes;       // Events in the subtree, this one included
  T type;
  std::uint8_t flags;
};
enum : std::uint8_t { kNamePooled = 1, kValuePooled = 2, kHasNext = 4 };

// The Events, in chunks that never move: a long text neither copies the
// Events already read nor holds two arrays of them while growing.
class EventStore {
 public:
  EventStore() = default;
  EventStore(const EventStore&) = delete;
  EventStore& operator=(const EventStore&) = delete;
  ~EventStore() {
    for (Event* chunk : m_chunks) std::free(chunk);
  }

  std::size_t size() const { return m_size; }
  Event& operator[](std::size_t index) { return m_chunks[index >> kShift][index & kMask]; }
  const Event& operator[](std::size_t index) const { return m_chunks[index >> kShift][index & kMask]; }

  void push_back(const Event& event) {
    if (m_size == m_capacity) Grow();
    m_chunks[m_size >> kShift][m_size & kMask] = event;
    ++m_size;
  }

 private:
  static constexpr std::size_t kShift = 14;
  static constexpr std::size_t kChunk = std::size_t{1} << kShift;
  static constexpr std::size_t kMask = kChunk - 1;
  static constexpr std::size_t kFirst = 64;  // short texts take little memory

  void Grow() {
    if (m_capacity == kFirst) {
      // The small first chunk becomes a full one.
      auto* chunk = static_cast<Event*>(std::malloc(kChunk * sizeof(Event)));
      if (chunk == nullptr) throw std::bad_alloc();
      std::memcpy(static_cast<void*>(chunk), m_chunks[0], m_size * sizeof(Event));
      std::free(m_chunks[0]);
      m_chunks[0] = chunk;
      m_capacity = kChunk;
      return;
    }
    const std::size_t count = m_capacity == 0 ? kFirst : kChunk;
    m_chunks.push_back(nullptr);
    m_chunks.back() = static_cast<Event*>(std::malloc(count * sizeof(Event)));
    if (m_chunks.back() == nullptr) throw std::bad_alloc();
    m_capacity += count;
  }

  std::vector<Event*> m_chunks;
  std::size_t m_size = 0;
  std::size_t m_capacity = 0;
};

// An open array or object.
struct Frame {
  std::uint64_t totalAtOpen;  // running block total before the List's Event
  std::uint32_t event;
  std::uint32_t lastChild;    // Event of the latest child, kNone before the first
  std::uint32_t count;
  bool object;
};
constexpr std::uint32_t kNone = 0xFFFFFFFFu;

class Parser {
 public:
  explicit Parser(const char16_t* text) : m_text(text) {}

  // Pass 1; false with m_expected (null for no syntax error) on failure.
  bool Parse();
  // Pass 2: the block, or null when it is too big or memory runs out.
  ZxVariant* Lay() const;

  const char16_t* Expected() const { return m_expected; }
  std::size_t Position() const { return m_pos; }

 private:
  char16_t At(std::size_t index) const { return LoadUnit(m_text, index); }
  char16_t Current() const { return At(m_pos); }
  // Most calls meet no blank or a single one; longer runs go to RunEnd.
  void SkipBlanks() {
    if (!IsBlankUnit(Current())) return;
    if (!IsBlankUnit(At(++m_pos))) return;
    m_pos = RunEnd<Run::kBlanks>(m_text, m_pos + 1);
  }
  bool Fail(const char16_t* expected) {
    m_expected = expected;
    return false;
  }

  // Appends an Event for a node of `type` named `name`; `own` is its bytes
  // apart from the name.  Fails when the total passes every block limit.
  bool AddEvent(T type, const Units& name, std::uint64_t own, std::uint64_t value,
                std::uint32_t count, bool valuePooled);
  bool OpenList(const Units& name, bool object);
  void CloseList();
  bool ReadString(Units* out);
  bool ReadKeyword(const char16_t* word, std::size_t length);
  bool ReadNumber(std::uint64_t* bits, T* type);
  bool ReadNumberWithBlanks(std::uint64_t* bits, T* type);
  bool ReadValue(const Units& name, bool* opened);

  const char16_t* m_text;
  std::size_t m_pos = 0;
  const char16_t* m_expected = nullptr;
  std::uint64_t m_total = 0;
  std::size_t m_depth = 0;  // open arrays and objects
  EventStore m_events;
  std::u16string m_pool;  // decoded escaped strings
  detail::ExplicitStack<Frame> m_open;
};

bool Parser::AddEvent(T type, const Units& name, std::uint64_t own, std::uint64_t value,
                      std::uint32_t count, bool valuePooled) {
  own += kHeader + detail::TextBytes(name.length);
  m_total += own;
  if (m_total > kMaxTotal) return Fail(nullptr);
  const auto index = static_cast<std::uint32_t>(m_events.size());
  Frame& parent = m_open.Top();
  if (parent.lastChild != kNone) m_events[parent.lastChild].flags |= kHasNext;
  parent.lastChild = index;
  ++parent.count;
  std::uint8_t flags = (name.pooled ? kNamePooled : 0) | (valuePooled ? kValuePooled : 0);
  m_events.push_back(Event{value, own, name.start, name.length, count, 1, type, flags});
  return true;
}

bool Parser::OpenList(const Units& name, bool object) {
  if (m_depth >= kJsonMaxNesting) return Fail(kExpectShallower);
  const std::uint64_t totalAtOpen = m_total;
  if (!AddEvent(T::List, name, 0, 0, 0, false)) return false;
  const auto index = static_cast<std::uint32_t>(m_events.size() - 1);
  if (!m_open.Push(Frame{totalAtOpen, index, kNone, 0, object})) throw std::bad_alloc();
  ++m_depth;
  ++m_pos;
  return true;
}

// Completes the innermost List: its entries, size and subtree extent.
void Parser::CloseList() {
  const Frame frame = m_open.Top();
  m_open.Pop();
  --m_depth;
  m_total += 8ull * frame.count;
  Event& list = m_events[frame.event];
  list.count = frame.count;
  list.bytes = m_total - frame.totalAtOpen;
  list.nodes = static_cast<std::uint32_t>(m_events.size() - frame.event);
  ++m_pos;
}

// A string: the units before its first U+0000 in *out.  Stays a range of
// the input until the first escape; from there on it is decoded to the pool.
bool Parser::ReadString(Units* out) {
  SkipBlanks();
  if (Current() != u'"') return Fail(kExpectQuote);
  const std::size_t begin = ++m_pos;
  m_pos = RunEnd<Run::kStringUnits>(m_text, begin);
  char16_t unit = Current();
  if (unit == 0) return Fail(kExpectStringUnit);
  if (unit == u'"') {
    const std::size_t length = m_pos - begin;
    if (length > kMaxBlock) return Fail(nullptr);
    *out = Units{begin, static_cast<std::uint32_t>(length), false};
    ++m_pos;
    return true;
  }
  // Decode into the pool; the units up to the backslash come first.
  const std::size_t start = m_pool.size();
  for (std::size_t i = begin; i < m_pos; ++i) m_pool.push_back(At(i));
  for (;;) {
    unit = Current();
    if (unit == u'"') break;
    if (unit == 0) return Fail(kExpectStringUnit);
    ++m_pos;
    if (unit == u'\\') {
      switch (Current()) {
        case u'"': unit = u'"'; break;
        case u'\\': unit = u'\\'; break;
        case u'/': unit = u'/'; break;
        case u'b': unit = 0x08; break;
        case u'f': unit = 0x0C; break;
        case u'n': unit = 0x0A; break;
        case u'r': unit = 0x0D; break;
        case u't': unit = 0x09; break;
        case u'u': {
          unsigned code = 0;
          for (int k = 0; k < 4; ++k) {
            const int digit = detail::HexDigitValue(At(m_pos + 1));
            if (digit < 0) {
              ++m_pos;
              return Fail(kExpectHex);
            }
            ++m_pos;
            code = code << 4 | static_cast<unsigned>(digit);
          }
          unit = static_cast<char16_t>(code);
          break;
        }
        default:
          return Fail(kExpectEscape);
      }
      ++m_pos;
    }
    m_pool.push_back(unit);
  }
  ++m_pos;
  // A record's text ends at its first NUL, as every builder copies it.
  std::size_t length = 0;
  const std::size_t end = m_pool.size();
  while (start + length < end && m_pool[start + length] != 0) ++length;
  if (length > kMaxBlock) return Fail(nullptr);
  *out = Units{start, static_cast<std::uint32_t>(length), true};
  if (length == 0) m_pool.resize(start);
  return true;
}

bool Parser::ReadKeyword(const char16_t* word, std::size_t length) {
  for (std::size_t i = 0; i < length; ++i) {
    if (Current() != word[i]) return Fail(word);
    ++m_pos;
  }
  return true;
}

// A number.  Blanks may lie between its digits (see json.h), but they
// hardly ever do: a number without blanks inside is read straight from the
// text; any other goes to ReadNumberWithBlanks, which gives the same result
// for every number.
bool Parser::ReadNumber(std::uint64_t* bits, T* type) {
  const std::size_t start = m_pos;
  std::size_t pos = start;
  char ascii[64];  // the text as from_chars takes it; longer texts are not kept
  std::size_t length = 0;
  char16_t unit = At(pos);
  auto take = [&] {
    if (length < sizeof ascii) ascii[length] = static_cast<char>(unit);
    ++length;
    unit = At(++pos);
  };
  auto digits = [&] {
    const std::size_t first = pos;
    while (unit >= u'0' && unit <= u'9') take();
    return pos - first;
  };
  if (unit == u'-') take();
  const std::size_t integerDigits = digits();
  const bool isFloat = unit == u'.';
  if (isFloat) {
    take();
    digits();
    if (unit == u'e' || unit == u'E') {
      take();
      if (unit == u'+' || unit == u'-') take();
      digits();
    }
  }
  if (integerDigits == 0 || IsBlankUnit(unit)) return ReadNumberWithBlanks(bits, type);
  m_pos = pos;
  if (!isFloat) {
    const bool negative = ascii[0] == '-';
    if (integerDigits <= 9) {
      // Cannot reach the 32-bit limits: read it here.
      int value = 0;
      for (std::size_t i = negative ? 1 : 0; i < length; ++i) value = value * 10 + (ascii[i] - '0');
      *bits = static_cast<std::uint32_t>(negative ? -value : value);
      *type = T::Int;
      return true;
    }
    // The runtime's readers, saturation and errno included.
    const int narrow = detail::ParseInt(m_text + start, length);
    if (narrow == INT_MAX || narrow == INT_MIN) {
      *bits = static_cast<std::uint64_t>(detail::ParseInt64(m_text + start, length));
      *type = T::Int64;
    } else {
      *bits = static_cast<std::uint32_t>(narrow);
      *type = T::Int;
    }
    return true;
  }
  double value = 0;
  // Correctly rounded like strtod; long and out-of-range texts take the
  // slow road.
  if (length > sizeof ascii || std::from_chars(ascii, ascii + length, value).ec != std::errc()) {
    value = detail::ParseDouble(m_text + start, length);
  }
  std::memcpy(bits, &value, sizeof value);
  *type = T::Float;
  return true;
}

// Any number: the units that make it up, without the blanks between them,
// are gathered in a NumberText.
bool Parser::ReadNumberWithBlanks(std::uint64_t* bits, T* type) {
  NumberText text;
  if (Current() == u'-') {
    text.push_back(u'-');
    ++m_pos;
  }
  // Digits, each after skipping the blanks before it.
  auto takeDigits = [this, &text]() {
    std::size_t taken = 0;
    std::size_t pos = m_pos;
    for (;;) {
      char16_t unit = At(pos);
      while (IsBlankUnit(unit)) unit = At(++pos);
      if (unit < u'0' || unit > u'9') break;
      text.push_back(unit);
      ++pos;
      ++taken;
    }
    m_pos = pos;
    return taken;
  };
  const std::size_t integerDigits = takeDigits();
  if (integerDigits == 0) return Fail(kExpectNumber);
  SkipBlanks();
  const char16_t* units;
  std::size_t length;
  if (Current() != u'.') {
    units = text.data();
    length = text.size();
    const bool negative = units[0] == u'-';
    if (integerDigits <= 9) {
      // Cannot reach the 32-bit limits: read it here.
      int value = 0;
      for (std::size_t i = negative ? 1 : 0; i < length; ++i) value = value * 10 + (units[i] - u'0');
      *bits = static_cast<std::uint32_t>(negative ? -value : value);
      *type = T::Int;
    } else {
      // The runtime's readers, saturation and errno included.
      const int narrow = detail::ParseInt(units, length);
      if (narrow == INT_MAX || narrow == INT_MIN) {
        *bits = static_cast<std::uint64_t>(detail::ParseInt64(units, length));
        *type = T::Int64;
      } else {
        *bits = static_cast<std::uint32_t>(narrow);
        *type = T::Int;
      }
    }
    return true;
  }
  text.push_back(u'.');
  ++m_pos;
  takeDigits();
  SkipBlanks();
  if (Current() == u'e' || Current() == u'E') {
    text.push_back(Current());
    ++m_pos;
    if (Current() == u'+' || Current() == u'-') {
      text.push_back(Current());
      ++m_pos;
    }
    takeDigits();
  }
  units = text.data();
  length = text.size();
  double value = 0;
  bool done = false;
  char ascii[64];
  if (length <= sizeof ascii) {
    for (std::size_t i = 0; i < length; ++i) ascii[i] = static_cast<char>(units[i]);
    // Correctly rounded like strtod; out-of-range texts take the slow road.
    done = std::from_chars(ascii, ascii + length, value).ec == std::errc();
  }
  if (!done) value = detail::ParseDouble(units, length);
  std::memcpy(bits, &value, sizeof value);
  *type = T::Float;
  return true;
}

// A value at the current position, named `name`.  *opened tells that it
// opened an array or object, whose members come next.
bool Parser::ReadValue(const Units& name, bool* opened) {
  SkipBlanks();
  *opened = false;
  switch (ClassOf(Current())) {
    case kOpenBracket:
    case kOpenBrace:
      *opened = true;
      return OpenList(name, Current() == u'{');
    case kQuote: {
      Units text;
      if (!ReadString(&text)) return false;
      return AddEvent(T::String, name, detail::TextBytes(text.length), text.start, text.length,
                      text.pooled);
    }
    case kLetterT:
      return ReadKeyword(u"true", 4) && AddEvent(T::Bool, name, 0, 1, 0, false);
    case kLetterF:
      return ReadKeyword(u"false", 5) && AddEvent(T::Bool, name, 0, 0, 0, false);
    case kLetterN:
      return ReadKeyword(u"null", 4) && AddEvent(T::Null, name, 0, 0, 0, false);
    case kDigit:
    case kMinus: {
      std::uint64_t bits;
      T type;
      return ReadNumber(&bits, &type) && AddEvent(type, name, 0, bits, 0, false);
    }
    default:
      return Fail(kExpectValue);
  }
}

bool Parser::Parse() {
  SkipBlanks();
  const Class first = ClassOf(Current());
  if (first != kOpenBracket && first != kOpenBrace) return Fail(kExpectOpen);
  // The outermost array or object: an unnamed List with no parent frame.
  m_events.push_back(Event{0, 0, 0, 0, 0, 1, T::List, 0});
  m_total = kHeader;
  if (!m_open.Push(Frame{0, 0, kNone, 0, first == kOpenBrace})) throw std::bad_alloc();
  m_depth = 1;
  ++m_pos;
  bool startPass = true;  // at the start of a pass of the innermost loop
  for (;;) {
    if (startPass) {
      const Frame& frame = m_open.Top();
      const char16_t close = frame.object ? u'}' : u']';
      // The close test comes first in every pass, so [] and {} are empty and
      // a trailing comma is accepted on purpose, for compatibility with every
      // producer of such text.
      SkipBlanks();
      if (Current() != close) {
        Units name;
        if (frame.object) {
          if (!ReadString(&name)) return false;
          SkipBlanks();
          if (Current() != u':') return Fail(kExpectColon);
          ++m_pos;
        }
        bool opened;
        if (!ReadValue(name, &opened)) return false;
        if (opened) continue;  // startPass stays true for the new List
      }
    }
    // After a member: the List ends or another pass follows.
    const Frame& current = m_open.Top();
    SkipBlanks();
    if (Current() == (current.object ? u'}' : u']')) {
      CloseList();
      if (m_open.Empty()) return true;  // text after the outermost List is ignored
      startPass = false;
    } else if (Current() == u',') {
      ++m_pos;
      startPass = true;
    } else {
      return Fail(current.object ? kExpectObjectNext : kExpectArrayNext);
    }
  }
}

ZxVariant* Parser::Lay() const {
  // A single element is the result itself, unwrapped on purpose.
  const std::uint32_t root = m_events[0].count == 1 ? 1 : 0;
  const Event& top = m_events[root];
  if (top.bytes > kMaxBlock) return nullptr;
  char* block = static_cast<char*>(std::malloc(top.bytes));
  if (block == nullptr) return nullptr;
  auto copyUnits = [this](char* to, std::size_t start, std::uint32_t length, bool pooled) {
    const char16_t* from = pooled ? m_pool.data() + start : m_text + start;
    std::memcpy(to, from, 2ull * length);
    std::memset(to + 2ull * length, 0, 2);
    return to + 2ull * length + 2;
  };
  char* cursor = block;
  const std::uint32_t end = root + top.nodes;
  for (std::uint32_t i = root; i < end; ++i) {
    const Event& e = m_events[i];
    char* const at = cursor;
    ZxVariant node{};
    node.size = static_cast<std::uint32_t>(e.bytes);
    node.type = e.type;
    cursor += kHeader;
    if (e.nameLength != 0) {
      node.name.length = e.nameLength;
      node.name.str = reinterpret_cast<const char16_t*>(cursor);
      cursor = copyUnits(cursor, e.nameStart, e.nameLength, (e.flags & kNamePooled) != 0);
    }
    switch (e.type) {
      case T::Bool: node.value.boolValue = static_cast<std::uint8_t>(e.value); break;
      case T::Int: node.value.intValue = static_cast<std::int32_t>(static_cast<std::uint32_t>(e.value)); break;
      case T::Int64: node.value.int64Value = static_cast<std::int64_t>(e.value); break;
      case T::Float: std::memcpy(&node.value.floatValue, &e.value, sizeof(double)); break;
      case T::String:
        if (e.count != 0) {
          node.value.string.length = e.count;
          node.value.string.str = reinterpret_cast<const char16_t*>(cursor);
          cursor = copyUnits(cursor, e.value, e.count, (e.flags & kValuePooled) != 0);
        }
        break;
      case T::List:
        node.value.list.count = e.count;
        if (e.count != 0) {
          node.value.list.items = reinterpret_cast<ZxVariant**>(cursor);
          char* child = cursor + 8ull * e.count;
          std::uint32_t c = i + 1;
          for (std::uint32_t k = 0; k < e.count; ++k) {
            detail::StoreSlot(cursor + 8ull * k, detail::Address(child));
            child += m_events[c].bytes;
            c += m_events[c].nodes;
          }
          cursor += 8ull * e.count;
        }
        break;
      default:
        break;
    }
    if ((e.flags & kHasNext) != 0 && i != root) node.next = reinterpret_cast<ZxVariant*>(at + e.bytes);
    std::memcpy(at, &node, kHeader);
  }
  return reinterpret_cast<ZxVariant*>(block);
}

}  // namespace

ZxVariant* NewJson(const char16_t* text, const char16_t** expected, std::size_t* position) {
  if (expected != nullptr) *expected = nullptr;
  if (position != nullptr) *position = 0;
  if (text == nullptr) return nullptr;
  try {
    Parser parser(text);
    const bool parsed = parser.Parse();
    if (position != nullptr) *position = parser.Position();
    if (!parsed) {
      if (expected != nullptr) *expected = parser.Expected();
      return nullptr;
    }
    return parser.Lay();
  } catch (const std::exception&) {  // out of memory
    return nullptr;
  }
}

ZxVariant* NewJson(const char16_t* text) { return NewJson(text, nullptr, nullptr); }

}  // namespace ZxVariantHelper
