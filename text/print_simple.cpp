// The Simple dialect: one element per node, named after it, unescaped.
#include "text/record_walk.h"
#include "zxvariant/printers.h"

namespace ZxVariantHelper {
namespace detail {
namespace {

using T = ZxVariant::TypeCodes;

bool IsAsciiLetter(char16_t unit) {
  return (unit >= u'A' && unit <= u'Z') || (unit >= u'a' && unit <= u'z');
}

// The type attribute by type code.  Float has no entry, kept on purpose for
// compatibility with every reader of the dialect: a Float carries no type.
const char16_t* TypeAttribute(T type) {
  switch (type) {
    case T::Null: return u" type=\"Null\"";
    case T::Register: return u" type=\"Register\"";
    case T::Bool: return u" type=\"Bool\"";
    case T::Int: return u" type=\"Int\"";
    case T::Buffer: return u" type=\"Buffer\"";
    case T::String: return u" type=\"String\"";
    case T::List: return u" type=\"List\"";
    case T::Int64: return u" type=\"Int64\"";
    default: return nullptr;
  }
}

// A node's tag: its name; "Property" for an unnamed non-List; none for an
// unnamed List.  A tag that does not start with an ASCII letter is written
// with the prefix "z".
struct Tag {
  explicit Tag(const RecordNode& node) : name(node.Name()) {
    if (name.IsEmpty()) {
      present = !node.IsList();
      prefixed = false;
    } else {
      present = true;
      prefixed = !IsAsciiLetter(name.First());
    }
  }
  RecordText name;
  bool present;
  bool prefixed;
};

constexpr const char16_t* kPrefix = u"z";

class SimpleWriter final : public RecordVisitor {
 public:
  SimpleWriter(AppendableWideString& out, std::uint32_t indentation, bool showTypes)
      : m_out(out), m_indentation(indentation), m_showTypes(showTypes) {}

  RecordNode Enter(const RecordNode& node, std::uint32_t depth) override {
    m_out.AppendSpace(Indentation(depth));
    Tag tag(node);
    if (tag.present) {
      m_out.Append(u'<');
      if (tag.prefixed) AppendWord(m_out, kPrefix);
      AppendTag(tag);
      if (m_showTypes) AppendWord(m_out, TypeAttribute(node.Type()));
      if (tag.prefixed) m_out.Append(u" prefix=\"%s\"", kPrefix);
      m_out.Append(u'>');
    }
    if (node.IsList()) {
      m_out.Append(u'\n');
      return node;
    }
    AppendScalarText(m_out, node, Escape::None);
    Close(tag);
    return {};
  }

  void Leave(const RecordNode& node, std::uint32_t depth) override {
    m_out.AppendSpace(Indentation(depth));
    Close(Tag(node));
  }

 private:
  std::uint32_t Indentation(std::uint32_t depth) const { return m_indentation + 4 * depth; }

  void AppendTag(const Tag& tag) {
    if (tag.name.IsEmpty()) {
      AppendWord(m_out, u"Property");
    } else {
      AppendRecordText(m_out, tag.name);
    }
  }

  void Close(const Tag& tag) {
    if (tag.present) {
      m_out.Append(u"</%s", tag.prefixed ? kPrefix : u"");
      AppendTag(tag);
      m_out.Append(u'>');
    }
    m_out.Append(u'\n');
  }

  AppendableWideString& m_out;
  std::uint32_t m_indentation;
  bool m_showTypes;
};

}  // namespace

void WriteSimple(AppendableWideString& out, const RecordNode& record, std::uint32_t indentation,
                 bool showTypes) {
  SimpleWriter writer(out, indentation, showTypes);
  WalkRecord(record, writer);
}

}  // namespace detail

char16_t* NewSimple(const ZxVariant* record, bool showTypes) {
  detail::PrintFrame frame;
  if (record != nullptr) detail::WriteSimple(frame.Out(), detail::RecordNode::Of(record), 0, showTypes);
  return frame.Finish();
}

}  // namespace ZxVariantHelper
