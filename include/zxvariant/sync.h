// Lock objects with one common interface: CSyncBase and its kinds.
//
//   CSyncCriticalSection  a re-entrant lock for the threads of one process;
//                         Lock always waits until it enters
//   CSyncMutex            a re-entrant lock with timed acquisition
//   CSyncEvent            a manual-reset event; as a lock it always refuses
//
// Code that only needs "a lock" takes a CSyncBase& and calls Lock and
// Unlock; each Lock that answered 0 is paired with one Unlock on the same
// thread.
//
// Example:
//
//   CSyncCriticalSection section;
//   if (section.Lock(CSyncBase::kInfinite) == CSyncBase::kLocked) {
//     ...                                  // guarded work
//     section.Unlock();
//   }
//
//   CSyncMutex mutex;
//   if (mutex.Lock(200) == CSyncBase::kLockFailed) { ... }   // held elsewhere for 200 ms
//
//   CSyncEvent ready;
//   ready.Set();                           // from one thread
//   ready.Wait(1000);                      // in another: 0, or 258 after about a second
//
// Errors: Lock answers 0 (kLocked) or -1 (kLockFailed); CSyncEvent::Wait
// answers the Win32 wait codes 0 (signalled), 258 (timed out) and -1
// (failed).  Unlock by a thread that does not hold the lock is ignored.
// Only the constructors throw: std::bad_alloc without memory, and for
// CSyncCriticalSection std::system_error when the OS refuses its mutex.
//
// Time-outs are milliseconds; 0 only tries, and kInfinite (0xFFFFFFFF, and
// any larger value) waits for good.  CSyncEvent's timed waits are coalesced:
// they may return up to 50 ms late, or 5% of the time-out for long ones.
//
// Thread safety: every object may be used from any number of threads at
// once.  REQUIRES: no thread holds or waits on an object while it is
// destroyed, except that the destroying thread may still hold it (the
// destructor lets go of it).
#pragma once

#include <cstdint>
#include <memory>

#include "zxvariant/export.h"

namespace ZxVariantHelper::platform {
class KernelObject;
}  // namespace ZxVariantHelper::platform

// The common lock interface.  It holds one OS object (the "handle"; may be
// null), which its destructor closes.  Virtual functions in slot order:
// destructor, Lock, Unlock.
class ZXV_EXPORT CSyncBase {
 public:
  static constexpr unsigned long kInfinite = 0xFFFFFFFFul;
  // Lock results.
  static constexpr int kLocked = 0;
  static constexpr int kLockFailed = -1;
  // Wait results (the Win32 codes).
  static constexpr int kWaitSignalled = 0;
  static constexpr int kWaitTimeout = 258;
  static constexpr int kWaitFailed = -1;

  CSyncBase(const CSyncBase&) = delete;
  CSyncBase& operator=(const CSyncBase&) = delete;
  virtual ~CSyncBase();

  // Acquires the lock within `timeoutMs`: kLocked or kLockFailed.
  virtual int Lock(unsigned long timeoutMs) = 0;
  // Gives up one Lock.
  virtual void Unlock() = 0;

 protected:
  // Takes ownership of `handle`.
  explicit CSyncBase(ZxVariantHelper::platform::KernelObject* handle = nullptr) noexcept;
  ZxVariantHelper::platform::KernelObject* handle() const noexcept { return m_hHandle; }

 private:
  ZxVariantHelper::platform::KernelObject* m_hHandle;
};

// A re-entrant lock: the owning thread may Lock again and must Unlock as
// often.  Lock never gives up (the time-out is ignored) and answers 0 (-1
// only when the owner has already entered 2^31 - 1 times).  The
// section counts its entries, so destroying it while the destroying thread
// still holds it leaves it cleanly.
class ZXV_EXPORT CSyncCriticalSection : public CSyncBase {
 public:
  CSyncCriticalSection();
  ~CSyncCriticalSection() override;

  int Lock(unsigned long timeoutMs) override;
  // Leaves once, when the calling thread holds the section; otherwise does
  // nothing.
  void Unlock() override;

 private:
  struct Section;
  std::unique_ptr<Section> m_section;
  std::int32_t m_entryCount = 0;  // changed only by the owning thread
};

// A manual-reset event: once Set it releases every waiter until Reset.
// Created not set.  It is no lock: Lock answers -1 and Unlock does nothing.
class ZXV_EXPORT CSyncEvent : public CSyncBase {
 public:
  CSyncEvent();
  ~CSyncEvent() override;

  int Lock(unsigned long timeoutMs) override;  // always kLockFailed
  void Unlock() override;                      // does nothing

  void Set() noexcept;
  void Reset() noexcept;
  // Waits until the event is set: kWaitSignalled, kWaitTimeout once
  // `timeoutMs` passed, kWaitFailed when the OS refused the coalescing
  // tolerance for a timed wait.
  int Wait(unsigned long timeoutMs) const noexcept;
};

// A re-entrant lock with timed acquisition, not held when created.  Lock
// answers 0 once the calling thread holds the mutex, and -1 when the time
// ran out first (or the owner already holds it 2^32 - 1 times).  Only the
// owner can Unlock; the destructor releases one hold of the destroying
// thread.
class ZXV_EXPORT CSyncMutex : public CSyncBase {
 public:
  CSyncMutex();
  ~CSyncMutex() override;

  int Lock(unsigned long timeoutMs) override;
  void Unlock() override;
};
