#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "tests/support/list_text_agreement.h"

namespace {

void Check(const std::string& difference) {
  if (difference.empty()) return;
  std::fprintf(stderr, "%s\n", difference.c_str());
  std::abort();
}

}  // namespace

// The cursor and the decoder over streams must agree with plain formatted extraction, and with each
// other about what a failure says: about the input as a status list, and, its first bytes taken as
// operations, about the rest field by field.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > 65536) return 0;
  const std::string text(reinterpret_cast<const char*>(data), size);
  Check(kelvo::test::CompareListWalk(text));
  const std::size_t operations = std::min<std::size_t>(size, 8);
  kelvo::test::ListTextComparison comparison(std::string_view(text).substr(operations));
  for (std::size_t i = 0; i < operations; ++i) Check(comparison.Compare(data[i]));
  return 0;
}
