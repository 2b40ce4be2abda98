// The structural check that decides whether a block may be trusted.
//
// Each node is checked against the frame its slots were made for: `base` is
// the address the node had when its pointers were written (or 0 in the
// zero-based form), and a slot value v refers to  v - base + node  now.
// The result is the conjunction of per-node rules, so nodes may be checked in
// any order; the walk goes depth-first with one frame per open node on an
// explicit stack, and gives up at the first failing rule.
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

class Checker {
 public:
  Checker(const ZxVariant* root, Addr base)
      : m_rootStart(detail::Address(root)), m_rootEnd(m_rootStart + root->size), m_base(base) {}

  bool Run();

 private:
  enum Phase : std::uint8_t { kAttributes, kValues };
  enum Step : std::uint8_t { kBeginList, kEnterChild, kAfterChild, kEndList };

  // One node under check, with the walk of one of its lists in progress.
  struct Frame {
    Addr node;
    Addr base;                     // the node's own frame
    Addr child;                    // the list child being checked
    std::uint64_t bytes;           // bytes of the list walked so far
    std::uint64_t attributeBytes;  // bytes of the finished attribute list
    std::uint32_t index;           // entry number of `child`
    Phase phase;
    Step step;
    bool listsAllowed;
  };

  // The rules that need nothing below the node; pushes its frame.
  bool Open(Addr node, Addr base, bool listsAllowed, bool nameRequired);
  bool BeginList(Frame& f);
  bool EnterChild(Frame& f);
  bool AfterChild(Frame& f);
  bool EndList(Frame& f);

  const ZxVariant::List& CurrentList(const Frame& f) const {
    return f.phase == kAttributes ? Node(f.node)->attributes : Node(f.node)->value.list;
  }
  Addr EntryArray(const Frame& f) const {
    return detail::Address(CurrentList(f).items) - f.base + f.node;
  }
  Addr ChildBase(const Frame& f, Addr child) const {
    return f.base == 0 ? 0 : child - f.node + f.base;
  }

  Addr m_rootStart;
  Addr m_rootEnd;
  Addr m_base;
  detail::ExplicitStack<Frame> m_stack;
};

bool Checker::Open(Addr node, Addr base, bool listsAllowed, bool nameRequired) {
  const ZxVariant* n = Node(node);
  if (n->size < kHeader) return false;
  std::uint64_t nameBytes;
  if (!TextOk(n->name, base, n->size, &nameBytes)) return false;
  if (nameRequired && nameBytes == 0) return false;
  return m_stack.Push(Frame{node, base, 0, 0, 0, 0, kAttributes, kBeginList, listsAllowed});
}

bool Checker::BeginList(Frame& f) {
  const ZxVariant::List& list = CurrentList(f);
  f.bytes = 0;
  f.index = 0;
  if (list.count == 0) {
    f.step = kEndList;
    return list.items == nullptr;
  }
  f.bytes = 8ull * list.count;
  if (list.items == nullptr) return false;
  // Only the first entry is checked against the node's end here; the others
  // are proven by the next chain as the walk reaches them.
  Addr array = EntryArray(f);
  Addr offset = array - f.node;
  std::uint32_t size = Node(f.node)->size;
  if (offset < kHeader || offset > size || size - offset < 8) return false;
  Addr first = LoadSlot(detail::At<void>(array));
  if (first == 0) return false;
  f.child = first - f.base + f.node;
  f.step = kEnterChild;
  return true;
}

bool Checker::EnterChild(Frame& f) {
  std::uint32_t size = Node(f.node)->size;
  Addr offset = f.child - f.node;
  if (offset < kHeader || offset > size || size - offset < 8) return false;
  std::uint32_t childSize = Node(f.child)->size;
  if (childSize == 0 || childSize > size - offset) return false;
  f.step = kAfterChild;
  // Attributes are named non-lists; list children may be anything, unnamed.
  bool attribute = f.phase == kAttributes;
  return Open(f.child, ChildBase(f, f.child), !attribute, attribute);  // may move f
}

bool Checker::AfterChild(Frame& f) {
  const ZxVariant* child = Node(f.child);
  f.bytes += child->size;
  Addr link = detail::Address(child->next);
  ++f.index;
  if (link == 0) {
    f.step = kEndList;
    return f.index == CurrentList(f).count;
  }
  // A chain longer than the entry array can never agree with it.
  if (f.index >= CurrentList(f).count) return false;
  Addr following = f.child + (link - ChildBase(f, f.child));
  Addr entry = EntryArray(f) + 8ull * f.index;
  if (entry < m_rootStart || entry > m_rootEnd || m_rootEnd - entry < 8) return false;
  if (LoadSlot(detail::At<void>(entry)) - f.base + f.node != following) return false;
  f.child = following;
  f.step = kEnterChild;
  return true;
}

bool Checker::EndList(Frame& f) {
  const ZxVariant* n = Node(f.node);
  std::uint64_t fixed = kHeader + detail::TextBytes(n->name.length);
  std::uint64_t expected;
  if (f.phase == kValues) {
    expected = fixed + f.attributeBytes + f.bytes;
  } else {
    f.attributeBytes = f.bytes;
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
        } else if (!PayloadInside(detail::Address(buffer.data), f.base, n->size, buffer.size)) {
          return false;
        }
        expected = fixed + f.attributeBytes + buffer.size;
        break;
      }
      case T::String: {
        std::uint64_t textBytes;
        if (!TextOk(n->value.string, f.base, n->size, &textBytes)) return false;
        expected = fixed + f.attributeBytes + textBytes;
        break;
      }
      case T::List:
        if (!f.listsAllowed) return false;
        f.phase = kValues;
        f.step = kBeginList;
        return true;
      default:
        return false;
    }
  }
  if (n->size != expected) return false;
  m_stack.Pop();
  return true;
}

bool Checker::Run() {
  if (!Open(m_rootStart, m_base, true, false)) return false;
  while (!m_stack.Empty()) {
    Frame& f = m_stack.Top();
    bool ok = false;
    switch (f.step) {
      case kBeginList: ok = BeginList(f); break;
      case kEnterChild: ok = EnterChild(f); break;
      case kAfterChild: ok = AfterChild(f); break;
      case kEndList: ok = EndList(f); break;
    }
    if (!ok) return false;
  }
  return true;
}

bool Check(const ZxVariant* record, Addr base) {
  if (record == nullptr) return true;
  if (record->size < kHeader) return false;
  return Checker(record, base).Run();
}

}  // namespace

bool Validate(const ZxVariant* record) { return Check(record, detail::Address(record)); }

bool ValidateAtBase(const ZxVariant* record, const void* base) {
  return Check(record, detail::Address(base));
}

bool ValidateZero(const ZxVariant* record) { return Check(record, 0); }

}  // namespace ZxVariantHelper
