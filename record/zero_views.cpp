// Reading the zero-based form: ZxVariantZ accessors and ZxvZView.
//
// A slot holds the distance from the node that contains it (entry arrays:
// from the node that owns the list) in its low 32 bits.  The indexed
// accessors read entry arrays as 32-bit words, so entry k is word 2k and the
// odd words are the zero high halves: callers pass twice the child number.
#include "record/unaligned.h"
#include "record/value_bytes.h"
#include "zxvariant/views.h"

namespace ZxVariantHelper {
namespace {

using T = ZxVariant::TypeCodes;

const char* Base(const ZxVariantZ* node) { return reinterpret_cast<const char*>(node); }

// Node address plus the distance in a slot's low word; null for 0.
template <typename R>
const R* Translate(const ZxVariantZ* node, std::uint64_t slot) {
  auto distance = static_cast<std::uint32_t>(slot);
  return distance == 0 ? nullptr : reinterpret_cast<const R*>(Base(node) + distance);
}

const ZxVariantZ* Word(const ZxVariantZ* node, std::uint64_t arraySlot, int index) {
  const char* array = Translate<char>(node, arraySlot);
  if (array == nullptr) return nullptr;
  return Translate<ZxVariantZ>(node, detail::LoadU32(array + 4 * static_cast<std::ptrdiff_t>(index)));
}

// `wanted` is measured once by the caller (so it holds no U+0000 among its
// units, and plain equality decides as ZxvStringView's comparison would).
bool NameIs(const ZxVariantZ* node, const ZxvStringView& wanted) {
  if (node->NameLen() != wanted.length) return false;
  return wanted.length == 0 || detail::EqualUnits(node->NameStr(), wanted.str, wanted.length);
}

}  // namespace

// ---- ZxVariantZ -------------------------------------------------------------

const char16_t* ZxVariantZ::NameStr() const { return Translate<char16_t>(this, name.distance); }
const void* ZxVariantZ::ValueBufferBuf() const { return Translate<char>(this, value.slot.distance); }
const char16_t* ZxVariantZ::ValueStringStr() const {
  return Translate<char16_t>(this, value.slot.distance);
}
const ZxVariantZ* ZxVariantZ::ValueListIndex(int index) const {
  return Word(this, value.slot.distance, index);
}
const ZxVariantZ* ZxVariantZ::AttributesIndex(int index) const {
  return Word(this, attributes.distance, index);
}
const ZxVariantZ* ZxVariantZ::Next() const { return Translate<ZxVariantZ>(this, next); }

// ---- ZxvZView ---------------------------------------------------------------

const ZxVariantZ* const ZxvZView::theNull = nullptr;

ZxVariant::Buffer ZxvZView::Buffer() const {
  if (!IsBuffer()) return ZxVariant::Buffer{0, 0, nullptr};
  return ZxVariant::Buffer{m_node->ValueBufferLen(), 0, m_node->ValueBufferBuf()};
}

ZxvStringView ZxvZView::String() const {
  if (!IsString()) return ZxvStringView();
  return ZxvStringView(ZxVariant::String{m_node->ValueStringLen(), 0, m_node->ValueStringStr()});
}

ZxvStringView ZxvZView::Name() const {
  if (m_node == nullptr) return ZxvStringView();
  return ZxvStringView(ZxVariant::String{m_node->NameLen(), 0, m_node->NameStr()});
}

ZxvZView::operator ZxvListView() const {
  return ZxvListView(IsList() ? static_cast<int>(m_node->ValueListLen()) : -1);
}

ZxvZView ZxvZView::First() const {
  if (!IsList() || m_node->ValueListLen() == 0) return ZxvZView();
  return ZxvZView(m_node->ValueListIndex(0));
}

ZxvZView ZxvZView::operator[](int index) const {
  if (!IsList() || index < 0 || index >= static_cast<int>(m_node->ValueListLen())) {
    return ZxvZView();
  }
  return ZxvZView(m_node->ValueListIndex(index));
}

ZxvZView ZxvZView::operator[](const char16_t* name) const {
  if (!IsList() || m_node->ValueListLen() == 0) return ZxvZView();
  const ZxvStringView wanted(name);
  for (const ZxVariantZ* node = m_node->ValueListIndex(0); node != nullptr; node = node->Next()) {
    if (NameIs(node, wanted)) return ZxvZView(node);
  }
  return ZxvZView();
}

std::uint32_t ZxvZView::NameSize() const {
  return m_node == nullptr ? 0 : static_cast<std::uint32_t>(detail::TextBytes(m_node->NameLen()));
}

std::uint32_t ZxvZView::ValueSize() const {
  return m_node == nullptr ? 0 : detail::ValueBytes(Type(), m_node->value.slot.count);
}

const void* ZxvZView::ValuePtr() const {
  if (detail::IsScalar(Type())) return &m_node->value;
  if (IsBuffer() || IsString()) return m_node->ValueBufferBuf();
  return nullptr;
}

}  // namespace ZxVariantHelper
