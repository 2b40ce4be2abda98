// The Dom dialect: elements kept in DOM form, a List of exactly three items
// (attributes, children, text), as the readers of the XML dialects make them.
#include "text/record_walk.h"
#include "zxvariant/printers.h"

namespace ZxVariantHelper {
namespace {

using T = ZxVariant::TypeCodes;
using detail::AppendRecordText;
using detail::AppendWord;
using detail::Escape;
using detail::RecordNode;

enum DomItem : std::uint32_t { kAttributes = 0, kChildren = 1, kText = 2, kDomItems = 3 };

bool IsDomElement(const RecordNode& node) {
  return node.IsList() && node.ElementCount() == kDomItems;
}

bool HasText(const RecordNode& text) { return text.IsString() && text.StoredCount() != 0; }

class DomWriter final : public detail::RecordVisitor {
 public:
  DomWriter(AppendableWideString& out, const char16_t* newline)
      : m_out(out), m_newline(newline != nullptr ? newline : u"\n") {}

  RecordNode Enter(const RecordNode& node, std::uint32_t depth) override {
    if (!IsDomElement(node)) return {};
    m_out.AppendSpace(4 * depth);
    m_out.Append(u'<');
    AppendRecordText(m_out, node.Name());
    AppendAttributes(node.Element(kAttributes));
    RecordNode children = node.Element(kChildren);
    RecordNode text = node.Element(kText);
    if (!children.IsList() && !HasText(text)) {
      m_out.Append(u" />%s", m_newline);
      return {};
    }
    m_out.Append(u'>');
    if (children.IsList() && children.ElementCount() != 0) {
      AppendWord(m_out, m_newline);
      return children;
    }
    Close(node, text);
    return {};
  }

  void Leave(const RecordNode& node, std::uint32_t depth) override {
    m_out.AppendSpace(4 * depth);
    Close(node, node.Element(kText));
  }

 private:
  void AppendAttributes(const RecordNode& attributes) {
    std::uint32_t count = attributes.ElementCount();
    for (std::uint32_t i = 0; i < count; ++i) {
      RecordNode attribute = attributes.Element(i);
      if (!attribute.IsString() || !attribute.HasName()) continue;
      m_out.Append(u' ');
      AppendRecordText(m_out, attribute.Name());
      AppendWord(m_out, u"=\"");
      AppendRecordText(m_out, attribute.StringValue(), Escape::Xml);
      m_out.Append(u'"');
    }
  }

  // The element's text and closing tag.
  void Close(const RecordNode& node, const RecordNode& text) {
    if (HasText(text)) {
      if (text.Name().Equals(u"cdata")) {
        AppendWord(m_out, u"<![CDATA[");
        AppendRecordText(m_out, text.StringValue());
        AppendWord(m_out, u"]]>");
      } else {
        AppendRecordText(m_out, text.StringValue(), Escape::Xml);
      }
    }
    AppendWord(m_out, u"</");
    AppendRecordText(m_out, node.Name());
    m_out.Append(u">%s", m_newline);
  }

  AppendableWideString& m_out;
  const char16_t* m_newline;
};

}  // namespace

char16_t* NewDom(const ZxVariant* record, const char16_t* newline) {
  detail::PrintFrame frame;
  if (record != nullptr) {
    DomWriter writer(frame.Out(), newline);
    detail::WalkRecord(RecordNode::Of(record), writer);
  }
  return frame.Finish();
}

}  // namespace ZxVariantHelper
