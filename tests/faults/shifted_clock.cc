// Loaded before all else into a process, this shifts its wall clock by as many seconds as the file
// that KELVO_CLOCK_SHIFT names says, at any time. The monotonic clock stays as it is.
#include <fcntl.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <cstdlib>

#include "base/unique_fd.h"

namespace {

time_t Shift() {
  const char* const path = std::getenv("KELVO_CLOCK_SHIFT");
  const kelvo::UniqueFd file(path == nullptr ? -1 : ::open(path, O_RDONLY | O_CLOEXEC));
  char text[32] = {};
  if (!file || ::read(file.get(), text, sizeof text - 1) <= 0) return 0;
  return std::strtol(text, nullptr, 10);
}

}  // namespace

extern "C" {

int clock_gettime(clockid_t clock, timespec* time) noexcept {
  const int result = static_cast<int>(::syscall(SYS_clock_gettime, clock, time));
  const bool isWallClock = clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE;
  if (result == 0 && isWallClock) time->tv_sec += Shift();
  return result;
}

time_t time(time_t* seconds) noexcept {
  timespec now;
  clock_gettime(CLOCK_REALTIME, &now);
  if (seconds != nullptr) *seconds = now.tv_sec;
  return now.tv_sec;
}

}  // extern "C"
