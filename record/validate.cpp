// The structural check that decides whether a block may be trusted.
//
// Each node is checked against the frame its slots were made for: `base` is
// the address the node had when its pointers were written (or 0 in the
// zero-based form), and a slot value v refers to  v - base + node  now.
// The result is the conjunction of per-node rules, so nodes may be checked in
// any order; the walk goes depth-first and gives up at the first failing rule.
//
// Most nodes are leaves (no attributes, no children) or Lists of leaves.
// Those are checked whole where their owner's walk meets them; only other
// nodes with lists of their own get a frame on the explicit stack, which
// walks their attributes first and then their children.
//
// Untrusted input: every address is turned into an offset inside the block of
// the node that holds it before anything is read there, sums are kept in 64
// bits so no size can wrap into agreement, and an entry that would lie outside
// the root's block fails instead of being read.
#include <cstddef>
#include <cstdint>

#include "record/explicit_stack.h"
#include "record/unaligned.h"
#include "record/value_bytes.h"
#include "zxvariant/record.h"

namespace ZxVariantHelper {
namespace {

using Addr = std::uintptr_t;
using detail::LoadSlot;
using T = ZxVariant::TypeCodes;

constexpr std::uint64_t kHeader = sizeof(ZxVariant);

const ZxVariant* Node(Addr at) { return detail::At<const ZxVariant>(at); }

// Whether a payload of `bytes` at slot value `v` (frame `base`) lies after
// the header and inside the `size` bytes of its node.
bool PayloadInside(Addr v, Addr base, std::uint32_t size, std::uint64_t bytes) {
  Addr offset = v - base;
  return offset >= kHeader && offset <= size && bytes <= size - offset;
}

// Name or String rule: an empty text has a null pointer; any other lies in
// the node.  Yields the bytes it takes.
bool TextOk(const ZxVariant::String& text, Addr base, std::uint32_t size, std::uint64_t* bytes) {
  *bytes = detail::TextBytes(text.length);
  if (text.length == 0) return text.str == nullptr;
  return text.str != nullptr && PayloadInside(detail::Address(text.str), base, size, *bytes);
}

// The rules that need nothing below the node: size and name.  *fixed
// receives the header and name bytes.
bool HeaderOk(const ZxVariant* n, Addr base, bool nameRequired, std::uint64_t* fixed) {
  if (n->size < kHeader) return false;
  std::uint64_t nameBytes;
  if (!TextOk(n->name, base, n->size, &nameBytes)) return false;
  if (nameRequired && nameBytes == 0) return false;
  *fixed = kHeader + nameBytes;
  return true;
}

// The value slot and the size equation of a non-list, given its header and
// name bytes and the bytes of its attribute list.
bool ValueOk(const ZxVariant* n, Addr base, std::uint64_t fixed, std::uint64_t attributeBytes) {
  std::uint64_t expected;
  switch (n->type) {
    case T::Null:
    case T::Register:
    case T::Bool:
    case T::Int:
    case T::Float:
    case T::Int64:
      // Scalars leave their attributes out of the equation, so a scalar
      // that carries attributes fails; every peer checks it the same way.
      expected = fixed;
      break;
    case T::Buffer: {
      const ZxVariant::Buffer& buffer = n->value.buffer;
      if (buffer.size == 0) {
        if (buffer.data != nullptr) return false;
      } else if (!PayloadInside(detail::Address(buffer.data), base, n->size, buffer.size)) {
        return false;
      }
      expected = fixed + attributeBytes + buffer.size;
      break;
    }
    case T::String: {
      std::uint64_t textBytes;
      if (!TextOk(n->value.string, base, n->size, &textBytes)) return false;
      expected = fixed + attributeBytes + textBytes;
      break;
    }
    default:
      return false;  // Lists are finished by their frame; other codes are unknown
  }
  return n->size == expected;
}

// A node whose lists are walked: where it is, its frame and its size.
struct Owner {
  Addr node;
  Addr base;
  std::uint32_t size;
};

// The walk of one list of an owner.
struct ListWalk {
  Addr entries = 0;          // the entry array
  Addr child = 0;            // the child being checked; 0 once the list is done
  std::uint64_t bytes = 0;   // the entries and the children passed so far
  std::uint32_t count = 0;
  std::uint32_t limit = 0;   // entries that may be read: within the count and the root
  std::uint32_t index = 0;   // entry number of `child`
};

// kZero: every frame is 0 (the zero-based form), which the compiler then
// folds out of the address arithmetic.
template <bool kZero>
class Checker {
 public:
  Checker(const ZxVariant* root, Addr base)
      : m_rootStart(detail::Address(root)), m_rootEnd(m_rootStart + root->size), m_base(kZero ? 0 : base) {}

