// How a kernel opens and locks; open_locked_linux.cc and its siblings.
#pragma once

#include <string>

#include "base/unique_fd.h"

namespace kelvo {

// Opens the regular file for reading and writing, creating it (mode 0600) when missing, and waits
// for the exclusive whole-file lock. None, with errno set, when that cannot be.
UniqueFd OpenLocked(const std::string& path);

}  // namespace kelvo
