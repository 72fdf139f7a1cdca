#pragma once

#include <asl.h>

#include <string>

#include "base/mutex.h"
#include "platform/system_log.h"

namespace kelvo {

// The Apple System Log, and standard error by way of it. Systems that have its successor pass its
// messages on to that. Threads: any; a client of the log is for one thread at a time.
class AslSystemLog : public SystemLog {
 public:
  AslSystemLog();
  ~AslSystemLog() override;
  AslSystemLog(const AslSystemLog&) = delete;
  AslSystemLog& operator=(const AslSystemLog&) = delete;

  void Write(const std::string& identity, int level, const std::string& text) override;

 private:
  CMutex mutex_{kMutexNormal};
  const asl_object_t message_;
  std::string identity_ KELVO_GUARDED_BY(mutex_);
  asl_object_t client_ KELVO_GUARDED_BY(mutex_) = nullptr;  // of identity_
};

}  // namespace kelvo
