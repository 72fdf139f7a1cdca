#include "agent/sync_status_list_response.h"

#include <random>
#include <string>
#include <vector>

#include "core/finder_configuration.h"
#include "tests/support/agent_text.h"
#include "tests/support/fixture.h"
#include "tests/support/list_text_agreement.h"

namespace kelvo::test {
namespace {

class SyncStatusListResponseTest : public Fixture {
 protected:
  SyncStatusListResponseTest() : configuration_({{"full_name", PropertyList("Me Myself")}}) {
    configuration_.Load();
  }

  CSyncStatusListResponse Walk(const std::string& text) {
    return CSyncStatusListResponse(&configuration_, "/w",
                                   std::make_shared<const std::string>(text));
  }

  CFinderConfiguration configuration_;
};

TEST_F(SyncStatusListResponseTest, ReadsTheFieldsOfALockedFile) {
  CSyncStatusListResponse list = Walk("1:5:a.txt1:3:1044:6:3:bob4:F1237:1:5:alice1474634018:");
  ASSERT_TRUE(list.Next());
  EXPECT_EQ("a.txt", list.Name());
  EXPECT_FALSE(list.Folder());
  EXPECT_EQ(3, static_cast<int>(list.Status()));
  EXPECT_EQ(sync::EItemPermissions::PERM_VIEW, list.Permissions());
  EXPECT_EQ(sync::EPermissionsDenied::RENAME_TO_EXISTING_DENIED, list.Denied());
  EXPECT_EQ("bob", list.ModifiedBy());
  EXPECT_EQ("F123", list.FileId());
  EXPECT_EQ(7, list.ItemId());
  EXPECT_EQ(sync::ESyncItemLock::SYNC_LOCK, list.Lock());
  EXPECT_EQ("alice", list.LockHolder());
  EXPECT_EQ(1474634018, list.LockTime());
  EXPECT_FALSE(list.Next());
}

TEST_F(SyncStatusListResponseTest, NextRecordForgetsTheLockOfTheLast) {
  CSyncStatusListResponse list =
      Walk(ListText({{.name = "locked", .lock = 1, .lockHolder = "eve", .lockTime = 99},
                     {.name = "folder", .type = 2},
                     {.name = "mine", .lock = 2, .lockHolder = "someone", .lockTime = 5}}));
  ASSERT_TRUE(list.Next());
  EXPECT_EQ("eve", list.LockHolder());
  ASSERT_TRUE(list.Next());
  EXPECT_EQ("", list.LockHolder());
  EXPECT_EQ(0, list.LockTime());
  EXPECT_TRUE(list.Folder());
  ASSERT_TRUE(list.Next());
  EXPECT_EQ("", list.LockHolder());
  EXPECT_EQ(5, list.LockTime());
  EXPECT_FALSE(list.Next());
}

TEST_F(SyncStatusListResponseTest, OwnChangesNameNobody) {
  CSyncStatusListResponse list = Walk(ListText(
      {{.name = "a", .modifiedBy = "Me Myself"}, {.name = "b", .modifiedBy = "me myself"}}));
  ASSERT_TRUE(list.Next());
  EXPECT_EQ("", list.ModifiedBy());
  ASSERT_TRUE(list.Next());
  EXPECT_EQ("me myself", list.ModifiedBy());
}

TEST_F(SyncStatusListResponseTest, UnreadableCountThrows) {
  for (const char* text : {"", "0", "x", ":", "18446744073709551616:"}) {
    EXPECT_THROW(Walk(text), CTextDecodingException) << text;
  }
  EXPECT_FALSE(Walk("0:").Next());
  EXPECT_FALSE(Walk("0:trailing text is never read").Next());
}

// Wherever a list is cut, the record that fails is the last, answers true, and is logged once.
TEST_F(SyncStatusListResponseTest, CutListEndsWithOneHalfRecord) {
  const std::string text = ListText({{.name = "a", .modifiedBy = "x", .fileId = "1"},
                                     {.name = "b", .lock = 1, .lockHolder = "y", .lockTime = 7}});
  for (std::size_t size = 2; size < text.size(); ++size) {
    const int before = LogCount("SyncStatusListResponse exception: kelvo::CTextDecoder &");
    CSyncStatusListResponse list = Walk(text.substr(0, size));
    int records = 0;
    while (list.Next()) ++records;
    const int whole =
        size < RecordText({.name = "a", .modifiedBy = "x", .fileId = "1"}).size() + 2 ? 0 : 1;
    EXPECT_EQ(whole + 1, records) << size;
    EXPECT_EQ(before + 1, LogCount("SyncStatusListResponse exception: kelvo::CTextDecoder &"));
    EXPECT_FALSE(list.Next());
  }
}

TEST_F(SyncStatusListResponseTest, CountBeyondTheRecordsEndsTheWalk) {
  std::string text = ListText({{.name = "a"}});
  text.replace(0, 1, "18446744073709551615");
  CSyncStatusListResponse list = Walk(text);
  EXPECT_TRUE(list.Next());
  EXPECT_EQ("a", list.Name());
  EXPECT_TRUE(list.Next());
  EXPECT_FALSE(list.Next());
}

TEST_F(SyncStatusListResponseTest, AgreesWithFormattedExtractionOnDamagedLists) {
  std::mt19937 random(7);
  for (int round = 0; round < 5000; ++round) {
    std::vector<ListRecord> records;
    for (unsigned i = random() % 4; i > 0; --i) {
      records.push_back({.name = std::string(random() % 20, 'n'),
                         .type = static_cast<int>(random() % 3),
                         .modifiedBy = "user",
                         .itemId = static_cast<long long>(random()) << 20,
                         .lock = static_cast<int>(random() % 4),
                         .lockHolder = "holder",
                         .lockTime = static_cast<long>(random())});
    }
    std::string text = ListText(records);
    for (unsigned i = random() % 3; i > 0; --i) {
      text[random() % text.size()] = "0129:- \n"[random() % 8];
    }
    ASSERT_EQ("", CompareListWalk(text)) << text;
  }
}

}  // namespace
}  // namespace kelvo::test
