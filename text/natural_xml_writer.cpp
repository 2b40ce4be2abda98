// The Natural XML writer.
//
// The record is walked front to back with an explicit stack of open lists,
// so any depth is written without recursion, and the text is collected in one
// AppendableWideString.  Scalar texts are made the way the String
// conversion makes them, but without its temporary blocks: numbers go
// through a small stack buffer, a String's units and a Buffer's hex digits
// are written where they are read.  Record text may lie at odd addresses, so
// it is read only through LoadUnit, and entry arrays only through LoadSlot.

#include "text/xml_escape.h"
#include "zxvariant/natural_xml.h"

#include <cstddef>
#include <cstdint>

#include "record/explicit_stack.h"
#include "record/text_numbers.h"
#include "record/unaligned.h"
#include "zxvariant/wide_string.h"

namespace ZxVariantHelper {
namespace {

using T = ZxVariant::TypeCodes;

constexpr unsigned int kInitialUnits = 256;  // the printers' starting buffer
constexpr std::uint64_t kMaxTextUnits = 0x7FFF0000;  // far below the 32-bit length
constexpr std::uint32_t kIndentStep = 4;
constexpr std::size_t kSlotBytes = 8;

// Text of a record: up to `length` units, ending early at a NUL, the way
// "%.*s" reads it.
struct Text {
  const char16_t* str = nullptr;
  std::uint32_t length = 0;
};

// A node's name; empty when the length is 0 or the text is missing.
Text NameOf(const ZxVariant* node) {
  const char16_t* str = node->name.str;
  const std::uint32_t length = node->name.length;
  if (str == nullptr || length == 0) return {};
  return {str, length};
}

// The element name of `node` inside `parent` (null for the outermost node).
Text ElementName(const ZxVariant* node, const ZxVariant* parent) {
  Text name = NameOf(node);
  if (name.length != 0 || parent == nullptr) return name;
  // An unnamed item takes its list's name with one final s or S removed, even
  // where that is no plural (Class -> Clas): kept on purpose, every reader of
  // the format expects exactly these element names.
  name = NameOf(parent);
  if (name.length != 0) {
    const char16_t last = detail::LoadUnit(name.str, name.length - 1);
    if (last == u's' || last == u'S') --name.length;
  }
  return name;
}

// Kept on purpose for compatibility: only a node whose own name is exactly
// "cdata" (case-sensitive) has its text written as a CDATA section.
bool IsCdataName(Text name) {
  static constexpr char16_t kCdata[] = u"cdata";
  if (name.length != 5) return false;
  for (std::uint32_t i = 0; i < 5; ++i) {
    if (detail::LoadUnit(name.str, i) != kCdata[i]) return false;
  }
  return true;
}

// Entry `index` of an entry array: the address of a node, or null.
const ZxVariant* EntryAt(ZxVariant* const* items, std::uint32_t index) {
  if (items == nullptr) return nullptr;
  const char* slot = reinterpret_cast<const char*>(items) + kSlotBytes * index;
  return reinterpret_cast<const ZxVariant*>(detail::LoadSlot(slot));
}

// Collects units in a stack chunk and hands each full chunk to the text as
// one formatted append.  A formatted append that does not fit grows the text
// geometrically at every size, where appending unit by unit would grow it by
// a fixed step once it is large; so big records cost linear time.  The first
// append that does not go in (out of memory, or past kMaxTextUnits) is
// remembered, and everything after it is ignored.
class Output {
 public:
  explicit Output(AppendableWideString& text) : m_text(text) {}

  bool Failed() const { return m_failed; }

  void Unit(char16_t unit) {
    if (m_used == kChunkUnits) Flush();
    if (!m_failed) m_chunk[m_used++] = unit;
  }

  void Escaped(char16_t unit) {
    if (const char16_t* entity = detail::XmlEntity(unit)) {
      Literal(entity);
    } else {
      Unit(unit);
    }
  }

  void Blanks(std::uint32_t count) {
    for (; count != 0 && !m_failed; --count) Unit(u' ');
  }

  // A NUL-terminated text of this file (aligned, so read directly).
  void Literal(const char16_t* text) {
    for (; *text != 0; ++text) Unit(*text);
  }

  // A record's or a caller's text, unescaped or escaped.
  void Units(Text text) { Each(text, &Output::Unit); }
  void EscapedUnits(Text text) { Each(text, &Output::Escaped); }

