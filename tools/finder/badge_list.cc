#include "tools/finder/badge_list.h"

#include <algorithm>

#include "tools/terminal_text.h"

namespace kelvo::finder {

BadgeList::BadgeList(const std::vector<BadgeKind>& kinds) {
  labels_.emplace(kNoBadge, "-");
  for (const BadgeKind& kind : kinds) {
    std::string label = tools::PrintableText(kind.label);
    labelWidth_ = std::max(labelWidth_, label.size());
    labels_.insert_or_assign(kind.badge, std::move(label));
  }
}

void BadgeList::Add(const std::string& name) {
  if (badges_.emplace(name, kNoBadge).second) ++without_;
}

void BadgeList::Remove(const std::string& name) {
  const auto found = badges_.find(name);
  if (found == badges_.end()) return;
  if (found->second == kNoBadge) --without_;
  badges_.erase(found);
}

bool BadgeList::Set(const std::string& name, Badge badge) {
  const auto found = badges_.find(name);
  if (found == badges_.end() || found->second == badge) return false;
  if (found->second == kNoBadge) --without_;
  if (badge == kNoBadge) ++without_;
  found->second = badge;
  return true;
}

std::string BadgeList::Line(const std::string& name, Badge badge) const {
  const auto found = labels_.find(badge);
  std::string label = found == labels_.end() ? "?" : found->second;
  label.resize(std::max(label.size(), labelWidth_), ' ');
  return tools::PrintableText(std::string_view(&badge, 1)) + "  " + label + "  " +
         tools::PrintableText(name);
}

}  // namespace kelvo::finder
