#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace kelvo {

// What a match reports: why a name is in.
inline constexpr std::uint32_t kEmptyListFilterType = 0;
inline constexpr std::uint32_t kDocumentsFilterType = 1;
inline constexpr std::uint32_t kFinancialFilterType = 2;
inline constexpr std::uint32_t kImagesFilterType = 3;
inline constexpr std::uint32_t kArchivesFilterType = 4;
inline constexpr std::uint32_t kDatabasesFilterType = 5;
inline constexpr std::uint32_t kMusicFilterType = 6;
inline constexpr std::uint32_t kVideoFilterType = 7;
inline constexpr std::uint32_t kIncludeFilterType = 8;
inline constexpr std::uint32_t kExcludeFilterType = 9;

// The ways to compare a name with a pattern, of which each filter uses one. Names and patterns are
// bytes: neither needs to be UTF-8.
using FilterFunction = bool(const std::string& pattern, std::string_view name);

bool FilterFunctionAll(const std::string& pattern, std::string_view name);
// All that compare ignore the case of ASCII letters, and of no others.
bool FilterFunctionSuffix(const std::string& pattern, std::string_view name);
bool FilterFunctionPrefix(const std::string& pattern, std::string_view name);
inline constexpr std::size_t kMaxWildcardBytes = 1024;
// Wildcards "*", "?", "[...]" and "\" over the whole name. "?" and "[...]" stand for one byte; the
// locale of the process plays no part. A zero byte on either side matches nothing, and neither does
// a pattern of more than kMaxWildcardBytes bytes: the time of one comparison is bounded.
bool FilterFunctionFnmatch(const std::string& pattern, std::string_view name);

// One pattern for file names. A value; any thread.
class kelvo_FilenameFilter {
 public:
  // A pattern that can match nothing is logged.
  kelvo_FilenameFilter(std::string_view pattern, std::uint32_t filterType);

  bool isIncluded(std::string_view name) const { return filterFunction_(pattern_, name); }
  std::uint32_t getFilterType() const { return filterType_; }

  // The end that a name needs to match, where that is all it needs; else null.
  const std::string* suffix() const {
    return filterFunction_ == FilterFunctionSuffix ? &pattern_ : nullptr;
  }

 private:
  std::string pattern_;  // without the star that the function stands for
  FilterFunction* filterFunction_;
  std::uint32_t filterType_;
};

}  // namespace kelvo
