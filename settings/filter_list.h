#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "settings/filename_filter.h"

namespace kelvo {

// Filters in order, of which the first that matches a name decides.
//
// Threads: a value; isIncluded from several threads at once.
class kelvo_FilterList {
 public:
  // `matchEmpty`: whether a list without filters includes every name, or none.
  explicit kelvo_FilterList(bool matchEmpty) : matchEmpty_(matchEmpty) {}

  void addFilter(std::string_view pattern, std::uint32_t filterType);
  void addFilters(std::uint32_t filterType, std::span<const std::string_view> patterns);

  // Fills `filterType` with the type of the first filter that matches, with kEmptyListFilterType
  // when there are no filters, and leaves it when none matches.
  bool isIncluded(std::string_view fileName, std::uint32_t* filterType) const;

 private:
  struct HashText {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const {
      return std::hash<std::string_view>()(text);
    }
  };

  std::size_t firstMatch(std::string_view fileName) const;

  std::vector<kelvo_FilenameFilter> filters_;
  bool matchEmpty_;
  // An index over filters_, since nearly all of them ask for an ending: the first filter for each
  // ending, in lower case; how long the endings are, ascending; and the filters that ask for
  // anything else, in order.
  std::unordered_map<std::string, std::size_t, HashText, std::equal_to<>> suffixes_;
  std::vector<std::size_t> suffixLengths_;
  std::vector<std::size_t> others_;
};

}  // namespace kelvo
