// Converting a record between pointer forms.
//
// Every node's slots are relative to a frame of its own: in pointer form the
// address the node has (or had) in that frame, in zero-based form 0.  Since a
// block moves as a whole, a node's frame is `node - root + base` (or 0), so a
// slot of node X converts as  v' = v + frameNew(X) - frameOld(X)  whatever the
// order in which nodes are visited.
//
// The walk allocates nothing and does not recurse, so trees of any depth are
// safe.  It goes depth-first over the entry arrays with a small stack inside
// the walk object: children are found through their entries (independent
// loads, so the processor overlaps them), leaves and the leaves of Lists
// without attributes are converted on the spot, and only other nodes with
// lists of their own take a stack frame.  A subtree that
// starts deeper than the stack is converted by a second walk that needs no
// stack at all: it threads the tree the way Morris traversal threads a binary
// tree.  Before descending into a node's list it points the last child's
// `next` (null in every well-formed block) back at the node, encoded like an
// ordinary sibling link, so that leaving the last child leads back up.  On
// the way back the node finds the thread again and clears it.  A node's own
// slots are converted when that walk leaves it for good, so while it is being
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

// The threading walk.  `root` is the block's root, which the frames are
// measured from; Run converts the subtree of any node in the block.
class ThreadingWalk {
 public:
  ThreadingWalk(Addr root, Addr end, Addr oldBase, Addr newBase)
      : m_root(root), m_end(end), m_old(oldBase), m_new(newBase) {}

