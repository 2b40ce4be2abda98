// A POSIX recursive mutex: the owning thread may lock it again, and it is
// free once unlocked as often as locked.  It meets the standard BasicLockable
// and Lockable requirements (lock, unlock, try_lock), so std::lock_guard and
// std::unique_lock work with it.
//
// REQUIRES: unlock() only by the owning thread; the object is destroyed only
// while no thread holds it.
#pragma once

#include <pthread.h>

namespace ZxVariantHelper::platform {

class RecursiveMutex {
 public:
  // Throws std::system_error when the OS cannot create the mutex.
  RecursiveMutex();
  RecursiveMutex(const RecursiveMutex&) = delete;
  RecursiveMutex& operator=(const RecursiveMutex&) = delete;
  ~RecursiveMutex();

  // Throws std::system_error when the OS refuses (the recursion limit).
  void lock();
  void unlock() noexcept;
  bool try_lock() noexcept;

 private:
  pthread_mutex_t mutex_;
};

}  // namespace ZxVariantHelper::platform
