#include "platform/timed_mutex.h"

#include <chrono>
#include <limits>
#include <new>

namespace ZxVariantHelper::platform {

std::unique_ptr<TimedRecursiveMutex> TimedRecursiveMutex::Create() {
  return std::unique_ptr<TimedRecursiveMutex>(new (std::nothrow) TimedRecursiveMutex());
}

WaitStatus TimedRecursiveMutex::Acquire(std::uint32_t timeoutMs) noexcept {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
  const std::thread::id self = std::this_thread::get_id();
  std::unique_lock<std::mutex> guard(guard_);
  if (count_ != 0 && owner_ == self) {
    if (count_ == std::numeric_limits<std::uint32_t>::max()) return WaitStatus::kFailed;
    ++count_;
    return WaitStatus::kSignalled;
  }
  const auto isFree = [this] { return count_ == 0; };
  if (timeoutMs == kInfiniteMs) {
    released_.wait(guard, isFree);
  } else if (!released_.wait_until(guard, deadline, isFree)) {
    return WaitStatus::kTimedOut;
  }
  owner_ = self;
  count_ = 1;
  return WaitStatus::kSignalled;
}

bool TimedRecursiveMutex::Release() noexcept {
  std::lock_guard<std::mutex> guard(guard_);
  if (count_ == 0 || owner_ != std::this_thread::get_id()) return false;
  if (--count_ == 0) {
    owner_ = std::thread::id();
    released_.notify_one();
  }
  return true;
}

}  // namespace ZxVariantHelper::platform
