#include "hosts/client/badge_store.h"

#include <algorithm>
#include <utility>

#include "hosts/client/badge_store_items.h"

namespace kelvo {

namespace {

using Relation = WatchedDirectories::Relation;

BadgeByte ValidBadge(char byte) { return byte >= '0' && byte <= '9' ? byte : kNoBadge; }

}  // namespace

BadgeStore::BadgeStore(const Clock& clock, Surroundings& surroundings)
    : clock_(clock), surroundings_(surroundings), nextWork_(kNever) {}

BadgeStore::~BadgeStore() = default;

BadgeStore::Answer BadgeStore::Lookup(std::string_view path) {
  const std::size_t slash = path.rfind('/');
  if (path.empty() || path.front() != '/' || slash + 1 == path.size()) return {};
  const std::string_view name = path.substr(slash + 1);
  if (name == "." || name == "..") return {};
  Folder* folder = FindOrAdd(slash == 0 ? "/" : path.substr(0, slash));
  if (folder == nullptr) return {};
  folder->lastUse = clock_.Monotonic();
  if (folder->resting) Wake(*folder);

  Item* item = folder->items.Find(name);
  if (item == nullptr) {
    if (itemCount_ >= kMaxItems) return {};
    item = &folder->items.Add(name);
    ++itemCount_;
    item->folder = folder;
    if (folder->sweepAt == kNever) folder->sweepAt = folder->lastUse + kLinger;
    if (present_ && InScope(*folder, name)) Enqueue(*item);
    WorkBy(folder->sweepAt);
    surroundings_.WorkSoon();
  }
  item->used = true;
  item->told = item->badge;
  item->repaint = false;
  return {item->badge, item, item->description ? item->description.get() : &NoDescription()};
}

void BadgeStore::Retain(Item* item) {
  if (item == nullptr) return;
  ++item->holders;
  ++item->folder->holders;
}

void BadgeStore::Release(Item* item) {
  if (item == nullptr || item->holders == 0) return;
  Folder& folder = *item->folder;
  --item->holders;
  --folder.holders;
  if (item->holders > 0) return;
  folder.lastUse = clock_.Monotonic();
  if (folder.sweepAt == kNever) folder.sweepAt = folder.lastUse + kLinger;
  WorkBy(folder.sweepAt);
}

void BadgeStore::ExtensionAppeared(const std::vector<std::string>& directories) {
  present_ = true;
  describes_ = true;
  SetDirectories(directories);
  for (auto& [path, folder] : folders_) {
    folder->hadBadge = false;
    folder->delay = kFirstRetry;
    AskAgain(*folder);
  }
  surroundings_.WorkSoon();
}

void BadgeStore::ExtensionVanished() {
  if (!std::exchange(present_, false)) return;
  bool unconfirmed = false;  // an extension that dies again and again does not renew the grace
  for (auto& [path, folder] : folders_) {
    folder->observed = false;
    StopAsking(*folder);
    for (Item& item : folder->items) {
      unconfirmed = unconfirmed || item.stale;
      item.stale = item.badge != kNoBadge;
      item.staleDescription = item.description != nullptr;
    }
  }
  if (!staleSince_ || !unconfirmed) staleSince_ = clock_.Monotonic();
  WorkBy(GraceEnd());
  surroundings_.WorkSoon();
}

void BadgeStore::AgentConnected() {
  for (auto& [path, folder] : folders_) {
    folder->delay = kFirstRetry;
    folder->notBefore = Milliseconds{0};
    folder->describing.notBefore = Milliseconds{0};
    AskAgain(*folder);
  }
  surroundings_.WorkSoon();
}

void BadgeStore::SetDirectories(const std::vector<std::string>& directories) {
  WatchedDirectories changed(directories);
  if (changed == directories_) return;
  directories_ = std::move(changed);
  for (auto& [path, folder] : folders_) Rescope(*folder);
  surroundings_.WorkSoon();
}

void BadgeStore::OnAnswer(const std::string& path, std::uint64_t ticket,
                          std::optional<std::string_view> badges) {
  const auto at = folders_.find(path);
  if (at == folders_.end() || ticket == 0 || at->second->ticket != ticket) return;
  Folder& folder = *at->second;
  folder.ticket = 0;
  const std::vector<Item*> items = std::exchange(folder.asked, {});
  const bool failed = !badges || badges->size() != items.size();
  for (std::size_t i = 0; i < items.size(); ++i) {
    if (items[i] == nullptr) continue;
    Item& item = *items[i];
    if (failed) {
      Enqueue(item);
      continue;
    }
    const BadgeByte badge = ValidBadge((*badges)[i]);
    // An extension that has just been started knows nothing yet and says so.
    if (badge == kNoBadge && item.stale) continue;
    if (InScope(folder, item.Name())) SetBadge(item, badge);
  }
  if (failed) {
    folder.notBefore = clock_.Monotonic() + folder.delay;
    folder.delay = Folder::Longer(folder.delay);
  } else {
    NoteAnswered(folder);
  }
  surroundings_.WorkSoon();
}

void BadgeStore::OnBadgesChanged(std::string_view path, std::string_view entries) {
  const auto at = folders_.find(path);
  if (at == folders_.end()) return;
  Folder& folder = *at->second;
  folder.items.ForEachNamed(entries, 1, [&](Item& item, const char* entry) {
    if (!InScope(folder, item.Name())) return;
    const BadgeByte badge = ValidBadge(*entry);
    if (badge != item.badge) EnqueueDescription(item);
    SetBadge(item, badge);
  });
  surroundings_.WorkSoon();
}

void BadgeStore::TellAll() {
  for (auto& [path, folder] : folders_) {
    for (Item& item : folder->items) {
      if (item.badge == kNoBadge) continue;
      item.repaint = true;
      MarkChanged(item);
    }
  }
  surroundings_.WorkSoon();
}

void BadgeStore::Work() {
  nextWork_ = kNever;
  descriptions_.Prune();
  DropUnshown();
  EndGrace();
  if (present_) {
    RestSurplus();
    for (auto& [path, folder] : folders_) Serve(*folder);
  }
  TellSome();
  Schedule();
}

BadgeStore::Folder* BadgeStore::FindOrAdd(std::string_view path) {
  if (lastFolder_ != nullptr && lastFolder_->path == path) return lastFolder_;
  const auto at = folders_.find(path);
  if (at != folders_.end()) return lastFolder_ = at->second.get();
  if (itemCount_ >= kMaxItems) return nullptr;
  auto folder = std::make_unique<Folder>();
  folder->path = path;
  folder->relation = directories_.RelationOf(path);
  const std::string& key = folder->path;
  return lastFolder_ = folders_.emplace(key, std::move(folder)).first->second.get();
}

bool BadgeStore::InScope(const Folder& folder, std::string_view name) const {
  switch (folder.relation) {
    case Relation::kInside:
      return true;
    case Relation::kHoldsWatched:
      return directories_.IsWatched(JoinPath(folder.path, name));
    default:
      return false;
  }
}

void BadgeStore::Rescope(Folder& folder) {
  const Relation former = std::exchange(folder.relation, directories_.RelationOf(folder.path));
  if (former == folder.relation && former != Relation::kHoldsWatched) return;
  folder.askAgainAt = kNever;
  for (Item& item : folder.items) {
    // A returning extension names its folders a little later: what is stale is left to the grace.
    if (InScope(folder, item.Name())) continue;
    if (!item.stale) SetBadge(item, kNoBadge);
    if (!item.staleDescription) SetDescription(item, nullptr);
  }
  if (present_) AskAgain(folder);
}

void BadgeStore::AskAgain(Folder& folder) {
  folder.askAgainAt = kNever;
  if (folder.relation == Relation::kOutside || folder.resting) return;
  for (Item& item : folder.items) {
    if (InScope(folder, item.Name())) Enqueue(item);
  }
}

void BadgeStore::Enqueue(Item& item) {
  if (std::exchange(item.queued, true)) return;
  item.folder->queue.push_back(&item);
}

void BadgeStore::SetBadge(Item& item, BadgeByte badge) {
  item.stale = false;
  item.badge = badge;
  if (badge != kNoBadge) item.folder->hadBadge = true;
  if (badge != item.told) MarkChanged(item);
}

void BadgeStore::MarkChanged(Item& item) {
  if (!std::exchange(item.changed, true)) changed_.push_back(&item);
}

void BadgeStore::NoteAnswered(Folder& folder) {
  if (!folder.queue.empty() || folder.askAgainAt != kNever) return;
  // A watched folder's badge in a folder that nobody observes is not pushed for ever.
  if (folder.relation == Relation::kHoldsWatched) {
    folder.askAgainAt = clock_.Monotonic() + kLastRetry;
  } else if (!folder.hadBadge) {
    folder.askAgainAt = clock_.Monotonic() + folder.delay;
  }
}

void BadgeStore::DropUnshown() {
  const Milliseconds now = clock_.Monotonic();
  for (auto at = folders_.begin(); at != folders_.end();) {
    Folder& folder = *at->second;
    if (folder.Shown(now)) {
      if (now >= folder.sweepAt) SweepItems(folder);
      ++at;
      continue;
    }
    if (folder.observed) surroundings_.EndObserving(folder.path);
    std::erase_if(changed_, [&](const Item* item) { return item->folder == &folder; });
    itemCount_ -= folder.items.Size();
    if (lastFolder_ == &folder) lastFolder_ = nullptr;
    at = folders_.erase(at);
  }
}

void BadgeStore::RestSurplus() {
  const Milliseconds now = clock_.Monotonic();
  std::vector<Folder*> idle;
  for (auto& [path, folder] : folders_) {
    if (folder->observed && now - folder->lastUse >= kLinger) idle.push_back(folder.get());
  }
  if (idle.size() <= kMaxIdle) return;
  std::sort(idle.begin(), idle.end(),
            [](const Folder* a, const Folder* b) { return a->lastUse > b->lastUse; });
  for (std::size_t i = kMaxIdle; i < idle.size(); ++i) Rest(*idle[i]);
}

void BadgeStore::Rest(Folder& folder) {
  folder.resting = true;
  StopAsking(folder);
  for (Item& item : folder.items) {
    item.repaint = true;
    MarkChanged(item);
  }
}

void BadgeStore::Wake(Folder& folder) {
  folder.resting = false;
  folder.delay = kFirstRetry;
  if (present_) AskAgain(folder);
  surroundings_.WorkSoon();
}

void BadgeStore::StopAsking(Folder& folder) {
  folder.ticket = 0;
  folder.asked.clear();
  folder.queue.clear();
  folder.askAgainAt = kNever;
  folder.notBefore = Milliseconds{0};
  for (Item& item : folder.items) item.queued = false;
  StopDescribing(folder);
}

// Forgets the items of a shown folder that are gone, lest names that come and go pile up.
void BadgeStore::SweepItems(Folder& folder) {
  bool left = false;
  std::size_t goes = 0;
  for (Item& item : folder.items) {
    const bool used = std::exchange(item.used, false);
    item.gone = item.holders == 0 && !used && !item.changed;
    goes += item.gone;
    left = left || (item.holders == 0 && !item.gone);
  }
  if (goes > 0) {
    const auto isGone = [](const Item* item) { return item != nullptr && item->gone; };
    Folder::Describing& describing = folder.describing;
    std::erase_if(folder.queue, isGone);
    std::erase_if(describing.queue, isGone);
    std::replace_if(folder.asked.begin(), folder.asked.end(), isGone, nullptr);
    std::replace_if(describing.asked.begin(), describing.asked.end(), isGone, nullptr);
    folder.items.EraseGone();
    itemCount_ -= goes;
  }
  folder.sweepAt = left ? clock_.Monotonic() + kLinger : kNever;
}

void BadgeStore::EndGrace() {
  if (!staleSince_ || clock_.Monotonic() < GraceEnd()) return;
  staleSince_.reset();
  for (auto& [path, folder] : folders_) {
    for (Item& item : folder->items) {
      if (item.stale) SetBadge(item, kNoBadge);
      if (item.staleDescription) SetDescription(item, nullptr);
    }
  }
}

void BadgeStore::Serve(Folder& folder) {
  const bool observe = folder.relation == Relation::kInside && !folder.resting;
  if (observe != folder.observed) {
    folder.observed = observe;
    if (observe) {
      surroundings_.BeginObserving(folder.path);
    } else {
      surroundings_.EndObserving(folder.path);
    }
  }
  const Milliseconds now = clock_.Monotonic();
  if (now >= folder.askAgainAt) {
    folder.askAgainAt = kNever;
    if (!observe || !folder.hadBadge) AskAgain(folder);
    folder.delay = Folder::Longer(folder.delay);
  }
  if (folder.ticket == 0 && now >= folder.notBefore) SendNext(folder);
  DescribeNext(folder);
}

void BadgeStore::SendNext(Folder& folder) {
  const std::string names = TakeNames(folder, folder.queue, folder.asked, &Item::queued);
  if (folder.asked.empty()) return;
  folder.ticket = ++lastTicket_;
  folder.notBefore = clock_.Monotonic() + kPace;
  surroundings_.RequestBadges(folder.path, names, folder.ticket);
  for (Item* item : folder.asked) EnqueueDescription(*item);
}

// Moves what one call may ask about from `queue` to `asked`; each name followed by a zero byte.
std::string BadgeStore::TakeNames(Folder& folder, std::vector<Item*>& queue,
                                  std::vector<Item*>& asked, bool Item::*waits) {
  std::string names;
  std::size_t taken = 0;
  while (taken < queue.size() && asked.size() < kNamesPerRequest) {
    Item* const item = queue[taken++];
    item->*waits = false;
    if (!InScope(folder, item->Name())) continue;
    names.append(item->Name()).push_back('\0');
    asked.push_back(item);
  }
  queue.erase(queue.begin(), queue.begin() + static_cast<std::ptrdiff_t>(taken));
  return names;
}

void BadgeStore::TellSome() {
  const std::size_t count = std::min(changed_.size(), kTellsPerTurn);
  const std::vector<Item*> due(changed_.begin(),
                               changed_.begin() + static_cast<std::ptrdiff_t>(count));
  changed_.erase(changed_.begin(), changed_.begin() + static_cast<std::ptrdiff_t>(count));
  for (Item* item : due) {
    item->changed = false;
    const bool repaint = std::exchange(item->repaint, false);
    if (repaint || item->badge != item->told) {
      surroundings_.BadgeChanged(item->folder->path, std::string(item->Name()));
    }
  }
}

void BadgeStore::Schedule() {
  const Milliseconds now = clock_.Monotonic();
  Milliseconds due = staleSince_ ? GraceEnd() : kNever;
  for (const auto& [path, folder] : folders_) {
    due = std::min(due, folder->sweepAt);
    if (folder->holders == 0) due = std::min(due, folder->lastUse + kLinger);
    if (!present_) continue;
    due = std::min(due, folder->askAgainAt);
    if (folder->ticket == 0 && !folder->queue.empty()) due = std::min(due, folder->notBefore);
    if (folder->MayDescribe()) due = std::min(due, folder->describing.notBefore);
  }
  if (!changed_.empty() || due <= now) surroundings_.WorkSoon();
  if (due > now && due != kNever) WorkBy(due);
}

void BadgeStore::WorkBy(Milliseconds due) {
  if (due >= nextWork_) return;
  nextWork_ = due;
  surroundings_.WorkAfter(std::max(Milliseconds{0}, due - clock_.Monotonic()));
}

BadgeStore::Milliseconds BadgeStore::GraceEnd() const {
  return *staleSince_ + (present_ ? 2 * kGrace : kGrace);
}

}  // namespace kelvo
