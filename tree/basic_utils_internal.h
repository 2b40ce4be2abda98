// Shared internals of the list utilities.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "record/unaligned.h"
#include "zxvariant/basic_utils.h"
#include "zxvariant/record.h"

namespace ZxVariantHelper::BasicUtils::internal {

using T = ZxVariant::TypeCodes;

constexpr std::size_t kHeader = sizeof(ZxVariant);

inline bool IsKnownType(T type) {
  return static_cast<std::uint32_t>(type) <= static_cast<std::uint32_t>(T::Int64);
}

// A fresh loose header: zeroed, so it reads as an unnamed Null record.
inline ZxVariant* NewRecord() { return static_cast<ZxVariant*>(std::calloc(1, kHeader)); }

// The first record of a chain.  Loose first-slot blocks are aligned but flat
// entry arrays are not, so the word is always read through memcpy.
inline ZxVariant* First(const ZxVariant::List& list) {
  if (list.items == nullptr) return nullptr;
  return detail::At<ZxVariant>(detail::LoadSlot(list.items));
}
inline void SetFirst(ZxVariant::List& list, ZxVariant* first) {
  detail::StoreSlot(list.items, detail::Address(first));
}

// The list of a List record, null for anything else.
inline ZxVariant::List* ListOf(ZxVariant* record) {
  return record != nullptr && record->type == T::List ? &record->value.list : nullptr;
}
inline const ZxVariant::List* ListOf(const ZxVariant* record) {
  return record != nullptr && record->type == T::List ? &record->value.list : nullptr;
}

// Name comparison ignoring case: only A-Z fold (to a-z), every other unit
// compares by its value.
inline char16_t Fold(char16_t unit) {
  return unit >= u'A' && unit <= u'Z' ? static_cast<char16_t>(unit + (u'a' - u'A')) : unit;
}

// -1, 0 or 1 as two texts order ignoring case; a null text is empty.
inline int CompareFolded(const char16_t* a, std::size_t aLength, const char16_t* b,
                         std::size_t bLength) {
  if (a == nullptr) aLength = 0;
  if (b == nullptr) bLength = 0;
  std::size_t common = aLength < bLength ? aLength : bLength;
  for (std::size_t i = 0; i < common; ++i) {
    char16_t x = Fold(detail::LoadUnit(a, i));
    char16_t y = Fold(detail::LoadUnit(b, i));
    if (x != y) return x < y ? -1 : 1;
  }
  if (aLength == bLength) return 0;
  return aLength < bLength ? -1 : 1;
}

// Whether the record carries `name` ignoring case.  Unnamed records and an
// empty or null name never match.
inline bool NameMatches(const ZxVariant* record, const char16_t* name) {
  if (name == nullptr || detail::LoadUnit(name, 0) == 0) return false;
  std::uint32_t length = record->name.length;
  const char16_t* own = record->name.str;
  if (length == 0 || own == nullptr) return false;
  for (std::size_t i = 0; i < length; ++i) {
    char16_t unit = detail::LoadUnit(name, i);
    if (unit == 0 || Fold(unit) != Fold(detail::LoadUnit(own, i))) return false;
  }
  return detail::LoadUnit(name, length) == 0;
}

// The records of a chain as the flat layout sees them: at most `count`
// records along the next links.
inline std::uint32_t ChainLength(const ZxVariant::List& list) {
  std::uint32_t count = list.count;
  std::uint32_t n = 0;
  for (const ZxVariant* r = First(list); r != nullptr && n < count; r = r->next) ++n;
  return n;
}

// Frees the value block a loose record owns by its type (String characters,
// Buffer bytes; a List's children and first-slot block) and zeroes the value.
void DropValue(ZxVariant* record);


}  // namespace ZxVariantHelper::BasicUtils::internal
