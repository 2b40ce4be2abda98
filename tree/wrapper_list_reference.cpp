// AZxvListReference: a List record and its children edited in place.

#include "record/unaligned.h"
#include "tree/basic_utils_internal.h"
#include "tree/wrapper_records.h"
#include "zxvariant/basic_utils.h"
#include "zxvariant/wrappers.h"

namespace ZxVariantHelper {

using namespace BasicUtils;
using namespace wrapper_detail;
using T = ZxVariant::TypeCodes;

namespace {

ZxVariant* ListOrNull(ZxVariant* record) { return IsList(record) ? record : nullptr; }

// Links `fresh` (a copy the list is to own) first or last; when that fails
// the copy is freed.
bool LinkAtEnd(ZxVariant* list, ZxVariant* fresh, bool atFront) {
  if (fresh == nullptr) return false;
  ZxVariant* first = findNodeInAList(list, 0);
  bool linked = atFront && first != nullptr ? insertNodeInAList(list, fresh, nullptr, first)
                                            : appendNodeToAList(list, fresh, nullptr);
  if (!linked) releaseZxVariant(fresh);
  return linked;
}

bool LinkBefore(ZxVariant* list, ZxVariant* fresh, ZxVariant* prev, ZxVariant* next) {
  if (fresh == nullptr) return false;
  if (insertNodeInAList(list, fresh, prev, next)) return true;
  releaseZxVariant(fresh);
  return false;
}

// A new empty child of `type` named `name` (unnamed for the empty name),
// linked first or last.  Null for a null name or a failure.
ZxVariant* NewChild(ZxVariant* list, const char16_t* name, T type, bool atFront) {
  if (list == nullptr || name == nullptr) return nullptr;
  ZxVariant* child = internal::NewRecord();
  if (child == nullptr) return nullptr;
  child->type = type;
  if (detail::LoadUnit(name, 0) != 0 && !setZxVariantName(child, name)) {
    releaseZxVariant(child);
    return nullptr;
  }
  return LinkAtEnd(list, child, atFront) ? child : nullptr;
}

AZxvListReference ListReference(ZxVariant* record) {
  return record != nullptr ? AZxvListReference(record) : AZxvListReference();
}

}  // namespace

AZxvListReference::AZxvListReference(ZxVariant* record) : m_record(record) {
  if (record == nullptr) ThrowInvalidParameter();
}

bool AZxvListReference::pushBack(const AZxvReference& element) {
  ZxVariant* list = ListOrNull(m_record);
  return list != nullptr && LinkAtEnd(list, NewLooseCopy(element, true), false);
}

bool AZxvListReference::pushFront(const AZxvReference& element) {
  ZxVariant* list = ListOrNull(m_record);
  return list != nullptr && LinkAtEnd(list, NewLooseCopy(element, true), true);
}

bool AZxvListReference::pushBack(const AZxvListReference& other) {
  ZxVariant* list = ListOrNull(m_record);
  return list != nullptr && LinkAtEnd(list, copyZxVariant(other.m_record), false);
}

bool AZxvListReference::pushFront(const AZxvListReference& other) {
  ZxVariant* list = ListOrNull(m_record);
  return list != nullptr && LinkAtEnd(list, copyZxVariant(other.m_record), true);
}

AZxvReference AZxvListReference::pushBack(SmartWcharPtr name) {
  AZxvReference child;
  child.m_record = NewChild(ListOrNull(m_record), name.get(), T::Null, false);
  return child;
}

AZxvReference AZxvListReference::pushFront(SmartWcharPtr name) {
  AZxvReference child;
  child.m_record = NewChild(ListOrNull(m_record), name.get(), T::Null, true);
  return child;
}

AZxvListReference AZxvListReference::operator()(SmartWcharPtr name) {
  return ListReference(NewChild(ListOrNull(m_record), name.get(), T::List, false));
}

bool AZxvListReference::insert(const AZxvReference& element, SmartWcharPtr before) {
  ZxVariant* prev = nullptr;
  ZxVariant* next = nullptr;
  if (!findNodeInAList(m_record, before.get(), &prev, &next)) return false;
  return LinkBefore(m_record, NewLooseCopy(element, true), prev, next);
}

bool AZxvListReference::insert(const AZxvListReference& other, SmartWcharPtr before) {
  ZxVariant* prev = nullptr;
  ZxVariant* next = nullptr;
  if (!findNodeInAList(m_record, before.get(), &prev, &next)) return false;
  return LinkBefore(m_record, copyZxVariant(other.m_record), prev, next);
}

bool AZxvListReference::insert(const AZxvReference& element, int before) {
  ZxVariant* prev = nullptr;
  ZxVariant* next = nullptr;
  if (before < 0 || !findNodeInAList(m_record, before, &prev, &next)) return false;
  return LinkBefore(m_record, NewLooseCopy(element, true), prev, next);
}

bool AZxvListReference::insert(const AZxvListReference& other, int before) {
  ZxVariant* prev = nullptr;
  ZxVariant* next = nullptr;
  if (before < 0 || !findNodeInAList(m_record, before, &prev, &next)) return false;
  return LinkBefore(m_record, copyZxVariant(other.m_record), prev, next);
}

AZxvReference AZxvListReference::at(int index) const {
  AZxvReference child;
  ZxVariant* found = findNodeInAList(m_record, index);
  if (found != nullptr && found->type != T::List) child.m_record = found;
  return child;
}

AZxvReference AZxvListReference::at(SmartWcharPtr name, unsigned int n) const {
  AZxvReference child;
  ZxVariant* list = ListOrNull(m_record);
  ZxVariant* found = list != nullptr ? findNodeInAList(&list->value.list, name.get(), n) : nullptr;
  if (found != nullptr && found->type != T::List) child.m_record = found;
  return child;
}

AZxvListReference AZxvListReference::atL(int index) const {
  ZxVariant* found = findNodeInAList(m_record, index);
  return ListReference(ListOrNull(found));
}

AZxvListReference AZxvListReference::atL(SmartWcharPtr name, unsigned int n) const {
  ZxVariant* list = ListOrNull(m_record);
  ZxVariant* found = list != nullptr ? findNodeInAList(&list->value.list, name.get(), n) : nullptr;
  return ListReference(ListOrNull(found));
}

ZxVariant* AZxvListReference::findNode(const char16_t* name, unsigned int n, bool lists) const {
  ZxVariant* list = ListOrNull(m_record);
  if (list == nullptr) return nullptr;
  for (ZxVariant* child = internal::First(list->value.list); child != nullptr;
       child = child->next) {
    if (IsList(child) != lists || !internal::NameMatches(child, name)) continue;
    if (n-- == 0) return child;
  }
  return nullptr;
}

AZxvReference AZxvListReference::find(SmartWcharPtr name, unsigned int n) const {
  AZxvReference child;
  child.m_record = findNode(name.get(), n, false);
  return child;
}

AZxvListReference AZxvListReference::findList(SmartWcharPtr name, unsigned int n) const {
  return ListReference(findNode(name.get(), n, true));
}

AZxvReference AZxvListReference::find(const AZxvReference& like, unsigned int n) const {
  AZxvReference child;
  if (like.m_record == nullptr) return child;
  ZxVariant* found = findElementInAList(m_record, like.m_record, n, nullptr);
  if (found != nullptr && found->type != T::List) child.m_record = found;
  return child;
}

AZxvReference AZxvListReference::operator[](SmartWcharPtr name) const { return find(name, 0); }

bool AZxvListReference::erase(int index) {
  ZxVariant* prev = nullptr;
  ZxVariant* found = nullptr;
  if (index < 0 || !findNodeInAList(m_record, index, &prev, &found)) return false;
  return deleteNodeFromAList(m_record, prev, found);
}

bool AZxvListReference::erase(SmartWcharPtr name) {
  return deleteNodeFromAList(m_record, name.get());
}

bool AZxvListReference::erase(const AZxvReference& like, unsigned int n) {
  if (like.m_record == nullptr) return false;
  ZxVariant* prev = nullptr;
  ZxVariant* found = findElementInAList(m_record, like.m_record, n, &prev);
  return found != nullptr && deleteNodeFromAList(m_record, prev, found);
}

void AZxvListReference::erase() {
  if (m_record == nullptr) return;
  const bool wasList = IsList(m_record);
  clearZxVariant(m_record);
  if (wasList) m_record->type = T::List;
}

bool AZxvListReference::popFront() {
  ZxVariant* first = findNodeInAList(m_record, 0);
  return first != nullptr && deleteNodeFromAList(m_record, nullptr, first);
}

bool AZxvListReference::popBack() {
  ZxVariant* list = ListOrNull(m_record);
  if (list == nullptr) return false;
  ZxVariant* prev = nullptr;
  ZxVariant* last = internal::First(list->value.list);
  if (last == nullptr) return false;
  while (last->next != nullptr) {
    prev = last;
    last = last->next;
  }
  return deleteNodeFromAList(list, prev, last);
}

int AZxvListReference::size() const {
  ZxVariant* list = ListOrNull(m_record);
  if (list == nullptr) return 0;
  if (list->value.list.count != 0) return static_cast<int>(list->value.list.count);
  int chain = 0;
  for (const ZxVariant* c = internal::First(list->value.list); c != nullptr; c = c->next) ++chain;
  return chain;
}

int AZxvListReference::count() const {
  ZxVariant* list = ListOrNull(m_record);
  if (list == nullptr) return 0;
  return static_cast<int>(getZxVariantCount(internal::First(list->value.list)));
}

AZxvariantName AZxvListReference::name() const { return AZxvariantName(m_record); }

bool AZxvListReference::name(SmartWcharPtr name) {
  return m_record != nullptr && setZxVariantName(m_record, name.get());
}

AZxvReference AZxvListReference::attribute(SmartWcharPtr name) {
  AZxvReference found;
  found.m_record = AttributeByName(m_record, name.get(), true);
  return found;
}

AZxvReference AZxvListReference::attribute(SmartWcharPtr name) const {
  AZxvReference found;
  found.m_record = AttributeByName(m_record, name.get(), false);
  return found;
}

AZxvReference AZxvListReference::attribute(int index) {
  return static_cast<const AZxvListReference&>(*this).attribute(index);
}

AZxvReference AZxvListReference::attribute(int index) const {
  AZxvReference found;
  found.m_record = AttributeAt(m_record, index);
  return found;
}

bool AZxvListReference::assign(const AZxvListReference& other) {
  if (m_record == nullptr || m_record == other.m_record || !IsList(other.m_record)) return false;
  ZxVariant* fresh = copyZxVariant(other.m_record);
  if (fresh == nullptr) return false;
  AdoptContents(m_record, fresh);
  return true;
}

bool AZxvListReference::assignValue(const AZxvListReference& other) {
  ZxVariant* list = ListOrNull(m_record);
  if (list == nullptr || m_record == other.m_record || !IsList(other.m_record)) return false;
  ZxVariant* fresh = copyZxVariant(other.m_record);
  if (fresh == nullptr) return false;
  // Swap the children and free the old ones with the rest of the copy.
  ZxVariant::List mine = list->value.list;
  list->value.list = fresh->value.list;
  fresh->value.list = mine;
  releaseZxVariant(fresh);
  return true;
}

}  // namespace ZxVariantHelper
