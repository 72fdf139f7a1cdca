#include "ui/item_words.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "tests/support/started_extension.h"

namespace kelvo::test {
namespace {

class ItemWordsTest : public StartedExtension {};

TEST_F(ItemWordsTest, SaysStateLockOwnerAndPermissionAsBadgeAndMenuDo) {
  const std::string longName(100, 'x');
  const struct {
    ListRecord record;
    ItemWords words;
  } kCases[] = {
      {{.name = "synced"}, {"In sync", "", "Modify"}},
      {{.name = "syncing", .status = 1, .permissions = 30},
       {"Syncing", "", "Read-Only - (Selective Sync)"}},
      {{.name = "eve", .status = 1, .lock = 1, .lockHolder = "Eve"},
       {"Locked by another user", "Eve", "Modify"}},
      {{.name = "mine", .permissions = 1124, .lock = 2}, {"Locked by you", "Me", "Project Owner"}},
      {{.name = "named", .permissions = 0, .lock = 2, .lockHolder = "Zo\u00EB"},
       {"Locked by you", "Me", ""}},
      {{.name = "pending", .permissions = -5, .lock = 3, .lockHolder = longName},
       {"Unlock pending", std::string(40, 'x') + "\u2026" + std::string(39, 'x'), ""}},
      {{.name = "denied", .permissions = 1065, .denied = 7, .lock = 1, .lockHolder = "E\n\u202E"},
       {"Permission violation", "E\uFFFD\uFFFD", "Value: 1065"}},
      {{.name = "other lock", .lock = 9}, {"In sync", "", "Modify"}},
  };
  std::vector<ListRecord> records;
  for (const auto& entry : kCases) records.push_back(entry.record);
  cache().GetStatus("/w/synced");
  SendList("/w", records);
  const std::vector<std::string> requests = NewRequests();

  // Green check marks are switched off: the words do not care.
  WriteUserInfo("<key>show_green_checkmarks</key><false/>");
  std::vector<std::string_view> names;
  for (const auto& entry : kCases) names.push_back(entry.record.name);
  for (const char* unknown : {"", "unknown", "mine", "synced"}) names.emplace_back(unknown);
  const WordsOfItems items = extension_->describeItems("/w", names);
  ASSERT_EQ(names.size(), items.which.size());
  for (std::size_t i = 0; i < std::size(kCases); ++i) {
    EXPECT_EQ(kCases[i].words, items.descriptions.at(items.which[i])) << names[i];
  }
  EXPECT_EQ((std::vector<std::uint32_t>{0, 0, items.which[3], items.which[0]}),
            std::vector<std::uint32_t>(items.which.end() - 4, items.which.end()));
  EXPECT_EQ(ItemWords{}, items.descriptions.front());
  EXPECT_EQ(8U, items.descriptions.size()) << "those that are alike are one";

  // Of a folder that nobody knows: nothing, and nobody is asked.
  EXPECT_EQ(std::vector<std::uint32_t>{0}, extension_->describeItems("/x", {"synced"}).which);
  EXPECT_EQ(std::vector<std::string>{}, NewRequests());
  fake_.runLoop.Advance(std::chrono::seconds{1800});
  EXPECT_FALSE(cache().IsListed("/w")) << "describing counts as no access";
}

TEST(ItemDescriberTest, LeavesOutWhatTheBusCannotCarry) {
  ItemDescriber describer(3, 60);
  CSyncCacheItem item;
  item.lock = sync::ESyncItemLock::SYNC_LOCK_FOR_ME;
  for (const std::string& owner : {std::string("Zo\u00EB"), std::string(70, 'x'), std::string()}) {
    item.lockOwner = owner;
    describer.Add(item);
  }
  const WordsOfItems items = std::move(describer).Take();
  EXPECT_EQ((std::vector<std::uint32_t>{1, 0, 0}), items.which);
  EXPECT_EQ((ItemWords{"", "Zo\u00EB", ""}), items.descriptions.at(1));
}

}  // namespace
}  // namespace kelvo::test