  bool Run();

 private:
  // A node with lists of its own, on the explicit stack.
  struct Frame {
    Owner owner;
    ListWalk walk;
    std::uint64_t fixed;           // header and name bytes
    std::uint64_t attributeBytes;  // bytes of the finished attribute list
    bool values;                   // walking the children (else the attributes)
  };
  enum class Step {
    kFailed,
    kDone,           // the list is done
    kStopped,        // at a child that needs a frame of its own
    kStoppedInside,  // at a grandchild, inside a List child that then needs a frame
  };

  // The address slot value `v` of the node at `node` (frame `base`) refers to.
  static Addr Target(Addr v, Addr node, Addr base) { return kZero ? node + v : v - base + node; }
  // The frame of a node at `child` inside the node at `node`.
  static Addr ChildBase(Addr child, Addr node, Addr base) { return kZero ? 0 : child - node + base; }

  // Starts the walk of one of the owner's lists.
  bool StartList(const Owner& o, const ZxVariant::List& list, ListWalk* w) const;
  // After w.child passed: its link in the chain must be the next entry.
  // Moves w.child on, to 0 at the end of the list.
  bool Follow(const Owner& o, ListWalk& w) const;
  // Walks on over the children that need no frame: leaves and, with
  // kListsInside, Lists without attributes whose children are all leaves
  // (such a List that turns out to hold more is left in *inside).
  template <bool kListsInside>
  Step Walk(const Owner& o, bool attribute, ListWalk& w, Frame* inside) const;
  // Checks the header of a node with lists of its own and pushes its frame
  // on its first list to walk: the attributes, or the children of a List
  // without attributes.
  bool Open(Addr node, Addr base, bool isAttribute);
  // Both lists of the frame's node are done: its value and size equation.
  static bool Finish(const Frame& f);

