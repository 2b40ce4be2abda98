// The node tree: the editable form of a record.
//
// A tree is seeded from a flat record (or starts empty), read and edited
// through counted NodeRef handles, and exported back into one block.  Each
// Node owns a builder for its value (builders.h): a leaf holds a one-record
// builder with its name, value and attributes; a list holds a list builder
// with its name and attributes, and its children in a Children table (order
// ring, name index, position cache).  Export links the children's builders
// under their parents and lays the root out with the builders.
//
// The family exists twice with the same interface: ZxVariantHelper::Node,
// NodeRef, ... seed by following a source record's chains (the first entry,
// then the `next` links), so they also seed from builders and loose records;
// ZxVariantHelperNative::Node, NodeRef, ... walk the counted entry arrays.
// Everything else behaves the same.
//
// Example:
//
//   using namespace ZxVariantHelper;
//   NodeRef config(record);                    // the whole tree, seeded
//   config[u"server"][u"port"] = 8443;          // found or created by name
//   config[u"server"].Delete(u"legacy");
//   int port = config.Lookup(u"server").Lookup(u"port").Int();   // never creates
//   ZxvView host = config.View(u"server/host");                  // a path
//   ZxVariant* edited = config.Export(nullptr);                  // malloc'd block
//   Delete(edited);
//
// Rules kept on purpose, as every caller has known them:
//   * names are exact and case-sensitive; among children that share a name
//     the one entered last is found by name;
//   * a mutable lookup (operator[], InsertBefore, Append) turns a leaf into
//     an empty list with the same name: its value and attributes are gone;
//   * lookup by name creates a missing child as a Null leaf; lookup by index
//     never creates.  Only lookups enter the empty (or null) name in the
//     name index: such a lookup finds the unnamed child an earlier one
//     created, never a seeded or appended unnamed child;
//   * deleting a child answers whether its name was erased from the name
//     index: an unnamed child is removed all the same and the answer is
//     false, and with shared names the one index entry of that name goes;
//   * assigning a Value keeps the node's own name and place;
//   * SetTopName renames root nodes only; SetTopAttribute matches the
//     attribute's name ignoring case and never adds one.
//
// Choices of this implementation:
//   * InsertBefore with a position that names no child appends at the end;
//   * appending a node into itself or into its own subtree does nothing;
//   * a node placed twice in one tree is exported once, at its first place
//     in breadth-first order (nearest the root, then in child order);
//   * DeleteAll removes every child and answers whether there was one;
//   * Node's copy assignment copies the other node's value and children
//     deeply and keeps this node's name, reference count and top flag;
//   * a Value of a null record assigns an unnamed Null leaf (the node's own
//     name is then put back as for every assignment).
//
// Seeding reads pointer-form records.  A leaf is taken as a one-record copy
// (ZxvCopyImproper), so a String stored past an embedded NUL is seeded up to
// that NUL; every other record exports equal to the one it was seeded from.
//
// Failures: allocation failures throw std::bad_alloc (builder and node
// allocations with what() "bad allocation").  Seeding requires a record that
// Validate accepts or that this library built; a node the one-record copy
// cannot take (an unknown type, a List or unnamed attribute) is refused with
// a null ZxvIllegalOperationException*.  Missing children, out-of-range
// indexes, null handles and wrong-type reads answer with a null NodeRef,
// false, 0 or the empty value of ZxvView::theNull.
//
// Thread safety: reference counts are plain integers and nothing is locked;
// a tree and all handles into it belong to one thread at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "zxvariant/basic_utils.h"
#include "zxvariant/builders.h"
#include "zxvariant/export.h"
#include "zxvariant/path.h"
#include "zxvariant/record.h"
#include "zxvariant/views.h"

