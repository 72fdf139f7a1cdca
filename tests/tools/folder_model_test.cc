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

TEST_F(FolderModelTest, ListsWhatAnAgentCanSay) {
  WriteFile(root_ + "/b", "");
  WriteFile(root_ + "/a:\n", "");
  WriteFile(root_ + "/bad\xff", "");
  fs::create_symlink("/", root_ + "/link");
  ASSERT_EQ(ListNames(root_), "a:\n|b|link|sub|");
  const auto items = model_.List(root_);
  EXPECT_FALSE((*items)[2].item.folder);
  EXPECT_TRUE((*items)[3].item.folder);
  EXPECT_NE((*items)[0].item.itemId, (*items)[1].item.itemId);
  EXPECT_EQ(ListNames(home_), "files|");
}

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

TEST_F(FolderModelTest, ExternalFoldersAreServedAsLongAsTheyAreSet) {
  fs::create_directories(Home("ext/museum/hall"));
  fs::create_directories(Home("behind"));
  WriteFile(Home("behind/file"), "");
  fs::create_directory_symlink(Home("behind"), Home("ext/harbour"));
  model_.SetExternalFolders({Home("ext/museum"), Home("ext/harbour"), Home("ext/gone"), "/", "ext",
                             Home("ext/"), Home("ext/museum")});
  EXPECT_EQ(ListNames(Home("ext/museum")), "hall|");
  EXPECT_EQ(ListNames(Home("ext/harbour")), "file|");
  EXPECT_EQ(ListNames(Home("ext")), "harbour|museum|");
  EXPECT_FALSE(ListNames(Home("behind")).has_value());
  EXPECT_TRUE(model_.Resolve(Home("ext/museum/new")).has_value());
  model_.SetExternalFolders({Home("ext/museum")});
  EXPECT_FALSE(ListNames(Home("ext/harbour")).has_value());
  EXPECT_EQ(ListNames(root_), "sub|");
}

TEST_F(FolderModelTest, ResolvesWhatAUserTypes) {
  const FolderModel model("/srv/files");
  EXPECT_EQ(model.Resolve("./a//b/"), "/srv/files/a/b");
  EXPECT_EQ(model.Resolve("/srv/files"), "/srv/files");
  for (const char* path : {"", "..", "a/../../x", "/srv", "/srv/files2", "\xff"}) {
    EXPECT_FALSE(model.Resolve(path).has_value()) << path;
  }
}

TEST_F(FolderModelTest, AMovedFolderTakesItsItemsAlong) {
  Item locked;
  locked.lock = sync::ESyncItemLock::SYNC_LOCK;
  model_.Set(root_ + "/sub/deep/f", locked);
  model_.Set(root_ + "/sub", Item());
  model_.Set(root_ + "/sub2", Item());
  const std::int64_t id = model_.FindKnown(root_ + "/sub/deep/f")->itemId;
  model_.Move(root_ + "/sub", root_ + "/new");
  EXPECT_EQ(model_.FindKnown(root_ + "/sub/deep/f"), nullptr);
  ASSERT_NE(model_.FindKnown(root_ + "/new/deep/f"), nullptr);
  EXPECT_EQ(model_.FindKnown(root_ + "/new/deep/f")->itemId, id);
  model_.Forget(root_ + "/new");
  EXPECT_EQ(model_.FindKnown(root_ + "/new/deep/f"), nullptr);
  EXPECT_NE(model_.FindKnown(root_ + "/sub2"), nullptr);
}

TEST_F(FolderModelTest, AnItemOfAScenarioKeepsItsStateUntilItAppears) {
  Item item;
  item.status = 7;
  item.itemId = 41;
  model_.Set(root_ + "/late", item);
  EXPECT_EQ(ListNames(root_), "sub|");
  EXPECT_EQ(model_.Find(root_ + "/late"), nullptr);
  WriteFile(root_ + "/late", "");
  ASSERT_NE(model_.Find(root_ + "/late"), nullptr);
  EXPECT_EQ(model_.Find(root_ + "/late")->status, 7);
  EXPECT_EQ(model_.Find(root_ + "/late")->fileId, "1041");
  WriteFile(root_ + "/other", "");
  EXPECT_GT(model_.Find(root_ + "/other")->itemId, 41);
}

}  // namespace
}  // namespace kelvo::sample_agent
