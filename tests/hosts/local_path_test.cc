#include "hosts/gtk/local_path.h"

#include <gtest/gtest.h>

#include "platform/linux/glib_ptr.h"

namespace kelvo {
namespace {

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
