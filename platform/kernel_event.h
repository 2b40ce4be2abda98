// A manual-reset event on a mutex and a condition variable: once set it
// stays set, releasing every present and future waiter, until it is reset.
// Timed waits run on the monotonic clock, so changing the wall clock never
// shortens or stretches them.
//
// Thread safety: every operation may be called from any thread at any time
// while the object lives.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>

#include "platform/kernel_object.h"

namespace ZxVariantHelper::platform {

class KernelEvent final : public KernelObject {
 public:
  // A new event, set or not; null when there is no memory for it.
  static std::unique_ptr<KernelEvent> Create(bool initiallySet);

  void Set() noexcept;
  void Reset() noexcept;
  bool IsSet() const noexcept;

  // Waits until the event is set: kSignalled, or kTimedOut once `timeoutMs`
  // passed (0 only looks; kInfiniteMs never times out).  An event found set
  // when the time runs out counts as signalled.
  WaitStatus Wait(std::uint32_t timeoutMs) const noexcept;

 private:
  explicit KernelEvent(bool initiallySet) noexcept : signalled_(initiallySet) {}

  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  bool signalled_;
};

}  // namespace ZxVariantHelper::platform
