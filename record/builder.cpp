// The builder base: names, owned values, chains, destruction and layout.
#include <cstdlib>
#include <cstring>

#include "record/bad_allocation.h"
#include "record/builder_access.h"
#include "record/layout_engine.h"
#include "record/refusal.h"
#include "record/text_copy.h"
#include "record/unaligned.h"
#include "record/utf8.h"
#include "zxvariant/builders.h"

namespace ZxVariantHelper {
namespace {

using T = ZxVariant::TypeCodes;
using B = BuilderAccess;

constexpr std::uint64_t kMaxAllocation = 0xFFFFFFFFu;

// malloc for a text of `units` units plus its NUL; null when the byte count
// would pass the largest block or the allocation fails.
char16_t* AllocateText(std::uint64_t units) {
  std::uint64_t bytes = 2 * (units + 1);
  if (units >= kMaxAllocation || bytes > kMaxAllocation) return nullptr;
  return static_cast<char16_t*>(std::malloc(bytes));
}

}  // namespace

namespace {

void Splice(ZxvBase*& first, ZxvBase*& last, ZxvBase*& pending) {
  if (first == nullptr) return;
  last->next = pending;
  pending = first;
  first = last = nullptr;
}

// Destroys a chain of builders and everything below them without recursing:
// each builder's own chains are spliced in front of the rest before it goes.
void DestroyChain(ZxvBase* pending) {
  while (pending != nullptr) {
    ZxvBase* b = pending;
    pending = B::Next(*b);
    b->next = nullptr;
    Splice(B::FirstAttributeLink(*b), B::LastAttributeLink(*b), pending);
    if (b->type == T::List) {
      auto& list = static_cast<ZxvList&>(*b);
      Splice(B::FirstChildLink(list), B::LastChildLink(list), pending);
    }
    delete b;  // its chains are empty now, so this does not recurse
  }
}

// The linking rule shared by children and attributes: the newcomer must be
// in no chain, and the chain must be empty or end in a last member.
void Link(ZxvBase* owner, ZxvBase*& first, ZxvBase*& last, ZxvBase* member) {
  if (member == nullptr || member == owner || member == last || member->next != nullptr) {
    detail::Refuse();
  }
  if (first != nullptr) {
    if (last == nullptr || last->next != nullptr) detail::Refuse();
    last->next = member;
    last = member;
  } else if (last == nullptr) {
    first = last = member;
  } else {
    detail::Refuse();
  }
}

}  // namespace

namespace detail {

char16_t* CopyText(const char16_t* text, int length, std::uint32_t* units) {
  *units = 0;
  if (text == nullptr || LoadUnit(text, 0) == 0) return nullptr;
  std::size_t count = length > 0 ? static_cast<std::size_t>(length) : UnitCount(text);
  char16_t* copy = AllocateText(count);
  if (copy == nullptr) return nullptr;
  std::memcpy(copy, text, 2 * count);
  copy[count] = 0;
  *units = static_cast<std::uint32_t>(count);
  return copy;
}

char16_t* CopyUtf8Text(const char* utf8, std::uint32_t* units) {
  *units = 0;
  if (utf8 == nullptr || *utf8 == 0) return nullptr;
  std::size_t bytes = std::strlen(utf8);
  char16_t* copy = AllocateText(bytes);
  if (copy == nullptr) return nullptr;
  std::size_t count = Utf8ToUtf16(utf8, bytes, copy, bytes);
  if (count == 0) {
    std::free(copy);
    return nullptr;
  }
  copy[count] = 0;
  *units = static_cast<std::uint32_t>(count);
  return copy;
}

}  // namespace detail

// ---- lifetime ---------------------------------------------------------------

ZxvBase::ZxvBase(ZxVariant::TypeCodes typeCode, const char16_t* newName) {
  std::memset(static_cast<ZxVariant*>(this), 0, sizeof(ZxVariant));
  type = typeCode;
  attributes.items = reinterpret_cast<ZxVariant**>(&m_firstAttribute);
  SetName(newName);
}

ZxvBase::~ZxvBase() {
  std::free(const_cast<char16_t*>(name.str));
  ReleaseValue();
  ZxvBase* pending = nullptr;
  Splice(m_firstAttribute, m_lastAttribute, pending);
  if (type == T::List) {
    auto& list = static_cast<ZxvList&>(*this);
    Splice(B::FirstChildLink(list), B::LastChildLink(list), pending);
  }
  DestroyChain(pending);
}

void ZxvBase::ReleaseValue() {
  // The value slot of a list points at its child links, owned elsewhere.
  if (type == T::List) return;
  // Buffer data, String text and an embedded record share the slot at 32.
  if (type == T::Buffer || type == T::String || type == TypeEmbeddedRecord) {
    std::free(const_cast<void*>(value.buffer.data));
  }
  std::memset(&value, 0, sizeof value);
}

void* ZxvBase::operator new(std::size_t size) {
  void* block = std::malloc(size);
  if (block == nullptr) detail::ThrowBadAllocation();
  return block;
}
void* ZxvBase::operator new[](std::size_t size) { return operator new(size); }
void* ZxvBase::operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return std::malloc(size);
}
void* ZxvBase::operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return std::malloc(size);
}
void ZxvBase::operator delete(void* block) noexcept { std::free(block); }
void ZxvBase::operator delete[](void* block) noexcept { std::free(block); }
void ZxvBase::operator delete(void* block, const std::nothrow_t&) noexcept { std::free(block); }
void ZxvBase::operator delete[](void* block, const std::nothrow_t&) noexcept { std::free(block); }

