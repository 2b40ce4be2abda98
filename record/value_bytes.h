// How many bytes a node's value takes, by type.
#pragma once

#include <cstddef>
#include <cstdint>

#include "zxvariant/record.h"

namespace ZxVariantHelper::detail {

// Bytes a name or String of `length` units takes in a block: the units and
// their NUL, nothing when empty.  64-bit, so no length can wrap.
inline std::uint64_t TextBytes(std::uint64_t length) { return length == 0 ? 0 : 2 * length + 2; }

// The bytes of a scalar in the value area (0 for Null and non-scalars).
inline std::size_t ScalarBytes(ZxVariant::TypeCodes type) {
  using T = ZxVariant::TypeCodes;
  switch (type) {
    case T::Register: return sizeof(void*);
    case T::Bool: return 1;
    case T::Int: return 4;
    case T::Float:
    case T::Int64: return 8;
    default: return 0;
  }
}

inline bool IsScalar(ZxVariant::TypeCodes type) { return ScalarBytes(type) != 0; }

// A value's size in bytes; `count` is the word at offset 24 (the buffer's
// size or the string's length).  A String takes its NUL too, nothing when empty.
inline std::uint32_t ValueBytes(ZxVariant::TypeCodes type, std::uint32_t count) {
  switch (type) {
    case ZxVariant::TypeCodes::Buffer: return count;
    case ZxVariant::TypeCodes::String: return static_cast<std::uint32_t>(TextBytes(count));
    default: return static_cast<std::uint32_t>(ScalarBytes(type));
  }
}

}  // namespace ZxVariantHelper::detail