namespace ZxVariantHelper {

// How seeding walks the attributes and children of a source record.
enum class SourceWalk {
  Chains,  // the first entry, then each node's next link
  Arrays,  // the count, then the 8-byte entry slots
};

template <SourceWalk W> class BasicNode;
template <SourceWalk W> class BasicNodeRef;

// A temporary record to assign into a node: a 64-byte header and the record
// it stands for.  The scalar and text constructors describe themselves (size
// word 64, no name; a text is owned as a heap copy, null or empty gives the
// empty string); Value(record) stands for a record it does not own.
class ZXV_EXPORT Value {
 public:
  Value(int value);              // NOLINT(implicit)
  Value(bool value);             // NOLINT(implicit)
  Value(long long value);        // NOLINT(implicit)
  Value(void* value);            // NOLINT(implicit)
  Value(const char16_t* text);   // NOLINT(implicit)
  Value(const ZxVariant* record);  // NOLINT(implicit)
  Value(const Value& other);
  Value& operator=(const Value& other);
  ~Value();

  // The record this Value stands for (may be null for Value(nullRecord)).
  const ZxVariant* Record() const { return m_record; }

 private:
  Value();  // a zeroed header with size word 64, standing for itself
  bool OwnsText() const;
  void CopyFrom(const Value& other);

  ZxVariant m_header;
  const ZxVariant* m_record;
};

// The children of a list node.  Every entry of the order ring holds one
// counted reference to its child and the key it was entered under.
template <SourceWalk W>
class ZXV_EXPORT BasicChildren {
 public:
  using NodeType = BasicNode<W>;
  using Ref = BasicNodeRef<W>;

  BasicChildren() = default;
  ~BasicChildren();
  BasicChildren(const BasicChildren&) = delete;
  BasicChildren& operator=(const BasicChildren&) = delete;

  int Count() const { return static_cast<int>(m_order.size()); }
  Ref First() const;
  Ref Last() const;
  // The child an element names (the name index for a name, the position
  // cache for an index); a null NodeRef when there is none.
  Ref Find(const PathElement& at) const;
  // Find, creating a missing (non-empty) name as a Null leaf at the end.
  Ref FindOrCreate(const PathElement& at);
  // Link `child` before the child `at` names (at the end when none), with a
  // reference of its own; clears the child's top flag.
  void InsertBefore(const PathElement& at, NodeType* child);
  void Append(NodeType* child);
  // Each answers whether a name-index entry was erased (see node_tree.h).
  bool Delete(const PathElement& at);
  bool DeleteFirst();
  bool DeleteLast();
  bool DeleteAll();

 private:
  friend class BasicNode<W>;
  struct Entry {
    NodeType* node;
    std::u16string key;  // the child's name when it was linked
    bool indexed;        // whether the name index got an entry under key
  };
  using Ring = std::list<Entry>;

  typename Ring::const_iterator Locate(const PathElement& at) const;
  // Takes over one reference to `child` (released again when linking
  // fails) and enters a non-empty `key`, the child's name, in the index.
  typename Ring::iterator Link(typename Ring::const_iterator before, NodeType* child,
                               std::u16string key);
  bool Remove(typename Ring::const_iterator entry);

  Ring m_order;
  std::map<std::u16string, typename Ring::iterator> m_names;
  mutable std::unique_ptr<std::vector<typename Ring::const_iterator>> m_positions;
};

// One node: its value builder, its children (null for a leaf), the top flag
// and the reference count (1 after construction).  Heap nodes are freed by
// the last DecRef; trees of any depth are seeded and freed without
// recursion.
template <SourceWalk W>
class ZXV_EXPORT BasicNode {
 public:
  using Children = BasicChildren<W>;
  using NodeRef = BasicNodeRef<W>;

  // A Null leaf; top is set when `name` is null.
  explicit BasicNode(const char16_t* name = nullptr);
  // An unnamed root seeded from `record`.
  explicit BasicNode(const ZxVariant* record);
  ~BasicNode();
  BasicNode(const BasicNode&) = delete;
  BasicNode& operator=(const BasicNode& other);

  static void* operator new(std::size_t size);
  static void operator delete(void* block) noexcept;

  void AddRef() { ++m_count; }
  void DecRef();

