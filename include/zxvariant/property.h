// Property containers: a loose List record presented as an object tree.
//
// A PropertyContainer stands for a List record in loose form (basic_utils.h),
// an AProperty for one scalar record inside it; both derive from
// PropertyBase, which reads the record's name, edits its attributes
// (NameValuePair in, ZxvToAny out) and passes change notifications up to the
// root container, where a subclass observes them by overriding notifyChange.
// Every copy, comparison, search, append and delete goes through the list
// utilities, so the record stays a plain loose record that can be flattened
// for transport at any time (buildZxVariantForTransport).
//
// Example:
//
//   using namespace ZxVariantHelper::BOProperty;
//   PropertyContainer config(u"Config");                 // owns a fresh List
//   config.append(NameValuePair(u"Mode", u"fast"));
//   SmartPtr<PropertyContainer> proxy =
//       config.appendContainer(u"Network")->appendContainer(u"Proxy");
//   proxy->append(NameValuePair(u"Port", 8080));
//   int port = config[u"network/proxy/port"];           // 8080, case ignored
//   SmartPtr<AProperty> p = config.get(u"Network/Proxy/Port");
//   *p = AProperty(NameValuePair(u"Port", 3128));        // edits in place
//   ZxVariant* copy = nullptr;
//   config.queryData(u"Network", &copy);                 // one flat block
//   ZxVariantHelper::Delete(copy);
//   config.assignData(u"Network/Proxy/Host", NameValuePair(u"", u"gw"));  // added
//
// Names.  The editing operations (insert, remove, removeContainer and the
// attribute functions) and every path step match names ignoring case (A-Z
// and a-z fold, nothing else), as the list utilities do; among several
// elements of one name the first is taken.  Unnamed elements are reached by
// position only.  insert, remove and removeContainer take a plain name, never
// a path.
//
// Paths.  get, getContainer, find, findContainer, operator[], erase, seek,
// queryData and assignData take a path relative to the container they are
// called on, in the text form of path.h:
//   * '/' separates steps; empty steps are skipped, so a leading '/' does not
//     mean the root of the whole tree;
//   * a step of the digits 0-9 only selects the element at that 0-based
//     position ("Servers/2/Name"); every other step selects the first element
//     of that name;
//   * '\' takes the next character literally: "a\/b" names "a/b", "\2" the
//     name "2";
//   * every step before the last must select a sub-container;
//   * the empty (or null) path is the container itself: queryData copies it
//     and assignData assigns into it; the others answer null or false for it.
// get and getContainer follow the path from this container.  find and
// findContainer search: they try the path from this container, then from
// each sub-container below it in document order (pre-order, children in list
// order), and hand out the first element of the right kind.  seek answers
// whether get or getContainer would find something.  operator[] reads: the
// scalar's record, ZxvToAny::ComplexZxv for a sub-container, ZxvToAny::NullZxv
// when nothing is there.  erase removes a scalar or a sub-container.
//
// queryData copies the element at a path out (a scalar or a whole
// sub-container, with attributes): with `flat` true (the default) as one flat
// block in pointer form allocated with `alloc` (malloc when null; free it
// with ZxVariantHelper::Delete or the allocator's own release), with `flat`
// false as a loose deep copy that the caller frees with releaseZxVariant.
// Register values come out of a loose copy as empty Null records.
//
// assignData writes a record into the tree at a path.  A scalar value goes to
// the scalar at the path; a List value is merged into the sub-container at
// the path: each of its children is matched to the child of the same name
// (the k-th of a name to the k-th of that name, unnamed children to unnamed
// children in order), scalars are assigned, sub-lists are merged the same way,
// and children without a match are added at the end.  Missing named steps are
// created on the way as sub-containers (an index step is never created), a
// missing scalar is added under the path's last name.  Names and attributes of
// existing elements are kept; only values are written (an AssignmentOperator
// may do more).  Assigning the same value twice leaves the same tree.  The
// value's own name is not used, and the value is read, never kept: it may be a
// flat block or a record inside this very tree.  Before anything changes, the
// whole value is checked against the tree, so a type conflict changes
// nothing; with a ValidatorFunctor every scalar is validated before the first
// write (all or nothing), while an AssignmentOperator that refuses stops the
// walk and what was written before stays.
//
// Hooks.  DataValidator vets what queryData found before it is copied.
// AssignmentOperator performs each scalar write of assignData (the default
// copies the value); for a new element it writes into a fresh record that is
// linked into the tree only when it answers true.  ValidatorFunctor vets each
// scalar write of assignData, seeing the current property (one without a
// record, getData() null, when the element is new), the proposed one and the
// element's path.  The objects passed to a hook are valid for that call only,
// and a hook must not edit the container other than through the target it is
// given.
//
// Notifications.  Every change calls notifyChange(changed, parentRecord, kind)
// on the object whose operation made it, with the changed record and the List
// (or, for attributes, the record) that holds it; each object passes it on to
// its parent, up to the root:
//   ChangeKind::Added (0)         a record was added, or its new content is in
//                                 place (after the change);
//   ChangeKind::Removing (1)      a record is about to be removed or replaced
//                                 (before the change; it is still readable);
//   ChangeKind::AttributeAdded (2)     an attribute was added (after);
//   ChangeKind::AttributeRemoving (3)  an attribute is about to go (before).
// A replaced value (AProperty::operator=, setValue, assignData) sends
// Removing then Added for the same record.  setAttribute, reloadData and
// operations that change nothing send none.  notifyChange must neither edit
// the tree nor throw (its exceptions pass through the operation that sent it).
//
// Ownership and lifetime.
//   * PropertyContainer() and PropertyContainer(name) make and own a fresh
//     List root; PropertyContainer(record) wraps the caller's loose List
//     record without owning it (the caller keeps it alive and frees it after
//     the container).  The copy constructor and clone() make an independent
//     root owning a deep copy.  AProperty(nv), AProperty() and an AProperty
//     copy own their own record.
//   * Objects handed out (get, getContainer, find, findContainer,
//     appendContainer, insertContainer, createIterator and the iterator's
//     getters) stand for records inside the root's tree and never own them.
//     Each comes in a SmartPtr that releases it through its class's release
//     function when the last copy goes.  They may outlive the objects that
//     handed them out: a released intermediate container passes its place in
//     the notification chain to its own parent.  When their record is removed
//     (remove, removeContainer, erase, the iterator remove), when the root is
//     destroyed, or when the root's record is replaced (reloadData), they are
//     detached: getData() and getParent() answer null, edits answer false,
//     null or Result::NoData, and they send nothing.  Nothing dangles as long
//     as the tree is only changed through one root and its objects; a second
//     container wrapping the same records is not told of the first one's
//     removals.
//   * ZxvToAny results (operator[], getValue, getAttribute) are plain views:
//     they are valid until their record is removed or replaced.
//   * An iterator walks the direct children of one container.  Elements added
//     behind its position are visited; an element inserted before it is not;
//     when its current element is removed it moves on to the element that
//     followed; when the container itself is removed it is detached and at
//     its end.
//
// Errors.  Editing operations and lookups never throw: they answer false, a
// null SmartPtr or a Result code (0 success, negative failure, named below);
// an exception derived from std::exception thrown by a hook is caught and
// reported as Result::HookFailed.  Constructors throw std::bad_alloc ("bad
// allocation") when memory runs out, and PropertyContainer(record) throws
// std::logic_error("Invalid parameter") for a null or non-List record.  As in
// the list utilities, a failed copy after a successful append leaves an empty
// element in the list.
//
// Thread safety: none.  A root container, its records and every object handed
// out from it belong to one thread at a time; only SmartPtr copies may be
// made and dropped concurrently (their count is atomic, the objects are not).
#pragma once

