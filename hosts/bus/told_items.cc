#include "hosts/bus/told_items.h"

#include <algorithm>
#include <utility>

#include "cache/name_index.h"

namespace kelvo {
namespace {

static_assert(sizeof(ToldItems::Item) == 12);

std::size_t SlotsFor(std::size_t items) { return items + items / 4 + 1; }  // four fifths in use

std::uint64_t HashOf(const ToldItems::Item& item) {
  return std::uint64_t{item.hash[0]} << 32 | item.hash[1];
}

}  // namespace

ToldItems::Item& ToldItems::SlotOf(std::uint64_t hash) {
  std::size_t slot = static_cast<std::size_t>(((hash >> 32) * slots_.size()) >> 32);
  while (slots_[slot].isUsed && HashOf(slots_[slot]) != hash) {
    slot = slot + 1 == slots_.size() ? 0 : slot + 1;
  }
  return slots_[slot];
}

ToldItems::Item* ToldItems::Find(std::string_view name) {
  if (slots_.empty()) return nullptr;
  Item& item = SlotOf(NameHash(name));
  return item.isUsed ? &item : nullptr;
}

ToldItems::Item& ToldItems::Add(std::string_view name, ClientSlots::Bits client) {
  if (Item* const known = Find(name)) {
    if ((ClientsOf(*known) & client) == 0) known->clients = SetOf(ClientsOf(*known) | client);
    return *known;
  }
  if (SlotsFor(size_ + 1) > slots_.size()) {
    Rehash(std::max(slots_.size() + slots_.size() / 2, kLeastSlots));
  }
  const std::uint64_t hash = NameHash(name);
  Item& item = SlotOf(hash);
  item = {};
  item.hash[0] = static_cast<std::uint32_t>(hash >> 32);
  item.hash[1] = static_cast<std::uint32_t>(hash);
  item.isUsed = true;
  item.clients = SetOf(client);
  ++size_;
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
  std::vector<ClientSlots::Bits> former = std::exchange(sets_, {});
  for (ClientSlots::Bits& clients : former) clients &= ~client;
  for (Item& item : slots_) {
    if (!item.isUsed) continue;
    if (former[item.clients] == 0) {
      item.isUsed = false;
      --size_;
    } else {
      item.clients = SetOf(former[item.clients]);
    }
  }
  Rehash(size_ == 0 ? 0 : std::max(SlotsFor(size_), kLeastSlots));
}

void ToldItems::Rehash(std::size_t slots) {
  const std::vector<Item> former = std::exchange(slots_, std::vector<Item>(slots));
  for (const Item& item : former) {
    if (item.isUsed) SlotOf(HashOf(item)) = item;
  }
}

}  // namespace kelvo
