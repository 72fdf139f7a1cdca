#pragma once

#include <span>
#include <string>
#include <string_view>

namespace kelvo {

// RefreshPath for items of one folder, in order; supplied by the extension's core as well.
// `directory`: what stands before the slash of each path, as a list names it. Any thread.
void RefreshPaths(const std::string& directory, std::span<const std::string_view> names);

}  // namespace kelvo
