// The table of texts that ships, as the extension reads it.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>

#include "base/format_text.h"
#include "settings/property_list_xml.h"

namespace kelvo {
namespace {

TEST(BaseTableTest, HoldsOnlyTextsWhoseSpecifiersAreKnown) {
  std::ifstream file(KELVO_BASE_TABLE, std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(file), {}};
  std::string error;
  const auto table = ReadXmlPropertyList(bytes, &error);
  ASSERT_TRUE(table) << error;
  ASSERT_NE(table->AsDictionary(), nullptr);
  EXPECT_FALSE(table->AsDictionary()->empty());
  for (const auto& [key, value] : *table->AsDictionary()) {
    ASSERT_NE(value.AsString(), nullptr) << key;
    // An unknown specifier is answered as it stands in the text, "%" included.
    for (const std::string& kind : FormatSpecifiers(*value.AsString())) {
      EXPECT_TRUE(kind == "@" || kind == "d" || kind == "f") << key << ": " << kind;
    }
  }
}

}  // namespace
}  // namespace kelvo
