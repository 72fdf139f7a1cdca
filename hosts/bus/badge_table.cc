#include "hosts/bus/badge_table.h"

#include <algorithm>
#include <utility>

#include "hosts/bus/bus_paths.h"

namespace kelvo {
namespace {

constexpr char kNoBadge = '0';
// Are read in one go: the cache is kept from others for no longer, and no memory taken for more.
constexpr std::size_t kItemsAtOnce = 1024;
// More that are due are signalled in the next turns of the loop.
constexpr std::size_t kNamesPerTurn = 16384;
constexpr std::size_t kBytesPerItem = 24;
constexpr std::size_t kBytesPerFolder = 512;  // and its path

}  // namespace

BadgeTable::BadgeTable(RunLoop& runLoop, const Clock& clock, Reader reader, Signaller signaller,
                       ChangeCounter changes, std::size_t mostBytesPerClient)
    : runLoop_(runLoop),
      clock_(clock),
      reader_(std::move(reader)),
      signaller_(std::move(signaller)),
      changes_(std::move(changes)),
      mostBytesPerClient_(mostBytesPerClient) {}

bool BadgeTable::Ask(const std::string& client, const std::string& folder,
                     const std::vector<std::string_view>& names) {
  CMutexLock lock(mutex_);
  const ClientSlots::Bits bit = slots_.BitOf(client);
  if (!MayAsk(bit, folder, names)) return false;
  const auto [found, isNew] = folders_.try_emplace(folder);
  Folder& entry = found->second;
  ++entry.answering;
  const std::size_t former = entry.items.Size();
  for (std::string_view name : names) {
    if (IsItemName(name)) entry.items.Add(name, bit);
  }
  const std::size_t bytes =
      (entry.items.Size() - former) * kBytesPerItem + (isNew ? kBytesPerFolder + folder.size() : 0);
  if (bytes == 0) return true;
  entry.bytesOf[bit] += bytes;
  bytesOf_[bit] += bytes;
  return true;
}

bool BadgeTable::MayAsk(ClientSlots::Bits client, const std::string& folder,
                        const std::vector<std::string_view>& names) {
  const auto bytes = bytesOf_.find(client);
  if (bytes == bytesOf_.end() || bytes->second < mostBytesPerClient_) return true;
  const auto known = folders_.find(folder);
  return known != folders_.end() &&
         std::all_of(names.begin(), names.end(), [&](std::string_view name) {
           return !IsItemName(name) || known->second.items.Find(name) != nullptr;
         });
}

template <typename Predicate>
void BadgeTable::LetGoOf(Predicate isUnwanted) {
  for (auto folder = folders_.begin(); folder != folders_.end();) {
    if (folder->second.answering > 0 || !isUnwanted(folder->first, folder->second)) {
      ++folder;
      continue;
    }
    GiveBack(folder->second);
    folder = folders_.erase(folder);
  }
}

void BadgeTable::GiveBack(const Folder& folder) {
  for (const auto& [client, bytes] : folder.bytesOf) {
    const auto all = bytesOf_.find(client);
    if ((all->second -= bytes) == 0) bytesOf_.erase(all);
  }
}

void BadgeTable::Answer(const std::string& client, const std::string& folder,
                        const std::vector<std::string_view>& names, const Reply& reply) {
  std::string badges(names.size(), kNoBadge);
  CMutexLock lock(mutex_);
  const ClientSlots::Bits bit = slots_.BitOf(client);
  auto found = folders_.find(folder);
  if (found == folders_.end()) found = folders_.try_emplace(folder).first;
  Folder& entry = found->second;
  const std::span<const std::string_view> all(names);
  for (std::size_t done = 0; done < all.size(); done += kItemsAtOnce) {
    const auto some = all.subspan(done, std::min(kItemsAtOnce, all.size() - done));
    AnswerSome(found->first, entry, some, bit, badges.data() + done);
  }
  if (entry.answering > 0) --entry.answering;
  if (entry.items.Size() == 0 && entry.answering == 0) {
    GiveBack(entry);
    folders_.erase(found);
  }
  reply(badges);
}

void BadgeTable::AnswerSome(const std::string& path, Folder& folder,
                            std::span<const std::string_view> names, ClientSlots::Bits client,
                            char* badges) {
  std::vector<NamedItem> items;
  for (std::string_view name : names) {
    if (!IsItemName(name)) continue;
    folder.items.Add(name, client);
    items.push_back({name, nullptr});
  }
  for (NamedItem& item : items) item.item = folder.items.Find(item.name);  // where it stays now
  const std::string known = Read(path, items);
  for (std::size_t i = 0, item = 0; i < names.size(); ++i) {
    if (!IsItemName(names[i])) continue;
    badges[i] = known[item];
    Tell(path, folder, items[item], known[item], client);
    ++item;
  }
}

std::string BadgeTable::Read(const std::string& path, const std::vector<NamedItem>& items) const {
  std::vector<KnownItem> asked;
  asked.reserve(items.size());
  for (const auto& [name, item] : items) asked.push_back({name, item->IsDirectory()});
  const Identifiers identifiers = reader_(path == "/" ? std::string() : path, asked);
  std::string badges(items.size(), kNoBadge);
  for (std::size_t i = 0; i < items.size(); ++i) {
    const char told = items[i].item->told;
    if (identifiers[i]) {
      badges[i] = BadgeOfIdentifier(*identifiers[i]);
    } else if (told != ToldItems::kUntold) {
      badges[i] = told;
    }
  }
  return badges;
}

void BadgeTable::Tell(const std::string& path, Folder& folder, const NamedItem& named, char badge,
                      ClientSlots::Bits client) {
  Item& item = *named.item;
  if (item.told != ToldItems::kUntold && item.told != badge &&
      slots_.Others(folder.items.ClientsOf(item), client) != 0) {
    item.owed = true;
    AddPending(path, folder, named, badge, 0);
  }
  item.told = badge;
}

void BadgeTable::NoteRepaints(std::string_view directory,
                              std::span<const FinderController::ItemBadge> items,
                              std::uint64_t asOf) {
  CMutexLock lock(mutex_);
  auto folder = folders_.find(directory.empty() ? std::string_view("/") : directory);
  if (folder == folders_.end()) return;
  std::vector<std::string_view> names;
  names.reserve(items.size());
  for (const FinderController::ItemBadge& repainted : items) names.push_back(repainted.name);
  std::vector<Item*> found(names.size());
  folder->second.items.Find(names, found);
  for (std::size_t i = 0; i < items.size(); ++i) {
    const FinderController::ItemBadge& repainted = items[i];
    Item* const item = found[i];
    if (item == nullptr) continue;
    // Who has not looked may come late, after somebody who had to.
    if (repainted.isDirectory) item->SetIsDirectory(repainted.isDirectory);
    // An answer is on its way, or the clients have this badge already. Should a newer one have been
    // told meanwhile, the change that brought it is repainted, too.
    const char badge = BadgeOfIdentifier(repainted.identifier);
    if (item->told == ToldItems::kUntold) continue;
    if (item->told == badge && !item->pending) continue;
    AddPending(folder->first, folder->second, {repainted.name, item}, badge, asOf);
  }
}

void BadgeTable::AddPending(const std::string& path, Folder& folder, const NamedItem& item,
                            char noted, std::uint64_t asOf) {
  folder.asOf = folder.pending.Size() == 0 || folder.asOf == asOf ? asOf : 0;
  item.item->noted = noted;
  if (!item.item->pending) {
    item.item->pending = true;
    folder.pending.Push(item.name);
  }
  if (folder.flushScheduled) return;
  folder.flushScheduled = true;
  runLoop_.Post([this, path] { Flush(path); });
}

void BadgeTable::Flush(const std::string& path) {
  CMutexLock lock(mutex_);
  auto found = folders_.find(path);
  if (found == folders_.end()) return;
  Folder& folder = found->second;
  if (folder.due == 0 && folder.lastSignal) {
    const std::chrono::milliseconds due = *folder.lastSignal + kSignalInterval;
    const std::chrono::milliseconds now = clock_.Monotonic();
    if (now < due) {
      runLoop_.After(due - now, [this, path] { Flush(path); });
      return;
    }
  }
  if (folder.due == 0) folder.due = folder.pending.Size();
  Signal(found->first, folder);
  folder.flushScheduled = folder.pending.Size() > 0;
  if (folder.flushScheduled) runLoop_.Post([this, path] { Flush(path); });
}

void BadgeTable::Signal(const std::string& path, Folder& folder) {
  std::string entries;
  bool told = false;
  const auto send = [&] {
    if (entries.empty()) return;
    signaller_(path, entries);
    entries.clear();
    told = true;
  };
  const auto tell = [&](const NamedItem& named, char badge) {
    Item& item = *named.item;
    if (badge == item.told && !item.owed) return;
    item.told = badge;
    item.owed = false;
    if (path.size() + entries.size() + named.name.size() + 2 > kMaxSignalBytes) send();
    entries += badge;
    entries += named.name;
    entries += '\0';
  };
  std::vector<Item*> found;
  std::vector<NamedItem> items;
  for (std::size_t left = std::min(kNamesPerTurn, folder.due); left > 0;) {
    items.clear();
    const auto names = folder.pending.Take(std::min(left, kItemsAtOnce));
    left -= names.size();
    folder.due -= names.size();
    found.resize(names.size());
    folder.items.Find(names, found);
    for (std::size_t i = 0; i < names.size(); ++i) {
      Item* const item = found[i];
      // Not there: everybody who had asked for it has left; somebody else may have come since.
      if (item == nullptr || !item->pending) continue;
      item->pending = false;
      items.push_back({names[i], item});
    }
    const std::string badges = NewestOf(path, folder, items);
    for (std::size_t i = 0; i < items.size(); ++i) tell(items[i], badges[i]);
  }
  if (folder.pending.Size() == 0) folder.pending = {};
  send();
  if (told) folder.lastSignal = clock_.Monotonic();
}

std::string BadgeTable::NewestOf(const std::string& path, const Folder& folder,
                                 const std::vector<NamedItem>& items) const {
  if (folder.asOf == 0 || folder.asOf != changes_()) return Read(path, items);
  std::string badges;
  badges.reserve(items.size());
  for (const NamedItem& named : items) badges += named.item->noted;
  return badges;
}

void BadgeTable::ClientGone(const std::string& client) {
  CMutexLock lock(mutex_);
  const ClientSlots::Bits bit = slots_.Release(client);
  if (bit == 0) return;
  bytesOf_.erase(bit);
  for (auto& [path, folder] : folders_) {
    folder.items.RemoveClient(bit);
    folder.bytesOf.erase(bit);
  }
  LetGoOf([](const std::string&, const Folder& folder) { return folder.items.Size() == 0; });
}

void BadgeTable::Swept(const FolderPredicate& isOfInterest) {
  CMutexLock lock(mutex_);
  LetGoOf([&](const std::string& path, const Folder&) {
    return !isOfInterest(path == "/" ? std::string() : path);
  });
}

std::size_t BadgeTable::Size() const {
  std::size_t size = 0;
  CMutexLock lock(mutex_);
  for (const auto& [path, folder] : folders_) size += folder.items.Size();
  return size;
}

}  // namespace kelvo
