#include "cache/name_index.h"

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

std::uint64_t Load(const char* bytes) {
  std::uint64_t word;
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
  std::uint64_t hash = seed.low ^ left;
  for (; left > 16; left -= 16, bytes += 16) {
    hash = Mix(Load(bytes) ^ seed.high, Load(bytes + 8) ^ hash);
  }
  char tail[16] = {};
  if (left > 0) std::memcpy(tail, bytes, left);
  hash = Mix(Load(tail) ^ seed.high, Load(tail + 8) ^ hash);
  return Mix(hash ^ seed.high, seed.low);
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
