// Counting loose records and laying them out as one flat block.
#include <cstring>
#include <stdexcept>

#include "record/explicit_stack.h"
#include "record/unaligned.h"
#include "record/value_bytes.h"
#include "tree/basic_utils_internal.h"
#include "zxvariant/basic_utils.h"

namespace ZxVariantHelper::BasicUtils {

using internal::First;
using internal::IsKnownType;
using internal::kHeader;
using internal::T;

namespace {

constexpr std::uint64_t kMaxBlock = 0xFFFFFFFFu;

// What laying a record out takes: its bytes and the deepest nesting (for the
// layout stack), found in one walk without recursion.  A record with a type
// code above 8 adds nothing but its entry slot; the root with one has size 0.
struct Plan {
  std::uint64_t size = 0;
  std::size_t depth = 0;
  bool unknownType = false;
  bool failed = false;  // out of memory while walking
};

Plan PlanLayout(const ZxVariant* record) {
  Plan plan;
  if (record == nullptr) return plan;
  if (!IsKnownType(record->type)) {
    plan.unknownType = true;
    return plan;
  }
  struct Item {
    const ZxVariant* node;
    std::uint32_t siblings;  // records of the chain still allowed after this one
    std::uint32_t depth;
    bool inChain;
  };
  detail::ExplicitStack<Item> pending;
  auto pushChain = [&](const ZxVariant::List& list, std::uint32_t depth) {
    const ZxVariant* first = First(list);
    if (list.count == 0 || first == nullptr) return true;
    return pending.Push(Item{first, list.count - 1, depth, true});
  };
  if (!pending.Push(Item{record, 0, 1, false})) {
    plan.failed = true;
    return plan;
  }
  while (!pending.Empty()) {
    Item item = pending.Top();
    pending.Pop();
    const ZxVariant* node = item.node;
    bool ok = true;
    if (item.inChain) {
      plan.size += 8;
      if (item.siblings != 0 && node->next != nullptr) {
        ok = pending.Push(Item{node->next, item.siblings - 1, item.depth, true});
      }
    }
    if (!IsKnownType(node->type)) {
      plan.unknownType = true;
    } else {
      if (item.depth > plan.depth) plan.depth = item.depth;
      plan.size += kHeader + detail::TextBytes(node->name.length);
      if (node->type == T::Buffer) plan.size += node->value.buffer.size;
      if (node->type == T::String) plan.size += detail::TextBytes(node->value.string.length);
      ok = ok && pushChain(node->attributes, item.depth + 1);
      if (node->type == T::List) ok = ok && pushChain(node->value.list, item.depth + 1);
    }
    if (!ok) {
      plan.failed = true;
      return plan;
    }
  }
  return plan;
}

[[noreturn]] void ThrowInvalidCondition() { throw std::logic_error("Invalid condition"); }

ZxVariant* AsNode(char* at) { return reinterpret_cast<ZxVariant*>(at); }

// Lays `record` out at `cursor` in a cleared block, in pointer form: each
// header, then its name, its attribute entries and attributes, then its
// value (Buffer bytes, String units, or child entries and children).  Every
// chain is cut at its count.  Returns the end of the block.
class FlatWriter {
 public:
  bool Reserve(std::size_t depth) { return m_stack.Reserve(depth); }

  char* Write(const ZxVariant* record, char* cursor) {
    cursor = Begin(record, cursor);
    while (!m_stack.Empty()) {
      Frame& f = m_stack.Top();
      ZxVariant* out = AsNode(f.out);
      switch (f.phase) {
        case kAttributes:
          f.phase = kAttributeEntries;
          cursor = StartChain(f, f.source->attributes, out->attributes, cursor);
          break;
        case kAttributeEntries:
        case kChildEntries:
          if (f.remaining == 0) {
            f.phase = f.phase == kAttributeEntries ? kValue : kDone;
            break;
          }
          cursor = NextEntry(f, cursor);  // f is stale from here on
          break;
        case kValue:
          f.phase = kDone;
          cursor = WriteValue(f, cursor);
          break;
        case kDone:
          out->size = static_cast<std::uint32_t>(cursor - f.out);
          m_stack.Pop();
          break;
      }
    }
    return cursor;
  }

 private:
  enum Phase : std::uint8_t { kAttributes, kAttributeEntries, kValue, kChildEntries, kDone };
  struct Frame {
    const ZxVariant* source;
    char* out;
    const ZxVariant* child;  // next record of the chain being laid out
    std::uint32_t remaining;
    char* entry;             // its entry slot
    char* previous;          // the record laid out before it, to link
    Phase phase;
  };

