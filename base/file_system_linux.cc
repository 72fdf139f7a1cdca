#include <limits.h>

#include <cstdlib>

#include "base/file_system.h"

namespace kelvo {

std::string FilesystemRepresentation(std::string_view utf8Path) {
  if (utf8Path.size() >= PATH_MAX || utf8Path.find('\0') != std::string_view::npos) return {};
  return std::string(utf8Path);
}

std::string HomeFolder() {
  const char* const home = std::getenv("HOME");
  return home == nullptr ? "" : home;
}

}  // namespace kelvo
