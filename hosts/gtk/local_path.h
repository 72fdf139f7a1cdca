#pragma once

#include <gio/gio.h>

#include <string>

namespace kelvo {

// Empty for what is not local, and for null.
std::string LocalPath(GFile* location);

}  // namespace kelvo
