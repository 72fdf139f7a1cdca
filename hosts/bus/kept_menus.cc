#include "hosts/bus/kept_menus.h"

#include <algorithm>
#include <functional>
#include <iterator>
#include <optional>
#include <random>
#include <utility>

#include "base/string_utils.h"

namespace kelvo {

KeptMenus::KeptMenus(const Clock& clock) : KeptMenus(clock, std::random_device{}()) {}

KeptMenus::KeptMenus(const Clock& clock, std::uint32_t lastSerial)
    : clock_(clock), lastSerial_(lastSerial) {}

KeptMenus::Key KeptMenus::ItemKey(std::string_view path) {
  return std::hash<std::string_view>{}(path);
}

// Another key than the same path has as an item. "/" is the empty directory, as SplitPath says it.
KeptMenus::Key KeptMenus::FolderKey(std::string_view folder) {
  return ~ItemKey(folder == "/" ? std::string_view() : folder);
}

std::vector<KeptMenus::Key> KeptMenus::KeysOf(const std::vector<std::string>& items) {
  std::vector<Key> keys;
  keys.reserve(items.size() + 1);
  std::optional<std::string_view> last;
  for (const std::string& item : items) {
    std::string_view folder;
    std::string_view name;
    if (item.empty()) continue;
    keys.push_back(ItemKey(item));
    if (!SplitPath(item, &folder, &name)) continue;
    if (folder == last) continue;  // a selection is mostly of one folder
    keys.push_back(FolderKey(folder));
    last = folder;
  }
  return keys;
}

void KeptMenus::Begin(const std::string& client, const std::vector<std::string>& items) {
  Entry entry{0, clock_.Monotonic(), {}, KeysOf(items)};
  Entries dropped;
  CMutexLock lock(mutex_);
  DropExpired(&dropped);
  Client& owner = clients_[client];
  for (const Key key : entry.keys) ++interest_[key];
  owner.empty.push_back(std::move(entry));
  owner.building = true;
  Drop(owner.empty, kMenusPerClient, &dropped);
}

std::uint32_t KeptMenus::Keep(const std::string& client, FinderMenu menu) {
  Entries dropped;
  CMutexLock lock(mutex_);
  Client& owner = clients_[client];
  Entry entry = std::move(owner.empty.back());
  owner.empty.pop_back();
  owner.building = false;
  if (++lastSerial_ == 0) ++lastSerial_;
  entry.serial = lastSerial_;
  entry.since = clock_.Monotonic();
  entry.menu = std::move(menu);
  owner.menus.push_back(std::move(entry));
  Drop(owner.menus, kMenusPerClient, &dropped);
  return lastSerial_;
}

void KeptMenus::KeepNothing(const std::string& client) {
  CMutexLock lock(mutex_);
  clients_[client].building = false;
}

ChosenLine KeptMenus::LineOf(const std::string& client, std::uint32_t serial, std::uint32_t index) {
  Entries dropped;
  CMutexLock lock(mutex_);
  DropExpired(&dropped);
  const auto owner = clients_.find(client);
  if (owner == clients_.end()) return {};
  for (const Entry& entry : owner->second.menus) {
    if (entry.serial != serial) continue;
    const std::vector<MenuItem>& items = entry.menu.menu.items();
    if (index >= items.size()) return {};
    const MenuItem& item = items[index];
    const bool does = item.enabled && !item.separator && !item.action.name.empty();
    if (!does) return {ChosenLine::State::kDisabled};
    return {ChosenLine::State::kReady, item.action, entry.menu.context};
  }
  return {};
}

bool KeptMenus::IsAbout(std::string_view path, bool isList) {
  Entries dropped;
  CMutexLock lock(mutex_);
  DropExpired(&dropped);
  if (interest_.empty() || path.empty()) return !interest_.empty();
  return interest_.contains(ItemKey(path)) || (isList && interest_.contains(FolderKey(path)));
}

void KeptMenus::ClientGone(const std::string& client) {
  Entries menus;
  Entries empty;
  CMutexLock lock(mutex_);
  const auto owner = clients_.find(client);
  if (owner == clients_.end()) return;
  Drop(owner->second.menus, 0, &menus);
  Drop(owner->second.empty, 0, &empty);
  clients_.erase(owner);
}

// Leaves the youngest.
void KeptMenus::Drop(Entries& entries, std::size_t most, Entries* dropped) {
  std::size_t items = 0;
  for (const Entry& entry : entries) items += entry.keys.size();
  while (entries.size() > most || (items > kItemsPerClient && entries.size() > 1)) {
    items -= entries.front().keys.size();
    Forget(entries.front());
    dropped->push_back(std::move(entries.front()));
    entries.pop_front();
  }
}

void KeptMenus::DropExpired(Entries* dropped) {
  const std::chrono::milliseconds now = clock_.Monotonic();
  const auto young = [now](const Entry& entry) { return now - entry.since < kKeptFor; };
  const auto firstYoung = [&](const Entries& entries) {
    return std::find_if(entries.begin(), entries.end(), young);
  };
  for (auto& [name, client] : clients_) {
    Drop(client.menus, std::distance(firstYoung(client.menus), client.menus.cend()), dropped);
    std::size_t left = std::distance(firstYoung(client.empty), client.empty.cend());
    if (client.building && left == 0) left = 1;
    Drop(client.empty, left, dropped);
  }
}

void KeptMenus::Forget(const Entry& entry) {
  for (const Key key : entry.keys) {
    const auto known = interest_.find(key);
    if (--known->second == 0) interest_.erase(known);
  }
  // Gives back what a large selection took.
  if (interest_.empty()) interest_ = {};
}

}  // namespace kelvo
