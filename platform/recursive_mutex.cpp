#include "platform/recursive_mutex.h"

#include <system_error>

namespace ZxVariantHelper::platform {

RecursiveMutex::RecursiveMutex() {
  pthread_mutexattr_t attributes;
  int error = pthread_mutexattr_init(&attributes);
  if (error == 0) {
    error = pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    if (error == 0) error = pthread_mutex_init(&mutex_, &attributes);
    pthread_mutexattr_destroy(&attributes);
  }
  if (error != 0) throw std::system_error(error, std::system_category(), "recursive mutex");
}

RecursiveMutex::~RecursiveMutex() { pthread_mutex_destroy(&mutex_); }

void RecursiveMutex::lock() {
  const int error = pthread_mutex_lock(&mutex_);
  if (error != 0) throw std::system_error(error, std::system_category(), "recursive mutex lock");
}

void RecursiveMutex::unlock() noexcept { pthread_mutex_unlock(&mutex_); }

bool RecursiveMutex::try_lock() noexcept { return pthread_mutex_trylock(&mutex_) == 0; }

}  // namespace ZxVariantHelper::platform