  // Replaces value and children with those of `record` (the whole subtree);
  // a null record does nothing.
  void Seed(const ZxVariant* record);
  // Appends a one-record copy of each attribute of `record` to the value.
  void CopyAttributes(const ZxVariant* record);
  // Releases the children and destroys the value; both become null.
  void DestroyExistingValue();
  // The children table, turning a leaf into an empty list first.
  Children& LazyChildren();
  // Links every child's builder under its parent's list builder.
  void ConnectChildren();
  // The subtree laid out into one block from `alloc` (malloc when null);
  // null when the allocation fails or the node has no value.  The builders'
  // child chains are empty again afterwards.
  ZxVariant* Export(ZxvAllocator alloc = nullptr) const;

  NodeRef First() const;
  NodeRef Last() const;
  // Null or empty path: this node.  Otherwise the child the first element
  // names; the mutable form creates a missing name.
  NodeRef operator[](const PathElements* path);
  NodeRef operator[](const PathElements* path) const;
  void InsertBefore(const PathElement& at, NodeRef child);
  void Append(NodeRef child);
  bool Delete(const PathElement& at);
  bool DeleteFirst();
  bool DeleteLast();
  int Count() const;
  // The value's name, or null when unnamed or without value.
  const char16_t* Name() const;

  const ZxvBase* ValueBuilder() const { return m_value; }
  bool HasChildren() const { return m_children != nullptr; }
  bool IsTop() const { return m_top; }
  int RefCount() const { return m_count; }

 private:
  friend class BasicChildren<W>;
  friend class BasicNodeRef<W>;
  // Nodes created by seeding that still wait for their own source.
  using SeedQueue = std::vector<std::pair<BasicNode*, const ZxVariant*>>;

  // Seeds this node's value and direct children; queues the children.
  void SeedOne(const ZxVariant* record, SeedQueue& pending);

  // Moves the children whose last reference goes into `dying`, frees table
  // and value.
  void DropContents(std::vector<BasicNode*>& dying);
  static void ReleaseAll(std::vector<BasicNode*>& dying);
  // Whether this node is `other` or lies below it.
  bool IsWithin(const BasicNode& other) const;
  void SwapContents(BasicNode& other);
  void Disconnect();

  ZxvBase* m_value;
  Children* m_children = nullptr;
  bool m_top;
  std::int32_t m_count = 1;
};

// A counted handle to a node; a null handle is the "missing" answer.
template <SourceWalk W>
class ZXV_EXPORT BasicNodeRef {
 public:
  using Node = BasicNode<W>;

  BasicNodeRef() = default;
  explicit BasicNodeRef(Node* node);
  // A new root seeded from `record`; null for a null record.
  explicit BasicNodeRef(const ZxVariant* record);
  BasicNodeRef(const BasicNodeRef& other);
  BasicNodeRef& operator=(const BasicNodeRef& other);
  ~BasicNodeRef();

  // Replaces the node's value and children, keeping its name; a null handle
  // is bound to a new root first.
  BasicNodeRef& operator=(const Value& value);

  // Mutable lookups; a null handle is bound to a new unnamed root first.
  BasicNodeRef operator[](const char16_t* name);
  BasicNodeRef operator[](int index);
  // Lookups that never create.
  BasicNodeRef Lookup(const char16_t* name) const;
  BasicNodeRef Lookup(int index) const;
  BasicNodeRef First() const;
  BasicNodeRef Last() const;
  int Count() const;

  // Null for a null handle, List for a node with children, else the value's.
  ZxVariant::TypeCodes Type() const;
  bool IsNull() const { return m_node == nullptr; }
  bool IsRegister() const { return Type() == ZxVariant::TypeCodes::Register; }
  bool IsBool() const { return Type() == ZxVariant::TypeCodes::Bool; }
  bool IsInt() const { return Type() == ZxVariant::TypeCodes::Int; }
  bool IsFloat() const { return Type() == ZxVariant::TypeCodes::Float; }
  bool IsBuffer() const { return Type() == ZxVariant::TypeCodes::Buffer; }
  bool IsString() const { return Type() == ZxVariant::TypeCodes::String; }
  bool IsList() const { return Type() == ZxVariant::TypeCodes::List; }
  bool IsInt64() const { return Type() == ZxVariant::TypeCodes::Int64; }

