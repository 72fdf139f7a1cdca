// The part of BadgeStore that keeps descriptions. They follow the badges, on calls of their own,
// so that no badge waits for a text.
#include <utility>

#include "hosts/client/badge_store.h"
#include "hosts/client/badge_store_items.h"

namespace kelvo {

void BadgeStore::OnDescribed(const std::string& path, std::uint64_t ticket,
                             const DescribedItems* answer) {
  const auto at = folders_.find(path);
  if (at == folders_.end() || ticket == 0 || at->second->describing.ticket != ticket) return;
  Folder& folder = *at->second;
  folder.describing.ticket = 0;
  const std::vector<Item*> items = std::exchange(folder.describing.asked, {});
  const bool failed = answer == nullptr || !answer->Fits(items.size());
  for (std::size_t i = 0; i < items.size(); ++i) {
    if (items[i] == nullptr) continue;
    Item& item = *items[i];
    if (failed) {
      EnqueueDescription(item);
      continue;
    }
    DescriptionPool::Ptr description = descriptions_.Intern(answer->descriptions[answer->which[i]]);
    // An extension that has just been started knows nothing yet and says so.
    if (!description && item.staleDescription) continue;
    if (InScope(folder, item.Name())) SetDescription(item, std::move(description));
  }
  Milliseconds& delay = folder.describing.delay;
  if (failed) folder.describing.notBefore = clock_.Monotonic() + delay;
  delay = failed ? Folder::Longer(delay) : kFirstRetry;
  surroundings_.WorkSoon();
}

void BadgeStore::CannotDescribe() {
  describes_ = false;
  for (auto& [path, folder] : folders_) {
    StopDescribing(*folder);
    for (Item& item : folder->items) SetDescription(item, nullptr);
  }
  surroundings_.WorkSoon();
}

void BadgeStore::OnDescriptionsChanged(std::string_view path, std::string_view names) {
  const auto at = folders_.find(path);
  if (at == folders_.end()) return;
  Folder& folder = *at->second;
  if (names.empty()) {
    for (Item& item : folder.items) EnqueueDescription(item);
  }
  folder.items.ForEachNamed(names, 0, [&](Item& item, const char*) { EnqueueDescription(item); });
  surroundings_.WorkSoon();
}

// A name that waits again while a call for it is under way is asked about once more: what the
// answer says may be older than the change.
void BadgeStore::EnqueueDescription(Item& item) {
  Folder& folder = *item.folder;
  if (!present_ || !describes_ || folder.resting || !InScope(folder, item.Name())) return;
  if (!std::exchange(item.toDescribe, true)) folder.describing.queue.push_back(&item);
}

void BadgeStore::SetDescription(Item& item, DescriptionPool::Ptr description) {
  item.staleDescription = false;
  if (item.description == description) return;
  item.description = std::move(description);
  item.repaint = true;
  MarkChanged(item);
}

void BadgeStore::StopDescribing(Folder& folder) {
  folder.describing = {};
  for (Item& item : folder.items) item.toDescribe = false;
}

void BadgeStore::DescribeNext(Folder& folder) {
  Folder::Describing& describing = folder.describing;
  if (!folder.MayDescribe() || clock_.Monotonic() < describing.notBefore) return;
  const std::string names =
      TakeNames(folder, describing.queue, describing.asked, &Item::toDescribe);
  if (describing.asked.empty()) return;
  describing.ticket = ++lastTicket_;
  describing.notBefore = clock_.Monotonic() + kPace;
  surroundings_.DescribeItems(folder.path, names, describing.ticket);
}

}  // namespace kelvo
