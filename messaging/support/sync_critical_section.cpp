// The critical section: a POSIX recursive mutex plus the entry count that
// lets the destructor leave a section its thread still holds.  The owner is
// remembered so that an Unlock from a thread that never entered is ignored
// instead of releasing somebody else's hold.
#include <atomic>
#include <limits>
#include <thread>

#include "platform/recursive_mutex.h"
#include "zxvariant/sync.h"

struct CSyncCriticalSection::Section {
  ZxVariantHelper::platform::RecursiveMutex mutex;
  // Written only by the owning thread while it holds the mutex.  Another
  // thread can never read its own id here, so relaxed loads decide
  // ownership correctly.
  std::atomic<std::thread::id> owner{};

  bool OwnedByCaller() const noexcept {
    return owner.load(std::memory_order_relaxed) == std::this_thread::get_id();
  }
};

CSyncCriticalSection::CSyncCriticalSection() : m_section(std::make_unique<Section>()) {}

CSyncCriticalSection::~CSyncCriticalSection() {
  if (m_section->OwnedByCaller()) {
    while (m_entryCount > 0) {
      --m_entryCount;
      m_section->mutex.unlock();
    }
    m_section->owner.store(std::thread::id(), std::memory_order_relaxed);
  }
}

int CSyncCriticalSection::Lock(unsigned long /*timeoutMs*/) {
  if (m_section->OwnedByCaller() && m_entryCount == std::numeric_limits<std::int32_t>::max()) {
    return kLockFailed;
  }
  m_section->mutex.lock();
  ++m_entryCount;
  m_section->owner.store(std::this_thread::get_id(), std::memory_order_relaxed);
  return kLocked;
}

void CSyncCriticalSection::Unlock() {
  if (!m_section->OwnedByCaller() || m_entryCount <= 0) return;
  if (--m_entryCount == 0) m_section->owner.store(std::thread::id(), std::memory_order_relaxed);
  m_section->mutex.unlock();
}
