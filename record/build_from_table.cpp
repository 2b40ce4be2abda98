// Laying out ItemSpec tables.
#include <cstdlib>
#include <cstring>

#include "record/layout_engine.h"
#include "record/refusal.h"
#include "zxvariant/builders.h"

namespace ZxVariantHelper {
namespace {

// Writes a planned table into a block that is already cleared; the bytes
// written must be the bytes planned.
void WriteCleared(detail::ItemSpecWriter& writer, const ItemSpec& root, void* block, std::uint32_t size) {
  char* start = static_cast<char*>(block);
  if (writer.Write(root, start) - start != static_cast<std::ptrdiff_t>(size)) detail::Refuse();
}

// The same into a block of any content, cleared first.
void WriteChecked(detail::ItemSpecWriter& writer, const ItemSpec& root, void* block,
                  std::uint32_t size) {
  std::memset(block, 0, size);
  WriteCleared(writer, root, block, size);
}

}  // namespace

unsigned int Build::CalculateZxVariantSize() const {
  return m_root ? detail::ItemSpecWriter().Plan(*m_root) : 0;
}

ZxVariant* Build::BuildNewZxVariant(ZxvAllocator alloc) const {
  if (m_root == nullptr) return nullptr;
  detail::ItemSpecWriter writer;
  std::uint32_t size = writer.Plan(*m_root);
  // calloc's block is cleared already, often by the system for free (fresh
  // pages), which saves a pass over a large record.
  void* block = alloc ? alloc(size) : std::calloc(size, 1);
  if (block == nullptr) return nullptr;
  try {
    if (alloc) {
      WriteChecked(writer, *m_root, block, size);
    } else {
      WriteCleared(writer, *m_root, block, size);
    }
  } catch (...) {
    if (alloc == nullptr) std::free(block);
    throw;
  }
  return static_cast<ZxVariant*>(block);
}

ZxVariant* Build::BuildZxVariantInPlace(void* buffer, unsigned int capacity,
                                        unsigned int* needed) const {
  if (m_root == nullptr) {
    if (needed != nullptr) *needed = 0;
    return nullptr;
  }
  detail::ItemSpecWriter writer;
  std::uint32_t size = writer.Plan(*m_root);
  if (needed != nullptr) *needed = size;
  if (size > capacity || buffer == nullptr) return nullptr;
  WriteChecked(writer, *m_root, buffer, size);
  return static_cast<ZxVariant*>(buffer);
}

ZxVariant* Build::BuildZxVariant(char* buffer, unsigned int size) const {
  if (m_root == nullptr) return nullptr;
  detail::ItemSpecWriter writer;
  std::uint32_t needed = writer.Plan(*m_root);
  // A smaller buffer would be overrun: refuse before writing anything.
  if (size < needed || buffer == nullptr) detail::Refuse();
  WriteChecked(writer, *m_root, buffer, needed);
  if (size != needed) detail::Refuse();
  return reinterpret_cast<ZxVariant*>(buffer);
}

BuildFromList::BuildFromList(const ItemSpec* items, unsigned int count)
    : Build(&m_list), m_list{ZxVariant::TypeCodes::List, items, count} {}

BuildFromList::BuildFromList(const BuildFromList& other) : Build(&m_list), m_list(other.m_list) {}

BuildFromList& BuildFromList::operator=(const BuildFromList& other) {
  m_list = other.m_list;
  m_root = &m_list;
  return *this;
}

}  // namespace ZxVariantHelper
