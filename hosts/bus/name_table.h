#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "base/name_index.h"

namespace kelvo {

// A few bytes for each of very many names. Of the name it keeps 64 bits of a hash that nobody can
// foresee, however long it is; for each entry it has half of one to nine tenths to spare.
// Two of a million names share their entry once in forty million tables of that size.
//
// Values are valid until one is added or removed. Threads: one at a time.
template <typename Value>
class NameTable {
 public:
  // Null when there is none.
  Value* Find(std::string_view name) { return Find(KeyOf(name)); }
  // The same for many names. Some at a time, so that their waits for memory overlap.
  void Find(std::span<const std::string_view> names, std::span<Value*> values) {
    std::array<std::uint64_t, kBatch> keys;
    for (std::size_t begin = 0; begin < names.size(); begin += kBatch) {
      const std::span some = names.subspan(begin, std::min(kBatch, names.size() - begin));
      for (std::size_t i = 0; i < some.size(); ++i) {
        keys[i] = KeyOf(some[i]);
        __builtin_prefetch(slots_.data() + HomeOf(keys[i]));
      }
      for (std::size_t i = 0; i < some.size(); ++i) values[begin + i] = Find(keys[i]);
    }
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
  static constexpr std::size_t kBatch = 16;

  struct Slot {
    std::uint64_t Key() const { return std::uint64_t{key[0]} << 32 | key[1]; }

    std::uint32_t key[2];  // one number would have to be aligned
    Value value;
  };
  static_assert(alignof(Slot) == alignof(std::uint32_t));

  static std::uint64_t KeyOf(std::string_view name) { return std::max(NameHash(name), kFree + 1); }
  static std::size_t SlotsFor(std::size_t items) { return items + items / 2 + 1; }

  std::size_t HomeOf(std::uint64_t key) const {
    return static_cast<std::size_t>(((key >> 32) * slots_.size()) >> 32);
  }
  Value* Find(std::uint64_t key) {
    if (slots_.empty()) return nullptr;
    Slot& slot = SlotOf(key);
    return slot.Key() == kFree ? nullptr : &slot.value;
  }

  // The key's slot, or the free one that it would take.
  Slot& SlotOf(std::uint64_t key) {
    std::size_t slot = HomeOf(key);
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
