#include "zxvariant/sync.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include "messaging/support/waitable_event.h"
#include "platform/thread_platform.h"

namespace {

using namespace std::chrono_literals;
using Tavel::detail::kWaitInfinite;
using Tavel::detail::WaitableEvent;
using Tavel::detail::WaitWithCoalescing;
namespace platform = ZxVariantHelper::platform;

constexpr unsigned long kInfinite = CSyncBase::kInfinite;

// Expects a thread that locks with `timeoutMs` to get in only after `release`.
void ExpectEntryOnlyAfter(CSyncBase& lock, unsigned long timeoutMs, const std::function<void()>& release) {
  std::atomic<bool> entered{false};
  std::thread other([&] {
    EXPECT_EQ(lock.Lock(timeoutMs), CSyncBase::kLocked);
    entered = true;
    lock.Unlock();
  });
  std::this_thread::sleep_for(50ms);
  EXPECT_FALSE(entered) << "entered while the lock was held";
  release();
  other.join();
  EXPECT_TRUE(entered);
}

TEST(CoalescingTolerance, FiftyMillisecondsUpTo1999ThenFiftyPerWholeSecond) {
  const std::uint32_t cases[][2] = {{1, 50},     {500, 50},     {999, 50},    {1000, 50}, {1999, 50},
                                    {2000, 100}, {10000, 500}, {10999, 500}, {0xFFFFFFFEu, 4294967u * 50u}};
  for (const auto& c : cases) EXPECT_EQ(Tavel::detail::CoalescingToleranceMs(c[0]), c[1]) << c[0];
}

TEST(WaitWithCoalescing, AnswersByTheEventOnEveryPathAndRestoresTheTimerSlack) {
  platform::TimerSlackScope outer(3000000);
  WaitableEvent event;
  for (bool timer : {true, false}) {
    ASSERT_TRUE(event.Reset());
    EXPECT_EQ(WaitWithCoalescing(nullptr, 10, timer), 258) << timer;  // no event: sleeps
    EXPECT_EQ(WaitWithCoalescing(event.handle(), 0, timer), 258) << timer;
    EXPECT_EQ(WaitWithCoalescing(event.handle(), 10, timer), 258) << timer;
    ASSERT_TRUE(event.Set());
    for (std::uint32_t timeout : {0u, 10u, 5000u, kWaitInfinite}) {
      EXPECT_EQ(WaitWithCoalescing(event.handle(), timeout, timer), 0) << timeout << " " << timer;
    }
  }
  if (platform::CoalescingTimerAvailable()) {
    std::uint64_t slack = 0;
    ASSERT_TRUE(platform::GetTimerSlackNs(&slack));
    EXPECT_EQ(slack, 3000000u);
  }
}

TEST(CSyncCriticalSection, IsReentrantIgnoresTheTimeOutAndUnlocksOnlyForItsHolder) {
  auto section = std::make_unique<CSyncCriticalSection>();
  section->Unlock();  // held by nobody
  EXPECT_EQ(section->Lock(0), 0);
  EXPECT_EQ(section->Lock(kInfinite), 0);
  section->Unlock();
  std::thread([&] { section->Unlock(); }).join();  // not the holder: ignored
  // The other thread's Lock(0) waits: the time-out is ignored.
  ExpectEntryOnlyAfter(*section, 0, [&] { section->Unlock(); });
  for (int i = 0; i < 3; ++i) EXPECT_EQ(section->Lock(0), 0);
  section->Unlock();
  // Destroyed while this thread holds it twice: the destructor leaves it (the
  // ThreadSanitizer build reports a mutex destroyed while locked).
  section.reset();
}

TEST(CSyncMutex, IsReentrantAndATimedLockFailsWhileAnotherThreadHoldsIt) {
  CSyncMutex mutex;
  EXPECT_EQ(mutex.Lock(0), 0);
  EXPECT_EQ(mutex.Lock(100), 0);
  std::thread([&] {
    EXPECT_EQ(mutex.Lock(0), -1);
    EXPECT_EQ(mutex.Lock(60), -1);
    mutex.Unlock();  // not the owner: refused
  }).join();
  mutex.Unlock();
  std::thread([&] { EXPECT_EQ(mutex.Lock(0), -1); }).join();  // still held once
  ExpectEntryOnlyAfter(mutex, kInfinite, [&] { mutex.Unlock(); });
}

TEST(CSyncLocks, SectionAndMutexExcludeEachOther) {
  CSyncCriticalSection section;
  CSyncMutex mutex;
  for (CSyncBase* lock : {static_cast<CSyncBase*>(&section), static_cast<CSyncBase*>(&mutex)}) {
    int counter = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
      threads.emplace_back([&] {
        for (int i = 0; i < 2000; ++i) {
          ASSERT_EQ(lock->Lock(kInfinite), CSyncBase::kLocked);
          ++counter;
          lock->Unlock();
        }
      });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(counter, 8000);
  }
}

TEST(CSyncEvent, IsAManualResetEventAndNoLock) {
  CSyncEvent event;
  CSyncBase& asLock = event;
  EXPECT_EQ(asLock.Lock(kInfinite), -1);
  asLock.Unlock();
  EXPECT_EQ(event.Wait(0), 258);
  EXPECT_EQ(event.Wait(30), 258);
  event.Set();
  EXPECT_EQ(event.Wait(0), 0);
  EXPECT_EQ(event.Wait(kInfinite), 0);  // stays set
  event.Reset();
  EXPECT_EQ(event.Wait(0), 258);
  for (unsigned long timeout : {10000ul, kInfinite}) {  // a waiter woken from another thread
    event.Reset();
    std::thread setter([&] {
      std::this_thread::sleep_for(20ms);
      event.Set();
    });
    EXPECT_EQ(event.Wait(timeout), 0);
    setter.join();
  }
}

}  // namespace
