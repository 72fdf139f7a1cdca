#include "tools/sample_agent/folder_watcher.h"

#include <algorithm>
#include <filesystem>

#include "tests/support/fixture.h"
#include "tests/tools/main_context.h"
#include "tools/source_id.h"

namespace kelvo::sample_agent {
namespace {

namespace fs = std::filesystem;
using std::chrono::milliseconds;

// Real files and kernel events; the time that things settle in is turned by hand.
class FolderWatcherTest : public test::Fixture, private FolderWatcher::Listener {
 protected:
  std::string MakeFolder() {
    for (const char* name : {"a", "b"}) WriteFile(Home("files/") + name, "");
    return Home("files");
  }
  // As for the extension's request.
  void List(const std::string& folder) {
    watcher_.Watch(folder);
    ASSERT_TRUE(model_.List(folder).has_value());
  }
  bool Changed(const std::string& path) const {
    return std::find(changed_.begin(), changed_.end(), path) != changed_.end();
  }
  bool IsChanging(const std::string& path) {
    const Item* item = model_.FindKnown(path);
    return item != nullptr && item->changing;
  }
  // Goes on until the kernel has nothing more to say about the item and it is in sync again.
  bool Settles(const std::string& path) {
    const tools::SourceId wake(g_timeout_add(
        10, [](gpointer) -> gboolean { return G_SOURCE_CONTINUE; }, nullptr));
    return test::TurnUntil([&] {
      fake_.runLoop.Advance(milliseconds(500));
      return !IsChanging(path);
    });
  }

  const std::string root_ = MakeFolder();
  FolderModel model_{root_};
  std::vector<std::string> changed_;
  std::vector<std::string> gone_;
  FolderWatcher watcher_{model_, fake_.runLoop, fake_.clock, milliseconds(2000), *this};

 private:
  void OnItemChanged(const std::string& path) override { changed_.push_back(path); }
  void OnItemsGone(const std::string& folder) override { gone_.push_back(folder); }
};

TEST_F(FolderWatcherTest, AWrittenFileIsDirtyUntilNothingHasHappenedForAWhile) {
  List(root_);
  WriteFile(root_ + "/a", "more");
  ASSERT_TRUE(test::TurnUntil([&] { return Changed(root_ + "/a"); }));
  EXPECT_TRUE(IsChanging(root_ + "/a"));
  fake_.runLoop.Advance(milliseconds(1900));
  EXPECT_TRUE(IsChanging(root_ + "/a"));
  changed_.clear();
  ASSERT_TRUE(Settles(root_ + "/a"));
  EXPECT_TRUE(Changed(root_ + "/a"));
  EXPECT_FALSE(IsChanging(root_ + "/b"));
}

TEST_F(FolderWatcherTest, AFileRenamedOrSavedByReplacementKeepsIdentityAndLock) {
  List(root_);
  Item* item = model_.Find(root_ + "/a");
  const std::int64_t id = item->itemId;
  item->lock = sync::ESyncItemLock::SYNC_LOCK;
  fs::rename(root_ + "/a", root_ + "/c");
  ASSERT_TRUE(test::TurnUntil([&] { return Changed(root_ + "/c"); }));
  ASSERT_TRUE(Settles(root_ + "/c"));
  EXPECT_EQ(model_.FindKnown(root_ + "/a"), nullptr);
  changed_.clear();
  WriteFile(root_ + "/.c.new", "saved");
  fs::rename(root_ + "/.c.new", root_ + "/c");
  ASSERT_TRUE(test::TurnUntil([&] { return Changed(root_ + "/c"); }));
  EXPECT_EQ(model_.FindKnown(root_ + "/c")->itemId, id);
  EXPECT_EQ(model_.FindKnown(root_ + "/c")->lock, sync::ESyncItemLock::SYNC_LOCK);
  EXPECT_EQ(model_.FindKnown(root_ + "/.c.new"), nullptr);
}

TEST_F(FolderWatcherTest, ManyDeletedFilesAreToldOnce) {
  for (int i = 0; i < 50; ++i) WriteFile(root_ + "/f" + std::to_string(i), "");
  List(root_);
  for (int i = 0; i < 50; ++i) fs::remove(root_ + "/f" + std::to_string(i));
  ASSERT_TRUE(test::TurnUntil([&] { return model_.FindKnown(root_ + "/f49") == nullptr; }));
  EXPECT_TRUE(gone_.empty());
  fake_.runLoop.Advance(milliseconds(200));
  EXPECT_EQ(gone_, std::vector<std::string>{root_});
}

TEST_F(FolderWatcherTest, AMovedFolderIsWatchedAtItsNewPlaceAndItsItemsSettleThere) {
  fs::create_directories(root_ + "/old");
  WriteFile(root_ + "/old/f", "");
  List(root_);
  List(root_ + "/old");
  WriteFile(root_ + "/old/f", "more");
  ASSERT_TRUE(test::TurnUntil([&] { return IsChanging(root_ + "/old/f"); }));
  fs::rename(root_ + "/old", root_ + "/new");
  ASSERT_TRUE(test::TurnUntil([&] { return IsChanging(root_ + "/new/f"); }));
  ASSERT_TRUE(Settles(root_ + "/new/f"));
  EXPECT_TRUE(Changed(root_ + "/new/f"));
  List(root_ + "/new");
  WriteFile(root_ + "/new/f", "still more");
  EXPECT_TRUE(test::TurnUntil([&] { return IsChanging(root_ + "/new/f"); }));
}

TEST_F(FolderWatcherTest, AnExternalFolderIsFollowedAndLeft) {
  const std::string from = Home("ext/from"), to = Home("ext/to");
  WriteFile(from + "/f", "");
  model_.SetExternalFolders({from});
  List(from);
  WriteFile(from + "/f", "more");
  ASSERT_TRUE(test::TurnUntil([&] { return IsChanging(from + "/f"); }));
  fs::rename(from, to);
  model_.SetExternalFolders({to});
  watcher_.Follow(from, to);
  ASSERT_TRUE(IsChanging(to + "/f"));
  ASSERT_TRUE(Settles(to + "/f"));
  List(to);
  watcher_.Leave(to);
  model_.SetExternalFolders({});
  changed_.clear();
  List(root_);
  WriteFile(to + "/f", "unseen");
  WriteFile(root_ + "/a", "seen");
  ASSERT_TRUE(test::TurnUntil([&] { return Changed(root_ + "/a"); }));
  EXPECT_FALSE(Changed(to + "/f"));
}

}  // namespace
}  // namespace kelvo::sample_agent
