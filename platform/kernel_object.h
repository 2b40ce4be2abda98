// The kernel objects of the portable build: what a Win32 HANDLE names (an
// event, a mutex) is here an object of a class derived from KernelObject, and
// closing the handle is deleting the object.  Lock classes keep one such
// object behind a single pointer, whatever its kind.
#pragma once

#include <cstdint>

namespace ZxVariantHelper::platform {

// A time-out in milliseconds that never expires (Win32 INFINITE).
inline constexpr std::uint32_t kInfiniteMs = 0xFFFFFFFFu;

// What a wait on a kernel object came to.
enum class WaitStatus {
  kSignalled,  // the event was set, or the mutex was acquired
  kTimedOut,
  kFailed,     // the OS refused the wait
};

class KernelObject {
 public:
  KernelObject() = default;
  KernelObject(const KernelObject&) = delete;
  KernelObject& operator=(const KernelObject&) = delete;
  virtual ~KernelObject() = default;
};

}  // namespace ZxVariantHelper::platform