  Addr m_rootStart;
  Addr m_rootEnd;
  Addr m_base;
  detail::ExplicitStack<Frame> m_stack;
};

template <bool kZero>
bool Checker<kZero>::StartList(const Owner& o, const ZxVariant::List& list, ListWalk* w) const {
  *w = ListWalk{};
  w->count = list.count;
  if (list.count == 0) return list.items == nullptr;
  w->bytes = 8ull * list.count;
  if (list.items == nullptr) return false;
  // Only the first entry is checked against the node's end here; the others
  // must lie inside the root and are proven by the next chain as the walk
  // reaches them.
  const Addr array = Target(detail::Address(list.items), o.node, o.base);
  const Addr offset = array - o.node;
  if (offset < kHeader || offset > o.size || o.size - offset < 8) return false;
  const Addr first = LoadSlot(detail::At<void>(array));
  if (first == 0) return false;
  w->entries = array;
  const std::uint64_t inRoot = (m_rootEnd - 8 - array) / 8 + 1;
  w->limit = inRoot < list.count ? static_cast<std::uint32_t>(inRoot) : list.count;
  w->child = Target(first, o.node, o.base);
  return true;
}

template <bool kZero>
bool Checker<kZero>::Follow(const Owner& o, ListWalk& w) const {
  const Addr link = detail::Address(Node(w.child)->next);
  ++w.index;
  if (link == 0) {
    w.child = 0;
    return w.index == w.count;
  }
  // A chain longer than the entry array can never agree with it.
  if (w.index >= w.limit) return false;
  const Addr following = Target(link, w.child, ChildBase(w.child, o.node, o.base));
  if (Target(LoadSlot(detail::At<void>(w.entries + 8ull * w.index)), o.node, o.base) != following) {
    return false;
  }
  w.child = following;
  return true;
}

template <bool kZero>
template <bool kListsInside>
typename Checker<kZero>::Step Checker<kZero>::Walk(const Owner& o, bool attribute, ListWalk& w,
                                                   Frame* inside) const {
  while (w.child != 0) {
    const Addr child = w.child;
    const Addr offset = child - o.node;
    // The child's header lies inside its owner (whose size is at least a
    // header), and so does its whole block.
    if (offset < kHeader || offset > o.size - kHeader) return Step::kFailed;
    const ZxVariant* c = Node(child);
    const std::uint32_t childSize = c->size;
    if (childSize < kHeader || childSize > o.size - offset) return Step::kFailed;
    if (c->attributes.count != 0) return Step::kStopped;
    // The empty attribute list has no array either.
    const Addr childBase = ChildBase(child, o.node, o.base);
    std::uint64_t fixed;
    if (c->type == T::List) {
      if constexpr (!kListsInside) {
        return Step::kStopped;
      } else {
        if (attribute) return Step::kFailed;  // attributes are named non-lists
        const Owner list{child, childBase, childSize};
        ListWalk children;
        if (!HeaderOk(c, childBase, false, &fixed) || c->attributes.items != nullptr ||
            !StartList(list, c->value.list, &children)) {
          return Step::kFailed;
        }
        const Step step = Walk<false>(list, false, children, nullptr);
        if (step == Step::kFailed) return Step::kFailed;
        if (step == Step::kStopped) {
          *inside = Frame{list, children, fixed, 0, true};
          return Step::kStoppedInside;
        }
        if (childSize != fixed + children.bytes) return Step::kFailed;
      }
    } else if (!HeaderOk(c, childBase, attribute, &fixed) || c->attributes.items != nullptr ||
               !ValueOk(c, childBase, fixed, 0)) {
      return Step::kFailed;
    }
    w.bytes += childSize;
    if (!Follow(o, w)) return Step::kFailed;
  }
  return Step::kDone;
}

template <bool kZero>
bool Checker<kZero>::Open(Addr node, Addr base, bool isAttribute) {
  const ZxVariant* n = Node(node);
  std::uint64_t fixed;
  if (!HeaderOk(n, base, isAttribute, &fixed)) return false;
  const bool isList = n->type == T::List;
  if (isList && isAttribute) return false;  // attributes are named non-lists
  if (!m_stack.Push(Frame{Owner{node, base, n->size}, ListWalk{}, fixed, 0, false})) return false;
  Frame& f = m_stack.Top();
  if (isList && n->attributes.count == 0) {
    if (n->attributes.items != nullptr) return false;
    f.values = true;
    return StartList(f.owner, n->value.list, &f.walk);
  }
  return StartList(f.owner, n->attributes, &f.walk);
}

template <bool kZero>
bool Checker<kZero>::Finish(const Frame& f) {
  const ZxVariant* n = Node(f.owner.node);
  if (f.values) return n->size == f.fixed + f.attributeBytes + f.walk.bytes;
  return ValueOk(n, f.owner.base, f.fixed, f.walk.bytes);
}

template <bool kZero>
bool Checker<kZero>::Run() {
  if (!Open(m_rootStart, m_base, false)) return false;
  for (;;) {
    Frame& f = m_stack.Top();
    // The walk runs on local copies, which the compiler keeps in registers.
    const Owner owner = f.owner;
    ListWalk walk = f.walk;
    Frame inside;
    const Step step = Walk<true>(owner, !f.values, walk, &inside);
    f.walk = walk;
    switch (step) {
      case Step::kFailed:
        return false;
      case Step::kStopped:
        if (!Open(walk.child, ChildBase(walk.child, owner.node, owner.base), !f.values)) return false;
        continue;  // f is stale from here on
      case Step::kStoppedInside:
        if (!m_stack.Push(inside)) return false;
        continue;
      case Step::kDone:
        break;
    }
    // The attributes of a List lead to its children.
    const ZxVariant* n = Node(owner.node);
    if (!f.values && n->type == T::List) {
      f.attributeBytes = walk.bytes;
      f.values = true;
      if (!StartList(owner, n->value.list, &f.walk)) return false;
      continue;
    }
    if (!Finish(f)) return false;
    m_stack.Pop();
    if (m_stack.Empty()) return true;
    // The owner's walk resumes after this node.
    Frame& parent = m_stack.Top();
    parent.walk.bytes += Node(parent.walk.child)->size;
    if (!Follow(parent.owner, parent.walk)) return false;
  }
}

template <bool kZero>
bool Check(const ZxVariant* record, Addr base) {
  if (record == nullptr) return true;
  if (record->size < kHeader) return false;
  return Checker<kZero>(record, base).Run();
}

}  // namespace

bool Validate(const ZxVariant* record) { return Check<false>(record, detail::Address(record)); }

bool ValidateAtBase(const ZxVariant* record, const void* base) {
  return Check<false>(record, detail::Address(base));
}

bool ValidateZero(const ZxVariant* record) { return Check<true>(record, 0); }

}  // namespace ZxVariantHelper