#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

#include "zxvariant/basic_utils.h"
#include "zxvariant/export.h"
#include "zxvariant/path.h"
#include "zxvariant/record.h"
#include "zxvariant/smart_wchar_ptr.h"

namespace ZxVariantHelper::BOProperty {

using BasicUtils::NameValuePair;
using BasicUtils::ZxvToAny;
using zexora_com::endpoint::string_utils::SmartWcharPtr;

class PropertyBase;
class AProperty;
class PropertyContainer;
class IPropertyIterator;
class IPropertyContext;

namespace internal {
struct Access;
class TreeState;
struct AssignRun;
}  // namespace internal

namespace XPath {
// One step of a property path: a name, matched ignoring case, or a 0-based
// position.  The text form and its parser are those of path.h.
using XPathComponent = ZxVariantHelper::PathElement;
}  // namespace XPath

// The kinds passed to notifyChange.
namespace ChangeKind {
enum Kind : int {
  Added = 0,
  Removing = 1,
  AttributeAdded = 2,
  AttributeRemoving = 3,
};
}  // namespace ChangeKind

// The results of queryData and assignData.
namespace Result {
enum Code : int {
  Ok = 0,
  InvalidArgument = -1,  // a null `out` or a null value record
  NoData = -2,           // the container stands for no List record (detached)
  NotFound = -3,         // a step names no element (an index step in assignData)
  NotAContainer = -4,    // a step before the last selects a scalar
  TypeMismatch = -5,     // assignData: a List onto a scalar or a scalar onto a container
  UnsupportedType = -6,  // a Register or unknown type code that cannot be copied
  Rejected = -7,         // a DataValidator, ValidatorFunctor or AssignmentOperator said no
  HookFailed = -8,       // a hook threw
  OutOfMemory = -9,      // an allocation failed
};
}  // namespace Result

// "Ok", "NotFound", ... for a Result code; "Unknown" for any other number.
ZXV_EXPORT const char* ResultName(int code);

// Shared ownership of an object handed out by a container, released through
// T::release when the last copy goes.  A null SmartPtr means "none".
template <typename T>
class SmartPtr {
 public:
  SmartPtr() noexcept = default;
  SmartPtr(std::nullptr_t) noexcept {}  // NOLINT(implicit)
  // Takes over `object`; when the count cannot be allocated the object is
  // released at once and the SmartPtr stays null.
  explicit SmartPtr(T* object) noexcept {
    try {
      m_object.reset(object, &T::release);
    } catch (...) {  // reset has already released the object
      m_object.reset();
    }
  }

