#include "hosts/bus/badge_table.h"

#include <utility>

#include "base/string_utils.h"
#include "hosts/bus/bus_paths.h"

namespace kelvo {

BadgeTable::BadgeTable(RunLoop& runLoop, const Clock& clock, Reader reader, Signaller signaller)
    : runLoop_(runLoop),
      clock_(clock),
      reader_(std::move(reader)),
      signaller_(std::move(signaller)) {}

BadgeTable::Items::value_type& BadgeTable::ItemOf(Folder& folder, std::string_view name,
                                                  ClientSlots::Bits client) {
  auto found = folder.items.find(name);
  if (found == folder.items.end()) found = folder.items.try_emplace(std::string(name)).first;
  found->second.clients |= client;
  return *found;
}

void BadgeTable::Ask(const std::string& client, const std::string& folder,
                     const std::vector<std::string_view>& names) {
  CMutexLock lock(mutex_);
  const ClientSlots::Bits bit = slots_.BitOf(client);
  Folder& entry = folders_[folder];
  ++entry.answering;
  for (std::string_view name : names) {
    if (IsItemName(name)) ItemOf(entry, name, bit);
  }
}

void BadgeTable::Answer(const std::string& client, const std::string& folder,
                        const std::vector<std::string_view>& names, const Reply& reply) {
  std::string badges;
  badges.reserve(names.size());
  CMutexLock lock(mutex_);
  const ClientSlots::Bits bit = slots_.BitOf(client);
  auto found = folders_.find(folder);
  if (found == folders_.end()) found = folders_.try_emplace(folder).first;
  Folder& entry = found->second;
  for (std::string_view name : names) {
    badges += IsItemName(name) ? AnswerOne(found->first, entry, name, bit) : '0';
  }
  if (entry.answering > 0) --entry.answering;
  if (entry.items.empty() && entry.answering == 0) folders_.erase(found);
  reply(badges);
}

char BadgeTable::AnswerOne(const std::string& path, Folder& folder, std::string_view name,
                           ClientSlots::Bits client) {
  Items::value_type& entry = ItemOf(folder, name, client);
  Item& item = entry.second;
  const char badge = reader_(ItemPath(path, name), item.isDirectory);
  if (item.told != kUntold && item.told != badge && slots_.Others(item.clients, client) != 0) {
    item.owed = true;
    AddPending(path, folder, entry);
  }
  item.told = badge;
  return badge;
}

void BadgeTable::NoteRepaint(std::string_view path, char badge, bool isDirectory) {
  std::string_view directory;
  std::string_view name;
  if (!SplitPath(path, &directory, &name)) return;
  CMutexLock lock(mutex_);
  auto folder = folders_.find(directory.empty() ? std::string_view("/") : directory);
  if (folder == folders_.end()) return;
  auto found = folder->second.items.find(name);
  if (found == folder->second.items.end()) return;
  Item& item = found->second;
  item.isDirectory = isDirectory;
  // An answer is on its way, or the clients have this badge already. Should a newer one have been
  // told meanwhile, the change that brought it is repainted, too.
  if (item.told == kUntold || item.told == badge) return;
  AddPending(folder->first, folder->second, *found);
}

void BadgeTable::AddPending(const std::string& path, Folder& folder, Items::value_type& item) {
  if (!item.second.pending) {
    item.second.pending = true;
    folder.pending.push_back(&item);
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
  if (folder.lastSignal) {
    const std::chrono::milliseconds due = *folder.lastSignal + kSignalInterval;
    const std::chrono::milliseconds now = clock_.Monotonic();
    if (now < due) {
      runLoop_.After(due - now, [this, path] { Flush(path); });
      return;
    }
  }
  folder.flushScheduled = false;
  Signal(found->first, folder);
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
  for (Items::value_type* pending : folder.pending) {
    const std::string& name = pending->first;
    Item& item = pending->second;
    item.pending = false;
    const char badge = reader_(ItemPath(path, name), item.isDirectory);
    if (badge == item.told && !item.owed) continue;
    item.told = badge;
    item.owed = false;
    if (path.size() + entries.size() + name.size() + 2 > kMaxSignalBytes) send();
    entries += badge;
    entries += name;
    entries += '\0';
  }
  folder.pending.clear();
  send();
  if (told) folder.lastSignal = clock_.Monotonic();
}

void BadgeTable::EraseAbandoned(Folder& folder) {
  std::erase_if(folder.pending, [](Items::value_type* item) { return item->second.clients == 0; });
  std::erase_if(folder.items, [](const auto& item) { return item.second.clients == 0; });
}

void BadgeTable::ClientGone(const std::string& client) {
  CMutexLock lock(mutex_);
  const ClientSlots::Bits bit = slots_.Release(client);
  if (bit == 0) return;
  for (auto& [path, folder] : folders_) {
    for (auto& [name, item] : folder.items) item.clients &= ~bit;
    EraseAbandoned(folder);
  }
  std::erase_if(folders_, [](const auto& folder) {
    return folder.second.items.empty() && folder.second.answering == 0;
  });
}

void BadgeTable::Swept(const FolderPredicate& isOfInterest) {
  CMutexLock lock(mutex_);
  std::erase_if(folders_, [&](const auto& folder) {
    return folder.second.answering == 0 &&
           !isOfInterest(folder.first == "/" ? std::string() : folder.first);
  });
}

std::size_t BadgeTable::Size() const {
  std::size_t size = 0;
  CMutexLock lock(mutex_);
  for (const auto& [path, folder] : folders_) size += folder.items.size();
  return size;
}

}  // namespace kelvo
