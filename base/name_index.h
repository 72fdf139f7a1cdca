#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace kelvo {

// A hash of the name, different in every process: names come from shared folders, and nobody shall
// choose them so that they fall together.
std::uint64_t NameHash(std::string_view name);

// Finds rows, numbered from 0, by the hash of their names: an open-addressed table of 32-bit slots,
// each with the row's number and, in the bits that the numbers leave, a piece of the hash, so that
// a row is seldom looked at in vain.
//
// Threads: one at a time.
class NameIndex {
 public:
  static constexpr std::uint32_t kNone = 0xFFFFFFFF;

  // Forgets all and makes room for rows 0 to `rows` - 1; at most 2^30.
  void Reset(std::size_t rows);
  // How many rows it has room for.
  std::size_t Capacity() const { return capacity_; }

  // The row with this hash for which `matches(row)` holds, or kNone.
  template <typename Matches>
  std::uint32_t Find(std::uint64_t hash, Matches matches) const {
    if (slots_.empty()) return kNone;
    const std::uint32_t tag = Tag(hash);
    for (std::size_t slot = Home(hash); slots_[slot] != kNone; slot = Next(slot)) {
      const std::uint32_t row = slots_[slot] & rowMask_;
      if ((slots_[slot] & ~rowMask_) == tag && matches(row)) return row;
    }
    return kNone;
  }
  // Has the processor fetch what Find and Insert will need.
  void Prefetch(std::uint64_t hash) const { __builtin_prefetch(slots_.data() + Home(hash)); }
  // The row must be below Capacity() and not be there.
  void Insert(std::uint64_t hash, std::uint32_t row);

 private:
  std::size_t Home(std::uint64_t hash) const {
    return static_cast<std::size_t>(((hash >> 32) * slots_.size()) >> 32);
  }
  std::size_t Next(std::size_t slot) const { return slot + 1 == slots_.size() ? 0 : slot + 1; }
  std::uint32_t Tag(std::uint64_t hash) const {
    return static_cast<std::uint32_t>(hash) & ~rowMask_;
  }

  std::vector<std::uint32_t> slots_;
  std::uint32_t rowMask_ = 0;
  std::size_t capacity_ = 0;
};

}  // namespace kelvo
