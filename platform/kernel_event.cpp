#include "platform/kernel_event.h"

#include <chrono>
#include <new>

namespace ZxVariantHelper::platform {

std::unique_ptr<KernelEvent> KernelEvent::Create(bool initiallySet) {
  return std::unique_ptr<KernelEvent>(new (std::nothrow) KernelEvent(initiallySet));
}

void KernelEvent::Set() noexcept {
  std::lock_guard<std::mutex> guard(mutex_);
  signalled_ = true;
  changed_.notify_all();
}

void KernelEvent::Reset() noexcept {
  std::lock_guard<std::mutex> guard(mutex_);
  signalled_ = false;
}

bool KernelEvent::IsSet() const noexcept {
  std::lock_guard<std::mutex> guard(mutex_);
  return signalled_;
}

WaitStatus KernelEvent::Wait(std::uint32_t timeoutMs) const noexcept {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
  std::unique_lock<std::mutex> guard(mutex_);
  const auto isSet = [this] { return signalled_; };
  if (timeoutMs == kInfiniteMs) {
    changed_.wait(guard, isSet);
    return WaitStatus::kSignalled;
  }
  return changed_.wait_until(guard, deadline, isSet) ? WaitStatus::kSignalled : WaitStatus::kTimedOut;
}

}  // namespace ZxVariantHelper::platform
