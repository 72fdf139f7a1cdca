#include <errno.h>
#include <sys/stat.h>

#include "base/file_system.h"

namespace kelvo {

bool IsDirectory(const std::string& path) {
  struct stat status;
  return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

bool MakeParentFolders(const std::string& path) {
  const std::size_t last = path.rfind('/');
  if (last == std::string::npos || last == 0) return true;
  // Mostly the folder is there, and none above it need be looked at.
  if (IsDirectory(path.substr(0, last))) return true;
  for (std::size_t slash = path.find('/', 1); slash <= last; slash = path.find('/', slash + 1)) {
    if (::mkdir(path.substr(0, slash).c_str(), 0700) != 0 && errno != EEXIST) return false;
  }
  return true;
}

}  // namespace kelvo