  T* get() const noexcept { return m_object.get(); }
  T* operator->() const noexcept { return m_object.get(); }
  T& operator*() const noexcept { return *m_object; }
  explicit operator bool() const noexcept { return m_object != nullptr; }
  bool isNull() const noexcept { return m_object == nullptr; }
  void reset() noexcept { m_object.reset(); }

  friend bool operator==(const SmartPtr& a, const SmartPtr& b) noexcept {
    return a.m_object == b.m_object;
  }
  friend bool operator==(const SmartPtr& a, std::nullptr_t) noexcept { return a.isNull(); }

 private:
  std::shared_ptr<T> m_object;
};

// ---- hooks -------------------------------------------------------------------

// Where a hook is called: the container the query or assignment was made on,
// the element's path from it, the List holding the element and whether the
// element is being created.
class ZXV_EXPORT IPropertyContext {
 public:
  IPropertyContext() = default;
  IPropertyContext(const IPropertyContext&) = default;
  IPropertyContext& operator=(const IPropertyContext&) = default;
  virtual ~IPropertyContext();

  virtual PropertyContainer& getContainer() const = 0;
  // The path in its escaped text form (empty for the container itself).
  virtual SmartWcharPtr getPath() const = 0;
  // The List record that holds the element (or will hold it); null for the
  // container itself and when that List is still to be created.
  virtual ZxVariant* getParentRecord() const = 0;
  virtual bool isNew() const = 0;
};

// Vets the record queryData found before it is copied out.  The default
// accepts everything.
class ZXV_EXPORT DataValidator {
 public:
  DataValidator() = default;
  DataValidator(const DataValidator&) = default;
  DataValidator& operator=(const DataValidator&) = default;
  virtual ~DataValidator();

  // True lets the copy go ahead; false makes queryData answer Rejected.
  virtual bool operator()(const ZxVariant* found, const IPropertyContext& context);
};

// Performs one scalar write of assignData.  The default copies the source's
// value into the target (AProperty::setValue), keeping the target's name and
// attributes.  For a new element the target is a fresh record named after the
// element, not yet in the tree.
class ZXV_EXPORT AssignmentOperator {
 public:
  AssignmentOperator() = default;
  AssignmentOperator(const AssignmentOperator&) = default;
  AssignmentOperator& operator=(const AssignmentOperator&) = default;
  virtual ~AssignmentOperator();

