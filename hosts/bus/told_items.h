#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "hosts/bus/client_slots.h"
#include "hosts/bus/name_table.h"

namespace kelvo {

// The items of one folder that clients have asked for, and what they were told of each.
//
// There are as many of these as files that anybody has looked at, so that an item takes 18 to 23
// bytes. What two that share an entry of the table are told apart is taken for one item's.
//
// Threads: the caller's lock.
class ToldItems {
 public:
  static constexpr char kUntold = '\0';

  struct Item {
    char told;                     // the badge last told, or kUntold
    std::uint8_t isDirectory : 2;  // 0: nobody has looked, 1: no, 2: yes
    bool owed : 1;                 // somebody was told something else than `told`
    bool pending : 1;              // to be looked at for the next signal
    std::uint8_t clients;          // which of the sets below
    char noted;                    // while pending: the badge last worked out

    std::optional<bool> IsDirectory() const {
      if (isDirectory == 0) return std::nullopt;
      return isDirectory == 2;
    }
    void SetIsDirectory(std::optional<bool> known) { isDirectory = !known ? 0 : *known ? 2 : 1; }
  };

  // Null when nobody has asked for it. Items are valid until one is added or removed.
  Item* Find(std::string_view name);
  void Find(std::span<const std::string_view> names, std::span<Item*> items);
  // The item, for which the client has asked now.
  Item& Add(std::string_view name, ClientSlots::Bits client);
  // Who has asked for it; may name a few too many when hundreds of groups of clients ask for
  // different items of a folder.
  ClientSlots::Bits ClientsOf(const Item& item) const { return sets_[item.clients]; }
  // Lets go of what nobody else has asked for.
  void RemoveClient(ClientSlots::Bits client);

  std::size_t Size() const { return items_.Size(); }

 private:
  static constexpr std::size_t kMostSets = 256;

  std::uint8_t SetOf(ClientSlots::Bits clients);

  NameTable<Item> items_;
  std::vector<ClientSlots::Bits> sets_;
};

}  // namespace kelvo
