#include "base/name_index.h"

#include <bit>
#include <cstring>
#include <exception>
#include <random>

namespace kelvo {
namespace {

struct Seed {
  std::uint64_t low, high;
};

Seed RandomSeed() {
  try {
    std::random_device device;
    const auto draw = [&device] { return std::uint64_t{device()} << 32 | device(); };
    return {draw(), draw()};
  } catch (const std::exception&) {
    return {0x9E3779B97F4A7C15, 0xD1B54A32D192ED03};  // better than no badges
  }
}

template <typename Word>
std::uint64_t Load(const char* bytes) {
  Word word;
  std::memcpy(&word, bytes, sizeof word);
  return word;
}

// Both halves of the product, folded: every bit of either word reaches every bit of the answer.
std::uint64_t Mix(std::uint64_t a, std::uint64_t b) {
  __extension__ using Wide = unsigned __int128;
  const Wide product = static_cast<Wide>(a) * b;
  return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
}

}  // namespace

std::uint64_t NameHash(std::string_view name) {
  static const Seed seed = RandomSeed();
  const char* bytes = name.data();
  std::size_t left = name.size();
  std::uint64_t hash = seed.low;
  for (; left > 16; left -= 16, bytes += 16) {
    hash = Mix(Load<std::uint64_t>(bytes) ^ seed.high, Load<std::uint64_t>(bytes + 8) ^ hash);
  }
  // The rest as two words that may overlap: the length, mixed in last and not into these, tells
  // apart what then looks alike.
  const char* const end = bytes + left;
  std::uint64_t a = 0, b = 0;
  if (left >= 8) {
    a = Load<std::uint64_t>(bytes);
    b = Load<std::uint64_t>(end - 8);
  } else if (left >= 4) {
    a = Load<std::uint32_t>(bytes);
    b = Load<std::uint32_t>(end - 4);
  } else if (left > 0) {
    a = Load<std::uint8_t>(bytes) << 16 | Load<std::uint8_t>(bytes + left / 2) << 8;
    a |= Load<std::uint8_t>(end - 1);
  }
  hash = Mix(a ^ seed.high, b ^ hash);
  return Mix(hash ^ seed.high, seed.low ^ name.size());
}

void NameIndex::Reset(std::size_t rows) {
  capacity_ = rows;
  // Half as many slots again as rows. The number of all ones is never a row's, so that a slot in
  // use is never kNone.
  rowMask_ = (std::uint32_t{1} << std::bit_width(rows)) - 1;
  slots_ = std::vector<std::uint32_t>(rows == 0 ? 0 : rows + rows / 2 + 1, kNone);
}

void NameIndex::Insert(std::uint64_t hash, std::uint32_t row) {
  std::size_t slot = Home(hash);
  while (slots_[slot] != kNone) slot = Next(slot);
  slots_[slot] = Tag(hash) | row;
}

}  // namespace kelvo
