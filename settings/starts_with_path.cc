#include "base/case_folding.h"
#include "settings/value_utilities.h"

namespace kelvo {

bool StartsWithPath(std::string_view path, std::string_view prefix) {
  const auto rest = RestAfterPrefix(path, prefix);
  return rest && (rest->empty() || rest->front() == '/' || prefix == "/");
}

}  // namespace kelvo
