#include <errno.h>
#include <fcntl.h>

#include "settings/file_space.h"

namespace kelvo {

bool ReserveFileSpace(int fd, std::size_t length) {
  int result;
  do {
    // Not posix_fallocate: that changes the size, and writes zeros where the kernel cannot reserve.
    result = ::fallocate(fd, FALLOC_FL_KEEP_SIZE, 0, static_cast<off_t>(length));
  } while (result != 0 && errno == EINTR);
  return result == 0 || (errno != ENOSPC && errno != EDQUOT);
}

}  // namespace kelvo
