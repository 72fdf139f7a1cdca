// A menu's lines as a file manager takes them, and what it shows them for.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "hosts/client/file_menu.h"
#include "hosts/gtk/local_path.h"
#include "platform/linux/glib_ptr.h"

namespace kelvo {
namespace {

TEST(FileMenuTest, NamesAreUniqueAndFollowTheLine) {
  const auto named = [](const std::vector<std::string>& actions) {
    FileMenu menu;
    for (const std::string& action : actions) menu.lines.push_back({.action = action});
    return UniqueNames(menu);
  };
  const std::string prefix = "KelvoFinderSync::";
  EXPECT_EQ(named({"", "lock", "", "lock", "line1"}),
            (std::vector<std::string>{prefix + "line1", prefix + "lock", prefix + "line2",
                                      prefix + "lock-2", prefix + "line1-2"}));
}

TEST(FileMenuTest, TitlesAreShownAsTextOfBearableLength) {
  struct Row {
    std::string title;
    bool mnemonics;
    std::string shown;
  };
  std::string wide;
  for (int i = 0; i < 200; ++i) wide += "\u00e4";
  for (const Row& row : std::vector<Row>{
           {"Locked by <b>a_b</b> %s & co", false, "Locked by <b>a_b</b> %s & co"},
           {"_a__b_", true, "__a____b__"},
           {"two\nlines\tand\x7f", true, "two lines and "},
           {"a\u0085b\u2028c\u2029d", true, "a b c d"},
           {"\u202aa\u202eb\u2066c\u2069d", true, "abcd"},
           {"\u00a0\u2027\u202f\u2065\u206a", true, "\u00a0\u2027\u202f\u2065\u206a"},
           {std::string(240, 'x'), true, std::string(240, 'x')},
           {"x" + wide, true, "x" + wide.substr(0, 238) + "\u2026"},
       }) {
    EXPECT_EQ(ShownTitle(row.title, row.mnemonics), row.shown);
  }
}

TEST(LocalPathTest, OnlyLocalPlacesHaveOne) {
  struct Row {
    const char* location;
    const char* path;
  };
  for (const Row& row : {Row{"file:///w/a%20b", "/w/a b"},
                         {"file:///w/folder/", "/w/folder"},
                         {"file:///w/a%00b", ""},
                         {"sftp://host/w/a", ""},
                         {"smb://host/w/a", ""},
                         {"trash:///a", ""},
                         {"recent:///a", ""}}) {
    const GObjectPtr<GFile> location(g_file_new_for_uri(row.location));
    EXPECT_EQ(LocalPath(location.get()), row.path) << row.location;
  }
  EXPECT_EQ(LocalPath(nullptr), "");
}

}  // namespace
}  // namespace kelvo
