// The QvFramework dialect: the event-bus configuration form.
#include "text/record_walk.h"
#include "zxvariant/printers.h"

namespace ZxVariantHelper {
namespace {

using T = ZxVariant::TypeCodes;
using detail::AppendRecordText;
using detail::AppendScalarText;
using detail::AppendTypeName;
using detail::AppendWord;
using detail::Escape;
using detail::RecordNode;

// Attributes whose type the dialect's reader knows by name ("Id" and
// "encoding" are Strings, "ReadOnly" a Bool); they are written without
// their type.
bool HasKnownType(const detail::RecordText& name) {
  return name.Equals(u"Id") || name.Equals(u"ReadOnly") || name.Equals(u"encoding");
}

void AppendQvAttributes(AppendableWideString& out, const RecordNode& node) {
  std::uint32_t count = node.AttributeCount();
  for (std::uint32_t i = 0; i < count; ++i) {
    RecordNode attribute = node.Attribute(i);
    if (attribute.IsList() || !attribute.HasName()) continue;
    out.Append(u' ');
    AppendRecordText(out, attribute.Name());
    if (!HasKnownType(attribute.Name())) {
      out.Append(u'.');
      AppendTypeName(out, attribute.Type());
    }
    AppendWord(out, u"=\"");
    AppendScalarText(out, attribute, Escape::Xml);
    out.Append(u'"');
  }
}

class QvWriter final : public detail::RecordVisitor {
 public:
  explicit QvWriter(AppendableWideString& out) : m_out(out) {}

  RecordNode Enter(const RecordNode& node, std::uint32_t depth) override {
    m_out.AppendSpace(4 * depth);
    if (!node.HasName()) {
      // Kept on purpose for compatibility with every reader of the dialect:
      // an unnamed node throws away everything written so far, and itself.
      m_out.Clear();
      return {};
    }
    m_out.Append(u'<');
    AppendRecordText(m_out, node.Name());
    switch (node.Type()) {
      case T::String:
        AppendQvAttributes(m_out, node);
        AppendWord(m_out, u" type=\"String\">");
        AppendRecordText(m_out, node.StringValue(), Escape::Xml);
        Close(node);
        return {};
      case T::List:
        AppendQvAttributes(m_out, node);
        m_out.Append(u'>');
        if (node.ElementCount() != 0) {
          m_out.Append(u'\n');
          return node;
        }
        Close(node);
        return {};
      default:
        if (!detail::ScalarTextIsEmpty(node)) {
          AppendWord(m_out, u" value=\"");
          AppendScalarText(m_out, node, Escape::Xml);
          m_out.Append(u'"');
        }
        AppendWord(m_out, u" type=\"");
        AppendTypeName(m_out, node.Type());
        m_out.Append(u'"');
        // Scalars carry their attributes in the Yam form, not the one above;
        // kept on purpose for compatibility with every reader of the dialect.
        detail::AppendYamAttributes(m_out, node);
        AppendWord(m_out, u"/>\n");
        return {};
    }
  }

  void Leave(const RecordNode& node, std::uint32_t depth) override {
    m_out.AppendSpace(4 * depth);
    Close(node);
  }

 private:
  void Close(const RecordNode& node) {
    AppendWord(m_out, u"</");
    AppendRecordText(m_out, node.Name());
    AppendWord(m_out, u">\n");
  }

  AppendableWideString& m_out;
};

}  // namespace

char16_t* QvFramework(const ZxVariant* record) {
  detail::PrintFrame frame;
  if (record != nullptr) {
    QvWriter writer(frame.Out());
    detail::WalkRecord(RecordNode::Of(record), writer);
  }
  if (frame.Out().Length() == 0) return nullptr;
  return frame.Finish();
}

}  // namespace ZxVariantHelper
