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
using Clock = std::chrono::steady_clock;
using Tavel::detail::CoalescingToleranceMs;
using Tavel::detail::kWaitInfinite;
using Tavel::detail::WaitableEvent;
using Tavel::detail::WaitWithCoalescing;

constexpr unsigned long kInfinite = CSyncBase::kInfinite;

bool SlackSupported() { return ZxVariantHelper::platform::CoalescingTimerAvailable(); }

std::uint64_t CurrentSlackNs() {
  std::uint64_t slack = 0;
  EXPECT_TRUE(ZxVariantHelper::platform::GetTimerSlackNs(&slack));
  return slack;
}

// Locks from four threads at once and counts under the lock.
void ExpectMutualExclusion(CSyncBase& lock) {
  int counter = 0;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 2000; ++i) {
        ASSERT_EQ(lock.Lock(kInfinite), CSyncBase::kLocked);
        ++counter;
        lock.Unlock();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(counter, 8000);
}

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

// ---- the coalescing tolerance and the timed wait ----------------------------

TEST(CoalescingTolerance, FiftyMillisecondsUpTo999) {
  EXPECT_EQ(CoalescingToleranceMs(1), 50u);
  EXPECT_EQ(CoalescingToleranceMs(500), 50u);
  EXPECT_EQ(CoalescingToleranceMs(998), 50u);
  EXPECT_EQ(CoalescingToleranceMs(999), 50u);
}

TEST(CoalescingTolerance, FiftyMillisecondsPerWholeSecondAbove) {
  EXPECT_EQ(CoalescingToleranceMs(1000), 50u);
  EXPECT_EQ(CoalescingToleranceMs(1999), 50u);
  EXPECT_EQ(CoalescingToleranceMs(2000), 100u);
  EXPECT_EQ(CoalescingToleranceMs(10000), 500u);
  EXPECT_EQ(CoalescingToleranceMs(10999), 500u);
  EXPECT_EQ(CoalescingToleranceMs(0xFFFFFFFEu), 4294967u * 50u);
}

TEST(TimerSlackScope, AppliesTheSlackAndRestoresThePreviousOne) {
  if (!SlackSupported()) GTEST_SKIP() << "timer slack unavailable";
  const std::uint64_t before = CurrentSlackNs();
  {
    ZxVariantHelper::platform::TimerSlackScope scope(7000000);
    ASSERT_TRUE(scope.applied());
    EXPECT_EQ(CurrentSlackNs(), 7000000u);
  }
  EXPECT_EQ(CurrentSlackNs(), before);
}

TEST(WaitWithCoalescing, SetEventIsSignalledOnEveryPath) {
  WaitableEvent event;
  ASSERT_TRUE(event.Set());
  for (bool timer : {true, false}) {
    for (std::uint32_t timeout : {0u, 10u, 5000u, kWaitInfinite}) {
      EXPECT_EQ(WaitWithCoalescing(event.handle(), timeout, timer), 0) << timeout << " " << timer;
    }
  }
}

TEST(WaitWithCoalescing, UnsetEventTimesOutNoEarlierThanItsTimeOut) {
  WaitableEvent event;
  for (bool timer : {true, false}) {
    EXPECT_EQ(WaitWithCoalescing(event.handle(), 0, timer), 258);
    const auto start = Clock::now();
    EXPECT_EQ(WaitWithCoalescing(event.handle(), 60, timer), 258);
    EXPECT_GE(Clock::now() - start, 60ms);
  }
}

TEST(WaitWithCoalescing, WithoutHandleSleepsAndTimesOut) {
  EXPECT_EQ(WaitWithCoalescing(nullptr, 0, true), 258);
  for (bool timer : {true, false}) {
    const auto start = Clock::now();
    EXPECT_EQ(WaitWithCoalescing(nullptr, 40, timer), 258);
    EXPECT_GE(Clock::now() - start, 40ms);
  }
}

TEST(WaitWithCoalescing, SetFromAnotherThreadWakesTheWaiter) {
  WaitableEvent event;
  for (std::uint32_t timeout : {10000u, kWaitInfinite}) {
    ASSERT_TRUE(event.Reset());
    std::thread setter([&] {
      std::this_thread::sleep_for(20ms);
      event.Set();
    });
    EXPECT_EQ(event.Wait(timeout), 0);
    setter.join();
  }
}

