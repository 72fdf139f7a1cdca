#include "hosts/dolphin/shown_items.h"

#include <algorithm>
#include <iterator>
#include <utility>
#include <vector>

namespace kelvo {

using std::chrono::milliseconds;

ShownItems::ShownItems(const Clock& clock, Surroundings& surroundings)
    : clock_(clock), surroundings_(surroundings) {}

void ShownItems::Asked(std::string_view path, BadgeStore::Item* item, BadgeByte badge) {
  const bool answers = telling_ != nullptr && *telling_ == path;
  answered_ = answered_ || answers;
  if (item == nullptr) return;
  const auto at = byPath_.find(path);
  if (at == byPath_.end()) {
    items_.push_back({std::string(path), item, badge, false, clock_.Monotonic()});
    byPath_.emplace(items_.back().path, std::prev(items_.end()));
    surroundings_.Retain(item);
    if (items_.size() == 1) surroundings_.DoubtAfter(Pause());
    return;
  }
  Held& held = *at->second;
  held.askedAt = clock_.Monotonic();
  items_.splice(items_.end(), items_, at->second);
  if (answers) {
    held.badge = badge;
  } else {
    Owe(held, badge);
  }
}

void ShownItems::Noticed(std::string_view path, BadgeByte badge) {
  const auto at = byPath_.find(path);
  if (at != byPath_.end()) Owe(*at->second, badge);
}

void ShownItems::Owe(Held& held, BadgeByte badge) {
  if (badge == held.badge || std::exchange(held.owed, true)) return;
  owed_.push_back(held.path);
  surroundings_.WorkSoon();
}

void ShownItems::Tell(const std::string& path) {
  const std::string* const outer = std::exchange(telling_, &path);
  answered_ = false;
  surroundings_.TellViews(path);
  telling_ = outer;
  if (std::exchange(answered_, false)) return;
  const auto at = byPath_.find(path);
  if (at != byPath_.end()) Drop(at->second);
}

void ShownItems::Drop(HeldItems::iterator held) {
  BadgeStore::Item* const item = held->item;
  byPath_.erase(held->path);
  items_.erase(held);
  surroundings_.Release(item);
}

void ShownItems::Work() {
  const auto end = owed_.begin() + static_cast<std::ptrdiff_t>(std::min(owed_.size(), kBatch));
  const std::vector<std::string> due(owed_.begin(), end);
  owed_.erase(owed_.begin(), end);
  if (!owed_.empty()) surroundings_.WorkSoon();
  for (const std::string& path : due) {
    const auto at = byPath_.find(path);
    if (at != byPath_.end() && std::exchange(at->second->owed, false)) Tell(path);
  }
}

void ShownItems::Doubt() {
  const milliseconds now = clock_.Monotonic();
  for (std::size_t i = 0; i < kBatch && !items_.empty(); ++i) {
    if (now - items_.front().askedAt < kSure) break;
    Tell(std::string(items_.front().path));  // asked for, it goes to the end, else it goes
  }
  if (!items_.empty()) surroundings_.DoubtAfter(Pause());
}

milliseconds ShownItems::Pause() const {
  const auto batches = static_cast<milliseconds::rep>(items_.size() / kBatch + 1);
  return std::min(kLongestPause, kRound / batches);
}

}  // namespace kelvo
