// PropertyContainer: construction, the editing operations, iteration, size,
// comparison, copies and the hooks for a container bound to a data source.
#include <new>
#include <stdexcept>

#include "record/bad_allocation.h"
#include "tree/property/property_internal.h"
#include "tree/property/property_iterator.h"
#include "zxvariant/basic_utils.h"
#include "zxvariant/property.h"

namespace ZxVariantHelper::BOProperty {

using namespace BasicUtils;
using internal::Access;
using internal::IsList;

namespace {

ZxVariant* NewOwnedList(const char16_t* name) {
  ZxVariant* record = internal::NewNamedRecord(name);
  if (record == nullptr) detail::ThrowBadAllocation();
  record->type = ZxVariant::TypeCodes::List;
  return record;
}

ZxVariant* CheckedList(ZxVariant* record) {
  if (!IsList(record)) throw std::logic_error("Invalid parameter");
  return record;
}

// Fills a fresh element with a simple copy of `source` and its attributes
// (a NameValuePair has none).  A failed copy leaves the element empty; it is
// added all the same.
void FillElement(ZxVariant* element, const ZxVariant* source) {
  if (source != nullptr && copyASimpleZxVariant(element, source)) copyZxvAttributes(element, source);
}

}  // namespace

// ---- construction ----------------------------------------------------------------

PropertyContainer::PropertyContainer() : PropertyContainer(SmartWcharPtr()) {}

PropertyContainer::PropertyContainer(SmartWcharPtr name) : PropertyBase(nullptr, nullptr) {
  Access::own(*this, NewOwnedList(name));
}

PropertyContainer::PropertyContainer(ZxVariant* record) : PropertyBase(CheckedList(record), nullptr) {}

PropertyContainer::PropertyContainer(const PropertyContainer& other) : PropertyBase(nullptr, nullptr) {
  const ZxVariant* source = other.getData();
  if (!IsList(source)) {
    Access::own(*this, NewOwnedList(nullptr));
    return;
  }
  ZxVariant* copy = copyZxVariant(source);
  if (copy == nullptr) detail::ThrowBadAllocation();
  Access::own(*this, copy);
}

PropertyContainer::PropertyContainer(ZxVariant* record, bool ownsRecord)
    : PropertyBase(record, nullptr) {
  if (ownsRecord) Access::own(*this, record);
}

PropertyContainer::~PropertyContainer() {
  internal::TreeState* state = Access::existingTree(*this);
  if (state != nullptr && state->root() == this) state->rootGone();
}

void PropertyContainer::release(PropertyContainer* container) { delete container; }

// ---- linking and unlinking -----------------------------------------------------------

bool PropertyContainer::addElement(ZxVariant* list, ZxVariant* element, ZxVariant* prev,
                                   ZxVariant* next) {
  bool linked = next != nullptr ? insertNodeInAList(list, element, prev, next)
                                : appendNodeToAList(list, element, nullptr);
  if (!linked) {
    internal::ReleaseQuietly(element);
    return false;
  }
  notifyChange(element, list, ChangeKind::Added);
  return true;
}

ZxVariant* PropertyContainer::addContainer(ZxVariant* list, const char16_t* name, ZxVariant* prev,
                                           ZxVariant* next) {
  ZxVariant* element = internal::NewNamedRecord(name);
  if (element == nullptr) return nullptr;
  element->type = ZxVariant::TypeCodes::List;
  return addElement(list, element, prev, next) ? element : nullptr;
}

bool PropertyContainer::unlinkAndDelete(ZxVariant* list, ZxVariant* prev, ZxVariant* element) {
  notifyChange(element, list, ChangeKind::Removing);
  if (internal::TreeState* state = Access::existingTree(*this)) state->aboutToRemove(element);
  return internal::DeleteQuietly(list, prev, element);
}

// ---- editing -------------------------------------------------------------------------

bool PropertyContainer::appendCopy(const ZxVariant* source) {
  ZxVariant* list = getData();
  ZxVariant* element = appendNodeToAList(list);  // fails for anything but a List
  if (element == nullptr) return false;
  FillElement(element, source);
  notifyChange(element, list, ChangeKind::Added);
  return true;
}

bool PropertyContainer::insertCopy(const char16_t* before, const ZxVariant* source) {
  ZxVariant* list = getData();
  ZxVariant* prev = nullptr;
  ZxVariant* next = nullptr;
  if (!findNodeInAList(list, before, &prev, &next)) return false;
  ZxVariant* element = internal::NewNamedRecord(nullptr);
  if (element == nullptr) return false;
  FillElement(element, source);
  return addElement(list, element, prev, next);
}

bool PropertyContainer::append(const AProperty& p) { return appendCopy(p.getData()); }

bool PropertyContainer::append(const NameValuePair& nv) { return appendCopy(nv); }

bool PropertyContainer::insert(SmartWcharPtr before, const AProperty& p) {
  return insertCopy(before, p.getData());
}

bool PropertyContainer::insert(SmartWcharPtr before, const NameValuePair& nv) {
  return insertCopy(before, nv);
}

bool PropertyContainer::remove(SmartWcharPtr name) {
  ZxVariant* list = getData();
  ZxVariant* prev = nullptr;
  ZxVariant* found = nullptr;
  if (!findNodeInAList(list, name, &prev, &found) || IsList(found)) return false;
  return unlinkAndDelete(list, prev, found);
}

bool PropertyContainer::removeContainer(SmartWcharPtr name) {
  ZxVariant* list = getData();
  ZxVariant* prev = nullptr;
  ZxVariant* found = nullptr;
  if (!findNodeInAList(list, name, &prev, &found) || !IsList(found)) return false;
  return unlinkAndDelete(list, prev, found);
}

SmartPtr<PropertyContainer> PropertyContainer::appendContainer(SmartWcharPtr name) {
  ZxVariant* list = getData();
  ZxVariant* element = appendNodeToAList(list);
  if (element == nullptr) return nullptr;
  // An empty name cannot be copied: the container stays unnamed.
  if (!name.empty()) copyZxVariantName(element, name);
  element->type = ZxVariant::TypeCodes::List;
  notifyChange(element, list, ChangeKind::Added);
  return Access::handOutContainer(*this, element, list);
}

SmartPtr<PropertyContainer> PropertyContainer::insertContainer(SmartWcharPtr before,
                                                               SmartWcharPtr name) {
  ZxVariant* list = getData();
  ZxVariant* prev = nullptr;
  ZxVariant* next = nullptr;
  if (!findNodeInAList(list, before, &prev, &next)) return nullptr;
  ZxVariant* element = addContainer(list, name, prev, next);
  if (element == nullptr) return nullptr;
  return Access::handOutContainer(*this, element, list);
}

// ---- iteration -----------------------------------------------------------------------

SmartPtr<IPropertyIterator> PropertyContainer::createIterator() {
  ZxVariant* list = IsList(getData()) ? getData() : nullptr;
  std::shared_ptr<internal::TreeState> state;
  if (list != nullptr) {
    state = Access::tree(*this);
    if (state == nullptr) return nullptr;
  }
  auto* iterator = new (std::nothrow) internal::PropertyIterator(state, this, list);
  if (iterator == nullptr) return nullptr;
  if (state != nullptr && !state->track(iterator)) {
    delete iterator;
    return nullptr;
  }
  return SmartPtr<IPropertyIterator>(iterator);
}

bool PropertyContainer::remove(SmartPtr<IPropertyIterator>& iterator) {
  auto* walker = dynamic_cast<internal::PropertyIterator*>(iterator.get());
  ZxVariant* list = getData();
  if (walker == nullptr || !IsList(list) || walker->list() != list || walker->atEnd()) return false;
  ZxVariant* element = walker->getData();
  ZxVariant* prev = nullptr;
  if (!findNodeInAList(list, element, &prev)) return false;
  // The tree state moves every iterator of this tree on; this one may come
  // from another container over the same record.
  walker->stepPast(element);
  return unlinkAndDelete(list, prev, element);
}

// ---- size, comparison, copies ----------------------------------------------------------

unsigned int PropertyContainer::size() const {
  const ZxVariant* list = getData();
  return IsList(list) ? list->value.list.count : 0;
}

int PropertyContainer::compare(const PropertyContainer& other) const {
  if (this == &other) return 0;
  return compareZxVariant(getData(), other.getData());
}

PropertyContainer* PropertyContainer::clone() const {
  if (!IsList(getData())) return nullptr;
  ZxVariant* copy = copyZxVariant(getData());
  if (copy == nullptr) return nullptr;
  auto* container = new (std::nothrow) PropertyContainer(copy, true);
  if (container == nullptr) internal::ReleaseQuietly(copy);
  return container;
}

// ---- notifications and reloading ---------------------------------------------------------

void PropertyContainer::notifyChange(ZxVariant* changed, ZxVariant* parentRecord, int kind) {
  if (changed != nullptr) m_modified = true;
  PropertyBase::notifyChange(changed, parentRecord, kind);
}

void PropertyContainer::setData(ZxVariant* record) { Access::setData(*this, record); }

bool PropertyContainer::reloadData() {
  internal::TreeState* state = Access::existingTree(*this);
  if (state != nullptr && state->root() == this) state->detachAll();
  m_modified = false;
  return IsList(getData());
}

}  // namespace ZxVariantHelper::BOProperty