  // Hands over what is left; false when anything did not go in.
  bool Finish() {
    Flush();
    return !m_failed;
  }

 private:
  static constexpr std::size_t kChunkUnits = 1024;

  void Flush() {
    if (m_failed || m_used == 0) return;
    const unsigned int before = m_text.Length();
    if (before + std::uint64_t{m_used} > kMaxTextUnits) {
      m_failed = true;
      return;
    }
    // The chunk holds no NUL: record text is cut at its first NUL.
    m_text.Append(u"%.*s", static_cast<int>(m_used), m_chunk);
    m_failed = m_text.Length() - before != m_used;
    m_used = 0;
  }

  void Each(Text text, void (Output::*put)(char16_t)) {
    for (std::uint32_t i = 0; i < text.length && !m_failed; ++i) {
      const char16_t unit = detail::LoadUnit(text.str, i);
      if (unit == 0) break;
      (this->*put)(unit);
    }
  }

  AppendableWideString& m_text;
  char16_t m_chunk[kChunkUnits];
  std::size_t m_used = 0;
  bool m_failed = false;
};

// Writes the String conversion's text of a scalar node.  A String's units go
// out as stored (up to a NUL); a Buffer is "0x" and its bytes in lower-case
// hex; the rest are short number texts.
void WriteScalar(Output& out, const ZxVariant* node, bool escape) {
  void (Output::*put)(char16_t) = escape ? &Output::Escaped : &Output::Unit;
  switch (node->type) {
    case T::String: {
      const Text text{node->value.string.str, node->value.string.length};
      escape ? out.EscapedUnits(text) : out.Units(text);
      return;
    }
    case T::Buffer: {
      static constexpr char16_t kHex[] = u"0123456789abcdef";
      const auto* bytes = static_cast<const unsigned char*>(node->value.buffer.data);
      const std::uint32_t size = bytes != nullptr ? node->value.buffer.size : 0;
      out.Literal(u"0x");
      for (std::uint32_t i = 0; i < size && !out.Failed(); ++i) {
        out.Unit(kHex[bytes[i] >> 4]);
        out.Unit(kHex[bytes[i] & 0xF]);
      }
      return;
    }
    default:
      break;
  }
  char16_t number[detail::kNumberTextUnits];
  std::size_t units = 0;
  switch (node->type) {
    case T::Register:
      number[0] = u'0';
      number[1] = u'x';
      units = 2 + detail::FormatPointer(node->value.registerValue, number + 2);
      break;
    case T::Bool: {
      const char16_t* word = node->value.boolValue != 0 ? u"true" : u"false";
      for (; word[units] != 0; ++units) number[units] = word[units];
      break;
    }
    case T::Int: units = detail::FormatInt(node->value.intValue, number); break;
    case T::Int64: units = detail::FormatInt64(node->value.int64Value, number); break;
    case T::Float: units = detail::FormatDouble(node->value.floatValue, number); break;
    default: break;
  }
  for (std::size_t i = 0; i < units; ++i) (out.*put)(number[i]);
}

// Whether the String conversion of a non-List node gives an empty text:
// Null, an empty String and codes it does not know (List included).
bool ScalarIsEmpty(const ZxVariant* node) {
  switch (node->type) {
    case T::Register:
    case T::Bool:
    case T::Int:
    case T::Float:
    case T::Int64:
    case T::Buffer:  // at least "0x"
      return false;
    case T::String:
      return node->value.string.length == 0 || node->value.string.str == nullptr;
    default:
      return true;
  }
}

// A List whose opening tag is written and whose items are being written.
struct OpenList {
  const ZxVariant* list;
  Text name;  // for the closing tag
  std::uint32_t indent;
  std::uint32_t next;  // index of the next item
  std::uint32_t count;
};

class NaturalWriter {
 public:
  NaturalWriter(AppendableWideString& text, const char16_t* newline)
      : m_out(text), m_newline{newline, static_cast<std::uint32_t>(detail::UnitCount(newline))} {}

