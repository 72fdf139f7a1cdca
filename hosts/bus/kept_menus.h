#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "base/mutex.h"
#include "core/finder_sync.h"
#include "hosts/bus/bus_calls.h"
#include "platform/clock.h"

namespace kelvo {

// The menus that clients of the bus can still choose from, and which items they are about.
//
// Of the items only hashes are kept: for two paths with the same one, clients ask for a menu once
// more than they need to, and a menu of ten thousand items costs no second copy of its paths.
// Threads: any. Nothing foreign runs, and no menu ends, with the lock held.
class KeptMenus {
 public:
  static constexpr std::size_t kMenusPerClient = 16;
  // Of one client, in all; beyond it the oldest menus go first.
  static constexpr std::size_t kItemsPerClient = 200'000;
  static constexpr std::chrono::minutes kKeptFor{10};

  // Serials begin anywhere, so that what a client has from an earlier process is unknown to this.
  explicit KeptMenus(const Clock& clock);
  KeptMenus(const Clock& clock, std::uint32_t lastSerial);
  KeptMenus(const KeptMenus&) = delete;
  KeptMenus& operator=(const KeptMenus&) = delete;

  // A menu is about to be built for the client: from now on changes of the items are its business,
  // or those that come meanwhile would be missed. Keep must follow.
  void Begin(const std::string& client, const std::vector<std::string>& items);
  // Keeps what came out of the client's last Begin and answers its serial, which is never 0.
  std::uint32_t Keep(const std::string& client, FinderMenu menu);
  // Nothing came out of it: only the items stay in mind, since a menu may come out another time.
  void KeepNothing(const std::string& client);

  // kStale for a serial that is not the client's, is unknown or too old, and for an index beyond
  // the menu; kDisabled for a line that does nothing.
  ChosenLine LineOf(const std::string& client, std::uint32_t serial, std::uint32_t index);
  // Whether some menu is about the item, with `isList` about an item of the folder or the folder
  // itself; with an empty path, whether there is any. Takes the same time for any number of items.
  bool IsAbout(std::string_view path, bool isList);
  // After the client's last Keep.
  void ClientGone(const std::string& client);

 private:
  using Key = std::uint64_t;
  struct Entry {
    std::uint32_t serial = 0;  // 0: nothing to choose from
    std::chrono::milliseconds since{0};
    FinderMenu menu;
    std::vector<Key> keys;
  };
  using Entries = std::deque<Entry>;  // oldest first
  struct Client {
    Entries menus;
    Entries empty;
    bool building = false;  // the last of `empty` is not answered yet
  };

  static Key ItemKey(std::string_view path);
  static Key FolderKey(std::string_view folder);
  static std::vector<Key> KeysOf(const std::vector<std::string>& items);
  void Drop(Entries& entries, std::size_t most, Entries* dropped) KELVO_REQUIRES(mutex_);
  void DropExpired(Entries* dropped) KELVO_REQUIRES(mutex_);
  void Forget(const Entry& entry) KELVO_REQUIRES(mutex_);

  const Clock& clock_;
  CMutex mutex_{kMutexNormal};
  std::uint32_t lastSerial_ KELVO_GUARDED_BY(mutex_);
  std::map<std::string, Client> clients_ KELVO_GUARDED_BY(mutex_);
  std::unordered_map<Key, std::uint32_t> interest_ KELVO_GUARDED_BY(mutex_);  // entries by key
};

}  // namespace kelvo
