#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>

#include "settings/file_space.h"

namespace kelvo {

bool ReserveFileSpace(int fd, std::size_t length) {
  constexpr off_t kBlock = 512;  // of st_blocks, whatever the file system's own
  struct stat status;
  if (::fstat(fd, &status) != 0) return true;
  const off_t missing = static_cast<off_t>(length) - status.st_blocks * kBlock;
  if (missing <= 0) return true;
  fstore_t space = {F_ALLOCATEALL, F_PEOFPOSMODE, 0, missing, 0};
  return ::fcntl(fd, F_PREALLOCATE, &space) != -1 || (errno != ENOSPC && errno != EDQUOT);
}

}  // namespace kelvo
