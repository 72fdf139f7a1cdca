#pragma once

#include <string_view>

namespace kelvo {

// The name of an operation, handed over as a value: what a dispatcher calls, what a menu item does.
// The text must be a literal.
struct Selector {
  std::string_view name;
  bool operator==(const Selector&) const = default;
};

}  // namespace kelvo
