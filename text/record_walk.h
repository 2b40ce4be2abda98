// The one walk over a record that every text writer of the library shares,
// and the text pieces (names, strings, scalar texts) that they all write.
//
// Three parts:
//
//   RecordNode     reads one node of a laid-out block, in pointer form or in
//                  zero-based form, behind one interface.  A dialect written
//                  against RecordNode prints both forms with the same code,
//                  so the two forms of one record give the same text.
//   WalkRecord     visits a tree depth-first with an explicit stack (no
//                  recursion, so nesting depth is bounded by memory only) and
//                  calls a RecordVisitor before and after each node's
//                  children.  The visitor chooses which list holds the
//                  children of a node (its own value for most dialects; the
//                  second item of a DOM-form element for Dom), or none.
//   Text pieces    append record text to an AppendableWideString without
//                  reading a record's characters through an aligned pointer
//                  (nothing in a block is aligned) and without heap blocks:
//                  text is copied through a small stack chunk and appended
//                  with "%.*s".
//
// A visitor for a new writer (JSON, XML) looks like this:
//
//   class MyWriter : public RecordVisitor {
//    public:
//     RecordNode Enter(const RecordNode& node, std::uint32_t depth) override {
//       out.AppendSpace(4 * depth);
//       AppendRecordText(out, node.Name());
//       if (!node.IsList()) { AppendScalarText(out, node, Escape::Xml); return {}; }
//       return node;                      // walk node's elements, then Leave
//     }
//     void Leave(const RecordNode& node, std::uint32_t depth) override { ... }
//     AppendableWideString& out;
//   };
//   WalkRecord(RecordNode::Of(record), writer);
//
// Robustness rules, the same for every consumer:
//   * a missing node (null entry, index out of range, a link that leaves the
//     block) reads as ZxvView::theNull does: an unnamed Null with no
//     attributes;
//   * in zero-based form every link, name, string, buffer and entry array is
//     checked against the root's size word, and a link can only point
//     forward, so a malformed received block never makes a read outside it;
//   * the walk enters at most size / 64 nodes (a laid-out block holds no
//     more), so blocks whose entries share or loop back to nodes cannot make
//     the output explode or the walk hang.
// The pointer form trusts its addresses: it is the form the caller built or
// checked itself.  Loose (separately allocated) records are not laid out and
// must be flattened before they are printed.
//
// Text of a record stops at its stored length or at its first NUL unit,
// whichever comes first, exactly as the printf-style appends always did.
//
// Thread safety: everything here only reads the record; the walk's state is
// on the caller's stack and in the visitor.
#pragma once

#include <cstddef>
#include <cstdint>

#include "zxvariant/record.h"
#include "zxvariant/wide_string.h"

namespace ZxVariantHelper::detail {

// Units of a name or String inside a block, at any address (read with
// LoadUnit).  `units` is null only when `length` is 0.
struct RecordText {
  const char16_t* units = nullptr;
  std::uint32_t length = 0;

  bool IsEmpty() const { return length == 0; }
  // Whether the text equals the NUL-terminated `word` (case-sensitive).
  bool Equals(const char16_t* word) const;
  // The first unit, 0 for an empty text.
  char16_t First() const;
};

class RecordNode {
 public:
  // The missing node: reads as an unnamed, attribute-free Null.
  RecordNode() = default;

  // A pointer-form record (or node of one).  Null gives the missing node.
  static RecordNode Of(const ZxVariant* record);
  // A zero-based record, bounded by its own size word.  Null, or a size word
  // below one node header, gives the missing node.
  static RecordNode Of(const ZxVariantZ* record);

  bool IsMissing() const { return m_node == nullptr; }
  ZxVariant::TypeCodes Type() const;
  bool IsList() const { return Type() == ZxVariant::TypeCodes::List; }
  bool IsString() const { return Type() == ZxVariant::TypeCodes::String; }
  // The node's size word (0 when missing).
  std::uint32_t SizeWord() const;
  // The word at offset 24: Buffer bytes, String units, List elements.
  std::uint32_t StoredCount() const;

  // Named: a non-zero name length and a name present.
  bool HasName() const { return !Name().IsEmpty(); }
  RecordText Name() const;

  void* RegisterValue() const;
  bool BoolValue() const;  // the value's first byte is not 0
  std::int32_t IntValue() const;
  std::int64_t Int64Value() const;
  double FloatValue() const;
  // Buffer bytes, or null (with size 0) when there are none or they lie
  // outside the block.
  const unsigned char* BufferData() const;
  std::uint32_t BufferSize() const;
  // A String's characters (empty for any other type).
  RecordText StringValue() const;

