// Shared internals of the property containers: the registry that keeps
// handed-out objects from dangling, access to the classes' private state, and
// the record helpers the operations share.
#pragma once

#include <cstddef>
#include <exception>
#include <memory>
#include <new>
#include <vector>

#include "zxvariant/path.h"
#include "zxvariant/property.h"
#include "zxvariant/record.h"

namespace ZxVariantHelper::BOProperty::internal {

class PropertyIterator;

// One per root container, shared by the root and by every object and iterator
// handed out from its tree.  It knows which records the handed-out objects
// stand for, so that removing a record, replacing the root's record or
// destroying the root detaches them instead of leaving them dangling.
class TreeState {
 public:
  explicit TreeState(PropertyBase* root) noexcept : m_root(root) {}
  TreeState(const TreeState&) = delete;
  TreeState& operator=(const TreeState&) = delete;

  PropertyBase* root() const { return m_root; }

  // False when the registry cannot grow.
  bool track(PropertyBase* object) noexcept;
  bool track(PropertyIterator* iterator) noexcept;
  // A handed-out object goes away: what it handed out passes its
  // notifications to its parent from now on.
  void untrack(PropertyBase* object) noexcept;
  void untrack(PropertyIterator* iterator) noexcept;
  // Called before `record` is deleted from its list: objects standing for it
  // or for a record under it are detached, iterators over a list under it are
  // detached, and iterators on it move on to the element that follows it.
  void aboutToRemove(const ZxVariant* record) noexcept;
  // Every handed-out object and iterator is detached.
  void detachAll() noexcept;
  // The root is destroyed.
  void rootGone() noexcept;

 private:
  PropertyBase* m_root;
  std::vector<PropertyBase*> m_objects;
  std::vector<PropertyIterator*> m_iterators;
};

// The one door to the private state of the property classes.
struct Access {
  static ZxVariant* parentRecord(const PropertyBase& object) { return object.m_parentRecord; }
  static void setParent(PropertyBase& object, PropertyBase* parent) { object.m_parent = parent; }
  static void setParentRecord(PropertyBase& object, ZxVariant* parentRecord) {
    object.m_parentRecord = parentRecord;
  }
  // Gives `object` a record that it owns (and releases when it goes).
  static void own(PropertyBase& object, ZxVariant* record) {
    object.m_data = record;
    object.m_ownsData = record != nullptr;
  }
  // Gives `object` a record that it does not own, releasing one it owned.
  static void setData(PropertyBase& object, ZxVariant* record) noexcept;
  static void detach(PropertyBase& object) noexcept;
  static void notify(PropertyBase& from, ZxVariant* changed, ZxVariant* parentRecord, int kind) {
    from.notifyChange(changed, parentRecord, kind);
  }
  // The state of object's tree if it has one yet (null for a root that has
  // handed nothing out, and for standalone properties).
  static TreeState* existingTree(const PropertyBase& object) { return object.m_tree.get(); }
  // The state of object's tree, made for a root on first use; null when
  // memory runs out.
  static std::shared_ptr<TreeState> tree(PropertyBase& object) noexcept;
  // New tracked objects whose parent is `parent`; null when memory runs out.
  static SmartPtr<AProperty> handOutProperty(PropertyBase& parent, ZxVariant* record,
                                             ZxVariant* parentRecord) noexcept;
  static SmartPtr<PropertyContainer> handOutContainer(PropertyBase& parent, ZxVariant* record,
                                                      ZxVariant* parentRecord) noexcept;
  // Makes a new object a tracked member of the tree `state`, below `parent`.
  static void adopt(PropertyBase& object, PropertyBase& parent, ZxVariant* parentRecord,
                    std::shared_ptr<TreeState> state) noexcept;
  // A property over `record` for the length of one call: not tracked, owns
  // nothing.
  static AProperty view(ZxVariant* record, PropertyBase* parent, ZxVariant* parentRecord) noexcept {
    return AProperty(record, parent, parentRecord);
  }
};

// ---- records -----------------------------------------------------------------

inline bool IsList(const ZxVariant* record) {
  return record != nullptr && record->type == ZxVariant::TypeCodes::List;
}

// A copy of the record's name; the empty text for none (or no record).
SmartWcharPtr NameOf(const ZxVariant* record);

// Whether the list utilities can copy a value of this type.
bool IsCopyableValue(ZxVariant::TypeCodes type);

// A fresh loose record, unnamed for a null or empty name; null when memory
// runs out.
ZxVariant* NewNamedRecord(const char16_t* name) noexcept;

// releaseZxVariant and deleteNodeFromAList never fail, but their work queue
// may throw std::bad_alloc; the property operations promise not to throw, so
// under exhausted memory the record is left allocated instead.
void ReleaseQuietly(ZxVariant* record) noexcept;
void ClearQuietly(ZxVariant* record) noexcept;
bool DeleteQuietly(ZxVariant* list, ZxVariant* prev, ZxVariant* element) noexcept;

// The first child of the List `list` without a name that follows `from`
// (that comes first in the list for a null `from`); `position` receives its
// 0-based place, given `fromPosition`, the place of `from`.  Walking the
// unnamed children one after the other this way stays linear.
ZxVariant* NextUnnamedChild(const ZxVariant* list, ZxVariant* from, unsigned int fromPosition,
                            unsigned int* position);

// ---- paths -------------------------------------------------------------------

// The child of the List `list` that one step selects: the first of that name
// (ignoring case) or the one at that position; null when there is none.
ZxVariant* ChildAt(const ZxVariant* list, const PathElement& step);

// Where a path leads from a List record.
struct PathWalk {
  int code;            // Result::Ok, NotFound or NotAContainer
  ZxVariant* element;  // Ok: the element; NotFound: the last List reached;
                       // NotAContainer: the scalar in the way
  ZxVariant* holder;   // the List holding `element`; null when no step was taken
  std::size_t steps;   // how many steps found an element
};
PathWalk FollowPath(ZxVariant* list, const PathElements& path);

// Runs an operation that allocates (a parsed path, a walk's stack); running
// out of memory answers `fallback` instead of throwing.
template <typename Value, typename Body>
Value Guarded(Value fallback, Body&& body) noexcept {
  try {
    return body();
  } catch (const std::bad_alloc&) {
    return fallback;
  }
}

// ---- hooks -------------------------------------------------------------------

// Runs one hook call: Ok when it answers true, Rejected when it answers
// false, HookFailed when it throws a std::exception (anything else passes
// through).
template <typename Call>
int CallHook(Call&& call) {
  try {
    return call() ? Result::Ok : Result::Rejected;
  } catch (const std::exception&) {
    return Result::HookFailed;
  }
}

// The context handed to a hook; it lives for the length of the call.
class HookContext final : public IPropertyContext {
 public:
  HookContext(PropertyContainer& container, const PathElements& path, ZxVariant* parentRecord,
              bool isNew) noexcept
      : m_container(container), m_path(path), m_parentRecord(parentRecord), m_isNew(isNew) {}

  PropertyContainer& getContainer() const override { return m_container; }
  SmartWcharPtr getPath() const override;
  ZxVariant* getParentRecord() const override { return m_parentRecord; }
  bool isNew() const override { return m_isNew; }

 private:
  PropertyContainer& m_container;
  const PathElements& m_path;
  ZxVariant* m_parentRecord;
  bool m_isNew;
};

}  // namespace ZxVariantHelper::BOProperty::internal
