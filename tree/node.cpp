// Node: a value builder, its children, seeding, release and export.
#include <cstdlib>
#include <cstdint>
#include <utility>
#include <vector>

#include "record/bad_allocation.h"
#include "record/builder_access.h"
#include "tree/node_internal.h"
#include "zxvariant/node_tree.h"

namespace ZxVariantHelper {
namespace {

using T = ZxVariant::TypeCodes;
using detail::OwnedBuilder;

// The set of nodes a walk has met: open addressing over a power-of-two
// table of pointers, one allocation that doubles as the set grows (where a
// node-based set would allocate for every node of the tree).
class NodeSet {
 public:
  explicit NodeSet(const void* first) : m_slots(64, nullptr) { Insert(first); }

  // True when `node` was not in the set yet.
  bool Insert(const void* node) {
    if (2 * (m_size + 1) > m_slots.size()) Grow();
    for (std::size_t i = Hash(node);; i = (i + 1) & (m_slots.size() - 1)) {
      if (m_slots[i] == node) return false;
      if (m_slots[i] == nullptr) {
        m_slots[i] = node;
        ++m_size;
        return true;
      }
    }
  }

 private:
  std::size_t Hash(const void* node) const {
    // Nodes are heap blocks: the low bits carry little; a multiplicative mix spreads the rest.
    const auto bits = static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(node));
    return static_cast<std::size_t>((bits * 0x9E3779B97F4A7C15ull) >> 32) & (m_slots.size() - 1);
  }
  void Grow() {
    std::vector<const void*> old(m_slots.size() * 2, nullptr);
    old.swap(m_slots);
    m_size = 0;
    for (const void* node : old) {
      if (node != nullptr) Insert(node);
    }
  }

  std::vector<const void*> m_slots;
  std::size_t m_size = 0;
};

// Empties a list builder's child chain without touching its members, which
// belong to other nodes.
void ResetChain(ZxvBase* value) {
  if (value == nullptr || value->type != T::List) return;
  auto& list = static_cast<ZxvList&>(*value);
  BuilderAccess::FirstChildLink(list) = nullptr;
  BuilderAccess::LastChildLink(list) = nullptr;
}

}  // namespace

template <SourceWalk W>
void* BasicNode<W>::operator new(std::size_t size) {
  void* block = std::malloc(size);
  if (block == nullptr) detail::ThrowBadAllocation();
  return block;
}

template <SourceWalk W>
void BasicNode<W>::operator delete(void* block) noexcept {
  std::free(block);
}

template <SourceWalk W>
BasicNode<W>::BasicNode(const char16_t* name) : m_value(new ZxvNull(name)), m_top(name == nullptr) {}

// Delegating, so that a failed seed still runs the destructor.
template <SourceWalk W>
BasicNode<W>::BasicNode(const ZxVariant* record) : BasicNode(static_cast<const char16_t*>(nullptr)) {
  Seed(record);
}

template <SourceWalk W>
BasicNode<W>::~BasicNode() {
  std::vector<BasicNode*> dying;
  DropContents(dying);
  ReleaseAll(dying);
}

template <SourceWalk W>
BasicNode<W>& BasicNode<W>::operator=(const BasicNode& other) {
  if (&other == this) return *this;
  std::unique_ptr<ZxVariant, void (*)(ZxVariant*)> block(other.Export(nullptr),
                                                          [](ZxVariant* r) { std::free(r); });
  if (!block && other.m_value != nullptr) detail::ThrowBadAllocation();
  BasicNode copy(block.get());
  const std::u16string name = detail::NameKey(m_value);
  SwapContents(copy);
  m_value->SetName(name.empty() ? nullptr : name.c_str());
  return *this;
}

template <SourceWalk W>
void BasicNode<W>::DecRef() {
  if (--m_count != 0) return;
  std::vector<BasicNode*> dying{this};
  ReleaseAll(dying);
}

template <SourceWalk W>
void BasicNode<W>::DropContents(std::vector<BasicNode*>& dying) {
  if (m_children != nullptr) {
    // The value's chain links builders owned by the children: unhook them
    // before the value builder is destroyed.
    ResetChain(m_value);
    if (m_value != nullptr) m_value->next = nullptr;
    m_children->m_positions.reset();
    for (auto& entry : m_children->m_order) {
      if (--entry.node->m_count == 0) dying.push_back(entry.node);
    }
    m_children->m_order.clear();
    m_children->m_names.clear();
    delete m_children;
    m_children = nullptr;
  }
  ZxVariantHelper::Delete(m_value);
  m_value = nullptr;
}

