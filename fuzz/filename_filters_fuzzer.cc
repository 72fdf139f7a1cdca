#include <fnmatch.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/input.h"
#include "settings/filter_settings.h"

namespace {

using kelvo::fuzz::Require;

constexpr std::size_t kMaxName = 4096;
constexpr std::size_t kMaxPatterns = 16;
// Of the sizes' product: the plain comparison takes as many steps.
constexpr std::size_t kMaxPlain = 65536;

char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

// A pattern without brackets, matched by trying every end of every star.
bool MatchesPlainly(std::string_view pattern, std::string_view name) {
  std::vector<bool> matches(name.size() + 1);  // what has been seen of the pattern, and so much
  matches[0] = true;
  for (std::size_t p = 0; p < pattern.size(); ++p) {
    std::vector<bool> next(name.size() + 1);
    if (pattern[p] == '*') {
      for (std::size_t n = 0; n <= name.size(); ++n) {
        next[n] = matches[n] || (n > 0 && next[n - 1]);
      }
    } else {
      const bool any = pattern[p] == '?';
      if (pattern[p] == '\\' && ++p == pattern.size()) return false;
      for (std::size_t n = 1; n <= name.size(); ++n) {
        next[n] = matches[n - 1] && (any || Lower(pattern[p]) == Lower(name[n - 1]));
      }
    }
    matches.swap(next);
  }
  return matches[name.size()];
}

// What the pattern is meant to say of the name; nothing where that takes too long to tell.
std::optional<bool> Expected(const std::string& pattern, const std::string& name) {
  constexpr std::string_view kWildcards = "*\\?";
  if (pattern.size() * name.size() > kMaxPlain) return std::nullopt;
  if (pattern.empty() || pattern == "*") return true;
  const std::string_view plain(pattern);
  // Brackets are none in a plain ending or beginning.
  const std::size_t first = plain.find_first_of(kWildcards);
  if (first == 0 && plain[0] == '*' && plain.find_first_of(kWildcards, 1) == plain.npos) {
    return MatchesPlainly(pattern, name);
  }
  if (first == plain.size() - 1 && plain.back() == '*') return MatchesPlainly(pattern, name);
  if ((pattern + name).find('\0') != std::string::npos) return false;
  if (pattern.size() > kelvo::kMaxWildcardBytes) return false;
  if (pattern.find('[') != std::string::npos) {
    return ::fnmatch(pattern.c_str(), name.c_str(), FNM_CASEFOLD) == 0;
  }
  return MatchesPlainly(pattern, name);
}

}  // namespace

// The first line is a file's name, each other one a pattern: of a list the first that matches
// decides, by each alone as by a plain comparison, and what no settings file can hold is not kept.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > kelvo::fuzz::kMaxInput) return 0;
  kelvo::fuzz::Input input(data, size);
  const std::string name(input.UpTo("\n").substr(0, kMaxName));
  kelvo::kelvo_FilterList list(false);
  kelvo::kelvo_FilterSettings settings("");
  std::optional<std::uint32_t> first;
  bool isExcluded = false;
  std::uint32_t count = 0;
  while (!input.IsEmpty() && count < kMaxPatterns) {
    const std::string pattern(input.UpTo("\n"));
    const bool matches = kelvo::kelvo_FilenameFilter(pattern, ++count).isIncluded(name);
    Require(matches == Expected(pattern, name).value_or(matches));
    if (matches && !first) first = count;
    list.addFilter(pattern, count);
    const std::size_t kept = settings.excludeFilters().size();
    settings.addExcludeFilter(pattern);
    isExcluded = isExcluded || (matches && settings.excludeFilters().size() > kept);
  }
  std::uint32_t type = 0;
  Require(list.isIncluded(name, &type) == first.has_value());
  Require(type == first.value_or(0));
  Require(settings.excludeFilterList().isIncluded(name, &type) == isExcluded);
  for (const std::string& pattern : settings.excludeFilters()) {
    settings.removeExcludeFilter(pattern);
  }
  Require(settings.excludeFilters().empty());
  return 0;
}
