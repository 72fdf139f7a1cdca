#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "tools/finder/badge_entries.h"

namespace kelvo::finder {

// A kind of badge as the extension describes it.
struct BadgeKind {
  Badge badge;
  std::string label;
  std::string icon;
};

// The badges of one folder's items, and how they are written.
class BadgeList {
 public:
  explicit BadgeList(const std::vector<BadgeKind>& kinds);

  // Sorted by their bytes.
  const std::map<std::string, Badge>& Badges() const { return badges_; }
  // A new item has no badge; one that is there already keeps its own.
  void Add(const std::string& name);
  void Remove(const std::string& name);
  // True when an item of the list got another badge.
  bool Set(const std::string& name, Badge badge);
  // How many items have no badge.
  std::size_t CountWithout() const { return without_; }

  // Identifier, label, name: "1  in-sync         a.txt".
  std::string Line(const std::string& name, Badge badge) const;

 private:
  std::map<Badge, std::string> labels_;
  std::size_t labelWidth_ = 1;
  std::map<std::string, Badge> badges_;
  std::size_t without_ = 0;
};

}  // namespace kelvo::finder
