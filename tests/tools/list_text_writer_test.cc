#include "tools/sample_agent/list_text_writer.h"

#include <gtest/gtest.h>

#include <memory>
#include <sstream>

#include "agent/sync_status_list_response.h"
#include "core/finder_configuration.h"

namespace kelvo::sample_agent {
namespace {

TEST(ListTextWriterTest, TheExtensionsReaderGetsEveryFieldBack) {
  Item locked;
  locked.folder = true;
  locked.status = -5;
  locked.denied = static_cast<sync::EPermissionsDenied>(99);
  locked.modifiedBy = "J\xc3\xbcrgen: 3:";
  locked.fileId = "";
  locked.itemId = INT64_MIN;
  locked.lock = sync::ESyncItemLock::SYNC_PENDING_UNLOCK;
  locked.lockHolder = "1:2:";
  locked.lockTime = -1;
  Item plain;
  plain.changing = true;
  plain.lockHolder = "not written";
  const std::string list = WriteStatusList({{"a:b\n", locked}, {"7:x", plain}});

  const CFinderConfiguration configuration;
  CSyncStatusListResponse response(&configuration, "/w", std::make_shared<std::string>(list));
  ASSERT_TRUE(response.Next());
  EXPECT_EQ(response.Name(), "a:b\n");
  EXPECT_TRUE(response.Folder());
  EXPECT_EQ(static_cast<int>(response.Status()), -5);
  EXPECT_EQ(static_cast<int>(response.Denied()), 99);
  EXPECT_EQ(response.ModifiedBy(), locked.modifiedBy);
  EXPECT_EQ(response.FileId(), "");
  EXPECT_EQ(response.ItemId(), INT64_MIN);
  EXPECT_EQ(response.LockHolder(), "1:2:");
  EXPECT_EQ(response.LockTime(), -1);
  ASSERT_TRUE(response.Next());
  EXPECT_EQ(response.Name(), "7:x");
  EXPECT_EQ(static_cast<int>(response.Status()), kDirty);
  EXPECT_EQ(response.Permissions(), sync::EItemPermissions::PERM_UPDATE);
  EXPECT_EQ(response.LockHolder(), "");
  EXPECT_FALSE(response.Next());
}

TEST(ListTextWriterTest, PublicLinksAreReadAsNineFieldsEach) {
  std::istringstream text(WritePublicLinks({"/w/a", "/w/b:1"}));
  CTextDecoder decoder(&text);
  std::vector<std::string> paths;
  while (!decoder.eof()) {
    std::string skipped;
    long number = -1;
    decoder >> paths.emplace_back() >> skipped >> number >> number >> number >> skipped >>
        skipped >> skipped >> number;
  }
  EXPECT_EQ(paths, (std::vector<std::string>{"/w/a", "/w/b:1"}));
}

}  // namespace
}  // namespace kelvo::sample_agent
