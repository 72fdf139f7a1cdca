#pragma once

#include <ios>
#include <string>
#include <vector>

#include "base/log_rotator.h"
#include "base/logger.h"
#include "base/mutex.h"
#include "base/thread_annotations.h"
#include "base/timer.h"
#include "base/unique_fd.h"
#include "platform/system_log.h"

namespace kelvo {

// The logger of the extension: each line goes to the system log, to standard error and to a file.
// The name is the system's own; the class serves every platform through the SystemLog seam.
//
// Threads: any, except InitializeLogrotate, CheckLogSizeTimeout and Reopen: the run loop's.
class CLoggerMac : public CLogger, public CTarget {
 public:
  // Opens `path` for appending (mode 0644, missing folders 0700). When that fails the error goes to
  // the system log, and so do all lines.
  CLoggerMac(const std::string& name, const std::string& path, SystemLog& systemLog);
  ~CLoggerMac() override;

  void WriteProlog(int level) override KELVO_NO_THREAD_SAFETY_ANALYSIS;
  void WriteEpilog() override KELVO_NO_THREAD_SAFETY_ANALYSIS;
  bool InitializeLogrotate(RunLoop& runLoop, std::int64_t maxSize,
                           std::chrono::milliseconds interval) override;

  // Renames a file larger than the rotator's limit to ".1" and goes on in a new one; goes on in the
  // old one when the new one cannot be opened.
  void CheckLogSizeTimeout(CTimer* timer);

  // Does what a new logger of the same path would, in place of that: a thread may be writing with
  // this one, so that each that was replaced would have to stay for good. Opens the path anew, be
  // it the same file or not; ends rotation.
  void Reopen();

 private:
  // An outer message, while an inner one is built.
  struct Suspended {
    std::string text;
    std::ios_base::fmtflags flags;
    int level;
  };
  UniqueFd OpenLogFile(int flags);
  void BeginMessage(int level) KELVO_REQUIRES(mutex_);
  void EndMessage() KELVO_REQUIRES(mutex_);
  void AppendToFile(std::string line) KELVO_REQUIRES(mutex_);

  CMutex mutex_{kMutexRecursive};  // held from WriteProlog to WriteEpilog
  const std::string name_;
  const std::string path_;
  SystemLog& systemLog_;
  UniqueFd fd_ KELVO_GUARDED_BY(mutex_);
  bool lineTorn_ KELVO_GUARDED_BY(mutex_) = false;  // the file ends within a line
  bool inMessage_ KELVO_GUARDED_BY(mutex_) = false;
  std::vector<Suspended> suspended_ KELVO_GUARDED_BY(mutex_);
  CLogRotator rotator_;
};

}  // namespace kelvo
