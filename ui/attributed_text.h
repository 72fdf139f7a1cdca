#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

namespace kelvo {

// UTF-8 text of which parts carry attributes, such as {"weight", "bold"}.
struct AttributedText {
  // The bytes from `begin` up to `end`, never within a character.
  struct Run {
    std::size_t begin = 0;
    std::size_t end = 0;
    std::map<std::string, std::string> attributes = {};
    bool operator==(const Run&) const = default;
  };

  std::string text = {};
  std::vector<Run> runs = {};  // do not overlap; what lies in none has no attributes
  bool operator==(const AttributedText&) const = default;
};

}  // namespace kelvo