TEST(WaitWithCoalescing, RestoresTheWaitingThreadsTimerSlack) {
  if (!SlackSupported()) GTEST_SKIP() << "timer slack unavailable";
  ZxVariantHelper::platform::TimerSlackScope outer(3000000);
  WaitableEvent event;
  EXPECT_EQ(WaitWithCoalescing(event.handle(), 30, true), 258);
  EXPECT_EQ(CurrentSlackNs(), 3000000u);
  event.Set();
  EXPECT_EQ(WaitWithCoalescing(event.handle(), 30, true), 0);
  EXPECT_EQ(WaitWithCoalescing(nullptr, 10, true), 258);
  EXPECT_EQ(CurrentSlackNs(), 3000000u);
}

// ---- lock classes -----------------------------------------------------------

TEST(CSyncCriticalSection, IsReentrantAndIgnoresTheTimeOut) {
  CSyncCriticalSection section;
  EXPECT_EQ(section.Lock(0), 0);
  EXPECT_EQ(section.Lock(kInfinite), 0);
  section.Unlock();
  // The other thread's Lock(0) waits: the time-out is ignored.
  ExpectEntryOnlyAfter(section, 0, [&] { section.Unlock(); });
}

TEST(CSyncCriticalSection, UnlockByAThreadThatDoesNotHoldItIsIgnored) {
  CSyncCriticalSection section;
  section.Unlock();  // held by nobody
  ASSERT_EQ(section.Lock(0), 0);
  std::thread([&] { section.Unlock(); }).join();
  ExpectEntryOnlyAfter(section, kInfinite, [&] { section.Unlock(); });
}

TEST(CSyncCriticalSection, DestructorLeavesASectionItsThreadStillHolds) {
  // The ThreadSanitizer build reports a mutex destroyed while locked.
  std::unique_ptr<CSyncBase> section = std::make_unique<CSyncCriticalSection>();
  for (int i = 0; i < 3; ++i) EXPECT_EQ(section->Lock(0), 0);
  section->Unlock();
  section.reset();
}

TEST(CSyncMutex, TimedLockFailsWhileAnotherThreadHoldsIt) {
  CSyncMutex mutex;
  EXPECT_EQ(mutex.Lock(0), 0);
  EXPECT_EQ(mutex.Lock(100), 0);  // re-entrant
  std::thread([&] {
    EXPECT_EQ(mutex.Lock(0), -1);
    const auto start = Clock::now();
    EXPECT_EQ(mutex.Lock(60), -1);
    EXPECT_GE(Clock::now() - start, 60ms);
    mutex.Unlock();  // not the owner: refused
  }).join();
  mutex.Unlock();
  std::thread([&] { EXPECT_EQ(mutex.Lock(0), -1); }).join();  // still held once
  mutex.Unlock();
  std::thread([&] {
    EXPECT_EQ(mutex.Lock(0), 0);
    mutex.Unlock();
  }).join();
}

TEST(CSyncMutex, WaiterAcquiresWhenTheOwnerReleases) {
  CSyncMutex mutex;
  ASSERT_EQ(mutex.Lock(kInfinite), 0);
  ExpectEntryOnlyAfter(mutex, kInfinite, [&] { mutex.Unlock(); });
}

TEST(CSyncLocks, SectionAndMutexExcludeEachOther) {
  CSyncCriticalSection section;
  CSyncMutex mutex;
  ExpectMutualExclusion(section);
  ExpectMutualExclusion(mutex);
}

TEST(CSyncLocks, EachKindAnswersThroughTheCommonInterface) {
  std::unique_ptr<CSyncBase> locks[] = {std::make_unique<CSyncCriticalSection>(), std::make_unique<CSyncEvent>(),
                                        std::make_unique<CSyncMutex>()};
  const int expected[] = {0, -1, 0};
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(locks[i]->Lock(10), expected[i]) << i;
    locks[i]->Unlock();
  }
}

TEST(CSyncEvent, IsAManualResetEventAndNoLock) {
  CSyncEvent event;
  EXPECT_EQ(event.Lock(kInfinite), -1);
  event.Unlock();
  EXPECT_EQ(event.Wait(0), 258);
  const auto start = Clock::now();
  EXPECT_EQ(event.Wait(30), 258);
  EXPECT_GE(Clock::now() - start, 30ms);
  event.Set();
  EXPECT_EQ(event.Wait(0), 0);
  EXPECT_EQ(event.Wait(kInfinite), 0);
  event.Reset();
  EXPECT_EQ(event.Wait(0), 258);
  std::thread setter([&] { event.Set(); });
  EXPECT_EQ(event.Wait(kInfinite), 0);
  setter.join();
}

}  // namespace
