#include "messaging/support/waitable_event.h"

#include "platform/kernel_event.h"
#include "platform/thread_platform.h"

namespace Tavel::detail {

namespace platform = ZxVariantHelper::platform;

namespace {

constexpr std::uint64_t kNsPerMs = 1000000;

int WaitCode(platform::WaitStatus status) noexcept {
  switch (status) {
    case platform::WaitStatus::kSignalled:
      return kWaitSignalled;
    case platform::WaitStatus::kTimedOut:
      return kWaitTimeout;
    case platform::WaitStatus::kFailed:
      break;
  }
  return kWaitFailed;
}

}  // namespace

std::uint32_t CoalescingToleranceMs(std::uint32_t timeoutMs) noexcept {
  return timeoutMs <= 999 ? 50 : (timeoutMs / 1000) * 50;
}

int WaitWithCoalescing(const platform::KernelEvent* handle, std::uint32_t timeoutMs,
                       bool timerAvailable) noexcept {
  const std::uint64_t slackNs = CoalescingToleranceMs(timeoutMs) * kNsPerMs;
  if (handle == nullptr) {
    if (timeoutMs != 0) {
      // A failed slack only makes the sleep more punctual.
      const platform::TimerSlackScope slack(timerAvailable ? slackNs : 0);
      platform::SleepForMs(timeoutMs);
    }
    return kWaitTimeout;
  }
  if (!timerAvailable || timeoutMs == 0 || timeoutMs == kWaitInfinite) {
    return WaitCode(handle->Wait(timeoutMs));
  }
  const platform::TimerSlackScope slack(slackNs);
  if (!slack.applied()) return kWaitFailed;
  return WaitCode(handle->Wait(timeoutMs));
}

WaitableEvent::WaitableEvent()
    : event_(platform::KernelEvent::Create(false)), timerAvailable_(platform::CoalescingTimerAvailable()) {}

WaitableEvent::~WaitableEvent() = default;

bool WaitableEvent::Set() noexcept {
  if (!event_) return false;
  event_->Set();
  return true;
}

bool WaitableEvent::Reset() noexcept {
  if (!event_) return false;
  event_->Reset();
  return true;
}

int WaitableEvent::Wait(std::uint32_t timeoutMs) const noexcept {
  return WaitWithCoalescing(event_.get(), timeoutMs, timerAvailable_);
}

}  // namespace Tavel::detail
