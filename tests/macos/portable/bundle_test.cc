// What the system reads before any of our code runs: one key wrong there, and Finder has no
// extension.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

#include "deployment.h"
#include "settings/property_list_xml.h"

namespace kelvo::test {
namespace {

constexpr char kIdentifier[] = "com.kelvo.vip.kelvoFinderSync";

PropertyList::Dictionary Load(const char* path) {
  std::ifstream file(path, std::ios::binary);
  const std::string text{std::istreambuf_iterator<char>(file), {}};
  std::string error;
  const auto list = ReadPropertyList(text, &error);
  EXPECT_TRUE(list && list->AsDictionary() != nullptr) << path << ": " << error;
  return list && list->AsDictionary() != nullptr ? *list->AsDictionary()
                                                 : PropertyList::Dictionary();
}

TEST(BundleTest, InfoNamesTheExtensionAsTheSystemExpectsIt) {
  const PropertyList::Dictionary info = Load(KELVO_INFO_LIST);
  const PropertyList::Dictionary expected = {
      {"CFBundleExecutable", "kelvoFinderSync"},
      {"CFBundleIdentifier", kIdentifier},
      {"CFBundleInfoDictionaryVersion", "6.0"},
      {"CFBundlePackageType", "XPC!"},
      {"CFBundleShortVersionString", deployment::kVersion},
      {"CFBundleVersion", deployment::kVersion},
      {"LSMinimumSystemVersion", "13.3"},
      {"LSUIElement", true},
      {"NSExtension",
       PropertyList::Dictionary{{"NSExtensionAttributes", PropertyList::Dictionary()},
                                {"NSExtensionPointIdentifier", "com.apple.FinderSync"},
                                {"NSExtensionPrincipalClass", "FinderSync"}}},
      {"NSPrincipalClass", "NSApplication"},
  };
  for (const auto& [key, value] : expected) {
    const PropertyList* const found = FindValue(info, key);
    EXPECT_TRUE(found != nullptr && *found == value) << key;
  }
}

// Whatever is asked for beyond the needed weakens the sandbox, and reviewers ask why.
TEST(BundleTest, EntitlementsAreThoseNeededAndNoMore) {
  const PropertyList::Dictionary expected = {
      {"com.apple.security.app-sandbox", true},
      {"com.apple.security.network.client", true},
      {"com.apple.security.temporary-exception.files.home-relative-path.read-write",
       PropertyList::Array{"/Library/Preferences/", "/Library/Logs/"}},
      {"com.apple.security.temporary-exception.mach-lookup.global-name",
       PropertyList::Array{kIdentifier}},
  };
  EXPECT_EQ(expected, Load(KELVO_ENTITLEMENTS));
}

TEST(BundleTest, EveryEntitlementSaysWhatItIsFor) {
  std::ifstream file(KELVO_ENTITLEMENTS);
  std::string line;
  std::string before;
  int keys = 0;
  while (std::getline(file, line)) {
    if (line.find("<key>") != std::string::npos) {
      ++keys;
      EXPECT_TRUE(before.ends_with("-->")) << line;
    }
    before = line;
  }
  EXPECT_EQ(4, keys);
}

}  // namespace
}  // namespace kelvo::test
