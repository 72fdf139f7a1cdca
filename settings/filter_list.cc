#include "settings/filter_list.h"

#include <algorithm>
#include <limits>

namespace kelvo {
namespace {

constexpr std::size_t kNone = std::numeric_limits<std::size_t>::max();

std::string ToLowerAscii(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return lower;
}

}  // namespace

void kelvo_FilterList::addFilter(std::string_view pattern, std::uint32_t filterType) {
  const std::size_t index = filters_.size();
  const std::string* suffix = filters_.emplace_back(pattern, filterType).suffix();
  if (suffix == nullptr) {
    others_.push_back(index);
    return;
  }
  suffixes_.try_emplace(ToLowerAscii(*suffix), index);
  const auto place = std::lower_bound(suffixLengths_.begin(), suffixLengths_.end(), suffix->size());
  if (place == suffixLengths_.end() || *place != suffix->size()) {
    suffixLengths_.insert(place, suffix->size());
  }
}

void kelvo_FilterList::addFilters(std::uint32_t filterType,
                                  std::span<const std::string_view> patterns) {
  for (const std::string_view pattern : patterns) addFilter(pattern, filterType);
}

// The index of the first filter that matches, or kNone.
std::size_t kelvo_FilterList::firstMatch(std::string_view fileName) const {
  std::size_t first = kNone;
  if (!suffixLengths_.empty()) {
    const std::size_t most = std::min(fileName.size(), suffixLengths_.back());
    const std::string lower = ToLowerAscii(fileName.substr(fileName.size() - most));
    for (const std::size_t length : suffixLengths_) {
      if (length > most) break;
      const auto found = suffixes_.find(std::string_view(lower).substr(most - length));
      if (found != suffixes_.end()) first = std::min(first, found->second);
    }
  }
  for (const std::size_t index : others_) {
    if (index >= first) break;
    if (filters_[index].isIncluded(fileName)) return index;
  }
  return first;
}

bool kelvo_FilterList::isIncluded(std::string_view fileName, std::uint32_t* filterType) const {
  if (filters_.empty()) {
    *filterType = kEmptyListFilterType;
    return matchEmpty_;
  }
  const std::size_t index = firstMatch(fileName);
  if (index == kNone) return false;
  *filterType = filters_[index].getFilterType();
  return true;
}

}  // namespace kelvo
