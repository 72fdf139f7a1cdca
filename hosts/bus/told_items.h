#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "hosts/bus/client_slots.h"

namespace kelvo {

// The items of one folder that clients have asked for, and what they were told of each.
//
// There are as many of these as files that anybody has looked at, so that an item takes 15 to 23
// bytes, however long its name is: of the name it keeps 64 bits of a hash that nobody can foresee.
// Two of a million names share these once in forty million folders of that size; what such two are
// told apart is then taken for one item's.
//
// Threads: the caller's lock.
class ToldItems {
 public:
  static constexpr char kUntold = '\0';

  struct Item {
    std::uint32_t hash[2];
    char told;                     // the badge last told, or kUntold
    std::uint8_t isDirectory : 2;  // 0: nobody has looked, 1: no, 2: yes
    bool owed : 1;                 // somebody was told something else than `told`
    bool pending : 1;              // to be looked at for the next signal
    bool isUsed : 1;
    std::uint8_t clients;  // which of the sets below

    std::optional<bool> IsDirectory() const {
      if (isDirectory == 0) return std::nullopt;
      return isDirectory == 2;
    }
    void SetIsDirectory(std::optional<bool> known) { isDirectory = !known ? 0 : *known ? 2 : 1; }
  };

  // Null when nobody has asked for it. Items are valid until one is added or removed.
  Item* Find(std::string_view name);
  // The item, for which the client has asked now.
  Item& Add(std::string_view name, ClientSlots::Bits client);
  // Who has asked for it; may name a few too many when hundreds of groups of clients ask for
  // different items of a folder.
  ClientSlots::Bits ClientsOf(const Item& item) const { return sets_[item.clients]; }
  // Lets go of what nobody else has asked for.
  void RemoveClient(ClientSlots::Bits client);

  std::size_t Size() const { return size_; }

 private:
  static constexpr std::size_t kMostSets = 256;
  static constexpr std::size_t kLeastSlots = 8;

  // The item's slot, or the free one that it would take.
  Item& SlotOf(std::uint64_t hash);
  void Rehash(std::size_t slots);
  std::uint8_t SetOf(ClientSlots::Bits clients);

  std::vector<Item> slots_;
  std::vector<ClientSlots::Bits> sets_;
  std::size_t size_ = 0;
};

}  // namespace kelvo
