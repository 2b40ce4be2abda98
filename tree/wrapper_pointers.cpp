// AZxvPointer and AZxvListPointer, which allocate a loose record for the
// caller, and AutoPtr, which frees a flat block.
#include <cstdlib>

#include "record/bad_allocation.h"
#include "tree/basic_utils_internal.h"
#include "zxvariant/wrappers.h"

namespace ZxVariantHelper {

namespace {

// A zeroed loose record stored in the caller's pointer.
ZxVariant* NewCallerRecord(ZxVariant*& out, ZxVariant::TypeCodes type) {
  out = BasicUtils::internal::NewRecord();
  if (out == nullptr) detail::ThrowBadAllocation();
  out->type = type;
  return out;
}

}  // namespace

AZxvPointer::AZxvPointer(ZxVariant*& out) {
  m_record = NewCallerRecord(out, ZxVariant::TypeCodes::Null);
}

AZxvListPointer::AZxvListPointer(ZxVariant*& out) {
  m_record = NewCallerRecord(out, ZxVariant::TypeCodes::List);
}

AutoPtr& AutoPtr::operator=(AutoPtr&& other) noexcept {
  if (this != &other) {
    std::free(m_block);
    m_block = other.release();
  }
  return *this;
}

AutoPtr::~AutoPtr() { std::free(m_block); }

ZxVariant* AutoPtr::release() noexcept {
  ZxVariant* block = m_block;
  m_block = nullptr;
  return block;
}

}  // namespace ZxVariantHelper
