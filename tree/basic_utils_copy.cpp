// Copying and freeing loose records.
#include <cstdlib>
#include <cstring>
#include <deque>

#include "record/explicit_stack.h"
#include "record/unaligned.h"
#include "tree/basic_utils_internal.h"
#include "zxvariant/basic_utils.h"

namespace ZxVariantHelper::BasicUtils {

using internal::First;
using internal::NewRecord;
using internal::T;

namespace internal {

void DropValue(ZxVariant* record) {
  switch (record->type) {
    case T::String:
    case T::Buffer:
      std::free(const_cast<void*>(record->value.buffer.data));
      break;
    case T::List:
      if (record->value.list.items != nullptr) {
        releaseZxVariant(First(record->value.list));
        std::free(record->value.list.items);
      }
      break;
    default:
      break;
  }
  std::memset(reinterpret_cast<char*>(record) + offsetof(ZxVariant, value), 0,
              sizeof(ZxVariant::Value));
}

}  // namespace internal

namespace {

// Frees every record reachable from `root` through attributes, list children
// and next links (root's own next link only when `followRootNext`).  All
// records are collected first and freed afterwards, so no depth or length of
// chain can exhaust the call stack.  The root's header is freed only when
// `freeRootHeader`; otherwise it is left zeroed except for `next`.
void FreeReachable(ZxVariant* root, bool followRootNext, bool freeRootHeader) {
  if (root == nullptr) return;
  std::deque<ZxVariant*> queue;
  queue.push_back(root);
  for (std::size_t i = 0; i < queue.size(); ++i) {
    ZxVariant* record = queue[i];
    if (ZxVariant* attribute = First(record->attributes)) queue.push_back(attribute);
    if (record->type == T::List) {
      if (ZxVariant* child = First(record->value.list)) queue.push_back(child);
    }
    if (record->next != nullptr && (record != root || followRootNext)) queue.push_back(record->next);
  }
  for (ZxVariant* record : queue) {
    std::free(const_cast<char16_t*>(record->name.str));
    std::free(record->attributes.items);
    switch (record->type) {
      case T::String:
      case T::Buffer:
        std::free(const_cast<void*>(record->value.buffer.data));
        break;
      case T::List:
        std::free(record->value.list.items);
        break;
      default:
        break;
    }
    if (record != root || freeRootHeader) {
      std::free(record);
    } else {
      ZxVariant* next = record->next;
      std::memset(static_cast<void*>(record), 0, sizeof(ZxVariant));
      record->next = next;
    }
  }
}

// Links `record` at the end of the list, creating the first-slot block.
bool LinkLast(ZxVariant::List& list, ZxVariant* record, ZxVariant*& last) {
  record->next = nullptr;
  if (list.items == nullptr) {
    void* slot = std::malloc(sizeof(void*));
    if (slot == nullptr) return false;
    list.items = static_cast<ZxVariant**>(slot);
    list.count = 0;
    internal::SetFirst(list, record);
  } else if (last != nullptr) {
    last->next = record;
  } else if (ZxVariant* walk = First(list)) {
    while (walk->next != nullptr) walk = walk->next;
    walk->next = record;
  } else {
    internal::SetFirst(list, record);
  }
  last = record;
  ++list.count;
  return true;
}

}  // namespace

bool copyZxVariantName(ZxVariant* dst, const char16_t* name) {
  if (dst == nullptr || name == nullptr) return false;
  std::size_t length = detail::UnitCount(name);
  if (length == 0 || length >= 0xFFFFFFFFu) return false;
  // Kept on purpose: the test looks at the value's data pointer and value
  // word, not at the name, and drops the value block on a length mismatch.
  const void* data = dst->value.buffer.data;
  if (data != nullptr && dst->value.string.length != length) {
    std::free(const_cast<void*>(data));
    dst->value.buffer.data = nullptr;
    data = nullptr;
  }
  char16_t* block = const_cast<char16_t*>(dst->name.str);
  // The old name block is only reused when it can hold the new name.
  bool reuse = data != nullptr && block != nullptr && dst->name.length >= length;
  if (!reuse) {
    auto* fresh = static_cast<char16_t*>(std::malloc(2 * (length + 1)));
    if (fresh == nullptr) return false;
    std::free(block);
    block = fresh;
  }
  std::memcpy(block, name, 2 * length);
  block[length] = 0;
  dst->name.length = static_cast<std::uint32_t>(length);
  dst->name.str = block;
  return true;
}

bool setZxVariantName(ZxVariant* dst, const char16_t* name) {
  if (dst == nullptr || name == nullptr) return false;
  std::size_t length = detail::UnitCount(name);
  if (length == 0 || length >= 0xFFFFFFFFu) return false;
  auto* own = const_cast<char16_t*>(dst->name.str);
  if (own != nullptr && dst->name.length == length) {
    std::memmove(own, name, 2 * length);  // name may be this very block
    own[length] = 0;
    return true;
  }
  // The new block is filled before the old one goes, for the same reason.
  auto* fresh = static_cast<char16_t*>(std::malloc(2 * (length + 1)));
  if (fresh == nullptr) return false;
  std::memcpy(fresh, name, 2 * length);
  fresh[length] = 0;
  std::free(own);
  dst->name.length = static_cast<std::uint32_t>(length);
  dst->name.str = fresh;
  return true;
}

bool copyZxVariantValue(ZxVariant* dst, const ZxVariant* src) {
  if (dst == nullptr || src == nullptr) return false;
  const std::uint32_t size = src->size;
  const T type = src->type;
  if (dst == src) {
    return type != T::Register && type != T::List && internal::IsKnownType(type);
  }
  // The new value is prepared before the old one is dropped: src may live
  // under dst.
  ZxVariant::Value fresh;
  std::memset(&fresh, 0, sizeof fresh);
  bool ok = true;
  switch (type) {
    case T::Null:
      break;
    case T::Bool:
      fresh.boolValue = src->value.boolValue;
      break;
    case T::Int:
      fresh.intValue = src->value.intValue;
      break;
    case T::Float:
      fresh.floatValue = src->value.floatValue;
      break;
    case T::Int64:
      fresh.int64Value = src->value.int64Value;
      break;
    case T::Buffer: {
      std::uint32_t bytes = src->value.buffer.size;
      const void* from = src->value.buffer.data;
      if (bytes != 0) {
        void* block = from != nullptr ? std::malloc(bytes) : nullptr;
        if (block == nullptr) {
          ok = false;
        } else {
          std::memcpy(block, from, bytes);
          fresh.buffer.size = bytes;
          fresh.buffer.data = block;
        }
      }
      break;
    }
    case T::String: {
      std::uint32_t length = src->value.string.length;
      const char16_t* from = src->value.string.str;
      if (length == 0) break;
      if (from == nullptr) {
        ok = false;
        break;
      }
      // A character block of the same length is reused in place.
      if (dst->type == T::String && dst->value.string.str != nullptr &&
          dst->value.string.length == length) {
        auto* block = const_cast<char16_t*>(dst->value.string.str);
        std::memmove(block, from, 2ull * length);
        block[length] = 0;
        dst->size = size;
        return true;
      }
      auto* block = static_cast<char16_t*>(std::malloc(2ull * length + 2));
      if (block == nullptr) {
        ok = false;
        break;
      }
      std::memcpy(block, from, 2ull * length);
      block[length] = 0;
      fresh.string.length = length;
      fresh.string.str = block;
      break;
    }
    default:  // Register, List and unknown codes carry no copyable value
      ok = false;
      break;
  }
  internal::DropValue(dst);
  std::memcpy(reinterpret_cast<char*>(dst) + offsetof(ZxVariant, value), &fresh, sizeof fresh);
  dst->size = size;
  dst->type = type;
  return ok;
}

bool copyASimpleZxVariant(ZxVariant* dst, const ZxVariant* src) {
  if (dst == nullptr || src == nullptr) return false;
  if (dst == src) return false;
  std::memset(static_cast<void*>(dst), 0, sizeof(ZxVariant));
  bool ok = true;
  if (src->name.length != 0 && src->name.str != nullptr) ok = copyZxVariantName(dst, src->name.str);
  // dst is still a zeroed Null here, so the value copy drops nothing; it
  // sets the size word and the type code.
  if (ok) ok = copyZxVariantValue(dst, src);
  if (!ok) {
    std::free(const_cast<char16_t*>(dst->name.str));
    internal::DropValue(dst);
    std::memset(static_cast<void*>(dst), 0, sizeof(ZxVariant));
  }
  return ok;
}

bool copyZxvAttributes(ZxVariant* dst, const ZxVariant* src) {
  if (dst == nullptr || src == nullptr) return false;
  std::uint32_t count = src->attributes.count;
  const ZxVariant* attribute = First(src->attributes);
  if (count == 0 || attribute == nullptr) return true;
  ZxVariant::List list = dst->attributes;
  ZxVariant* last = nullptr;
  if (list.items != nullptr) {
    for (ZxVariant* walk = First(list); walk != nullptr; walk = walk->next) last = walk;
  }
  bool ok = true;
  for (std::uint32_t i = 0; i < count && attribute != nullptr; ++i, attribute = attribute->next) {
    ZxVariant* copy = NewRecord();
    if (copy == nullptr || !copyASimpleZxVariant(copy, attribute)) {
      std::free(copy);
      ok = false;
      break;
    }
    if (!LinkLast(list, copy, last)) {
      std::free(copy);
      ok = false;
      break;
    }
  }
  dst->attributes = list;
  return ok;
}

bool copyAZxVariant(ZxVariant* dst, const ZxVariant* src) {
  return copyASimpleZxVariant(dst, src) && copyZxvAttributes(dst, src);
}

void copyZxVariant(ZxVariant* dst, const ZxVariant* src) {
  if (dst == nullptr || src == nullptr || dst == src) return;
  // One frame per list whose children are being copied; the walk never
  // recurses, so any depth is copied.
  struct Frame {
    const ZxVariant* source;  // next child to copy
    std::uint32_t remaining;  // children still to copy
    ZxVariant* list;          // the copy that receives them
    ZxVariant* last;          // its last child so far
  };
  detail::ExplicitStack<Frame> stack;
  auto copyNode = [&stack](ZxVariant* to, const ZxVariant* from) {
    if (from->type != T::List) {
      copyASimpleZxVariant(to, from);
      copyZxvAttributes(to, from);
      return;
    }
    std::memset(static_cast<void*>(to), 0, sizeof(ZxVariant));
    to->type = T::List;
    if (from->name.length != 0 && from->name.str != nullptr) copyZxVariantName(to, from->name.str);
    copyZxvAttributes(to, from);
    const ZxVariant* child = First(from->value.list);
    std::uint32_t count = from->value.list.count;
    if (child != nullptr && count != 0) {
      if (!stack.Push(Frame{child, count, to, nullptr})) return;  // out of memory: no children
    }
  };
  copyNode(dst, src);
  while (!stack.Empty()) {
    Frame& f = stack.Top();
    if (f.remaining == 0 || f.source == nullptr) {
      stack.Pop();
      continue;
    }
    const ZxVariant* from = f.source;
    f.source = from->next;
    --f.remaining;
    ZxVariant* to = NewRecord();
    if (to == nullptr || !LinkLast(f.list->value.list, to, f.last)) {
      std::free(to);
      stack.Pop();
      continue;
    }
    copyNode(to, from);  // may push: f is not used after this
  }
}

ZxVariant* copyZxVariant(const ZxVariant* src) {
  if (src == nullptr) return nullptr;
  ZxVariant* dst = NewRecord();
  if (dst == nullptr) return nullptr;
  copyZxVariant(dst, src);
  return dst;
}

void releaseZxVariant(ZxVariant* record) { FreeReachable(record, true, true); }

void eraseZxVariant(ZxVariant* record) {
  if (record == nullptr) return;
  record->next = nullptr;
  FreeReachable(record, false, false);
}

void clearZxVariant(ZxVariant* record) { FreeReachable(record, false, false); }

}  // namespace ZxVariantHelper::BasicUtils
