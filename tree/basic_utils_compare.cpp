// Comparing loose (or flat) records.
#include <cstring>

#include "record/explicit_stack.h"
#include "record/unaligned.h"
#include "tree/basic_utils_internal.h"
#include "zxvariant/basic_utils.h"

namespace ZxVariantHelper::BasicUtils {

using internal::First;
using internal::T;

namespace {

template <typename V>
int Order(V a, V b) {
  if (a < b) return -1;
  return b < a ? 1 : 0;
}

bool HasAttributes(const ZxVariant* record) { return record->attributes.items != nullptr; }

int CompareUnits(const char16_t* a, std::uint32_t aLength, const char16_t* b,
                 std::uint32_t bLength) {
  if (a == nullptr) aLength = 0;
  if (b == nullptr) bLength = 0;
  std::uint32_t common = aLength < bLength ? aLength : bLength;
  for (std::uint32_t i = 0; i < common; ++i) {
    int r = Order(detail::LoadUnit(a, i), detail::LoadUnit(b, i));
    if (r != 0) return r;
  }
  return Order(aLength, bLength);
}

int CompareBytes(const void* a, std::uint32_t aSize, const void* b, std::uint32_t bSize) {
  if (a == nullptr) aSize = 0;
  if (b == nullptr) bSize = 0;
  std::uint32_t common = aSize < bSize ? aSize : bSize;
  int r = common == 0 ? 0 : std::memcmp(a, b, common);
  if (r != 0) return r < 0 ? -1 : 1;
  return Order(aSize, bSize);
}

}  // namespace

int compareZxVariantName(const ZxVariant* a, const ZxVariant* b) {
  const char16_t* aName = a != nullptr ? a->name.str : nullptr;
  const char16_t* bName = b != nullptr ? b->name.str : nullptr;
  return internal::CompareFolded(aName, aName ? a->name.length : 0, bName,
                                 bName ? b->name.length : 0);
}

int compareZxVariantName(const ZxVariant* a, const char16_t* name) {
  const char16_t* aName = a != nullptr ? a->name.str : nullptr;
  return internal::CompareFolded(aName, aName ? a->name.length : 0, name,
                                 name ? detail::UnitCount(name) : 0);
}

bool compareZxVariantDataType(const ZxVariant* a, const ZxVariant* b) {
  return a != nullptr && b != nullptr && a->type == b->type;
}

int compareZxVariantValue(const ZxVariant* a, const ZxVariant* b) {
  if (a == b) return 0;
  if (a == nullptr || b == nullptr || a->type != b->type) return 1;
  switch (a->type) {
    case T::Register:
      return Order(detail::Address(a->value.registerValue), detail::Address(b->value.registerValue));
    case T::Bool:
      return Order(a->value.boolValue != 0, b->value.boolValue != 0);
    case T::Int:
      return Order(a->value.intValue, b->value.intValue);
    case T::Int64:
      return Order(a->value.int64Value, b->value.int64Value);
    case T::Float: {
      double x = a->value.floatValue;
      double y = b->value.floatValue;
      if (x == y) return 0;
      if (x < y) return -1;
      return 1;  // greater, or unordered
    }
    case T::Buffer:
      return CompareBytes(a->value.buffer.data, a->value.buffer.size, b->value.buffer.data,
                          b->value.buffer.size);
    case T::String:
      return CompareUnits(a->value.string.str, a->value.string.length, b->value.string.str,
                          b->value.string.length);
    case T::List:
      return Order(a->value.list.count, b->value.list.count);
    default:
      return 0;
  }
}

int compareSimpleZxVariant(const ZxVariant* a, const ZxVariant* b) {
  if (a == nullptr && b == nullptr) return 0;
  if (!compareZxVariantDataType(a, b)) return -1;
  if (compareZxVariantName(a, b) != 0) return 1;
  if (compareZxVariantValue(a, b) != 0) return 2;
  return 0;
}

int compareAZxVariant(const ZxVariant* a, const ZxVariant* b) {
  int simple = compareSimpleZxVariant(a, b);
  if (simple < 0 || a == nullptr) return simple;
  bool aHas = HasAttributes(a);
  bool bHas = HasAttributes(b);
  if (!aHas && !bHas) return simple;
  if (aHas != bHas || a->attributes.count != b->attributes.count) return -3;
  int pairwise = 0;
  const ZxVariant* x = First(a->attributes);
  const ZxVariant* y = First(b->attributes);
  for (std::uint32_t i = 0; i < a->attributes.count && pairwise == 0; ++i) {
    pairwise = compareSimpleZxVariant(x, y);
    x = x != nullptr ? x->next : nullptr;
    y = y != nullptr ? y->next : nullptr;
  }
  if (pairwise < 0) return -3;
  // Kept on purpose: matching attributes still add 1 to a zero result.
  return simple != 0 ? simple : pairwise + 1;
}

int compareZxVariant(const ZxVariant* a, const ZxVariant* b) {
  // One frame per pair of Lists under comparison: their attributes first,
  // then their children.  The walk never recurses, so any depth compares.
  struct Frame {
    const ZxVariant* a;
    const ZxVariant* b;
    const ZxVariant* x;  // next pair to compare
    const ZxVariant* y;
    std::uint32_t remaining;
    bool inChildren;
  };
  detail::ExplicitStack<Frame> stack;
  auto enter = [&](const ZxVariant* p, const ZxVariant* q) -> int {
    if (p == nullptr && q == nullptr) return 0;
    if (p == nullptr || q == nullptr) return 1;
    if (p->type != q->type) return -1;
    if (p->type != T::List) return compareAZxVariant(p, q);
    if (p->attributes.count != q->attributes.count) return 1;
    if (!stack.Push(Frame{p, q, First(p->attributes), First(q->attributes), p->attributes.count,
                          false})) {
      return 1;  // cannot prove them equal
    }
    return 0;
  };
  int result = enter(a, b);
  while (result == 0 && !stack.Empty()) {
    Frame& f = stack.Top();
    if (f.remaining == 0) {
      if (f.inChildren) {
        stack.Pop();
        continue;
      }
      if (f.a->value.list.count != f.b->value.list.count) return 1;
      f.inChildren = true;
      f.remaining = f.a->value.list.count;
      f.x = First(f.a->value.list);
      f.y = First(f.b->value.list);
      continue;
    }
    const ZxVariant* x = f.x;
    const ZxVariant* y = f.y;
    f.x = x != nullptr ? x->next : nullptr;
    f.y = y != nullptr ? y->next : nullptr;
    --f.remaining;
    result = enter(x, y);  // may push: f is not used after this
  }
  return result;
}

}  // namespace ZxVariantHelper::BasicUtils
