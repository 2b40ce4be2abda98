// ZxvView and ZxvStringView.
#include <cstddef>

#include "record/unaligned.h"
#include "record/value_bytes.h"
#include "zxvariant/views.h"

namespace ZxVariantHelper {
namespace {

using T = ZxVariant::TypeCodes;
using detail::LoadUnit;

char16_t FoldAscii(char16_t unit) { return unit >= u'A' && unit <= u'Z' ? unit + (u'a' - u'A') : unit; }

// Equal-length texts compared unit by unit up to the NUL.
template <typename Fold>
bool SameUnits(const char16_t* a, const char16_t* b, std::uint32_t length, Fold fold) {
  for (std::uint32_t i = 0; i < length; ++i) {
    char16_t x = fold(LoadUnit(a, i));
    if (x != fold(LoadUnit(b, i))) return false;
    if (x == 0) return true;
  }
  return true;
}

char16_t Exact(char16_t unit) { return unit; }

// Whether a node's name equals `name` of `length` units (null counts as
// empty), case-sensitively.  UnitCount measured `name`, so it holds no
// U+0000 among those units and SameUnits' stop at a shared U+0000 cannot
// apply: plain equality of the units decides.
bool NameIs(const ZxVariant& node, const char16_t* name, std::uint32_t length) {
  if (node.name.length != length) return false;
  return length == 0 || detail::EqualUnits(node.name.str, name, length);
}

const ZxVariant* Entry(const ZxVariant::List& list, std::uint32_t index) {
  return detail::At<const ZxVariant>(
      detail::LoadSlot(reinterpret_cast<const char*>(list.items) + 8ull * index));
}

// The first node of a searched list (entry 0) followed along next, by name.
// The name is measured once; each node is then passed on its length alone
// unless the lengths agree.
const ZxVariant* FindByName(const ZxVariant::List& list, const char16_t* name) {
  if (list.count == 0 || list.items == nullptr) return nullptr;
  const auto length = name ? static_cast<std::uint32_t>(detail::UnitCount(name)) : 0;
  for (const ZxVariant* node = Entry(list, 0); node != nullptr; node = node->next) {
    if (NameIs(*node, name, length)) return node;
  }
  return nullptr;
}

}  // namespace

// ---- ZxvStringView ----------------------------------------------------------

const char16_t* ZxvStringView::EmptyText() { return u""; }

ZxvStringView::ZxvStringView(const ZxVariant::String& s)
    : length(s.length), reserved(0), str(s.length != 0 ? s.str : EmptyText()) {}

ZxvStringView::ZxvStringView(const char16_t* text)
    : length(text ? static_cast<std::uint32_t>(detail::UnitCount(text)) : 0), reserved(0), str(text) {}

bool ZxvStringView::operator==(const ZxvStringView& other) const {
  if (length != other.length) return false;
  return length == 0 || SameUnits(str, other.str, length, Exact);
}

bool ZxvStringView::Equals(const ZxvStringView& other, bool caseSensitive) const {
  if (caseSensitive) return *this == other;
  if (length != other.length) return false;
  return length == 0 || SameUnits(str, other.str, length, FoldAscii);
}

// ---- ZxvView ----------------------------------------------------------------

const ZxVariant ZxvView::theNull{};

ZxVariant ZxvView::TheNull() { return theNull; }

ZxvView ZxvView::operator[](int index) const {
  if (!IsList()) return ZxvView();
  const ZxVariant::List& list = m_node->value.list;
  auto wanted = static_cast<std::uint32_t>(index);
  if (list.items == nullptr) return ZxvView();
  if (m_node->size != 0) {
    return wanted < list.count ? ZxvView(Entry(list, wanted)) : ZxvView();
  }
  // A builder: items points at its first-child link.
  const ZxVariant* child = Entry(list, 0);
  for (std::uint32_t i = 0; child != nullptr && i < wanted; ++i) child = child->next;
  return ZxvView(child);
}

ZxvView ZxvView::operator[](const char16_t* name) const {
  if (!IsList()) return ZxvView();
  return ZxvView(FindByName(m_node->value.list, name));
}

ZxvView ZxvView::AttributeValue(const char16_t* name) const {
  return ZxvView(FindByName(m_node->attributes, name));
}

ZxvView ZxvView::FindItemWithAttributeValue(const char16_t* attributeName,
                                            const char16_t* value) const {
  if (!IsList()) return ZxvView();
  const ZxVariant::List& list = m_node->value.list;
  if (list.count == 0 || list.items == nullptr) return ZxvView();
  ZxvStringView wanted(value);
  for (const ZxVariant* child = Entry(list, 0); child != nullptr; child = child->next) {
    if (ZxvView(child).AttributeValue(attributeName).String() == wanted) return ZxvView(child);
  }
  return ZxvView();
}

std::uint32_t ZxvView::NameSize() const {
  return static_cast<std::uint32_t>(detail::TextBytes(m_node->name.length));
}

std::uint32_t ZxvView::ValueSize() const {
  return detail::ValueBytes(Type(), m_node->value.buffer.size);
}

const void* ZxvView::ValuePtr() const {
  if (detail::IsScalar(Type())) return &m_node->value;
  if (IsBuffer() || IsString()) return m_node->value.buffer.data;
  return nullptr;
}

int ZxvView::ListValueSize() const {
  if (!IsList()) return -1;
  const ZxVariant::List& list = m_node->value.list;
  if (m_node->size != 0 || list.count != 0) return static_cast<int>(list.count);
  if (list.items == nullptr) return 0;
  int count = 0;
  for (const ZxVariant* child = Entry(list, 0); child != nullptr; child = child->next) ++count;
  return count;
}

}  // namespace ZxVariantHelper