// Frees nodes whose last reference went, with a work list instead of
// recursion so that deep trees cannot exhaust the stack.
template <SourceWalk W>
void BasicNode<W>::ReleaseAll(std::vector<BasicNode*>& dying) {
  while (!dying.empty()) {
    BasicNode* node = dying.back();
    dying.pop_back();
    node->DropContents(dying);
    delete node;
  }
}

template <SourceWalk W>
void BasicNode<W>::DestroyExistingValue() {
  std::vector<BasicNode*> dying;
  DropContents(dying);
  ReleaseAll(dying);
}

template <SourceWalk W>
void BasicNode<W>::SwapContents(BasicNode& other) {
  std::swap(m_value, other.m_value);
  std::swap(m_children, other.m_children);
}

// ---- seeding ----------------------------------------------------------------

// The new subtree grows in a scratch node and replaces this node's contents
// only when complete: a refusal or allocation failure leaves the node as it
// was, and a source that lies inside the old contents stays readable.
template <SourceWalk W>
void BasicNode<W>::Seed(const ZxVariant* record) {
  if (record == nullptr) return;
  BasicNode fresh;
  SeedQueue pending;
  fresh.SeedOne(record, pending);
  while (!pending.empty()) {
    auto [node, source] = pending.back();
    pending.pop_back();
    node->SeedOne(source, pending);
  }
  SwapContents(fresh);
}

// Gives a node that holds nothing yet (a fresh Null leaf) its value,
// attributes and direct children; the children wait in `pending`.
template <SourceWalk W>
void BasicNode<W>::SeedOne(const ZxVariant* record, SeedQueue& pending) {
  OwnedBuilder value;
  std::unique_ptr<Children> table;
  if (record->type != T::List) {
    value.reset(new ZxvCopyImproper(record));
  } else {
    value.reset(new ZxvList(detail::NameOrNull(*record)));
    table = std::make_unique<Children>();
    detail::ForEachEntry<W>(record->value.list, [&](const ZxVariant* source) {
      // The child gets its value when its turn comes; its name is known now.
      auto* child = new BasicNode();
      table->Link(table->m_order.end(), child, detail::NameKey(source));
      pending.emplace_back(child, source);
    });
  }
  detail::ForEachEntry<W>(record->attributes, [&](const ZxVariant* attribute) {
    OwnedBuilder copy(new ZxvCopyImproper(attribute));
    value->AppendAttribute(copy.get());
    copy.release();
  });
  DestroyExistingValue();
  m_value = value.release();
  m_children = table.release();
}

template <SourceWalk W>
void BasicNode<W>::CopyAttributes(const ZxVariant* record) {
  if (record == nullptr || m_value == nullptr) return;
  detail::ForEachEntry<W>(record->attributes, [&](const ZxVariant* attribute) {
    OwnedBuilder copy(new ZxvCopyImproper(attribute));
    m_value->AppendAttribute(copy.get());
    copy.release();
  });
}

// ---- children ---------------------------------------------------------------

template <SourceWalk W>
typename BasicNode<W>::Children& BasicNode<W>::LazyChildren() {
  if (m_children == nullptr) {
    // Kept on purpose: a leaf asked for children becomes an empty list with
    // its name; its value and attributes go.
    OwnedBuilder list(new ZxvList(m_value != nullptr ? detail::NameOrNull(*m_value) : nullptr));
    auto table = std::make_unique<Children>();
    ZxVariantHelper::Delete(m_value);
    m_value = list.release();
    m_children = table.release();
  }
  return *m_children;
}

template <SourceWalk W>
typename BasicNode<W>::NodeRef BasicNode<W>::First() const {
  return m_children != nullptr ? m_children->First() : NodeRef();
}

template <SourceWalk W>
typename BasicNode<W>::NodeRef BasicNode<W>::Last() const {
  return m_children != nullptr ? m_children->Last() : NodeRef();
}

template <SourceWalk W>
typename BasicNode<W>::NodeRef BasicNode<W>::operator[](const PathElements* path) {
  if (path == nullptr || path->empty()) return NodeRef(this);
  return LazyChildren().FindOrCreate(path->front());
}

