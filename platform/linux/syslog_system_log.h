#pragma once

#include "platform/system_log.h"

namespace kelvo {

// The system log by way of syslog(3), and standard error.
//
// Threads: any. Lifetime: one per process, since syslog(3) knows only one writer.
class SyslogSystemLog : public SystemLog {
 public:
  SyslogSystemLog();
  void Write(const std::string& identity, int level, const std::string& text) override;

 private:
  // False when standard error is the system's journal, which has the line already.
  const bool writesStandardError_;
};

}  // namespace kelvo
