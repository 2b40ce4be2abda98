// The allocation failure the record core reports.
#pragma once

#include <new>

namespace ZxVariantHelper::detail {

class BadAllocation : public std::bad_alloc {
 public:
  const char* what() const noexcept override { return "bad allocation"; }
};

[[noreturn]] inline void ThrowBadAllocation() { throw BadAllocation(); }

}  // namespace ZxVariantHelper::detail