  char* Begin(const ZxVariant* source, char* cursor) {
    if (!IsKnownType(source->type)) ThrowInvalidCondition();
    std::memcpy(cursor, source, kHeader);
    ZxVariant* out = AsNode(cursor);
    char* start = cursor;
    cursor += kHeader;
    out->next = nullptr;
    out->name.str = nullptr;
    out->attributes.count = 0;
    out->attributes.items = nullptr;
    std::uint32_t length = source->name.length;
    if (length != 0) {
      // The block is cleared, so the terminator is already there.
      if (source->name.str != nullptr) std::memcpy(cursor, source->name.str, 2ull * length);
      out->name.str = reinterpret_cast<const char16_t*>(cursor);
      cursor += detail::TextBytes(length);
    }
    // Room was reserved for the deepest nesting, so this push cannot fail.
    m_stack.PushReserved(Frame{source, start, nullptr, 0, nullptr, nullptr, kAttributes});
    return cursor;
  }

  char* StartChain(Frame& f, const ZxVariant::List& source, ZxVariant::List& out, char* cursor) {
    std::uint32_t count = internal::ChainLength(source);
    out.count = count;
    out.items = nullptr;
    f.remaining = count;
    f.child = First(source);
    f.previous = nullptr;
    f.entry = cursor;
    if (count == 0) return cursor;
    out.items = reinterpret_cast<ZxVariant**>(cursor);
    return cursor + 8ull * count;
  }

  char* NextEntry(Frame& f, char* cursor) {
    const ZxVariant* child = f.child;
    f.child = child->next;
    --f.remaining;
    detail::StoreSlot(f.entry, detail::Address(cursor));
    f.entry += 8;
    if (f.previous != nullptr) AsNode(f.previous)->next = AsNode(cursor);
    f.previous = cursor;
    return Begin(child, cursor);
  }

  char* WriteValue(Frame& f, char* cursor) {
    const ZxVariant* source = f.source;
    ZxVariant* out = AsNode(f.out);
    switch (source->type) {
      case T::Buffer: {
        std::uint32_t bytes = source->value.buffer.size;
        out->value.buffer.data = nullptr;
        if (bytes != 0) {
          const void* data = source->value.buffer.data;
          if (data != nullptr) std::memcpy(cursor, data, bytes);
          out->value.buffer.data = cursor;
          cursor += bytes;
        }
        break;
      }
      case T::String: {
        std::uint32_t length = source->value.string.length;
        out->value.string.str = nullptr;
        if (length != 0) {
          const char16_t* text = source->value.string.str;
          if (text != nullptr) std::memcpy(cursor, text, 2ull * length);
          out->value.string.str = reinterpret_cast<const char16_t*>(cursor);
          cursor += detail::TextBytes(length);
        }
        break;
      }
      case T::List:
        f.phase = kChildEntries;
        cursor = StartChain(f, source->value.list, out->value.list, cursor);
        break;
      default:
        break;
    }
    return cursor;
  }

  detail::ExplicitStack<Frame> m_stack;
};

}  // namespace

unsigned int getZxVariantCount(const ZxVariant* record) {
  if (record == nullptr) return 0;
  detail::ExplicitStack<const ZxVariant*> pending;
  unsigned int count = 0;
  if (!pending.Push(record)) return 0;
  while (!pending.Empty()) {
    const ZxVariant* node = pending.Top();
    pending.Pop();
    ++count;
    if (node->next != nullptr && !pending.Push(node->next)) break;
    if (node->type == T::List && node->value.list.count != 0) {
      if (const ZxVariant* child = First(node->value.list)) {
        if (!pending.Push(child)) break;
      }
    }
  }
  return count;
}

unsigned int computeZxVariantSize(const ZxVariant* record) {
  Plan plan = PlanLayout(record);
  if (plan.failed || plan.size > kMaxBlock) return 0;
  return static_cast<unsigned int>(plan.size);
}

ZxVariant* buildZxVariantForTransport(const ZxVariant* record, void* (*alloc)(unsigned int)) {
  if (record == nullptr) return nullptr;
  Plan plan = PlanLayout(record);
  // Checked before anything is allocated, so nothing leaks on the throw.
  if (plan.unknownType) ThrowInvalidCondition();
  if (plan.failed || plan.size == 0 || plan.size > kMaxBlock) return nullptr;
  FlatWriter writer;
  if (!writer.Reserve(plan.depth)) return nullptr;
  auto size = static_cast<unsigned int>(plan.size);
  void* block = alloc != nullptr ? alloc(size) : std::malloc(size);
  if (block == nullptr) return nullptr;
  std::memset(block, 0, size);
  writer.Write(record, static_cast<char*>(block));
  return static_cast<ZxVariant*>(block);
}

unsigned int copyZxVariant2Buffer(const ZxVariant* record, unsigned char* buf,
                                  unsigned int* len) {
  if (len == nullptr) return 0;
  Plan plan = PlanLayout(record);
  unsigned int size = plan.failed || plan.size > kMaxBlock ? 0 : static_cast<unsigned int>(plan.size);
  if (size == 0 || buf == nullptr || *len < size) {
    *len = size;
    return 0;
  }
  if (plan.unknownType) ThrowInvalidCondition();
  FlatWriter writer;
  if (!writer.Reserve(plan.depth)) return 0;
  std::memset(buf, 0, *len);
  writer.Write(record, reinterpret_cast<char*>(buf));
  return size;
}

}  // namespace ZxVariantHelper::BasicUtils
