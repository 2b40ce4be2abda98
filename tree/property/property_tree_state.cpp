// The registry of handed-out objects that keeps them from dangling.
#include <algorithm>
#include <new>
#include <unordered_set>
#include <utility>
#include <vector>

#include "tree/property/property_internal.h"
#include "tree/property/property_iterator.h"
#include "zxvariant/basic_utils.h"

namespace ZxVariantHelper::BOProperty::internal {

namespace {

// `record` and every List record under it: the records whose objects and
// iterators go when `record` is deleted.  Scalars under it need no entry, as
// no object is ever handed out for a record that is not a direct child of a
// List in the set (or `record` itself).
std::unordered_set<const ZxVariant*> Subtree(const ZxVariant* record) {
  std::unordered_set<const ZxVariant*> lists{record};
  std::vector<const ZxVariant*> pending{record};
  while (!pending.empty()) {
    const ZxVariant* list = pending.back();
    pending.pop_back();
    for (const ZxVariant* child = BasicUtils::findNodeInAList(list, 0); child != nullptr;
         child = child->next) {
      if (!IsList(child)) continue;
      lists.insert(child);
      pending.push_back(child);
    }
  }
  return lists;
}

}  // namespace

bool TreeState::track(PropertyBase* object) noexcept {
  try {
    m_objects.push_back(object);
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

bool TreeState::track(PropertyIterator* iterator) noexcept {
  try {
    m_iterators.push_back(iterator);
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

void TreeState::untrack(PropertyBase* object) noexcept {
  std::erase(m_objects, object);
  // What the object handed out stands for records under its own, so its
  // parent is the nearest live object that still covers them.
  PropertyBase* parent = object->getParent();
  for (PropertyBase* other : m_objects) {
    if (other->getParent() == object) Access::setParent(*other, parent);
  }
  for (PropertyIterator* iterator : m_iterators) {
    if (iterator->owner() == object) iterator->setOwner(parent);
  }
}

void TreeState::untrack(PropertyIterator* iterator) noexcept { std::erase(m_iterators, iterator); }

void TreeState::aboutToRemove(const ZxVariant* record) noexcept {
  if (record == nullptr || (m_objects.empty() && m_iterators.empty())) return;
  for (PropertyIterator* iterator : m_iterators) iterator->stepPast(record);
  if (!IsList(record)) {
    std::erase_if(m_objects, [record](PropertyBase* object) {
      if (object->getData() != record) return false;
      Access::detach(*object);
      return true;
    });
    return;
  }
  std::unordered_set<const ZxVariant*> gone;
  try {
    gone = Subtree(record);
  } catch (const std::bad_alloc&) {
    detachAll();  // cannot tell which objects are affected: detach them all
    return;
  }
  // An object stands for a record under `record` exactly when the List that
  // holds it is in the set, or when it stands for `record` itself.
  auto under = [&gone, record](const ZxVariant* data, const ZxVariant* holder) {
    return data == record || gone.count(holder) != 0;
  };
  std::erase_if(m_objects, [&under](PropertyBase* object) {
    if (!under(object->getData(), Access::parentRecord(*object))) return false;
    Access::detach(*object);
    return true;
  });
  std::erase_if(m_iterators, [&gone](PropertyIterator* iterator) {
    if (gone.count(iterator->list()) == 0) return false;
    iterator->detach();
    return true;
  });
}

void TreeState::detachAll() noexcept {
  for (PropertyBase* object : m_objects) Access::detach(*object);
  m_objects.clear();
  for (PropertyIterator* iterator : m_iterators) iterator->detach();
  m_iterators.clear();
}

void TreeState::rootGone() noexcept {
  detachAll();
  m_root = nullptr;
}

// ---- handing objects out ---------------------------------------------------------

void Access::detach(PropertyBase& object) noexcept {
  object.m_data = nullptr;
  object.m_parent = nullptr;
  object.m_parentRecord = nullptr;
  object.m_tracked = false;
}

void Access::setData(PropertyBase& object, ZxVariant* record) noexcept {
  if (object.m_ownsData && object.m_data != record) ReleaseQuietly(object.m_data);
  object.m_data = record;
  object.m_ownsData = false;
}

std::shared_ptr<TreeState> Access::tree(PropertyBase& object) noexcept {
  if (object.m_tree != nullptr || object.m_tracked) return object.m_tree;
  try {
    object.m_tree = std::make_shared<TreeState>(&object);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
  return object.m_tree;
}

namespace {

// Registers a new object (null when it could not be made) with the tree of
// `parent` and gives it its place in the notification chain.
template <typename Object>
SmartPtr<Object> Register(Object* object, PropertyBase& parent, ZxVariant* parentRecord) noexcept {
  if (object == nullptr) return nullptr;
  std::shared_ptr<TreeState> state = Access::tree(parent);
  if (state == nullptr || !state->track(object)) {
    Object::release(object);
    return nullptr;
  }
  Access::adopt(*object, parent, parentRecord, std::move(state));
  return SmartPtr<Object>(object);
}

}  // namespace

void Access::adopt(PropertyBase& object, PropertyBase& parent, ZxVariant* parentRecord,
                   std::shared_ptr<TreeState> state) noexcept {
  object.m_parent = &parent;
  object.m_parentRecord = parentRecord;
  object.m_tree = std::move(state);
  object.m_tracked = true;
}

SmartPtr<AProperty> Access::handOutProperty(PropertyBase& parent, ZxVariant* record,
                                            ZxVariant* parentRecord) noexcept {
  return Register(new (std::nothrow) AProperty(record, nullptr, nullptr), parent, parentRecord);
}

SmartPtr<PropertyContainer> Access::handOutContainer(PropertyBase& parent, ZxVariant* record,
                                                     ZxVariant* parentRecord) noexcept {
  return Register(new (std::nothrow) PropertyContainer(record, false), parent, parentRecord);
}

}  // namespace ZxVariantHelper::BOProperty::internal
