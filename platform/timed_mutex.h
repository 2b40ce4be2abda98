// A recursive mutex with timed acquisition, as a Win32 mutex behaves: the
// owner may acquire it again, it is free once released as often as
// acquired, and only the owner can release it (anyone else is refused, not
// undefined).  Waits run on the monotonic clock.
//
// A mutex still held when its owning thread ends stays held (there is no
// "abandoned" state).
//
// Thread safety: every operation may be called from any thread while the
// object lives.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>

#include "platform/kernel_object.h"

namespace ZxVariantHelper::platform {

class TimedRecursiveMutex final : public KernelObject {
 public:
  // A new, free mutex; null when there is no memory for it.
  static std::unique_ptr<TimedRecursiveMutex> Create();

  // kSignalled once the calling thread owns the mutex (at once when it owns
  // it already), kTimedOut when `timeoutMs` passed first (0 only tries;
  // kInfiniteMs waits for good), kFailed when the acquisition count would
  // overflow.
  WaitStatus Acquire(std::uint32_t timeoutMs) noexcept;

  // Gives up one acquisition; false when the calling thread is not the owner.
  bool Release() noexcept;

 private:
  TimedRecursiveMutex() noexcept = default;

  // The owner and the count live under `guard_`; waiters for a held mutex
  // sleep on `released_`, which the final release signals.
  std::mutex guard_;
  std::condition_variable released_;
  std::thread::id owner_;  // the default id when free
  std::uint32_t count_ = 0;
};

}  // namespace ZxVariantHelper::platform