  void Run(Addr subtree) const;

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

ThreadingWalk::Children ThreadingWalk::ListEnds(Addr node, const ZxVariant::List& list) const {
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

void ThreadingWalk::TranslateList(Addr node, std::size_t listOffset, Addr delta) const {
  const auto& list = *detail::At<const ZxVariant::List>(node + listOffset);
  if (list.count == 0 || list.items == nullptr) return;
  Addr array = detail::Address(list.items) - FrameOld(node) + node;
  std::uint32_t count = list.count;
  TranslateSlot(node + listOffset + offsetof(ZxVariant::List, items), delta);
  if (!Inside(array, 8ull * count)) return;
  for (std::uint32_t i = 0; i < count; ++i) TranslateSlot(array + 8ull * i, delta);
}

void ThreadingWalk::Translate(Addr node) const {
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

void ThreadingWalk::Run(Addr subtree) const {
  // A tree has at most size/64 nodes and the walk arrives at each at most
  // three times (down, back from its children, back from its attributes).
  std::uint64_t steps = 3 * (std::uint64_t{m_end - m_root} / sizeof(ZxVariant)) + 3;
  Addr node = subtree;
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
    if (node == subtree) return;
    Addr link = detail::Address(detail::At<ZxVariant>(node)->next);
    if (link == 0) return;  // not reachable in a tree
    node = link - FrameNew(node) + node;
    if (!IsNode(node)) return;
  }
}

// The stack walk.  kOldZero / kNewZero: the block comes from / goes to the
// zero-based form (never both); the compiler folds the frame arithmetic of
// each of the three directions.
template <bool kOldZero, bool kNewZero>
class StackWalk {
 public:
  StackWalk(ZxVariant* root, Addr oldBase, Addr newBase)
      : m_root(detail::Address(root)), m_end(m_root + root->size), m_old(oldBase), m_new(newBase) {}

  void Run();

 private:
  static constexpr std::size_t kFrames = 64;

  // A node whose lists are being converted: the list in progress.
  struct Frame {
    Addr node;
    Addr delta;      // of the node, for its entries
    Addr array;      // the list's entry array
    std::uint32_t count;
    std::uint32_t index;
    bool inValues;   // the children (after the attributes)
  };

  // frameNew(node) - frameOld(node).
  Addr Delta(Addr node) const {
    if constexpr (kOldZero) return node - m_root + m_new;
    if constexpr (kNewZero) return m_root - m_old - node;
    return m_new - m_old;
  }
  // The address an old-frame slot value `v` of `node` refers to.
  Addr Resolve(Addr v, Addr node) const {
    if constexpr (kOldZero) return v + node;
    return v - m_old + m_root;
  }
  bool Inside(Addr at, std::uint64_t bytes) const {
    return at >= m_root && at <= m_end && bytes <= m_end - at;
  }
  bool IsNode(Addr at) const { return Inside(at, sizeof(ZxVariant)); }
  static bool IsLeaf(const ZxVariant* n) {
    return n->type != ZxVariant::TypeCodes::List && n->attributes.count == 0;
  }

  static void TranslateSlot(void* slot, Addr delta) {
    const Addr v = LoadSlot(slot);
    if (v != 0) StoreSlot(slot, v + delta);
  }
  // The slots of a node outside its lists: next, name and a Buffer's or
  // String's data.
  static void TranslateOwn(ZxVariant* n, Addr delta) {
    TranslateSlot(&n->next, delta);
    TranslateSlot(&n->name.str, delta);
    if (n->type == ZxVariant::TypeCodes::Buffer || n->type == ZxVariant::TypeCodes::String) {
      // Buffer::data and String::str share the slot at offset 32.
      TranslateSlot(&n->value.string.str, delta);
    }
  }
  // Converts a list's items slot and makes the frame walk its entries
  // (none when the array does not lie inside the block).
  void StartList(Frame& f, ZxVariant::List& list) const {
    f.count = 0;
    f.index = 0;
    if (list.count == 0 || list.items == nullptr) return;
    const Addr array = Resolve(detail::Address(list.items), f.node);
    TranslateSlot(reinterpret_cast<char*>(&list) + offsetof(ZxVariant::List, items), f.delta);
    if (!Inside(array, 8ull * list.count)) return;
    f.array = array;
    f.count = list.count;
  }
  // Converts entry f.index and moves on; the child it leads to, or 0 when
  // there is none inside the block.
  Addr NextChild(Frame& f) const {
    void* entry = detail::At<char>(f.array) + 8ull * f.index++;
    const Addr v = LoadSlot(entry);
    if (v == 0) return 0;
    StoreSlot(entry, v + f.delta);
    const Addr child = Resolve(v, f.node);
    return IsNode(child) ? child : 0;
  }
  // The frame of a node just met, with its own slots converted and its
  // first list started.
  Frame Open(Addr node) const {
    ZxVariant* n = detail::At<ZxVariant>(node);
    Frame f{node, Delta(node), 0, 0, 0, false};
    TranslateOwn(n, f.delta);
    StartList(f, n->attributes);
    return f;
  }

  Addr m_root;
  Addr m_end;
  Addr m_old;
  Addr m_new;
};

template <bool kOldZero, bool kNewZero>
void StackWalk<kOldZero, kNewZero>::Run() {
  // Every visit converts a node; a tree has at most size/64 of them, so a
  // malformed block whose entries loop is cut off there.
  std::uint64_t visits = std::uint64_t{m_end - m_root} / sizeof(ZxVariant);
  Frame stack[kFrames];
  std::size_t depth = 0;
  stack[depth++] = Open(m_root);
  while (depth != 0) {
    Frame& f = stack[depth - 1];
    if (f.index == f.count) {
      ZxVariant* n = detail::At<ZxVariant>(f.node);
      if (!f.inValues && n->type == ZxVariant::TypeCodes::List) {
        f.inValues = true;
        StartList(f, n->value.list);
      } else {
        --depth;
      }
      continue;
    }
    const Addr child = NextChild(f);
    if (child == 0) continue;
    if (visits-- == 0) return;
    ZxVariant* c = detail::At<ZxVariant>(child);
    if (IsLeaf(c)) {
      TranslateOwn(c, Delta(child));
      continue;
    }
    if (depth == kFrames) {
      // Deeper than the stack: the threading walk converts the whole subtree.
      ThreadingWalk(m_root, m_end, m_old, m_new).Run(child);
      continue;
    }
    Frame inner = Open(child);
    if (c->type == ZxVariant::TypeCodes::List && c->attributes.count == 0) {
      // A List without attributes: its children are converted right here
      // while they are leaves, which most Lists hold.
      inner.inValues = true;
      StartList(inner, c->value.list);
      for (; inner.index != inner.count; ++inner.index) {
        void* entry = detail::At<char>(inner.array) + 8ull * inner.index;
        const Addr v = LoadSlot(entry);
        if (v == 0) continue;
        const Addr grandchild = Resolve(v, inner.node);
        if (IsNode(grandchild)) {
          ZxVariant* g = detail::At<ZxVariant>(grandchild);
          if (!IsLeaf(g)) break;  // the List's frame takes over at this entry
          if (visits-- == 0) return;
          TranslateOwn(g, Delta(grandchild));
        }
        StoreSlot(entry, v + inner.delta);
      }
      if (inner.index == inner.count) continue;
    }
    stack[depth++] = inner;  // f is stale from here on
  }
}

}  // namespace

void Rebase(ZxVariant* record, const void* oldBase, const void* newBase) {
  if (record == nullptr || oldBase == newBase) return;
  if (record->size < sizeof(ZxVariant)) return;
  const Addr from = detail::Address(oldBase);
  const Addr to = detail::Address(newBase);
  if (from == 0) {
    StackWalk<true, false>(record, from, to).Run();
  } else if (to == 0) {
    StackWalk<false, true>(record, from, to).Run();
  } else {
    StackWalk<false, false>(record, from, to).Run();
  }
}

void RebaseToZero(ZxVariant* record) { Rebase(record, record, nullptr); }

void RebaseFromZero(ZxVariant* record) { Rebase(record, nullptr, record); }

}  // namespace ZxVariantHelper
