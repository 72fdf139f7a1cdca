#include "base/property_list.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>

#include "base/string_map.h"
#include "base/string_utils.h"

namespace kelvo {
namespace {

constexpr std::int64_t kMin = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();

TEST(PropertyListTest, ConvertsAsForeignDictionariesNeed) {
  const auto none = std::nullopt;
  const struct {
    PropertyList value;
    std::optional<std::int64_t> integer;
    std::optional<bool> boolean;
    std::optional<std::string> text;
  } rows[] = {
      {true, 1, true, "1"},
      {false, 0, false, "0"},
      {kMin, kMin, true, "-9223372036854775808"},
      {std::uint64_t{7}, 7, true, "7"},
      {std::uint64_t{1} << 63, kMax, true, "9223372036854775808"},
      {-2.9, -2, true, "-2.9"},
      {0.0, 0, false, "0"},
      {9223372036854775807.0, kMax, true, "9223372036854775808"},
      {-9223372036854775808.0, kMin, true, "-9223372036854775808"},
      {1e300, kMax, true, "1e+300"},
      {std::nan(""), none, true, "nan"},
      {" \t\n\v\f\r+17 apples", 17, false, " \t\n\v\f\r+17 apples"},
      {"-0012.9", -12, false, "-0012.9"},
      {"99999999999999999999", kMax, true, "99999999999999999999"},
      {"-99999999999999999999", kMin, false, "-99999999999999999999"},
      {"- 1", none, false, "- 1"},
      {"+-1", none, false, "+-1"},
      {"0x10", 0, false, "0x10"},
      {"yes", none, true, "yes"},
      {"no", none, false, "no"},
      {PropertyList::Data{"1"}, none, none, none},
      {PropertyList::Dictionary{{"a", 1}}, none, none, none},
  };
  for (const auto& row : rows) {
    const std::string label = row.text.value_or("container");
    EXPECT_EQ(row.value.ToInteger(), row.integer) << label;
    EXPECT_EQ(row.value.ToBool(), row.boolean) << label;
    EXPECT_EQ(row.value.ToText(), row.text) << label;
  }
}

TEST(PropertyListTest, SharedTextIsAStringLikeAnyOther) {
  const auto text = std::make_shared<const std::string>("12 shared");
  const PropertyList shared(text);
  const PropertyList copied("12 shared");
  EXPECT_EQ(copied, shared);
  EXPECT_NE(PropertyList("other"), shared);
  EXPECT_NE(PropertyList(12), shared);
  EXPECT_EQ(12, shared.ToInteger());
  EXPECT_EQ("12 shared", shared.ToText());
  EXPECT_EQ(text, PropertyList(shared).ToSharedText());
  EXPECT_EQ("12 shared", *copied.ToSharedText());
  EXPECT_EQ(nullptr, PropertyList(12).ToSharedText());
}

TEST(StringMapTest, HoldsEveryKeyAndJoinsInKeyOrder) {
  const StringMap map = ToStringMap({{"size", std::int64_t{12}},
                                     {"list", std::string("a\0b", 3)},
                                     {"nested", PropertyList::Array{}},
                                     {"broken", "\xFF"}});
  EXPECT_EQ(MapJoin(map, ' '), std::string("broken= list=a\0b nested= size=12 ", 33));
}

TEST(ConvertCfStringTest, AnswersEmptyWhereThereIsNoForm) {
  const PropertyList text("caf\xC3\xA9");
  EXPECT_EQ(ConvertCfStringToString(&text, StringEncoding::kUtf8), "caf\xC3\xA9");
  EXPECT_EQ(ConvertCfStringToString(&text, StringEncoding::kAscii), "");
  EXPECT_EQ(ConvertCfStringToString(nullptr, StringEncoding::kUtf8), "");
  EXPECT_EQ(ConvertCfStringToFilesystemString(&text), "caf\xC3\xA9");
  const PropertyList zero(std::string("/a\0b", 4));
  EXPECT_EQ(ConvertCfStringToFilesystemString(&zero), "");
  const PropertyList longest(std::string(4095, 'a'));
  const PropertyList tooLong(std::string(4096, 'a'));
  EXPECT_EQ(ConvertCfStringToFilesystemString(&longest).size(), 4095u);
  EXPECT_EQ(ConvertCfStringToFilesystemString(&tooLong), "");
}

}  // namespace
}  // namespace kelvo
