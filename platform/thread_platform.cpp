// Linux implementation of the thread-level facilities: gettid, and timer
// slack through prctl.
#include "platform/thread_platform.h"

#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <chrono>
#include <thread>

namespace ZxVariantHelper::platform {

int CurrentThreadId() noexcept { return static_cast<int>(gettid()); }

void SleepForMs(std::uint32_t timeoutMs) noexcept {
  // An absolute deadline on the monotonic clock: an interrupted sleep
  // resumes without drifting.
  std::this_thread::sleep_until(std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs));
}

bool CoalescingTimerAvailable() noexcept {
  // A kernel (or a seccomp policy) that refuses PR_GET_TIMERSLACK would
  // refuse PR_SET_TIMERSLACK too; waits then run without a tolerance.
  static const bool available = [] {
    std::uint64_t slack = 0;
    return GetTimerSlackNs(&slack);
  }();
  return available;
}

bool GetTimerSlackNs(std::uint64_t* slackNs) noexcept {
  // The raw system call answers with a long; the libc wrapper's int result
  // would cut slack values above about 2.1 s.
  const long current = syscall(SYS_prctl, PR_GET_TIMERSLACK, 0L, 0L, 0L, 0L);
  if (current < 0) return false;
  *slackNs = static_cast<std::uint64_t>(current);
  return true;
}

TimerSlackScope::TimerSlackScope(std::uint64_t slackNs) noexcept {
  if (slackNs == 0 || !GetTimerSlackNs(&previousNs_)) return;
  applied_ = prctl(PR_SET_TIMERSLACK, static_cast<unsigned long>(slackNs), 0, 0, 0) == 0;
}

TimerSlackScope::~TimerSlackScope() {
  if (applied_) prctl(PR_SET_TIMERSLACK, static_cast<unsigned long>(previousNs_), 0, 0, 0);
}

}  // namespace ZxVariantHelper::platform
