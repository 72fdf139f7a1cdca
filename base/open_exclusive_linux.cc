#include <errno.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include "base/file_system.h"
#include "base/open_exclusive.h"
#include "base/unique_fd.h"

namespace kelvo {
namespace {

// A file system whose inode numbers do not last would never show the same file twice.
constexpr int kMaxAttempts = 100;

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

bool StillNames(const std::string& path, int fd) {
  struct stat opened;
  struct stat named;
  return ::fstat(fd, &opened) == 0 && ::stat(path.c_str(), &named) == 0 &&
         opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
}

}  // namespace

int OpenExclusive(const std::string& path) {
  if (path.find('\0') != std::string::npos) {
    errno = EINVAL;
    return -1;
  }
  if (!MakeParentFolders(path)) return -1;
  for (int attempt = 0; attempt < kMaxAttempts; ++attempt) {
    UniqueFd fd = OpenRegularFile(path);
    if (!fd) return -1;
    if (!LockWhole(fd.get())) {
      const int error = errno;
      fd.Reset();
      errno = error;
      return -1;
    }
    // Whoever held the lock may have put another file in this one's place: what is read here then
    // is old, and what is written is lost.
    if (StillNames(path, fd.get())) return fd.Release();
  }
  errno = ESTALE;
  return -1;
}

}  // namespace kelvo
