// The thread-level OS facilities the support classes stand on: thread ids,
// sleeping, and the calling thread's timer slack.
//
// Timer slack is how this build coalesces timed waits: the kernel may fire a
// thread's timers up to "slack" nanoseconds late so that wake-ups of many
// timers fall together.  A timed wait that may be late by a tolerance sets
// the waiting thread's slack to that tolerance for the length of the wait
// (TimerSlackScope) and puts the previous slack back afterwards.
//
// Internal to the library; the timer-slack functions are exported only so
// that the messaging tests can reach them.
//
// Thread safety: all functions act on the calling thread only and may be
// called from any thread.
#pragma once

#include <cstdint>

#include "zxvariant/export.h"

namespace ZxVariantHelper::platform {

// The calling thread's kernel id (what GetCurrentThreadId answers on
// Windows); never 0.
int CurrentThreadId() noexcept;

// Sleeps for `timeoutMs` milliseconds of the monotonic clock (signals do not
// cut the sleep short).
void SleepForMs(std::uint32_t timeoutMs) noexcept;

// Whether waits can be coalesced through timer slack.  Probed once per
// process; this is the one place that decides it.
ZXV_EXPORT bool CoalescingTimerAvailable() noexcept;

// The calling thread's current timer slack; false when it cannot be read.
ZXV_EXPORT bool GetTimerSlackNs(std::uint64_t* slackNs) noexcept;

// Sets the calling thread's timer slack to `slackNs` (above 0) for the
// lifetime of the object and restores the previous value when it ends.
// Create and destroy it on the same thread.
class ZXV_EXPORT TimerSlackScope {
 public:
  explicit TimerSlackScope(std::uint64_t slackNs) noexcept;
  TimerSlackScope(const TimerSlackScope&) = delete;
  TimerSlackScope& operator=(const TimerSlackScope&) = delete;
  ~TimerSlackScope();

  // False when the slack could not be read or set; nothing is restored then.
  bool applied() const noexcept { return applied_; }

 private:
  std::uint64_t previousNs_ = 0;
  bool applied_ = false;
};

}  // namespace ZxVariantHelper::platform
