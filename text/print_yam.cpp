// The Yam dialect: elements tagged by type name, values as attributes.
#include "text/record_walk.h"
#include "zxvariant/printers.h"

namespace ZxVariantHelper {
namespace detail {

void AppendYamAttributes(AppendableWideString& out, const RecordNode& node) {
  std::uint32_t count = node.AttributeCount();
  for (std::uint32_t i = 0; i < count; ++i) {
    RecordNode attribute = node.Attribute(i);
    if (attribute.IsList() || !attribute.HasName()) continue;
    AppendWord(out, u" _");
    AppendRecordText(out, attribute.Name());
    out.Append(u'.');
    AppendTypeName(out, attribute.Type());
    AppendWord(out, u"=\"");
    AppendScalarText(out, attribute, Escape::Xml);
    out.Append(u'"');
  }
}

namespace {

class YamWriter final : public RecordVisitor {
 public:
  YamWriter(AppendableWideString& out, bool useName) : m_out(out), m_useName(useName) {}

  RecordNode Enter(const RecordNode& node, std::uint32_t depth) override {
    m_out.AppendSpace(4 * depth);
    m_out.Append(u'<');
    AppendTag(node, depth);
    // The name goes into an attribute whenever the tag is the type name,
    // even when the name reads like that type name.
    if (node.HasName() && !TagIsName(node, depth)) {
      AppendWord(m_out, u" name=\"");
      AppendRecordText(m_out, node.Name(), Escape::Xml);
      m_out.Append(u'"');
    }
    if (!node.IsList()) {
      if (!ScalarTextIsEmpty(node)) {
        AppendWord(m_out, u" value=\"");
        AppendScalarText(m_out, node, Escape::Xml);
        m_out.Append(u'"');
      }
      AppendYamAttributes(m_out, node);
      AppendWord(m_out, u"/>\n");
      return {};
    }
    AppendYamAttributes(m_out, node);
    m_out.Append(u'>');
    if (node.ElementCount() != 0) {
      m_out.Append(u'\n');
      return node;
    }
    Close(node, depth);
    return {};
  }

  void Leave(const RecordNode& node, std::uint32_t depth) override {
    m_out.AppendSpace(4 * depth);
    Close(node, depth);
  }

 private:
  // Only the outermost element may be tagged by its name; nested elements
  // are always tagged by type name.
  bool TagIsName(const RecordNode& node, std::uint32_t depth) const {
    return depth == 0 && m_useName && node.HasName();
  }

  void AppendTag(const RecordNode& node, std::uint32_t depth) {
    if (TagIsName(node, depth)) {
      AppendRecordText(m_out, node.Name());
    } else {
      AppendTypeName(m_out, node.Type());
    }
  }

  void Close(const RecordNode& node, std::uint32_t depth) {
    AppendWord(m_out, u"</");
    AppendTag(node, depth);
    AppendWord(m_out, u">\n");
  }

  AppendableWideString& m_out;
  bool m_useName;
};

}  // namespace
}  // namespace detail

char16_t* NewYam(const ZxVariant* record, bool useName) {
  detail::PrintFrame frame;
  if (record != nullptr) {
    detail::YamWriter writer(frame.Out(), useName);
    detail::WalkRecord(detail::RecordNode::Of(record), writer);
  }
  return frame.Finish();
}

}  // namespace ZxVariantHelper
