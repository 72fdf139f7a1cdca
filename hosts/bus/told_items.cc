#include "hosts/bus/told_items.h"

#include <algorithm>
#include <utility>

namespace kelvo {

static_assert(sizeof(ToldItems::Item) <= 4);

ToldItems::Item* ToldItems::Find(std::string_view name) { return items_.Find(name); }

void ToldItems::Find(std::span<const std::string_view> names, std::span<Item*> items) {
  items_.Find(names, items);
}

ToldItems::Item& ToldItems::Add(std::string_view name, ClientSlots::Bits client) {
  if (Item* const known = Find(name)) {
    if ((ClientsOf(*known) & client) == 0) known->clients = SetOf(ClientsOf(*known) | client);
    return *known;
  }
  Item& item = items_.Add(name);
  item.clients = SetOf(client);
  return item;
}

std::uint8_t ToldItems::SetOf(ClientSlots::Bits clients) {
  const auto known = std::find(sets_.begin(), sets_.end(), clients);
  if (known != sets_.end()) return static_cast<std::uint8_t>(known - sets_.begin());
  if (sets_.size() == kMostSets) {
    sets_.back() |= clients;
  } else {
    sets_.push_back(clients);
  }
  return static_cast<std::uint8_t>(sets_.size() - 1);
}

void ToldItems::RemoveClient(ClientSlots::Bits client) {
  if (std::none_of(sets_.begin(), sets_.end(),
                   [client](ClientSlots::Bits clients) { return (clients & client) != 0; })) {
    return;
  }
  const std::vector<ClientSlots::Bits> former = std::exchange(sets_, {});
  std::vector<std::optional<std::uint8_t>> renumbered(former.size());
  items_.EraseIf([&](Item& item) {
    const ClientSlots::Bits left = former[item.clients] & ~client;
    if (left == 0) return true;
    std::optional<std::uint8_t>& set = renumbered[item.clients];
    if (!set) set = SetOf(left);
    item.clients = *set;
    return false;
  });
}

}  // namespace kelvo
