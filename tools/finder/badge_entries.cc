#include "tools/finder/badge_entries.h"

namespace kelvo::finder {

std::vector<PackedNames> PackNames(const std::vector<std::string>& names, std::size_t limit) {
  std::vector<PackedNames> requests;
  for (const std::string& name : names) {
    if (requests.empty() || requests.back().packed.size() + name.size() + 1 > limit) {
      requests.emplace_back();
    }
    PackedNames& request = requests.back();
    request.names.push_back(name);
    request.packed += name;
    request.packed += '\0';
  }
  return requests;
}

std::optional<std::vector<BadgeEntry>> UnpackEntries(std::string_view packed) {
  std::vector<BadgeEntry> entries;
  while (!packed.empty()) {
    const std::size_t end = packed.find('\0', 1);
    if (end == std::string_view::npos) return std::nullopt;
    entries.push_back({packed.front(), std::string(packed.substr(1, end - 1))});
    packed.remove_prefix(end + 1);
  }
  return entries;
}

}  // namespace kelvo::finder