void Delete(ZxvBase* builder) { delete builder; }

// ---- names and strings ------------------------------------------------------

void ZxvBase::SetName(const char16_t* text) {
  std::free(const_cast<char16_t*>(name.str));
  std::uint32_t units;
  name.str = detail::CopyText(text, 0, &units);
  name.length = units;
}

void ZxvBase::SetName(const char* utf8) {
  std::free(const_cast<char16_t*>(name.str));
  std::uint32_t units;
  name.str = detail::CopyUtf8Text(utf8, &units);
  name.length = units;
}

void ZxvBase::StoreString(const char16_t* text, int length) {
  std::uint32_t units;
  value.string.str = detail::CopyText(text, length, &units);
  value.string.length = units;
}

// ---- chains -----------------------------------------------------------------

ZxvBase* ZxvBase::AppendAttribute(ZxvBase* attribute) {
  if (attribute == nullptr) detail::Refuse();
  // An embedded record is judged by its own root.
  const ZxVariant* judged = attribute;
  if (attribute->type == TypeEmbeddedRecord) {
    judged = B::Embedded(*attribute);
    if (judged == nullptr) detail::Refuse();
  }
  if (judged->name.length == 0 || judged->type == T::List) detail::Refuse();
  Link(this, m_firstAttribute, m_lastAttribute, attribute);
  return attribute;
}

ZxvList::ZxvList(const char16_t* listName, ZxvBase* first) : ZxvBase(T::List, listName) {
  value.list.items = reinterpret_cast<ZxVariant**>(&m_firstChild);
  if (first != nullptr) {
    if (first->next != nullptr || first == this) detail::Refuse();
    m_firstChild = m_lastChild = first;
  }
}

void ZxvList::SetValue(ZxvBase* child) {
  if (child != nullptr && (child->next != nullptr || child == this || child == m_lastChild)) {
    detail::Refuse();
  }
  ZxvBase* old = m_firstChild;
  m_firstChild = m_lastChild = child;
  DestroyChain(old);
}

ZxvBase* ZxvList::Append(ZxvBase* child) {
  Link(this, m_firstChild, m_lastChild, child);
  return child;
}

bool ZxvList::IsEmpty() const { return m_firstChild == nullptr; }

// ---- layout -----------------------------------------------------------------

unsigned int ZxvBase::ComputeZxVariantSize() const {
  return detail::BuilderWriter().Plan(*this);
}

ZxVariant* ZxvBase::BuildNewZxVariant(ZxvAllocator alloc) const {
  detail::BuilderWriter writer;
  std::uint32_t size = writer.Plan(*this);
  // calloc's block is cleared already (see Build::BuildNewZxVariant).
  void* block = alloc ? alloc(size) : std::calloc(size, 1);
  if (block == nullptr) return nullptr;
  if (alloc) std::memset(block, 0, size);
  writer.Write(*this, static_cast<char*>(block));
  return static_cast<ZxVariant*>(block);
}

ZxVariant* ZxvBase::BuildZxVariantInPlace(void* buffer, unsigned int capacity,
                                          unsigned int* needed) const {
  detail::BuilderWriter writer;
  std::uint32_t size = writer.Plan(*this);
  if (needed != nullptr) *needed = size;
  if (size > capacity || buffer == nullptr) return nullptr;
  std::memset(buffer, 0, size);
  writer.Write(*this, static_cast<char*>(buffer));
  return static_cast<ZxVariant*>(buffer);
}

}  // namespace ZxVariantHelper
