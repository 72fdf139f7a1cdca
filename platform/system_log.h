#pragma once

#include <string>

namespace kelvo {

// Severities of the system log, as the system's own log numbers them.
enum SystemLogLevel : int {
  kSystemLogCritical = 2,
  kSystemLogError = 3,
  kSystemLogWarning = 4,
  kSystemLogInfo = 6,
  kSystemLogDebug = 7
};

// The platform's log service and standard error. Any thread; never fails.
class SystemLog {
 public:
  virtual ~SystemLog() = default;
  // `identity` names the writer, `text` is one line without its end.
  virtual void Write(const std::string& identity, int level, const std::string& text) = 0;
};

}  // namespace kelvo
