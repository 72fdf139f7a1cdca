#pragma once

#include "base/logger.h"

namespace kelvo::tools {

// Shows on standard error what the system's own parts complain about: warnings and errors.
//
// Threads: one.
class StderrLogger : public CLogger {
 public:
  StderrLogger() { SetLevel(kLogWarning); }

  void WriteProlog(int level) override;
  void WriteEpilog() override;
  bool InitializeLogrotate(RunLoop& runLoop, std::int64_t maxSize,
                           std::chrono::milliseconds interval) override;
};

}  // namespace kelvo::tools
