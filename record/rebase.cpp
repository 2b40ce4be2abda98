// Converting a record between pointer forms.
//
// Every node's slots are relative to a frame of its own: in pointer form the
// address the node has (or had) in that frame, in zero-based form 0.  Since a
// block moves as a whole, a node's frame is `node - root + base` (or 0), so a
// slot of node X converts as  v' = v + frameNew(X) - frameOld(X)  whatever the
// order in which nodes are visited.
//
// The walk allocates nothing and does not recurse, so trees of any depth are
// safe.  It threads the tree the way Morris traversal threads a binary tree:
// before descending into a node's list it points the last child's `next`
// (null in every well-formed block) back at the node, encoded like an
// ordinary sibling link, so that leaving the last child leads back up.  On
// the way back the node finds the thread again and clears it.  A node's own
// slots are converted when the walk leaves it for good, so while it is being
// walked its entry arrays still hold old-frame values and its children tell
// by their `next` whether they have been visited.
//
// The block is trusted (it passed a structural check or was built here);
// still, every node and array touched must lie inside the root's `size`
// bytes and the number of steps is bounded, so a malformed block can only be
// mangled, never make the walk leave the block or loop forever.
#include <cstddef>
#include <cstdint>

#include "record/unaligned.h"
#include "zxvariant/record.h"

namespace ZxVariantHelper {
namespace {

using detail::LoadSlot;
using detail::StoreSlot;
using Addr = std::uintptr_t;

class RebaseWalk {
 public:
  RebaseWalk(ZxVariant* root, Addr oldBase, Addr newBase)
      : m_root(detail::Address(root)),
        m_end(m_root + root->size),
        m_old(oldBase),
        m_new(newBase) {}

  void Run();

 private:
  struct Children {
    Addr first = 0;
    Addr last = 0;
  };

  Addr FrameOld(Addr node) const { return m_old == 0 ? 0 : node - m_root + m_old; }
  Addr FrameNew(Addr node) const { return m_new == 0 ? 0 : node - m_root + m_new; }
  Addr Delta(Addr node) const { return FrameNew(node) - FrameOld(node); }

  bool Inside(Addr at, std::uint64_t bytes) const {
    return at >= m_root && at <= m_end && bytes <= m_end - at;
  }
  bool IsNode(Addr at) const { return at != 0 && Inside(at, sizeof(ZxVariant)); }

  // First and last child of a list of `node`, read from its untranslated
  // entry array; both 0 when the list is empty or unreadable.
  Children ListEnds(Addr node, const ZxVariant::List& list) const;
  Children ValueChildren(Addr node) const {
    const ZxVariant* n = detail::At<ZxVariant>(node);
    if (n->type != ZxVariant::TypeCodes::List) return {};
    return ListEnds(node, n->value.list);
  }
  Children AttributeChildren(Addr node) const {
    return ListEnds(node, detail::At<ZxVariant>(node)->attributes);
  }

  void Thread(Addr last, Addr parent) const {
    // Encoded in `last`'s old frame: translating `last` turns it into the
    // new-frame link that leads back to `parent`.
    detail::At<ZxVariant>(last)->next = detail::At<ZxVariant>(parent - last + FrameOld(last));
  }
  static bool IsThreaded(Addr last) { return detail::At<ZxVariant>(last)->next != nullptr; }
  static void Unthread(Addr last) { detail::At<ZxVariant>(last)->next = nullptr; }

  static void TranslateSlot(Addr slot, Addr delta) {
    Addr v = LoadSlot(detail::At<void>(slot));
    if (v != 0) StoreSlot(detail::At<void>(slot), v + delta);
  }
  // `listOffset` is where the List shape sits in the header (24 or 40).
  void TranslateList(Addr node, std::size_t listOffset, Addr delta) const;
  void Translate(Addr node) const;