  // True when the write is done; false refuses it (assignData answers
  // Rejected).
  virtual bool operator()(AProperty& target, const AProperty& source,
                          const IPropertyContext& context);
};

// Vets each scalar write of assignData before any write is made.  The default
// accepts everything.
class ZXV_EXPORT ValidatorFunctor {
 public:
  ValidatorFunctor() = default;
  ValidatorFunctor(const ValidatorFunctor&) = default;
  ValidatorFunctor& operator=(const ValidatorFunctor&) = default;
  virtual ~ValidatorFunctor();

  // `current` has no record (getData() null) when the element is new.
  virtual bool operator()(const AProperty& current, const AProperty& proposed,
                          const SmartWcharPtr& path);
};

// ---- properties --------------------------------------------------------------

// A record with its place in the notification chain.
class ZXV_EXPORT PropertyBase {
 public:
  PropertyBase(const PropertyBase&) = delete;
  PropertyBase& operator=(const PropertyBase&) = delete;
  virtual ~PropertyBase();

  // A copy of the record's name; the empty text when it has none (or the
  // object is detached).
  SmartWcharPtr getName() const;
  // The record, or null when the object is detached.
  ZxVariant* getData() const { return m_data; }
  // The object notifications are passed to; null for a root or a detached
  // object.
  PropertyBase* getParent() const { return m_parent; }

  // Appends a simple copy of `nv` to the attributes (duplicate names
  // allowed) and sends AttributeAdded.  False when the attribute cannot be
  // allocated or `nv` cannot be copied (a Register or List value; the empty
  // attribute then stays, without a notification).
  bool addAttribute(const NameValuePair& nv);
  // Copies `nv`'s value into the first attribute of its name.  False when
  // there is none, when its type differs from `nv`'s, or for a List or
  // Register `nv`.  Sends nothing.
  bool setAttribute(const NameValuePair& nv);
  // Sends AttributeRemoving, then deletes the first attribute named `name`;
  // false when there is none.
  bool removeAttribute(SmartWcharPtr name);
  // The first attribute named `name`, or ZxvToAny::NullZxv.
  ZxvToAny getAttribute(SmartWcharPtr name) const;

 protected:
  PropertyBase(ZxVariant* record, PropertyBase* parent) noexcept;

  // Passes a change on to the parent (nothing for a null `changed`).
  // Overrides that observe changes call this to keep them travelling up.
  virtual void notifyChange(ZxVariant* changed, ZxVariant* parentRecord, int kind);

 private:
  friend struct internal::Access;

  ZxVariant* m_data;
  PropertyBase* m_parent;
  ZxVariant* m_parentRecord = nullptr;  // the List holding m_data
  bool m_ownsData = false;
  bool m_tracked = false;  // handed out: registered with m_tree
  std::shared_ptr<internal::TreeState> m_tree;
};

// One scalar record: a value that owns its record, or an object handed out
// for a record in a container's tree.
class ZXV_EXPORT AProperty : public PropertyBase {
 public:
  // An unnamed Null property.
  AProperty();
  // A property holding a copy of `nv`'s name and value.  A value the list
  // utilities cannot copy (Register, List) gives a Null property of that name.
  explicit AProperty(const NameValuePair& nv);
  // An independent property owning a copy of other's record and attributes.
  AProperty(const AProperty& other);
  // Replaces this record's name, value and attributes with copies of
  // other's, in place: Removing, the copy, Added; the record keeps its place
  // in its list.  Nothing happens when both stand for the same record or
  // either is detached.  A value the list utilities cannot copy (Register)
  // leaves the record empty.
  AProperty& operator=(const AProperty& other);
  ~AProperty() override;

  // Writes the value of `nv` (or of `source`'s record), keeping the name and
  // attributes, with Removing before and Added after.  False for a detached
  // property or a List or Register value.  An equal value of the same type
  // is left alone: true, no notification.
  bool setValue(const NameValuePair& nv);
  bool setValue(const AProperty& source);
  ZxvToAny getValue() const;
  // compareAZxVariant of the two records (0 when equal, see basic_utils.h).
  int compare(const AProperty& other) const;

