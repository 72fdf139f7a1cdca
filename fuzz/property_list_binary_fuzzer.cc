#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "settings/property_list_binary.h"

namespace {

// Single objects, as the archive reader asks for them, and references that no container holds.
void ReadObjects(const kelvo::BinaryPropertyListReader& reader) {
  const std::uint64_t objects = std::min<std::uint64_t>(reader.ObjectCount() + 1, 1000);
  for (std::uint64_t i = 0; i < objects; ++i) {
    const auto object = reader.At(i);
    if (!object) continue;
    (void)kelvo::BinaryPropertyListReader::Text(*object);
    const std::uint64_t references = std::min<std::uint64_t>(object->count, 100);
    for (std::uint64_t r = 0; r < references * 2 + 1; ++r) {
      (void)reader.At(reader.Reference(*object, r));
    }
  }
}

}  // namespace

// What the writer makes of a value that was read must read back.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > 65536) return 0;
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  std::string error;
  if (const auto reader = kelvo::BinaryPropertyListReader::Open(bytes, &error)) {
    ReadObjects(*reader);
  } else if (error.empty()) {
    std::abort();
  }
  error.clear();
  const auto value = kelvo::ReadBinaryPropertyList(bytes, &error);
  if (!value) {
    if (error.empty()) std::abort();
    return 0;
  }
  const auto written = kelvo::WriteBinaryPropertyList(*value);
  if (!written || kelvo::WriteBinaryPropertyList(
                      kelvo::ReadBinaryPropertyList(*written, nullptr).value()) != written) {
    std::abort();
  }
  return 0;
}
