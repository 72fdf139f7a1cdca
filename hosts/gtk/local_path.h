#pragma once

#include <gio/gio.h>

#include <string_view>

namespace kelvo {

// Empty for what is not local, and for null. Valid as long as the location; nothing is copied,
// since file managers ask for it again and again.
std::string_view LocalPath(GFile* location);

}  // namespace kelvo
