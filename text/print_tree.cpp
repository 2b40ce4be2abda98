// The debugging tree dialect, over both pointer forms, and ZxVariantPrintDelete.
#include <cstdint>
#include <cstdlib>

#include "record/unaligned.h"
#include "text/record_walk.h"
#include "zxvariant/printers.h"

namespace ZxVariantHelper {
namespace {

using T = ZxVariant::TypeCodes;
using detail::RecordNode;
using detail::RecordText;

// The most conversions and the longest width or precision an attribute name
// may carry to be used as a format text.  Every conversion reads at most
// three arguments, and the call below passes 8 floating-point and 28 integer
// zeros, so within these limits no conversion reads past them, and no width
// asks for a huge text.
constexpr int kMaxNameConversions = 8;
constexpr int kMaxNameDigits = 4;

bool IsDigit(char16_t unit) { return unit >= u'0' && unit <= u'9'; }

// Skips a run of digits; false when it is longer than kMaxNameDigits.
bool SkipNumber(const char16_t*& f) {
  int digits = 0;
  while (IsDigit(*f)) ++f, ++digits;
  return digits <= kMaxNameDigits;
}

bool IsTameFormat(const char16_t* format) {
  int conversions = 0;
  for (const char16_t* f = format; *f != 0; ++f) {
    if (*f != u'%') continue;
    if (f[1] == u'%') {
      ++f;
      continue;
    }
    if (++conversions > kMaxNameConversions) return false;
    ++f;
    while (*f == u'-' || *f == u'+' || *f == u' ' || *f == u'#' || *f == u'0') ++f;
    if (!SkipNumber(f)) return false;
    if (*f == u'.' && !SkipNumber(++f)) return false;
    if (*f == 0) break;
  }
  return true;
}

// Kept on purpose for compatibility with every reader of the tree dialect: an
// attribute's name is the format text of its append, so "%d" in a name
// prints a number.  Its conversions read zeros (null texts print "(null)").
void AppendNameAsFormat(AppendableWideString& out, RecordText name) {
  if (name.IsEmpty()) return;
  constexpr std::uint32_t kStackUnits = 128;
  char16_t stackFormat[kStackUnits];
  char16_t* format = stackFormat;
  if (name.length >= kStackUnits) {
    format = static_cast<char16_t*>(std::malloc(2 * (std::size_t{name.length} + 1)));
    if (format == nullptr) {
      detail::AppendRecordText(out, name);
      return;
    }
  }
  std::uint32_t used = 0;
  for (; used < name.length; ++used) {
    char16_t unit = detail::LoadUnit(name.units, used);
    if (unit == 0) break;
    format[used] = unit;
  }
  format[used] = 0;
  if (IsTameFormat(format)) {
    const std::intptr_t z = 0;
    out.Append(format, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0,  //
               z, z, z, z, z, z, z, z, z, z, z, z, z, z, z, z, z, z, z, z, z, z, z, z, z, z, z, z);
  } else {
    out.Append(u"%s", format);
  }
  if (format != stackFormat) std::free(format);
}

class TreeWriter final : public detail::RecordVisitor {
 public:
  TreeWriter(AppendableWideString& out, bool showTypes) : m_out(out), m_showTypes(showTypes) {}

  RecordNode Enter(const RecordNode& node, std::uint32_t depth) override {
    detail::AppendRepeated(m_out, u"|   ", depth);
    if (m_showTypes) AppendTypeLabel(node);
    bool named = node.HasName();
    if (named) {
      if (m_showTypes) m_out.Append(u' ');
      detail::AppendRecordText(m_out, node.Name());
    }
    AppendAttributes(node);
    if (named || m_showTypes) detail::AppendWord(m_out, u" = ");
    AppendValue(node);
    if (node.IsList()) return node;
    m_out.Append(u'\n');
    return {};
  }

  void Leave(const RecordNode&, std::uint32_t) override { m_out.Append(u'\n'); }

 private:
  void AppendTypeLabel(const RecordNode& node) {
    switch (node.Type()) {
      case T::Buffer: m_out.Append(u"Buffer[%u]", node.StoredCount()); break;
      case T::String: m_out.Append(u"String[%u]", node.StoredCount()); break;
      case T::List: m_out.Append(u"List[%u]", node.StoredCount()); break;
      default: detail::AppendTypeName(m_out, node.Type()); break;
    }
  }

  void AppendAttributes(const RecordNode& node) {
    std::uint32_t count = node.AttributeCount();
    if (count == 0) return;
    m_out.Append(u'(');
    for (std::uint32_t i = 0; i < count; ++i) {
      RecordNode attribute = node.Attribute(i);
      if (i != 0) detail::AppendWord(m_out, u", ");
      if (m_showTypes) {
        AppendTypeLabel(attribute);
        m_out.Append(u':');
      }
      AppendNameAsFormat(m_out, attribute.Name());
      m_out.Append(u'=');
      // An attribute that is a List (no builder makes one) gets the List's
      // line break; its elements are not printed inside the parentheses.
      AppendValue(attribute);
    }
    m_out.Append(u')');
  }

  void AppendValue(const RecordNode& node) {
    switch (node.Type()) {
      case T::Null: detail::AppendWord(m_out, u"<null>"); break;
      // Buffer contents are never printed in this dialect, kept on purpose
      // for compatibility with every reader of it.
      case T::Buffer: detail::AppendWord(m_out, u"0x0nyi"); break;
      case T::List: m_out.Append(u'\n'); break;
      default: detail::AppendScalarText(m_out, node, detail::Escape::None); break;
    }
  }

  AppendableWideString& m_out;
  bool m_showTypes;
};

char16_t* PrintTree(const RecordNode& root, bool showTypes) {
  detail::PrintFrame frame;
  if (!root.IsMissing()) {
    TreeWriter writer(frame.Out(), showTypes);
    detail::WalkRecord(root, writer);
  }
  return frame.Finish();
}

}  // namespace

char16_t* ZxVariantPrintNew(const ZxVariant* record, bool showTypes) {
  return PrintTree(RecordNode::Of(record), showTypes);
}

char16_t* ZxVariantPrintNew(const ZxVariantZ* record, bool showTypes) {
  return PrintTree(RecordNode::Of(record), showTypes);
}

void ZxVariantPrintDelete(char16_t* text) { std::free(text); }

}  // namespace ZxVariantHelper
