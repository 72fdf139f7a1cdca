#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "base/selector.h"

namespace kelvo {

// One line of a context menu.
struct MenuItem {
  std::string title = {};
  Selector action = {};  // without a name for a line that only tells something
  bool enabled = false;
  std::string image = {};  // a picture of the bundle, 16 by 16 points; "" for none
  bool separator = false;  // then nothing else is set
  bool operator==(const MenuItem&) const = default;
};

// A context menu as a value, which every front end draws as its file manager likes it. What a line
// does is done by the context that inserted it.
class Menu {
 public:
  std::size_t numberOfItems() const { return items_.size(); }
  const std::vector<MenuItem>& items() const { return items_; }
  // An index beyond the end counts as the end.
  void insertItem(MenuItem item, std::size_t index) {
    const auto place = static_cast<std::ptrdiff_t>(std::min(index, items_.size()));
    items_.insert(items_.begin() + place, std::move(item));
  }

  bool operator==(const Menu&) const = default;

 private:
  std::vector<MenuItem> items_;
};

}  // namespace kelvo
