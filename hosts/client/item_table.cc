#include "hosts/client/item_table.h"

#include <algorithm>
#include <utility>

namespace kelvo {

ItemTable::Item& ItemTable::Add(std::string_view name) {
  if (indexed_ == index_.Capacity()) Reindex(std::max(kFirstBlock, 2 * places_));
  const char* const kept = Keep(names_, name);
  std::uint32_t place = places_;
  if (free_.empty()) {
    AddPlace();
  } else {
    place = free_.back();
    free_.pop_back();
  }
  Item& item = At(place);
  item = Item{};
  item.name = kept;
  item.nameLength = static_cast<std::uint32_t>(name.size());
  index_.Insert(NameHash(name), place);
  ++indexed_;
  return item;
}

// The index goes on leading to a free place, and its name goes on taking memory: to be rid of these
// takes a look at every item, which is not worth it for a few.
void ItemTable::EraseGone() {
  for (std::uint32_t place = 0; place < places_; ++place) {
    Item& item = At(place);
    if (!item.gone || item.free) continue;
    item.free = true;
    item.description.reset();
    free_.push_back(place);
    ++erased_;
  }
  if (erased_ > Size()) Tidy();
}

void ItemTable::Tidy() {
  while (places_ > 0 && At(places_ - 1).free) {
    blocks_.back().pop_back();
    if (blocks_.back().empty()) blocks_.pop_back();
    --places_;
  }
  std::erase_if(free_, [this](std::uint32_t place) { return place >= places_; });
  Names names;
  for (Item& item : *this) item.name = Keep(names, item.Name());
  names_ = std::move(names);
  erased_ = 0;
  Reindex(std::bit_ceil(std::max(kFirstBlock, places_)));
}

ItemTable::Item* ItemTable::Find(std::string_view name, std::uint64_t hash) {
  const std::uint32_t place =
      index_.Find(hash, [&](std::uint32_t row) { return !At(row).free && At(row).Name() == name; });
  return place == NameIndex::kNone ? nullptr : &At(place);
}

// Takes the first entries off `packed` and answers how many. Each step is done for all of them, so
// that the processor fetches what many need at once, where it would else wait for one by one.
std::size_t ItemTable::FindBatch(std::string_view& packed, std::size_t lead,
                                 std::array<Named, kBatch>& batch) {
  std::size_t count = 0;
  while (count < kBatch && packed.size() > lead) {
    const std::size_t end = packed.find('\0', lead);
    if (end == std::string_view::npos) {
      packed = {};
      break;
    }
    Named& named = batch[count++];
    named.name = packed.substr(lead, end - lead);
    named.hash = NameHash(named.name);
    index_.Prefetch(named.hash);
    packed.remove_prefix(end + 1);
  }
  for (std::size_t i = 0; i < count; ++i) {
    const std::uint32_t likely = index_.Find(batch[i].hash, [](std::uint32_t) { return true; });
    batch[i].item = likely == NameIndex::kNone ? nullptr : &At(likely);
    __builtin_prefetch(batch[i].item);
  }
  for (std::size_t i = 0; i < count; ++i) {
    if (batch[i].item != nullptr) __builtin_prefetch(batch[i].item->name);
  }
  for (std::size_t i = 0; i < count; ++i) {
    const Item* const item = batch[i].item;
    if (item == nullptr || (!item->free && item->Name() == batch[i].name)) continue;
    batch[i].item = Find(batch[i].name, batch[i].hash);
  }
  return count;
}

void ItemTable::AddPlace() {
  const std::size_t block = BlockOf(places_);
  if (block == blocks_.size()) {
    std::vector<Item> items;
    items.reserve(std::size_t{kFirstBlock} << block);
    blocks_.push_back(std::move(items));
  }
  blocks_[block].emplace_back();
  ++places_;
}

void ItemTable::Reindex(std::uint32_t capacity) {
  index_.Reset(capacity);
  indexed_ = 0;
  for (std::uint32_t place = 0; place < places_; ++place) {
    const Item& item = At(place);
    if (item.free) continue;
    index_.Insert(NameHash(item.Name()), place);
    ++indexed_;
  }
}

const char* ItemTable::Keep(Names& names, std::string_view name) {
  if (names.empty() || names.back().capacity() - names.back().size() < name.size()) {
    const std::size_t size = names.empty() ? kFirstNames : 2 * names.back().capacity();
    names.emplace_back().reserve(std::max(std::min(size, kMostNames), name.size()));
  }
  std::vector<char>& block = names.back();
  const std::size_t at = block.size();
  block.insert(block.end(), name.begin(), name.end());
  return block.data() + at;
}

}  // namespace kelvo