  Addr m_root;
  Addr m_end;
  Addr m_old;
  Addr m_new;
};

RebaseWalk::Children RebaseWalk::ListEnds(Addr node, const ZxVariant::List& list) const {
  if (list.count == 0 || list.items == nullptr) return {};
  Addr array = detail::Address(list.items) - FrameOld(node) + node;
  if (!Inside(array, 8ull * list.count)) return {};
  Addr first = LoadSlot(detail::At<void>(array));
  Addr last = LoadSlot(detail::At<char>(array) + 8ull * (list.count - 1));
  if (first == 0 || last == 0) return {};
  Children ends{first - FrameOld(node) + node, last - FrameOld(node) + node};
  if (!IsNode(ends.first) || !IsNode(ends.last)) return {};
  return ends;
}

void RebaseWalk::TranslateList(Addr node, std::size_t listOffset, Addr delta) const {
  const auto& list = *detail::At<const ZxVariant::List>(node + listOffset);
  if (list.count == 0 || list.items == nullptr) return;
  Addr array = detail::Address(list.items) - FrameOld(node) + node;
  std::uint32_t count = list.count;
  TranslateSlot(node + listOffset + offsetof(ZxVariant::List, items), delta);
  if (!Inside(array, 8ull * count)) return;
  for (std::uint32_t i = 0; i < count; ++i) TranslateSlot(array + 8ull * i, delta);
}

void RebaseWalk::Translate(Addr node) const {
  const ZxVariant* n = detail::At<ZxVariant>(node);
  Addr delta = Delta(node);
  TranslateSlot(node + offsetof(ZxVariant, next), delta);
  TranslateSlot(node + offsetof(ZxVariant, name) + offsetof(ZxVariant::String, str), delta);
  switch (n->type) {
    case ZxVariant::TypeCodes::Buffer:
    case ZxVariant::TypeCodes::String:
      // Buffer::data and String::str share the slot at offset 32.
      TranslateSlot(node + offsetof(ZxVariant, value) + offsetof(ZxVariant::String, str), delta);
      break;
    case ZxVariant::TypeCodes::List:
      TranslateList(node, offsetof(ZxVariant, value), delta);
      break;
    default:
      break;
  }
  TranslateList(node, offsetof(ZxVariant, attributes), delta);
}

void RebaseWalk::Run() {
  // A tree has at most size/64 nodes and the walk arrives at each at most
  // three times (down, back from its children, back from its attributes).
  std::uint64_t steps = 3 * (std::uint64_t{m_end - m_root} / sizeof(ZxVariant)) + 3;
  Addr node = m_root;
  while (steps-- > 0) {
    Children values = ValueChildren(node);
    Children attributes = AttributeChildren(node);
    Addr descendTo = 0;
    if (attributes.last != 0 && IsThreaded(attributes.last)) {
      Unthread(attributes.last);
    } else if (values.last != 0 && IsThreaded(values.last)) {
      Unthread(values.last);
      if (attributes.first != 0) {
        Thread(attributes.last, node);
        descendTo = attributes.first;
      }
    } else if (values.first != 0) {
      Thread(values.last, node);
      descendTo = values.first;
    } else if (attributes.first != 0) {
      Thread(attributes.last, node);
      descendTo = attributes.first;
    }
    if (descendTo != 0) {
      node = descendTo;
      continue;
    }

    // Done with this node and everything below it.
    Translate(node);
    if (node == m_root) return;
    Addr link = detail::Address(detail::At<ZxVariant>(node)->next);
    if (link == 0) return;  // not reachable in a tree
    node = link - FrameNew(node) + node;
    if (!IsNode(node)) return;
  }
}

}  // namespace

void Rebase(ZxVariant* record, const void* oldBase, const void* newBase) {
  if (record == nullptr || oldBase == newBase) return;
  if (record->size < sizeof(ZxVariant)) return;
  RebaseWalk(record, detail::Address(oldBase), detail::Address(newBase)).Run();
}

void RebaseToZero(ZxVariant* record) { Rebase(record, record, nullptr); }

void RebaseFromZero(ZxVariant* record) { Rebase(record, nullptr, record); }

}  // namespace ZxVariantHelper