  // False when the text could not be completed.
  bool Write(const ZxVariant* root) {
    // A laid-out block holds at most size / 64 nodes; visiting more means its
    // links loop, so a malformed block cannot keep the walk going forever.
    if (root->size != 0) {
      m_limited = true;
      m_nodesLeft = root->size / sizeof(ZxVariant);
    }
    if (Spend()) Open(root, nullptr, 0);
    while (!Failed() && !m_open.Empty()) {
      OpenList& top = m_open.Top();
      if (top.next < top.count) {
        const ZxVariant* list = top.list;
        const std::uint32_t indent = top.indent + kIndentStep;
        const ZxVariant* item = EntryAt(list->value.list.items, top.next++);
        if (item != nullptr && Spend()) Open(item, list, indent);  // may move `top`
      } else {
        m_out.Blanks(top.indent);
        CloseTag(top.name);
        m_open.Pop();
      }
    }
    return m_out.Finish() && !m_broken;
  }

 private:
  bool Failed() const { return m_broken || m_out.Failed(); }

  // Counts one more node against the block's room; false (and the walk
  // stops) when there is none.
  bool Spend() {
    if (!m_limited) return true;
    if (m_nodesLeft == 0) {
      m_broken = true;
      return false;
    }
    --m_nodesLeft;
    return true;
  }

  // Writes a node's opening tag with its attributes.  A scalar is finished
  // at once; a List with items is left open on the stack.
  void Open(const ZxVariant* node, const ZxVariant* parent, std::uint32_t indent) {
    const Text name = ElementName(node, parent);
    m_out.Blanks(indent);
    m_out.Unit(u'<');
    m_out.Units(name);
    Attributes(node);
    if (node->type == T::List) {
      m_out.Unit(u'>');
      const std::uint32_t count = node->value.list.count;
      if (count == 0) {
        CloseTag(name);
        return;
      }
      NewlineAsFormat();
      if (!m_open.Push(OpenList{node, name, indent, 0, count})) m_broken = true;
      return;
    }
    if (ScalarIsEmpty(node)) {
      m_out.Literal(u" />");
      m_out.Units(m_newline);
      return;
    }
    m_out.Unit(u'>');
    if (IsCdataName(NameOf(node))) {
      m_out.Literal(u"<![CDATA[");
      WriteScalar(m_out, node, false);
      m_out.Literal(u"]]>");
    } else {
      WriteScalar(m_out, node, true);
    }
    CloseTag(name);
  }

  // Named, non-List attributes as name="escaped text"; names are written as
  // they are.
  void Attributes(const ZxVariant* node) {
    ZxVariant* const* items = node->attributes.items;
    const std::uint32_t count = node->attributes.count;
    for (std::uint32_t i = 0; i < count && !Failed(); ++i) {
      const ZxVariant* attribute = EntryAt(items, i);
      if (attribute == nullptr || !Spend()) continue;
      const Text name = NameOf(attribute);
      if (name.length == 0 || attribute->type == T::List) continue;
      m_out.Unit(u' ');
      m_out.Units(name);
      m_out.Literal(u"=\"");
      if (!ScalarIsEmpty(attribute)) WriteScalar(m_out, attribute, true);
      m_out.Unit(u'"');
    }
  }

  void CloseTag(Text name) {
    m_out.Literal(u"</");
    m_out.Units(name);
    m_out.Unit(u'>');
    m_out.Units(m_newline);
  }

  // The line end after an opening List tag is handed to the formatter as its
  // format text; with no arguments to consume, that only turns "%%" into "%".
  // Kept on purpose for compatibility with the text other writers produce.
  void NewlineAsFormat() {
    const Text& nl = m_newline;
    for (std::uint32_t i = 0; i < nl.length && !m_out.Failed(); ++i) {
      const char16_t unit = detail::LoadUnit(nl.str, i);
      if (unit == u'%' && i + 1 < nl.length && detail::LoadUnit(nl.str, i + 1) == u'%') ++i;
      m_out.Unit(unit);
    }
  }

 private:
  Output m_out;
  Text m_newline;
  detail::ExplicitStack<OpenList> m_open;
  bool m_limited = false;
  bool m_broken = false;  // out of stack memory or of room for nodes
  std::size_t m_nodesLeft = 0;
};

}  // namespace

char16_t* NewNatural(const ZxVariant* record, const char16_t* newline) {
  AppendableWideString text(kInitialUnits);
  if (record != nullptr) {
    NaturalWriter writer(text, newline != nullptr ? newline : u"\n");
    if (!writer.Write(record)) return nullptr;  // `text` frees its buffer
  }
  return text.Release();
}

}  // namespace ZxVariantHelper
