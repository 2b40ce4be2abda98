// The waitable event of the thread base class, and WaitWithCoalescing, the
// one timed wait that the support classes' event waits go through.
//
// A timed wait need not wake exactly on time: letting it fire a little late
// allows the kernel to serve several timers with one wake-up.  The
// tolerance grows with the time-out (50 ms, or 5% of long waits) and is
// applied as the waiting thread's timer slack for the length of the wait.
// Where the platform cannot coalesce (platform::CoalescingTimerAvailable),
// and for waits that never time out or do not wait at all, the wait is a
// plain one.
//
// Results are the Win32 wait codes: 0 signalled, 258 timed out, -1 failed.
//
// Internal to the library; exported only so that the messaging tests can
// reach it.
//
// Thread safety: a WaitableEvent may be set, reset and waited on from any
// number of threads at once.
#pragma once

#include <cstdint>
#include <memory>

#include "zxvariant/export.h"

namespace ZxVariantHelper::platform {
class KernelEvent;
}

namespace Tavel::detail {

inline constexpr int kWaitSignalled = 0;
inline constexpr int kWaitTimeout = 258;
inline constexpr int kWaitFailed = -1;
inline constexpr std::uint32_t kWaitInfinite = 0xFFFFFFFFu;

// The tolerable lateness of a timed wait of `timeoutMs`: 50 ms for waits of
// 999 ms and less, else 50 ms for every whole second of the time-out.
ZXV_EXPORT std::uint32_t CoalescingToleranceMs(std::uint32_t timeoutMs) noexcept;

// Waits until `handle` is set or `timeoutMs` passed: 0 set, 258 timed out,
// -1 failed (the timer slack could not be applied).
//  - No handle: sleeps for the time-out, with the tolerance as timer slack
//    when `timerAvailable`, and answers 258 (kWaitInfinite sleeps for that
//    many milliseconds, about 49.7 days).
//  - `timerAvailable` false, a time-out of 0 or kWaitInfinite: a plain wait.
//  - Otherwise the wait runs with the tolerance as the thread's timer slack,
//    and the previous slack is restored before returning.
ZXV_EXPORT int WaitWithCoalescing(const ZxVariantHelper::platform::KernelEvent* handle,
                                  std::uint32_t timeoutMs, bool timerAvailable) noexcept;

// A manual-reset event, created not set; with the platform's answer to
// whether waits can be coalesced, taken once when the event is made.
class ZXV_EXPORT WaitableEvent {
 public:
  // Without memory for the event the handle stays null: Set and Reset
  // answer false and Wait sleeps (see WaitWithCoalescing).
  WaitableEvent();
  WaitableEvent(const WaitableEvent&) = delete;
  WaitableEvent& operator=(const WaitableEvent&) = delete;
  ~WaitableEvent();

  bool Set() noexcept;
  bool Reset() noexcept;
  int Wait(std::uint32_t timeoutMs) const noexcept;

  const ZxVariantHelper::platform::KernelEvent* handle() const noexcept { return event_.get(); }
  bool timerAvailable() const noexcept { return timerAvailable_; }

 private:
  std::unique_ptr<ZxVariantHelper::platform::KernelEvent> event_;
  bool timerAvailable_;
};

}  // namespace Tavel::detail
