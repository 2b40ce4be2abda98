// Reads and writes of fields that may lie at any address inside a record.
//
// Nothing in a record block is aligned, so entry arrays and characters are
// always accessed through memcpy; the compiler turns these into plain loads
// and stores on targets that allow unaligned access.
#pragma once

#include <cstdint>
#include <cstring>

namespace ZxVariantHelper::detail {

inline std::uintptr_t LoadSlot(const void* at) {
  std::uintptr_t value;
  std::memcpy(&value, at, sizeof value);
  return value;
}

inline void StoreSlot(void* at, std::uintptr_t value) { std::memcpy(at, &value, sizeof value); }

inline std::uint32_t LoadU32(const void* at) {
  std::uint32_t value;
  std::memcpy(&value, at, sizeof value);
  return value;
}

inline char16_t LoadUnit(const char16_t* text, std::size_t index) {
  char16_t unit;
  std::memcpy(&unit, reinterpret_cast<const char*>(text) + 2 * index, sizeof unit);
  return unit;
}

inline std::uintptr_t Address(const void* p) { return reinterpret_cast<std::uintptr_t>(p); }

template <typename T>
inline T* At(std::uintptr_t address) {
  return reinterpret_cast<T*>(address);
}

// Whether the `count` units at `a` and at `b` (either at any address) are
// the same, compared plainly: the last units first, where names that share
// a prefix ("field7", "field8") differ.
inline bool EqualUnits(const char16_t* a, const char16_t* b, std::size_t count) {
  if (count == 0) return true;
  if (LoadUnit(a, count - 1) != LoadUnit(b, count - 1)) return false;
  return std::memcmp(a, b, 2 * (count - 1)) == 0;
}

// Units before the NUL, read unaligned-safe.
inline std::size_t UnitCount(const char16_t* text) {
  std::size_t n = 0;
  while (LoadUnit(text, n) != 0) ++n;
  return n;
}

}  // namespace ZxVariantHelper::detail
