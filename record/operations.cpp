// Copying, freeing, comparing and classifying whole records.
#include <cstdlib>
#include <cstring>
#include <memory>

#include "record/bad_allocation.h"
#include "record/unaligned.h"
#include "zxvariant/operations.h"

namespace ZxVariantHelper {
namespace {

using T = ZxVariant::TypeCodes;

struct FreeBlock {
  void operator()(void* block) const { std::free(block); }
};

}  // namespace

void Copy(ZxVariant* destination, const ZxVariant* source, bool sourceIsZero,
          bool destinationIsZero) {
  if (destination == nullptr || source == nullptr) return;
  std::memmove(destination, source, source->size);
  const void* from = sourceIsZero ? nullptr : source;
  const void* to = destinationIsZero ? nullptr : destination;
  if (from != to) Rebase(destination, from, to);
}

ZxVariant* NewCopy(const ZxVariant* source, ZxvAllocator alloc, bool sourceIsZero,
                   bool destinationIsZero) {
  if (source == nullptr) return nullptr;
  void* block = alloc ? alloc(source->size) : std::malloc(source->size);
  if (block == nullptr) return nullptr;
  auto* copy = static_cast<ZxVariant*>(block);
  Copy(copy, source, sourceIsZero, destinationIsZero);
  return copy;
}

void Delete(ZxVariant* record) { std::free(record); }

void Delete(char16_t* text) { std::free(text); }

bool IsEqual(const ZxVariant* a, const ZxVariant* b) {
  if (a == nullptr || b == nullptr) return a == b;
  if (a->size != b->size) return false;
  std::unique_ptr<ZxVariant, FreeBlock> zeroA(NewCopy(a, nullptr, false, true));
  std::unique_ptr<ZxVariant, FreeBlock> zeroB(NewCopy(b, nullptr, false, true));
  if (!zeroA || !zeroB) detail::ThrowBadAllocation();
  return std::memcmp(zeroA.get(), zeroB.get(), a->size) == 0;
}

ExamineBase::Result ExamineBase::Examine(const ZxVariant* block) {
  if (block == nullptr || block->size < sizeof(ZxVariant)) return NotARecord;
  if (static_cast<std::uint32_t>(block->type) > static_cast<std::uint32_t>(T::Int64)) {
    return NotARecord;
  }
  // The payload pointer where there is one, else the name's.
  std::uintptr_t slot;
  bool payload = (block->type == T::Buffer || block->type == T::String || block->type == T::List) &&
                 block->value.list.count != 0;
  if (payload) {
    slot = detail::Address(block->value.list.items);
  } else if (block->name.length != 0) {
    slot = detail::Address(block->name.str);
  } else {
    return Undecided;
  }
  if (slot == 0) return NotARecord;
  std::uintptr_t start = detail::Address(block);
  if (slot >= start + sizeof(ZxVariant) && slot < start + block->size) return PointerForm;
  if (slot < sizeof(ZxVariant)) return Foreign;
  if (slot < block->size) return ZeroBased;
  return Foreign;
}

}  // namespace ZxVariantHelper
