// What fuzzers of several kinds share: their inputs' bound, and how these are taken apart.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

namespace kelvo::fuzz {

inline constexpr std::size_t kMaxInput = 65536;

inline void Require(bool holds) {
  if (!holds) std::abort();
}

// Takes bytes from the front of an input; what is beyond its end counts as zero bytes.
class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size)
      : rest_(reinterpret_cast<const char*>(data), size) {}

  bool IsEmpty() const { return rest_.empty(); }
  unsigned Byte() {
    const std::string_view byte = Take(1);
    return byte.empty() ? 0 : static_cast<unsigned char>(byte.front());
  }
  // As many bytes as the next one says.
  std::string_view Piece() { return Take(Byte()); }
  // Everything up to the separator, which is dropped.
  std::string_view UpTo(std::string_view separator) {
    const std::size_t end = std::min(rest_.find(separator), rest_.size());
    const std::string_view part = Take(end);
    Take(separator.size());
    return part;
  }
  std::string_view Rest() { return Take(rest_.size()); }

 private:
  std::string_view Take(std::size_t size) {
    const std::string_view taken = rest_.substr(0, size);
    rest_.remove_prefix(taken.size());
    return taken;
  }

  std::string_view rest_;
};

}  // namespace kelvo::fuzz
