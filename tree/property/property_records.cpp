// Record helpers shared by the property operations.
#include <cstdlib>
#include <new>

#include "tree/basic_utils_internal.h"
#include "tree/property/property_internal.h"
#include "zxvariant/basic_utils.h"

namespace ZxVariantHelper::BOProperty::internal {

using T = ZxVariant::TypeCodes;

SmartWcharPtr NameOf(const ZxVariant* record) {
  if (record == nullptr || record->name.length == 0 || record->name.str == nullptr) {
    static const SmartWcharPtr empty(u"");
    return empty;
  }
  return SmartWcharPtr(record->name.str, record->name.length);
}

bool IsCopyableValue(T type) {
  switch (type) {
    case T::Null:
    case T::Bool:
    case T::Int:
    case T::Float:
    case T::Buffer:
    case T::String:
    case T::Int64:
      return true;
    default:
      return false;
  }
}

ZxVariant* NewNamedRecord(const char16_t* name) noexcept {
  ZxVariant* record = BasicUtils::internal::NewRecord();
  if (record == nullptr) return nullptr;
  if (name != nullptr && name[0] != 0 && !BasicUtils::copyZxVariantName(record, name)) {
    std::free(record);
    return nullptr;
  }
  return record;
}

void ReleaseQuietly(ZxVariant* record) noexcept {
  try {
    BasicUtils::releaseZxVariant(record);
  } catch (const std::bad_alloc&) {
    // Nothing was freed yet: the walk collects before it frees.
  }
}

void ClearQuietly(ZxVariant* record) noexcept {
  try {
    BasicUtils::clearZxVariant(record);
  } catch (const std::bad_alloc&) {
    // As above: the contents stay allocated.
  }
}

bool DeleteQuietly(ZxVariant* list, ZxVariant* prev, ZxVariant* element) noexcept {
  try {
    return BasicUtils::deleteNodeFromAList(list, prev, element);
  } catch (const std::bad_alloc&) {
    // Only the final release can throw, after the element was unlinked.
    return true;
  }
}

ZxVariant* NextUnnamedChild(const ZxVariant* list, ZxVariant* from, unsigned int fromPosition,
                            unsigned int* position) {
  if (!IsList(list)) return nullptr;
  ZxVariant* walk;
  unsigned int at;
  if (from != nullptr) {
    walk = from->next;
    at = fromPosition + 1;
  } else {
    walk = BasicUtils::findNodeInAList(list, 0);
    at = 0;
  }
  for (; walk != nullptr; walk = walk->next, ++at) {
    if (walk->name.length != 0 && walk->name.str != nullptr) continue;
    if (position != nullptr) *position = at;
    return walk;
  }
  return nullptr;
}

}  // namespace ZxVariantHelper::BOProperty::internal
