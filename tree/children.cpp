// Children: the order ring, the name index and the position cache of a list.
#include <iterator>
#include <memory>
#include <utility>
#include <vector>

#include "tree/node_internal.h"
#include "zxvariant/node_tree.h"

namespace ZxVariantHelper {

template <SourceWalk W>
BasicChildren<W>::~BasicChildren() {
  // Nodes normally empty the ring before freeing a table; this covers a
  // table dropped while it was being filled.
  for (auto& entry : m_order) entry.node->DecRef();
}

template <SourceWalk W>
typename BasicChildren<W>::Ref BasicChildren<W>::First() const {
  return m_order.empty() ? Ref() : Ref(m_order.front().node);
}

template <SourceWalk W>
typename BasicChildren<W>::Ref BasicChildren<W>::Last() const {
  return m_order.empty() ? Ref() : Ref(m_order.back().node);
}

// The entry an element names, or end().  Names are looked up exactly, and
// an index through the position cache, which a walk of the ring refills
// after every insertion or deletion.
template <SourceWalk W>
typename BasicChildren<W>::Ring::const_iterator BasicChildren<W>::Locate(const PathElement& at) const {
  if (!at.IsIndex()) {
    auto found = m_names.find(at.Name());
    return found == m_names.end() ? m_order.end() : typename Ring::const_iterator(found->second);
  }
  const int index = at.Index();
  if (index < 0 || index >= Count()) return m_order.end();
  if (!m_positions) {
    auto positions = std::make_unique<std::vector<typename Ring::const_iterator>>();
    positions->reserve(m_order.size());
    for (auto entry = m_order.cbegin(); entry != m_order.cend(); ++entry) positions->push_back(entry);
    m_positions = std::move(positions);
  }
  return (*m_positions)[static_cast<std::size_t>(index)];
}

template <SourceWalk W>
typename BasicChildren<W>::Ref BasicChildren<W>::Find(const PathElement& at) const {
  auto entry = Locate(at);
  return entry == m_order.end() ? Ref() : Ref(entry->node);
}

template <SourceWalk W>
typename BasicChildren<W>::Ref BasicChildren<W>::FindOrCreate(const PathElement& at) {
  auto entry = Locate(at);
  if (entry != m_order.end()) return Ref(entry->node);
  if (at.IsIndex()) return Ref();
  auto* child = new NodeType(at.Name().c_str());
  auto created = Link(m_order.end(), child, at.Name());
  // An unnamed child made by a lookup is entered under the empty name too,
  // so that the same lookup finds it again.
  if (at.Name().empty()) {
    m_names.insert_or_assign(std::u16string(), created);
    created->indexed = true;
  }
  return Ref(child);
}

template <SourceWalk W>
typename BasicChildren<W>::Ring::iterator BasicChildren<W>::Link(typename Ring::const_iterator before,
                                                                 NodeType* child, std::u16string key) {
  typename Ring::iterator entry;
  try {
    const bool named = !key.empty();
    entry = m_order.insert(before, Entry{child, key, named});
    if (named) {
      try {
        // The child entered last under a name is the one the name finds.
        m_names.insert_or_assign(std::move(key), entry);
      } catch (...) {
        m_order.erase(entry);
        throw;
      }
    }
  } catch (...) {
    child->DecRef();
    throw;
  }
  child->m_top = false;
  m_positions.reset();
  return entry;
}

template <SourceWalk W>
void BasicChildren<W>::InsertBefore(const PathElement& at, NodeType* child) {
  if (child == nullptr) return;
  child->AddRef();
  Link(Locate(at), child, detail::NameKey(child->m_value));
}

template <SourceWalk W>
void BasicChildren<W>::Append(NodeType* child) {
  if (child == nullptr) return;
  child->AddRef();
  Link(m_order.end(), child, detail::NameKey(child->m_value));
}

// Kept on purpose: the answer is whether the name index lost an entry.  The
// entry is erased by key, so with shared names it is the one entry of that
// name whichever child it finds; an unnamed child goes with answer false.
template <SourceWalk W>
bool BasicChildren<W>::Remove(typename Ring::const_iterator entry) {
  NodeType* child = entry->node;
  const bool erased = entry->indexed && m_names.erase(entry->key) != 0 && !entry->key.empty();
  m_order.erase(entry);
  m_positions.reset();
  child->DecRef();
  return erased;
}

template <SourceWalk W>
bool BasicChildren<W>::Delete(const PathElement& at) {
  auto entry = Locate(at);
  return entry != m_order.end() && Remove(entry);
}

template <SourceWalk W>
bool BasicChildren<W>::DeleteFirst() {
  return !m_order.empty() && Remove(m_order.cbegin());
}

template <SourceWalk W>
bool BasicChildren<W>::DeleteLast() {
  return !m_order.empty() && Remove(std::prev(m_order.cend()));
}

template <SourceWalk W>
bool BasicChildren<W>::DeleteAll() {
  if (m_order.empty()) return false;
  while (!m_order.empty()) Remove(m_order.cbegin());
  return true;
}

template class BasicChildren<SourceWalk::Chains>;
template class BasicChildren<SourceWalk::Arrays>;

}  // namespace ZxVariantHelper
