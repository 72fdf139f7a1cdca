// Every message is made, as at the debug level, since its text holds foreign bytes, too; none is
// kept.
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "base/logger.h"
#include "base/string_utils.h"

namespace {

class LogToNowhere : public kelvo::CLogger {
 public:
  LogToNowhere() { SetLevel(kelvo::kLogDebug); }
  void WriteProlog(int) override { stream_.Clear(); }
  void WriteEpilog() override {
    // Whoever reads the log must be able to tell where a message ends.
    if (kelvo::EscapeControlCharacters(stream_.Text()).find('\n') != std::string::npos)
      std::abort();
  }
  bool InitializeLogrotate(kelvo::RunLoop&, std::int64_t, std::chrono::milliseconds) override {
    return false;
  }
};

[[maybe_unused]] const bool kIsInstalled = [] {
  kelvo::CLogger::m_Instance = new LogToNowhere;
  return true;
}();

}  // namespace
