#include "tools/sample_agent/folder_model.h"

#include <filesystem>

#include "tests/support/fixture.h"

namespace kelvo::sample_agent {
namespace {

class FolderModelTest : public test::Fixture {
 protected:
  FolderModelTest() { std::filesystem::create_directories(root_ + "/sub/deep"); }

  std::vector<std::string> ListNames(FolderModel& model, const std::string& folder) {
    std::vector<std::string> names;
    const auto items = model.List(folder);
    if (!items.has_value()) return {"unknown"};
    for (const ListedItem& listed : *items) names.push_back(listed.name);
    return names;
  }

  const std::string root_ = Home("files");
};

using Names = std::vector<std::string>;

TEST_F(FolderModelTest, ListsWhatAnAgentCanSay) {
  WriteFile(root_ + "/b", "");
  WriteFile(root_ + "/a:\n", "");
  WriteFile(root_ + "/bad\xff", "");
  std::filesystem::create_symlink("/", root_ + "/link");
  FolderModel model(root_);
  const auto items = model.List(root_);
  ASSERT_TRUE(items.has_value());
  ASSERT_EQ(ListNames(model, root_), (Names{"a:\n", "b", "link", "sub"}));
  EXPECT_FALSE((*items)[2].item.folder);
  EXPECT_TRUE((*items)[3].item.folder);
  EXPECT_NE((*items)[0].item.itemId, (*items)[1].item.itemId);
  EXPECT_EQ(ListNames(model, home_), Names{"files"});
}

TEST_F(FolderModelTest, NobodyLooksOutOfTheServedFolder) {
  std::filesystem::create_directories(Home("files2/x"));
  std::filesystem::create_symlink(Home("files2"), root_ + "/link");
  WriteFile(root_ + "/file", "");
  FolderModel model(root_);
  for (const std::string& path :
       {root_ + "/link", root_ + "/link/x", root_ + "/../files2", root_ + "/sub/..", root_ + "/",
        root_ + "/file", root_ + "/gone", Home("files2"), root_ + std::string("/sub\0x", 6),
        std::string("/"), std::string("sub"), std::string()}) {
    EXPECT_EQ(ListNames(model, path), Names{"unknown"}) << path;
    EXPECT_FALSE(model.IsFolder(path)) << path;
  }
  EXPECT_EQ(ListNames(model, root_ + "/sub"), Names{"deep"});
}

TEST_F(FolderModelTest, ResolvesWhatAUserTypes) {
  const FolderModel model("/srv/files");
  EXPECT_EQ(model.Resolve("a/b.txt"), "/srv/files/a/b.txt");
  EXPECT_EQ(model.Resolve("./a//b/"), "/srv/files/a/b");
  EXPECT_EQ(model.Resolve("/srv/files"), "/srv/files");
  for (const char* path : {"", "..", "a/../../x", "/srv", "/srv/files2", "/etc", "\xff"}) {
    EXPECT_FALSE(model.Resolve(path).has_value()) << path;
  }
}

TEST_F(FolderModelTest, AMovedFolderTakesItsItemsAlong) {
  FolderModel model(root_);
  Item locked;
  locked.lock = sync::ESyncItemLock::SYNC_LOCK;
  model.Set(root_ + "/sub/deep/f", locked);
  model.Set(root_ + "/sub", Item());
  model.Set(root_ + "/sub2", Item());
  const std::int64_t id = model.FindKnown(root_ + "/sub/deep/f")->itemId;
  model.Move(root_ + "/sub", root_ + "/new");
  EXPECT_EQ(model.FindKnown(root_ + "/sub/deep/f"), nullptr);
  ASSERT_NE(model.FindKnown(root_ + "/new/deep/f"), nullptr);
  EXPECT_EQ(model.FindKnown(root_ + "/new/deep/f")->itemId, id);
  EXPECT_EQ(model.FindKnown(root_ + "/new/deep/f")->lock, sync::ESyncItemLock::SYNC_LOCK);
  model.Forget(root_ + "/new");
  EXPECT_EQ(model.FindKnown(root_ + "/new/deep/f"), nullptr);
  EXPECT_NE(model.FindKnown(root_ + "/sub2"), nullptr);
}

TEST_F(FolderModelTest, AnItemOfAScenarioKeepsItsStateUntilItAppears) {
  FolderModel model(root_);
  Item item;
  item.status = 7;
  item.itemId = 41;
  model.Set(root_ + "/late", item);
  EXPECT_EQ(ListNames(model, root_), Names{"sub"});
  EXPECT_EQ(model.Find(root_ + "/late"), nullptr);
  WriteFile(root_ + "/late", "");
  ASSERT_NE(model.Find(root_ + "/late"), nullptr);
  EXPECT_EQ(model.Find(root_ + "/late")->status, 7);
  EXPECT_EQ(model.Find(root_ + "/late")->itemId, 41);
  EXPECT_EQ(model.Find(root_ + "/late")->fileId, "F41");
  WriteFile(root_ + "/other", "");
  EXPECT_GT(model.Find(root_ + "/other")->itemId, 41);
}

}  // namespace
}  // namespace kelvo::sample_agent
