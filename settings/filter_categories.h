#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace kelvo {

// One of the kinds of file that the user can choose by name instead of by patterns.
struct FilterCategory {
  const char* name;  // also its key in filter_info.plist
  std::uint32_t type;
  std::span<const std::string_view> patterns;
};

// All seven, in the order in which their filters are asked. Any thread.
std::span<const FilterCategory> FilterCategories();

}  // namespace kelvo
