#pragma once

#include <optional>
#include <string_view>

namespace kelvo {

// An item of a folder whose badge is wanted.
struct KnownItem {
  std::string_view name;
  std::optional<bool> isDirectory;  // when somebody has looked
};

}  // namespace kelvo