  // Elements of a List (0 for other types and for an unreadable array).
  std::uint32_t ElementCount() const;
  RecordNode Element(std::uint32_t index) const;
  std::uint32_t AttributeCount() const;
  RecordNode Attribute(std::uint32_t index) const;

 private:
  RecordNode(const unsigned char* node, const unsigned char* end) : m_node(node), m_end(end) {}

  bool ZeroBased() const { return m_end != nullptr; }
  // The target of the pointer slot at `offset` of this node, or null.
  // Zero-based: the distance is measured from this node and the target must
  // leave `bytes` readable bytes inside the block.
  const unsigned char* Resolve(std::size_t offset, std::uint64_t bytes) const;
  std::uint32_t EntryCount(std::size_t countOffset, std::size_t slotOffset) const;
  RecordNode Entry(std::size_t countOffset, std::size_t slotOffset, std::uint32_t index) const;

  const unsigned char* m_node = nullptr;
  // Zero-based form: one past the root block; null in pointer form.
  const unsigned char* m_end = nullptr;
};

// Callbacks of WalkRecord.  `depth` is 0 for the root and one more for each
// level of children.
class RecordVisitor {
 public:
  virtual ~RecordVisitor() = default;
  // Writes what comes before the node's children.  Returns the node whose
  // elements are the children to visit next (usually `node` itself), or the
  // missing node to visit none; Leave follows only in the first case, after
  // the last child.
  virtual RecordNode Enter(const RecordNode& node, std::uint32_t depth) = 0;
  virtual void Leave(const RecordNode& node, std::uint32_t depth) = 0;
};

// Visits `root` and its descendants in document order without recursion.
// When the stack cannot grow, the children of that node are skipped (Leave
// still follows), so the text stays balanced.
void WalkRecord(const RecordNode& root, RecordVisitor& visitor);

// ---- the printers' frame ------------------------------------------------

// A buffer of 256 units (the printers' starting size); Finish hands the text
// over NUL-terminated, and a frame left without Finish frees it.
class PrintFrame {
 public:
  PrintFrame() : m_out(kInitialUnits) {}
  AppendableWideString& Out() { return m_out; }
  char16_t* Finish() { return m_out.Release(); }

 private:
  static constexpr unsigned int kInitialUnits = 256;
  AppendableWideString m_out;
};

// ---- text pieces --------------------------------------------------------

// `word` `times` times (indentation marks), a few formatted appends per line.
void AppendRepeated(AppendableWideString& out, const char16_t* word, std::uint32_t times);

enum class Escape { None, Xml };

// The text units (up to the first NUL), escaped when asked: " & ' < > as
// &quot; &amp; &apos; &lt; &gt;, every other unit unchanged.
void AppendRecordText(AppendableWideString& out, RecordText text, Escape escape = Escape::None);
// Plain NUL-terminated text of the library's own (type names, fixed words).
void AppendWord(AppendableWideString& out, const char16_t* word);
// The type name ("Null" ... "Int64"); nothing for an unknown code.
void AppendTypeName(AppendableWideString& out, ZxVariant::TypeCodes type);

// Whether the scalar text form of the node is empty: Null, List, an empty
// String and unknown codes are.  (A Buffer always gives at least "0x".)
bool ScalarTextIsEmpty(const RecordNode& node);
// The scalar text form, as ZxvConvertBase::SetAsString gives it: Register
// "0x" and the %p digits, Bool true/false, Int, Int64 decimal, Float %g,
// Buffer "0x" and two lower-case hex digits per byte, String its units; Null,
// List and unknown codes nothing.  Formatted on the stack, never on the heap.
void AppendScalarText(AppendableWideString& out, const RecordNode& node, Escape escape);

// ---- dialect writers shared between printers ----------------------------

// The Simple writer for one record whose outermost line is indented by
// `indentation` blanks (VireoConfig embeds Simple at 4 and 8).
void WriteSimple(AppendableWideString& out, const RecordNode& record, std::uint32_t indentation,
                 bool showTypes);

// Record attributes as the Yam dialect writes them: for each attribute that
// is not a List and is named, ` _name.Type="value"` with the value escaped.
// QvFramework writes the attributes of its scalars the same way.
void AppendYamAttributes(AppendableWideString& out, const RecordNode& node);

}  // namespace ZxVariantHelper::detail
