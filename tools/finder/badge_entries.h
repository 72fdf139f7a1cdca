// Names and badges as they travel on the bus, packed into byte strings. Stateless: any thread.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kelvo::finder {

// The ASCII digit of a badge's identifier.
using Badge = char;
inline constexpr Badge kNoBadge = '0';

struct BadgeEntry {
  Badge badge;
  std::string name;
  bool operator==(const BadgeEntry&) const = default;
};

// Some of a folder's names for one request, each followed by a zero byte.
struct PackedNames {
  std::vector<std::string> names;
  std::string packed;
};

// All names in as few requests as `limit` bytes each allow; a longer name goes alone.
std::vector<PackedNames> PackNames(const std::vector<std::string>& names, std::size_t limit);

// The entries of a badge signal: badge, name, zero byte, repeated. nullopt when they do not end so.
std::optional<std::vector<BadgeEntry>> UnpackEntries(std::string_view packed);

}  // namespace kelvo::finder
