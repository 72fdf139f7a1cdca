#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "agent/keyed_archive.h"

// Either a reason, or a dictionary that the writer can write and that then reads back the same.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > 65536) return 0;
  std::string error;
  const auto dictionary = kelvo::DecodeKeyedArchive(
      std::string_view(reinterpret_cast<const char*>(data), size), &error);
  if (!dictionary) {
    if (error.empty()) std::abort();
    return 0;
  }
  const std::string written = kelvo::EncodeKeyedArchive(*dictionary);
  const auto again = kelvo::DecodeKeyedArchive(written, &error);
  // Compared as bytes, since a number that is none is not equal to itself.
  if (!again || again->size() != dictionary->size() ||
      kelvo::EncodeKeyedArchive(*again) != written) {
    std::abort();
  }
  return 0;
}
