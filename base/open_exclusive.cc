#include "base/open_exclusive.h"

#include <errno.h>
#include <sys/stat.h>

#include "base/file_system.h"
#include "base/open_locked.h"
#include "base/unique_fd.h"

namespace kelvo {
namespace {

// A file system whose inode numbers do not last would never show the same file twice.
constexpr int kMaxAttempts = 100;

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
    UniqueFd fd = OpenLocked(path);
    if (!fd) return -1;
    // Whoever held the lock may have put another file in this one's place: what is read here then
    // is old, and what is written is lost.
    if (StillNames(path, fd.get())) return fd.Release();
  }
  errno = ESTALE;
  return -1;
}

}  // namespace kelvo
