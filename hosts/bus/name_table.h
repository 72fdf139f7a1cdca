#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

#include "base/name_index.h"

namespace kelvo {

// A few bytes for each of very many names. Of the name it keeps 64 bits of a hash that nobody can
// foresee, however long it is; for each entry it has a quarter to six tenths of one to spare.
// Two of a million names share their entry once in forty million tables of that size.
//
// Values are valid until one is added or removed. Threads: one at a time.
template <typename Value>
class NameTable {
 public:
  // Null when there is none.
  Value* Find(std::string_view name) {
    if (slots_.empty()) return nullptr;
    Slot& slot = SlotOf(KeyOf(name));
    return slot.Key() == kFree ? nullptr : &slot.value;
  }
  // The name, which is not there yet.
  Value& Add(std::string_view name) {
    if (SlotsFor(size_ + 1) > slots_.size()) Rehash(SlotsFor(size_ + size_ / 4 + kFewItems));
    const std::uint64_t key = KeyOf(name);
    Slot& slot = SlotOf(key);
    slot = {{static_cast<std::uint32_t>(key >> 32), static_cast<std::uint32_t>(key)}, {}};
    ++size_;
    return slot.value;
  }
  // Also gives back what is spare then.
  template <typename Predicate>
  void EraseIf(Predicate isUnwanted) {
    for (Slot& slot : slots_) {
      if (slot.Key() == kFree || !isUnwanted(slot.value)) continue;
      slot = {};
      --size_;
    }
    Rehash(size_ == 0 ? 0 : SlotsFor(size_));
  }
  std::size_t Size() const { return size_; }

 private:
  static constexpr std::uint64_t kFree = 0;
  static constexpr std::size_t kFewItems = 6;

  struct Slot {
    std::uint64_t Key() const { return std::uint64_t{key[0]} << 32 | key[1]; }

    std::uint32_t key[2];  // one number would have to be aligned
    Value value;
  };
  static_assert(alignof(Slot) == alignof(std::uint32_t));

  static std::uint64_t KeyOf(std::string_view name) { return std::max(NameHash(name), kFree + 1); }
  static std::size_t SlotsFor(std::size_t items) { return items + items / 4 + 1; }

  // The key's slot, or the free one that it would take.
  Slot& SlotOf(std::uint64_t key) {
    auto slot = static_cast<std::size_t>(((key >> 32) * slots_.size()) >> 32);
    while (slots_[slot].Key() != kFree && slots_[slot].Key() != key) {
      slot = slot + 1 == slots_.size() ? 0 : slot + 1;
    }
    return slots_[slot];
  }
  void Rehash(std::size_t slots) {
    const std::vector<Slot> former = std::exchange(slots_, std::vector<Slot>(slots));
    for (const Slot& slot : former) {
      if (slot.Key() != kFree) SlotOf(slot.Key()) = slot;
    }
  }

  std::vector<Slot> slots_;
  std::size_t size_ = 0;
};

}  // namespace kelvo
