#include "base/mutex.h"

namespace kelvo {
namespace {

int PosixType(EMutexType type) {
  switch (type) {
    case kMutexErrorCheck:
      return PTHREAD_MUTEX_ERRORCHECK;
    case kMutexRecursive:
      return PTHREAD_MUTEX_RECURSIVE;
    default:
      return PTHREAD_MUTEX_NORMAL;
  }
}

}  // namespace

CMutex::CMutex(EMutexType type) {
  pthread_mutexattr_t attributes;
  pthread_mutexattr_init(&attributes);
  pthread_mutexattr_settype(&attributes, PosixType(type));
  pthread_mutex_init(&mutex_, &attributes);
  pthread_mutexattr_destroy(&attributes);
}

CMutex::~CMutex() { pthread_mutex_destroy(&mutex_); }

void CMutex::Lock() { pthread_mutex_lock(&mutex_); }
void CMutex::Unlock() { pthread_mutex_unlock(&mutex_); }

}  // namespace kelvo