  // Reads of the leaf; a list, a null handle or another type reads the
  // empty value of ZxvView::theNull.
  bool Bool() const { return View().Bool(); }
  int Int() const { return View().Int(); }
  long long Int64() const { return View().Int64(); }
  double Float() const { return View().Float(); }
  void* Register() const { return View().Register(); }
  ZxvStringView String() const { return View().String(); }
  const ZxVariant::Buffer& Buffer() const { return View().Buffer(); }
  const ZxVariant::List& List() const { return View().List(); }
  operator bool() const { return Bool(); }
  operator int() const { return Int(); }
  operator long long() const { return Int64(); }
  operator double() const { return Float(); }
  operator void*() const { return Register(); }
  operator ZxvStringView() const { return String(); }
  operator const ZxVariant::Buffer&() const { return Buffer(); }
  operator const ZxVariant::List&() const { return List(); }

  // The value builder of a bound node without children, else null.
  const ZxVariant* Leaf() const;
  operator const ZxVariant*() const { return Leaf(); }
  // A view of the leaf (theNull for a list, a null handle or no value).
  ZxvView View() const { return ZxvView(Leaf()); }
  operator ZxvView() const { return View(); }
  // Follows every element of `path` without creating; a view of the leaf
  // found there, theNull for a list or a missing node.
  ZxvView View(const Path& path) const;
  ZxvView operator[](const Path& path) const { return View(path); }

  // The value's name, or an empty view holding null.
  ZxvStringView Name() const;
  // Renames a root node; does nothing for a child or a null handle.
  void SetTopName(const char16_t* name);
  // Copies `pair`'s value into the value's attribute of that name (matched
  // ignoring case) when the types agree; false for a List pair, a missing
  // attribute, another type or a failed copy.  Never adds an attribute.
  bool SetTopAttribute(const BasicUtils::NameValuePair& pair);

  // A null child does nothing; a null handle is bound to a new root first.
  void InsertBefore(const PathElement& at, const BasicNodeRef& child);
  void Append(const BasicNodeRef& child);
  // False for a null handle; otherwise as the children's.
  bool Delete(const PathElement& at);
  bool DeleteFirst();
  bool DeleteLast();
  bool DeleteAll();

  // Identity, not content.
  bool operator==(const BasicNodeRef& other) const { return m_node == other.m_node; }

  // Null for a null handle, else the node's export.
  ZxVariant* Export(ZxvAllocator alloc = nullptr) const;

  Node* Get() const { return m_node; }

 private:
  void BindRoot();

  Node* m_node = nullptr;
};

// Exports a tree into a malloc'd block that it frees on destruction.
class ZXV_EXPORT AutoExport {
 public:
  template <SourceWalk W>
  explicit AutoExport(const BasicNodeRef<W>& node) : m_record(node.Export(nullptr)) {}
  ~AutoExport();
  AutoExport(const AutoExport&) = delete;
  AutoExport& operator=(const AutoExport&) = delete;

  // The block, null for a null handle or a failed allocation.
  const ZxVariant* Get() const { return m_record; }
  operator const ZxVariant*() const { return m_record; }

 private:
  ZxVariant* m_record;
};

extern template class BasicChildren<SourceWalk::Chains>;
extern template class BasicChildren<SourceWalk::Arrays>;
extern template class BasicNode<SourceWalk::Chains>;
extern template class BasicNode<SourceWalk::Arrays>;
extern template class BasicNodeRef<SourceWalk::Chains>;
extern template class BasicNodeRef<SourceWalk::Arrays>;

using Children = BasicChildren<SourceWalk::Chains>;
using Node = BasicNode<SourceWalk::Chains>;
using NodeRef = BasicNodeRef<SourceWalk::Chains>;

}  // namespace ZxVariantHelper

namespace ZxVariantHelperNative {
using Children = ZxVariantHelper::BasicChildren<ZxVariantHelper::SourceWalk::Arrays>;
using Node = ZxVariantHelper::BasicNode<ZxVariantHelper::SourceWalk::Arrays>;
using NodeRef = ZxVariantHelper::BasicNodeRef<ZxVariantHelper::SourceWalk::Arrays>;
using ZxVariantHelper::AutoExport;
using ZxVariantHelper::Value;
}  // namespace ZxVariantHelperNative
