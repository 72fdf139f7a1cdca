#include "tools/stderr_logger.h"

#include "tools/terminal_text.h"

namespace kelvo::tools {

void StderrLogger::WriteProlog(int /*level*/) { stream_.Clear(); }

void StderrLogger::WriteEpilog() { PrintError(PrintableText(stream_.Text())); }

bool StderrLogger::InitializeLogrotate(RunLoop& /*runLoop*/, std::int64_t /*maxSize*/,
                                       std::chrono::milliseconds /*interval*/) {
  return false;
}

}  // namespace kelvo::tools
