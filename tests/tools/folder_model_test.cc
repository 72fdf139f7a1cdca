#include "tools/sample_agent/folder_model.h"

#include <filesystem>

#include "tests/support/fixture.h"

namespace kelvo::sample_agent {
namespace {

namespace fs = std::filesystem;

class FolderModelTest : public test::Fixture {
 protected:
  FolderModelTest() { fs::create_directories(root_ + "/sub/deep"); }

  // The names, each followed by a "|"; nullopt for what is no folder of the model.
  std::optional<std::string> ListNames(const std::string& folder) {
    const auto items = model_.List(folder);
    if (!items.has_value()) return std::nullopt;
    std::string names;
    for (const ListedItem& listed : *items) names += listed.name + '|';
    return names;
  }

  const std::string root_ = Home("files");
  FolderModel model_{root_};
};

TEST_F(FolderModelTest, NobodyLooksOutOfTheServedFolders) {
  fs::create_directories(Home("files2/x"));
  fs::create_symlink(Home("files2"), root_ + "/link");
  WriteFile(root_ + "/file", "");
  for (const std::string& path :
       {root_ + "/link", root_ + "/link/x", root_ + "/../files2", root_ + "/sub/..", root_ + "/",
        root_ + "/file", root_ + "/gone", Home("files2"), root_ + std::string("/sub\0x", 6),
        std::string("/"), std::string("sub"), std::string()}) {
    EXPECT_FALSE(ListNames(path).has_value()) << path;
    EXPECT_FALSE(model_.IsFolder(path)) << path;
  }
  EXPECT_EQ(ListNames(root_ + "/sub"), "deep|");
}

TEST_F(FolderModelTest, ResolvesWhatAUserTypes) {
  const FolderModel model("/srv/files");
  EXPECT_EQ(model.Resolve("./a//b/"), "/srv/files/a/b");
  EXPECT_EQ(model.Resolve("/srv/files"), "/srv/files");
  for (const char* path : {"", "..", "a/../../x", "/srv", "/srv/files2", "\xff"}) {
    EXPECT_FALSE(model.Resolve(path).has_value()) << path;
  }
}

}  // namespace
}  // namespace kelvo::sample_agent
