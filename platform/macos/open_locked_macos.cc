#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>

#include "base/open_locked.h"

namespace kelvo {

UniqueFd OpenLocked(const std::string& path) {
  int fd;
  do {
    fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOCTTY | O_EXLOCK, 0600);
  } while (fd < 0 && errno == EINTR);
  UniqueFd file(fd);
  struct stat status;
  if (file && ::fstat(fd, &status) == 0 && !S_ISREG(status.st_mode)) {
    file.Reset();
    errno = EINVAL;
  }
  return file;
}

}  // namespace kelvo
