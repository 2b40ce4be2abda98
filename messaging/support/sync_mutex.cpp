// The mutex as a lock object: a timed recursive mutex in the base's handle.
#include <memory>
#include <new>

#include "platform/timed_mutex.h"
#include "zxvariant/sync.h"

namespace {

namespace platform = ZxVariantHelper::platform;

platform::TimedRecursiveMutex* MutexOf(platform::KernelObject* handle) noexcept {
  return static_cast<platform::TimedRecursiveMutex*>(handle);
}

platform::TimedRecursiveMutex* NewMutex() {
  std::unique_ptr<platform::TimedRecursiveMutex> mutex = platform::TimedRecursiveMutex::Create();
  if (!mutex) throw std::bad_alloc();
  return mutex.release();
}

}  // namespace

CSyncMutex::CSyncMutex() : CSyncBase(NewMutex()) {}

CSyncMutex::~CSyncMutex() { MutexOf(handle())->Release(); }

int CSyncMutex::Lock(unsigned long timeoutMs) {
  const std::uint32_t timeout =
      timeoutMs >= kInfinite ? platform::kInfiniteMs : static_cast<std::uint32_t>(timeoutMs);
  // Only an acquired mutex answers 0: a failed acquisition must not pass
  // for a hold.
  return MutexOf(handle())->Acquire(timeout) == platform::WaitStatus::kSignalled ? kLocked : kLockFailed;
}

void CSyncMutex::Unlock() { MutexOf(handle())->Release(); }