  static void release(AProperty* property);

 private:
  friend struct internal::Access;
  // A view of `record`, owning nothing.
  AProperty(ZxVariant* record, PropertyBase* parent, ZxVariant* parentRecord) noexcept;
  bool writeValue(const ZxVariant* source);
};

class ZXV_EXPORT PropertyContainer : public PropertyBase {
 public:
  // A fresh, owned, unnamed (or named) List root.
  PropertyContainer();
  explicit PropertyContainer(SmartWcharPtr name);
  // Wraps the caller's loose List record without owning it.  Throws
  // std::logic_error("Invalid parameter") for null or a non-List.
  explicit PropertyContainer(ZxVariant* record);
  // An independent root owning a deep copy of other's record.
  PropertyContainer(const PropertyContainer& other);
  PropertyContainer& operator=(const PropertyContainer&) = delete;
  ~PropertyContainer() override;

  // ---- editing (plain names, never paths) ----

  // A new last element holding a simple copy of p's record and attributes
  // (or of nv), then Added.  False only when the element cannot be allocated.
  bool append(const AProperty& p);
  bool append(const NameValuePair& nv);
  // The same, in front of the first element named `before`; false when there
  // is none.
  bool insert(SmartWcharPtr before, const AProperty& p);
  bool insert(SmartWcharPtr before, const NameValuePair& nv);
  // Removing, then deletes the first element named `name`; false when there
  // is none or it is a sub-container.
  bool remove(SmartWcharPtr name);
  // A new empty sub-container named `name` (unnamed for a null or empty
  // name) at the end, then Added; null when it cannot be allocated.
  SmartPtr<PropertyContainer> appendContainer(SmartWcharPtr name);
  // The same in front of the first element named `before`; null when none.
  SmartPtr<PropertyContainer> insertContainer(SmartWcharPtr before, SmartWcharPtr name);
  // As remove, for a sub-container only.
  bool removeContainer(SmartWcharPtr name);

  // ---- paths (see the rules above) ----

  SmartPtr<AProperty> get(SmartWcharPtr path);
  SmartPtr<PropertyContainer> getContainer(SmartWcharPtr path);
  SmartPtr<AProperty> find(SmartWcharPtr path);
  SmartPtr<PropertyContainer> findContainer(SmartWcharPtr path);
  ZxvToAny operator[](SmartWcharPtr path) const;
  // Removing, then deletes the element at `path`, scalar or sub-container.
  bool erase(SmartWcharPtr path);
  bool seek(SmartWcharPtr path) const;

  // ---- iteration ----

  // An iterator on the first direct child; one at its end for a container
  // without a record; null only when memory runs out.
  SmartPtr<IPropertyIterator> createIterator();
  // Removing, then deletes the iterator's current element (either kind) and
  // moves the iterator on to the following one.  False for a null iterator,
  // one at its end, or one over another container.
  bool remove(SmartPtr<IPropertyIterator>& iterator);

  // The number of direct children.
  unsigned int size() const;
  // compareZxVariant of the two records: 0 when they hold the same children
  // and attributes (the containers' own names are not compared).
  int compare(const PropertyContainer& other) const;
  // A new root owning a deep copy; null when there is no record or memory
  // runs out.  Free it with release.
  PropertyContainer* clone() const;
  static void release(PropertyContainer* container);

  // ---- path queries and assignments ----

  int queryData(SmartWcharPtr path, ZxVariant** out, bool flat = true,
                void* (*alloc)(unsigned int) = nullptr) const;
  int queryData(SmartWcharPtr path, ZxVariant** out, DataValidator& validator, bool flat = true,
                void* (*alloc)(unsigned int) = nullptr) const;
  // With the default AssignmentOperator.
  int assignData(SmartWcharPtr path, const ZxVariant* value);
  int assignData(SmartWcharPtr path, const ZxVariant* value, AssignmentOperator& op);
  int assignData(SmartWcharPtr path, const ZxVariant* value, ValidatorFunctor& validator);

  // Whether a change has passed through this container since it was made,
  // since reloadData or since clearModified.
  bool isModified() const { return m_modified; }
  void clearModified() { m_modified = false; }

