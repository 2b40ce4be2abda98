// The event as a lock object: a manual-reset kernel event in the base's
// handle.  Locking an event has no meaning, so Lock refuses and Unlock does
// nothing; Set, Reset and Wait are its real operations.
#include <memory>
#include <new>

#include "messaging/support/waitable_event.h"
#include "platform/kernel_event.h"
#include "platform/thread_platform.h"
#include "zxvariant/sync.h"

namespace {

namespace platform = ZxVariantHelper::platform;

platform::KernelEvent* EventOf(platform::KernelObject* handle) noexcept {
  return static_cast<platform::KernelEvent*>(handle);
}

platform::KernelEvent* NewEvent() {
  std::unique_ptr<platform::KernelEvent> event = platform::KernelEvent::Create(false);
  if (!event) throw std::bad_alloc();
  return event.release();
}

std::uint32_t WaitTimeout(unsigned long timeoutMs) noexcept {
  return timeoutMs >= CSyncBase::kInfinite ? Tavel::detail::kWaitInfinite : static_cast<std::uint32_t>(timeoutMs);
}

}  // namespace

static_assert(CSyncBase::kWaitSignalled == Tavel::detail::kWaitSignalled);
static_assert(CSyncBase::kWaitTimeout == Tavel::detail::kWaitTimeout);
static_assert(CSyncBase::kWaitFailed == Tavel::detail::kWaitFailed);

CSyncEvent::CSyncEvent() : CSyncBase(NewEvent()) {}

CSyncEvent::~CSyncEvent() = default;

int CSyncEvent::Lock(unsigned long /*timeoutMs*/) { return kLockFailed; }

void CSyncEvent::Unlock() {}

void CSyncEvent::Set() noexcept { EventOf(handle())->Set(); }

void CSyncEvent::Reset() noexcept { EventOf(handle())->Reset(); }

int CSyncEvent::Wait(unsigned long timeoutMs) const noexcept {
  return Tavel::detail::WaitWithCoalescing(EventOf(handle()), WaitTimeout(timeoutMs),
                                           platform::CoalescingTimerAvailable());
}
