#include <errno.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include "base/open_locked.h"

namespace kelvo {
namespace {

// -1 with errno set unless it is a regular file. Never waits, whatever lies at the path.
UniqueFd OpenRegularFile(const std::string& path) {
  UniqueFd fd(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, 0600));
  struct stat status;
  if (!fd || ::fstat(fd.get(), &status) != 0) return {};
  if (!S_ISREG(status.st_mode)) {
    fd.Reset();
    errno = EINVAL;
    return {};
  }
  ::fcntl(fd.get(), F_SETFL, 0);
  return fd;
}

bool LockWhole(int fd) {
  int result;
  do {
    result = ::flock(fd, LOCK_EX);
  } while (result != 0 && errno == EINTR);
  return result == 0;
}

}  // namespace

UniqueFd OpenLocked(const std::string& path) {
  UniqueFd fd = OpenRegularFile(path);
  if (!fd || LockWhole(fd.get())) return fd;
  const int error = errno;
  fd.Reset();
  errno = error;
  return {};
}

}  // namespace kelvo
