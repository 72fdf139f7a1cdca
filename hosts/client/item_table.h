// The items of one folder of a BadgeStore; for its own sources alone.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "base/name_index.h"
#include "hosts/client/badge_store.h"
#include "hosts/client/item_descriptions.h"

namespace kelvo {

// Small, and what a change of badges touches comes first: thousands may change at once, when none
// of them is in the processor's cache.
struct BadgeStore::Item {
  const char* name = nullptr;
  std::uint32_t nameLength = 0;
  BadgeByte badge = kNoBadge;
  BadgeByte told = kNoBadge;          // the last answer to the file manager
  bool queued = false;                // it waits in the folder's queue
  bool changed = false;               // it waits in changed_
  bool repaint = false;               // to be told even when the badge is the one told
  bool used = false;                  // looked up since the last sweep
  bool toDescribe = false;            // it waits in the folder's queue for descriptions
  bool stale : 1 = false;             // the badge is a former extension's
  bool staleDescription : 1 = false;  // the description is a former extension's
  bool gone : 1 = false;              // being swept, or free
  bool free : 1 = false;              // was erased: its place is another item's to be
  std::uint32_t holders = 0;
  Folder* folder = nullptr;
  DescriptionPool::Ptr description;

  // Valid until items of the folder are erased.
  std::string_view Name() const { return {name, nameLength}; }
};

// Items lie together in the order of their insertion, and so do their names: a signal that names
// many of them reads memory from front to back. An item stays where it is until it is erased.
//
// Iteration may erase nothing, and may mark none but the present item as gone. Threads: one.
class ItemTable {
 public:
  using Item = BadgeStore::Item;
  class Iterator;

  // Without those that are gone.
  std::size_t Size() const { return places_ - free_.size(); }
  Iterator begin();
  Iterator end();

  // Null when there is none.
  Item* Find(std::string_view name) { return Find(name, NameHash(name)); }
  // There must be none of that name.
  Item& Add(std::string_view name);
  // Erases those that are marked as gone; nobody may point to them any more.
  void EraseGone();

  // Calls use(item, entry) for each entry of `packed` that names an item. An entry: `lead` bytes, a
  // name, a zero byte; what is cut off at the end is ignored. `use` may neither add nor erase.
  template <typename Use>
  void ForEachNamed(std::string_view packed, std::size_t lead, Use use) {
    while (packed.size() > lead) {
      std::array<Named, kBatch> batch;
      const std::size_t count = FindBatch(packed, lead, batch);
      for (std::size_t i = 0; i < count; ++i) {
        if (batch[i].item != nullptr) use(*batch[i].item, batch[i].name.data() - lead);
      }
    }
  }

 private:
  // Each block is twice as large as the one before it and never grows: most folders are small.
  static constexpr std::uint32_t kFirstBlock = 8;
  static constexpr std::size_t kFirstNames = 256, kMostNames = 65'536;  // bytes
  static constexpr std::size_t kBatch = 32;
  using Names = std::vector<std::vector<char>>;

  struct Named {
    std::string_view name;
    std::uint64_t hash;
    Item* item;
  };

  static std::size_t BlockOf(std::uint32_t place) {
    return static_cast<std::size_t>(std::bit_width(place + kFirstBlock) -
                                    std::bit_width(kFirstBlock));
  }
  Item& At(std::uint32_t place) {
    const std::size_t block = BlockOf(place);
    return blocks_[block][place + kFirstBlock - (kFirstBlock << block)];
  }
  Item* Find(std::string_view name, std::uint64_t hash);
  std::size_t FindBatch(std::string_view& packed, std::size_t lead,
                        std::array<Named, kBatch>& batch);
  void AddPlace();
  void Tidy();
  void Reindex(std::uint32_t capacity);
  static const char* Keep(Names& names, std::string_view name);

  std::vector<std::vector<Item>> blocks_;
  std::uint32_t places_ = 0;         // in all blocks
  std::vector<std::uint32_t> free_;  // places of items that were erased
  std::size_t erased_ = 0;           // since all was tidied
  Names names_;
  NameIndex index_;
  std::size_t indexed_ = 0;  // entries of the index, also of places that are free since
};

class ItemTable::Iterator {
 public:
  Iterator(ItemTable& table, std::uint32_t place) : table_(table), place_(place) { SkipGone(); }
  Item& operator*() const { return table_.At(place_); }
  Iterator& operator++() {
    ++place_;
    SkipGone();
    return *this;
  }
  bool operator!=(const Iterator& other) const { return place_ != other.place_; }

 private:
  void SkipGone() {
    while (place_ < table_.places_ && table_.At(place_).gone) ++place_;
  }

  ItemTable& table_;
  std::uint32_t place_;
};

inline ItemTable::Iterator ItemTable::begin() { return {*this, 0}; }
inline ItemTable::Iterator ItemTable::end() { return {*this, places_}; }

}  // namespace kelvo