 protected:
  // A container over `record` (null allowed: a container with no data until
  // setData), owned or not.
  PropertyContainer(ZxVariant* record, bool ownsRecord);

  // Marks the container modified and passes the change on.
  void notifyChange(ZxVariant* changed, ZxVariant* parentRecord, int kind) override;

  // Makes `record` (null allowed, never owned) the container's record; an
  // owned previous record is released.  Call reloadData() next.
  void setData(ZxVariant* record);
  // Rebuilds the container's view of its properties after its record was set
  // or replaced: every object and iterator handed out before is detached and
  // the modified mark is cleared.  True when the container now stands for a
  // List record.  Sends no notification.
  virtual bool reloadData();

 private:
  friend struct internal::Access;

  std::vector<XPath::XPathComponent> getPathComponents(const SmartWcharPtr& path) const;
  // Follows `components` from this container's record: Result::Ok with the
  // element and the List holding it (the record itself and null for no
  // components), or the failure code.
  int searchNode(const std::vector<XPath::XPathComponent>& components, ZxVariant** found,
                 ZxVariant** parentRecord) const;
  enum class Want { Scalar, Container, Either };
  // The element of the wanted kind that `path` names (with `search`, as
  // find looks for it) and the List holding it; false when there is none or
  // the path is empty.
  bool lookup(const SmartWcharPtr& path, bool search, Want want, ZxVariant** found,
              ZxVariant** holder) const;
  int queryPath(const SmartWcharPtr& path, ZxVariant** out, DataValidator* validator, bool flat,
                void* (*alloc)(unsigned int)) const;
  int assignPath(const SmartWcharPtr& path, const ZxVariant* value, AssignmentOperator* op,
                 ValidatorFunctor* validator);
  // Merges the children of the List `source` into the List `target` (null
  // in the checking pass for a list that does not exist yet).
  int traverseAndAssign(internal::AssignRun& run, const ZxVariant* source, ZxVariant* target,
                        bool checkOnly);
  // append and insert of a copy of `source`.
  bool appendCopy(const ZxVariant* source);
  bool insertCopy(const char16_t* before, const ZxVariant* source);
  // Links `element` (a fresh record) into the List `list` in front of `next`
  // (after `prev`), or at the end for a null `next`, and sends Added; on
  // failure releases it and answers false.
  bool addElement(ZxVariant* list, ZxVariant* element, ZxVariant* prev, ZxVariant* next);
  // A fresh sub-container named `name` (unnamed for null or empty), linked
  // as addElement does; null on failure.
  ZxVariant* addContainer(ZxVariant* list, const char16_t* name, ZxVariant* prev, ZxVariant* next);
  // Removing, then deletes `element` (which follows `prev`) from the List
  // `list`, detaching what was handed out for it.
  bool unlinkAndDelete(ZxVariant* list, ZxVariant* prev, ZxVariant* element);

  bool m_modified = false;
};

// Walks the direct children of one container (see the lifetime rules above).
//
//   for (auto it = config.createIterator(); !it->atEnd(); it->next()) {
//     if (it->isContainer()) Visit(it->getContainer()); else Use(it->getValue());
//   }
class ZXV_EXPORT IPropertyIterator {
 public:
  IPropertyIterator() = default;
  IPropertyIterator(const IPropertyIterator&) = default;
  IPropertyIterator& operator=(const IPropertyIterator&) = default;
  virtual ~IPropertyIterator();

  virtual bool atEnd() const = 0;
  // Moves to the following element; false when that is the end.
  virtual bool next() = 0;
  // Back to the first element.
  virtual void reset() = 0;
  // Whether the current element is a sub-container.
  virtual bool isContainer() const = 0;
  virtual SmartWcharPtr getName() const = 0;
  // The scalar's value, ComplexZxv for a sub-container, NullZxv at the end.
  virtual ZxvToAny getValue() const = 0;
  // The current element's record; null at the end.
  virtual ZxVariant* getData() const = 0;
  // An object for the current scalar or sub-container; null for the other
  // kind and at the end.
  virtual SmartPtr<AProperty> getProperty() const = 0;
  virtual SmartPtr<PropertyContainer> getContainer() const = 0;

  static void release(IPropertyIterator* iterator);
};

}  // namespace ZxVariantHelper::BOProperty
