// How much of a foreign property list is taken, whichever its form.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kelvo {

// The files that the Agent writes are some kilobytes long.
inline constexpr std::size_t kMaxPropertyListBytes = std::size_t{64} << 20;
// A value takes some sixty bytes of memory, its shortest text seven.
inline constexpr std::uint64_t kMaxPropertyListValues = 1'000'000;

}  // namespace kelvo
