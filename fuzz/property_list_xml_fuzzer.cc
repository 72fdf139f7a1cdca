#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "settings/property_list_xml.h"

// What the writer makes of a value that was read must read back.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > 65536) return 0;
  std::string error;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const auto value = kelvo::ReadXmlPropertyList(text, &error);
  if (!value) {
    if (error.empty()) std::abort();
    return 0;
  }
  const auto written = kelvo::WriteXmlPropertyList(*value);
  if (written && kelvo::WriteXmlPropertyList(
                     kelvo::ReadXmlPropertyList(*written, nullptr).value()) != written) {
    std::abort();
  }
  return 0;
}