template <SourceWalk W>
typename BasicNode<W>::NodeRef BasicNode<W>::operator[](const PathElements* path) const {
  if (path == nullptr || path->empty()) return NodeRef(const_cast<BasicNode*>(this));
  if (m_children == nullptr) return NodeRef();
  return m_children->Find(path->front());
}

template <SourceWalk W>
bool BasicNode<W>::IsWithin(const BasicNode& other) const {
  std::vector<const BasicNode*> pending{&other};
  NodeSet seen(&other);
  while (!pending.empty()) {
    const BasicNode* node = pending.back();
    pending.pop_back();
    if (node == this) return true;
    if (node->m_children == nullptr) continue;
    for (const auto& entry : node->m_children->m_order) {
      if (seen.Insert(entry.node)) pending.push_back(entry.node);
    }
  }
  return false;
}

template <SourceWalk W>
void BasicNode<W>::InsertBefore(const PathElement& at, NodeRef child) {
  // A node placed inside itself would never be freed and never end.
  if (child.IsNull() || IsWithin(*child.Get())) return;
  LazyChildren().InsertBefore(at, child.Get());
}

template <SourceWalk W>
void BasicNode<W>::Append(NodeRef child) {
  if (child.IsNull() || IsWithin(*child.Get())) return;
  LazyChildren().Append(child.Get());
}

template <SourceWalk W>
bool BasicNode<W>::Delete(const PathElement& at) {
  return m_children != nullptr && m_children->Delete(at);
}

template <SourceWalk W>
bool BasicNode<W>::DeleteFirst() {
  return m_children != nullptr && m_children->DeleteFirst();
}

template <SourceWalk W>
bool BasicNode<W>::DeleteLast() {
  return m_children != nullptr && m_children->DeleteLast();
}

template <SourceWalk W>
int BasicNode<W>::Count() const {
  return m_children != nullptr ? m_children->Count() : 0;
}

template <SourceWalk W>
const char16_t* BasicNode<W>::Name() const {
  return m_value != nullptr ? m_value->name.str : nullptr;
}

// ---- export -----------------------------------------------------------------

// Each list builder gets its children's builders as its chain, in ring
// order.  A builder can sit in one chain only, so a node placed twice in the
// tree is laid out once: at its first place in breadth-first order.
template <SourceWalk W>
void BasicNode<W>::ConnectChildren() {
  NodeSet placed(this);
  std::vector<BasicNode*> pending{this};
  for (std::size_t next = 0; next < pending.size(); ++next) {
    BasicNode* node = pending[next];
    if (node->m_children == nullptr || node->m_value == nullptr || node->m_value->type != T::List) {
      continue;
    }
    auto& list = static_cast<ZxvList&>(*node->m_value);
    ResetChain(&list);
    for (auto& entry : node->m_children->m_order) {
      BasicNode* child = entry.node;
      if (child->m_value == nullptr || !placed.Insert(child)) continue;
      child->m_value->next = nullptr;
      list.Append(child->m_value);
      if (child->m_children != nullptr) pending.push_back(child);
    }
  }
}

// Undoes ConnectChildren, so that between exports every chain is empty and
// each builder is free to be destroyed or linked elsewhere.
template <SourceWalk W>
void BasicNode<W>::Disconnect() {
  NodeSet seen(this);
  std::vector<BasicNode*> pending{this};
  while (!pending.empty()) {
    BasicNode* node = pending.back();
    pending.pop_back();
    if (node->m_children == nullptr) continue;
    ResetChain(node->m_value);
    for (auto& entry : node->m_children->m_order) {
      BasicNode* child = entry.node;
      if (!seen.Insert(child)) continue;
      if (child->m_value != nullptr) child->m_value->next = nullptr;
      pending.push_back(child);
    }
  }
}

template <SourceWalk W>
ZxVariant* BasicNode<W>::Export(ZxvAllocator alloc) const {
  if (m_value == nullptr) return nullptr;
  // Export rebuilds only the builders' internal chains, never the tree.
  auto* self = const_cast<BasicNode*>(this);
  struct Restore {
    BasicNode* node;
    ZxVariant* next;
    ~Restore() {
      node->Disconnect();
      node->m_value->next = next;
    }
  } restore{self, m_value->next};
  // The root is laid out alone, whatever chain its builder may sit in.
  m_value->next = nullptr;
  self->ConnectChildren();
  return m_value->BuildNewZxVariant(alloc);
}

template class BasicNode<SourceWalk::Chains>;
template class BasicNode<SourceWalk::Arrays>;

}  // namespace ZxVariantHelper
