#include "hosts/client/item_labels.h"

#include <algorithm>
#include <iterator>
#include <string_view>

#include "base/user_languages.h"

namespace kelvo {

namespace {

constexpr struct {
  std::string_view language;
  ItemLabels labels;
} kTable[] = {
#include "item_labels_table.inc"
};

constexpr const ItemLabels& kBase = kTable[0].labels;
static_assert(kTable[0].language == kBaseLanguage);

}  // namespace

const ItemLabels& ItemLabelsIn(const std::vector<std::string>& languages) {
  for (const std::string& name : TableNames(languages)) {
    const auto row = std::find_if(std::begin(kTable), std::end(kTable),
                                  [&](const auto& each) { return each.language == name; });
    if (row != std::end(kTable)) return row->labels;
  }
  return kBase;
}

}  // namespace kelvo
