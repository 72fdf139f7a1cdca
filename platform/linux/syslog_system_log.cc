#include "platform/linux/syslog_system_log.h"

#include <glib.h>
#include <poll.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>

#include "deployment.h"

namespace kelvo {
namespace {

// Writes as much as standard error takes at once: a pipe that nobody empties must not hold the
// extension.
void WriteStandardError(const std::string& line) {
  constexpr std::size_t kAtomic = 512;  // what poll's promise covers for a pipe, everywhere
  std::size_t written = 0;
  while (written < line.size()) {
    pollfd descriptor{STDERR_FILENO, POLLOUT, 0};
    if (poll(&descriptor, 1, 0) != 1 || (descriptor.revents & POLLOUT) == 0) return;
    const std::size_t piece = std::min(kAtomic, line.size() - written);
    const ssize_t count = write(STDERR_FILENO, line.data() + written, piece);
    if (count <= 0) return;
    written += static_cast<std::size_t>(count);
  }
}

}  // namespace

// The tag of syslog's lines is what other systems call the sender of a message; the identity then
// heads the text.
SyslogSystemLog::SyslogSystemLog()
    : writesStandardError_(!g_log_writer_is_journald(STDERR_FILENO)) {
  openlog(deployment::kLogSender, LOG_PID, LOG_USER);
}

void SyslogSystemLog::Write(const std::string& identity, int level, const std::string& text) {
  const int priority = std::clamp(level, LOG_EMERG, LOG_DEBUG);
  syslog(priority, "%s: %s", identity.c_str(), text.c_str());
  if (writesStandardError_) WriteStandardError(identity + ": " + text + "\n");
}

}  // namespace kelvo
