// Finding, appending, inserting and deleting the elements of loose lists.
#include <cstdlib>

#include "tree/basic_utils_internal.h"
#include "zxvariant/basic_utils.h"

namespace ZxVariantHelper::BasicUtils {

using internal::First;
using internal::ListOf;
using internal::NameMatches;
using internal::NewRecord;
using internal::SetFirst;

namespace {

// Links `elem` after `last` (or after the chain's end, found by walking, when
// `last` is null), creating the first-slot block when the list has none.
bool LinkAtEnd(ZxVariant::List& list, ZxVariant* elem, ZxVariant* last) {
  elem->next = nullptr;
  if (list.items == nullptr) {
    void* slot = std::malloc(sizeof(void*));
    if (slot == nullptr) return false;
    list.count = 0;
    list.items = static_cast<ZxVariant**>(slot);
    SetFirst(list, elem);
  } else if (last != nullptr) {
    last->next = elem;
  } else if (ZxVariant* walk = First(list)) {
    while (walk->next != nullptr) walk = walk->next;
    walk->next = elem;
  } else {
    SetFirst(list, elem);  // a kept, empty first-slot block
  }
  ++list.count;
  return true;
}

ZxVariant* AppendNew(ZxVariant::List* list) {
  if (list == nullptr) return nullptr;
  ZxVariant* elem = NewRecord();
  if (elem == nullptr) return nullptr;
  if (!LinkAtEnd(*list, elem, nullptr)) {
    std::free(elem);
    return nullptr;
  }
  return elem;
}

bool FindByName(const ZxVariant::List* list, const char16_t* name, unsigned int n,
                ZxVariant** prev, ZxVariant** found) {
  if (list == nullptr) return false;
  ZxVariant* before = nullptr;
  for (ZxVariant* walk = First(*list); walk != nullptr; before = walk, walk = walk->next) {
    if (!NameMatches(walk, name)) continue;
    if (n-- != 0) continue;
    if (prev != nullptr) *prev = before;
    if (found != nullptr) *found = walk;
    return true;
  }
  return false;
}

bool FindByIndex(const ZxVariant::List* list, int index, ZxVariant** prev, ZxVariant** found) {
  if (list == nullptr) return false;
  if (index > 0 && static_cast<unsigned int>(index) > list->count) return false;
  // An index equal to the count, or a negative one, walks off the end.
  ZxVariant* before = nullptr;
  ZxVariant* walk = First(*list);
  for (long long i = 0; walk != nullptr && i != index; ++i) {
    before = walk;
    walk = walk->next;
  }
  if (walk == nullptr) return false;
  if (prev != nullptr) *prev = before;
  if (found != nullptr) *found = walk;
  return true;
}

bool FindByIdentity(const ZxVariant::List* list, const ZxVariant* elem, ZxVariant** prev) {
  if (list == nullptr || elem == nullptr) return false;
  ZxVariant* before = nullptr;
  for (ZxVariant* walk = First(*list); walk != nullptr; before = walk, walk = walk->next) {
    if (walk != elem) continue;
    if (prev != nullptr) *prev = before;
    return true;
  }
  return false;
}

bool Unlink(ZxVariant::List* list, ZxVariant* prev, ZxVariant* elem, bool freeEmptySlot) {
  if (list == nullptr || elem == nullptr || list->items == nullptr) return false;
  // elem must really follow prev (or be first), or the chain would be cut.
  if (prev != nullptr) {
    if (prev->next != elem) return false;
    prev->next = elem->next;
  } else {
    if (First(*list) != elem) return false;
    SetFirst(*list, elem->next);
  }
  if (list->count != 0) --list->count;
  if (freeEmptySlot && First(*list) == nullptr) {
    std::free(list->items);
    list->items = nullptr;
    list->count = 0;
  }
  elem->next = nullptr;
  releaseZxVariant(elem);
  return true;
}

}  // namespace

ZxVariant* appendNodeToAList(ZxVariant* list) { return AppendNew(ListOf(list)); }

ZxVariant* appendNodeToAList(ZxVariant::List* list) { return AppendNew(list); }

bool appendNodeToAList(ZxVariant::List* list, ZxVariant* elem) {
  if (list == nullptr || elem == nullptr) return false;
  return LinkAtEnd(*list, elem, nullptr);
}

bool appendNodeToAList(ZxVariant* list, ZxVariant* elem, ZxVariant* last) {
  ZxVariant::List* items = ListOf(list);
  if (items == nullptr || elem == nullptr) return false;
  return LinkAtEnd(*items, elem, last);
}

ZxVariant* prependNodeToAList(ZxVariant* list) {
  ZxVariant::List* items = ListOf(list);
  if (items == nullptr) return nullptr;
  ZxVariant* elem = NewRecord();
  if (elem == nullptr) return nullptr;
  if (items->items == nullptr) {
    void* slot = std::calloc(1, sizeof(void*));
    if (slot == nullptr) {
      std::free(elem);
      return nullptr;
    }
    items->items = static_cast<ZxVariant**>(slot);
    items->count = 0;
  }
  elem->next = First(*items);
  SetFirst(*items, elem);
  ++items->count;
  return elem;
}

bool insertNodeInAList(ZxVariant* list, ZxVariant* elem, ZxVariant* prev, ZxVariant* next) {
  ZxVariant::List* items = ListOf(list);
  if (items == nullptr || items->items == nullptr || elem == nullptr || next == nullptr) return false;
  if (prev != nullptr ? prev->next != next : First(*items) != next) return false;
  elem->next = next;
  if (prev != nullptr) {
    prev->next = elem;
  } else {
    SetFirst(*items, elem);
  }
  ++items->count;
  return true;
}

bool deleteNodeFromAList(ZxVariant* list, ZxVariant* prev, ZxVariant* elem) {
  return Unlink(ListOf(list), prev, elem, true);
}

bool deleteNodeFromAList(ZxVariant::List* list, ZxVariant* prev, ZxVariant* elem) {
  return Unlink(list, prev, elem, true);
}

bool deleteNodeFromAList(ZxVariant* list, const char16_t* name) {
  ZxVariant::List* items = ListOf(list);
  ZxVariant* prev = nullptr;
  ZxVariant* found = nullptr;
  if (!FindByName(items, name, 0, &prev, &found)) return false;
  return Unlink(items, prev, found, true);
}

bool deleteNodeFromAList(ZxVariant::List* list, const char16_t* name) {
  ZxVariant* prev = nullptr;
  ZxVariant* found = nullptr;
  if (!FindByName(list, name, 0, &prev, &found)) return false;
  // Kept on purpose: this form leaves the emptied first-slot block in place.
  return Unlink(list, prev, found, false);
}

bool findNodeInAList(const ZxVariant* list, const char16_t* name, ZxVariant** prev,
                     ZxVariant** found) {
  return FindByName(ListOf(list), name, 0, prev, found);
}

ZxVariant* findNodeInAList(const ZxVariant::List* list, const char16_t* name) {
  ZxVariant* found = nullptr;
  return FindByName(list, name, 0, nullptr, &found) ? found : nullptr;
}

ZxVariant* findNodeInAList(const ZxVariant::List* list, const char16_t* name, unsigned int n) {
  ZxVariant* found = nullptr;
  return FindByName(list, name, n, nullptr, &found) ? found : nullptr;
}

bool findNodeInAList(const ZxVariant* list, int index, ZxVariant** prev, ZxVariant** found) {
  return FindByIndex(ListOf(list), index, prev, found);
}

ZxVariant* findNodeInAList(const ZxVariant* list, int index) {
  if (index < 0) return nullptr;
  ZxVariant* found = nullptr;
  return FindByIndex(ListOf(list), index, nullptr, &found) ? found : nullptr;
}

ZxVariant* findNodeInAList(const ZxVariant::List* list, int index) {
  ZxVariant* found = nullptr;
  return FindByIndex(list, index, nullptr, &found) ? found : nullptr;
}

bool findNodeInAList(const ZxVariant* list, ZxVariant* elem, ZxVariant** prev) {
  return FindByIdentity(ListOf(list), elem, prev);
}

bool findNodeInAList(const ZxVariant::List* list, ZxVariant* elem, ZxVariant** prev) {
  return FindByIdentity(list, elem, prev);
}

ZxVariant* findElementInAList(const ZxVariant* list, const ZxVariant* like, unsigned int n,
                              ZxVariant** prev) {
  const ZxVariant::List* items = ListOf(list);
  if (items == nullptr) return nullptr;
  ZxVariant* before = nullptr;
  for (ZxVariant* walk = First(*items); walk != nullptr; before = walk, walk = walk->next) {
    if (compareZxVariant(like, walk) != 0) continue;
    if (n-- != 0) continue;
    if (prev != nullptr) *prev = before;
    return walk;
  }
  return nullptr;
}

}  // namespace ZxVariantHelper::BasicUtils
