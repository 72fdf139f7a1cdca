#pragma once

#include <pthread.h>

#include "base/thread_annotations.h"

namespace kelvo {

// The values are part of the system's vocabulary and equal to no platform's constants.
enum EMutexType : int { kMutexNormal = 0, kMutexErrorCheck = 1, kMutexRecursive = 2 };

// A POSIX mutex of the given kind.
//
// Threads: any. A recursive mutex is released by as many unlocks as locks.
class KELVO_CAPABILITY("mutex") CMutex {
 public:
  explicit CMutex(EMutexType type);
  ~CMutex();
  CMutex(const CMutex&) = delete;
  CMutex& operator=(const CMutex&) = delete;

  void Lock() KELVO_ACQUIRE();
  void Unlock() KELVO_RELEASE();

 private:
  pthread_mutex_t mutex_;
};

// Holds a CMutex for a scope.
class KELVO_SCOPED_CAPABILITY CMutexLock {
 public:
  explicit CMutexLock(CMutex& mutex) KELVO_ACQUIRE(mutex) : mutex_(mutex) { mutex_.Lock(); }
  ~CMutexLock() KELVO_RELEASE() { mutex_.Unlock(); }
  CMutexLock(const CMutexLock&) = delete;
  CMutexLock& operator=(const CMutexLock&) = delete;

 private:
  CMutex& mutex_;
};

}  // namespace kelvo
