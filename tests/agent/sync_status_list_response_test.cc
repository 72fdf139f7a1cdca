#include "agent/sync_status_list_response.h"

#include <sstream>
#include <string>

#include "core/finder_configuration.h"
#include "tests/support/agent_text.h"
#include "tests/support/fixture.h"

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

// A record says nothing of the one before, and nobody is named for the user's own doings.
TEST_F(SyncStatusListResponseTest, NamesOnlyOthers) {
  CSyncStatusListResponse list =
      Walk(ListText({{.name = "locked", .lock = 1, .lockHolder = "eve", .lockTime = 99},
                     {.name = "folder", .type = 2, .modifiedBy = "Me Myself"},
                     {.name = "mine",
                      .modifiedBy = "me myself",
                      .lock = 2,
                      .lockHolder = "someone",
                      .lockTime = 5}}));
  std::ostringstream seen;
  while (list.Next()) {
    seen << list.Name() << " by '" << list.ModifiedBy() << "' held by '" << list.LockHolder()
         << "' " << list.LockTime() << (list.Folder() ? " folder\n" : "\n");
  }
  EXPECT_EQ(
      "locked by '' held by 'eve' 99\n"
      "folder by '' held by '' 0 folder\n"
      "mine by 'me myself' held by '' 5\n",
      seen.str());
}

TEST_F(SyncStatusListResponseTest, AsksTheConfigurationAsItStandsForEachRecord) {
  CFinderConfiguration later({{"full_name", PropertyList("Me Myself")}});
  const std::string text = ListText({{.modifiedBy = "Me Myself"}, {.modifiedBy = "Me Myself"}});
  CSyncStatusListResponse list(&later, "/w", std::make_shared<const std::string>(text));
  ASSERT_TRUE(list.Next());
  EXPECT_EQ("Me Myself", list.ModifiedBy());
  later.Load();
  ASSERT_TRUE(list.Next());
  EXPECT_EQ("", list.ModifiedBy());
}

TEST_F(SyncStatusListResponseTest, CountIsReadAtOnceAndNotBelieved) {
  for (const char* text : {"", "0", "x", ":", "18446744073709551616:"}) {
    EXPECT_THROW(Walk(text), CTextDecodingException) << text;
  }
  EXPECT_FALSE(Walk("0:trailing text is never read").Next());
  CSyncStatusListResponse list = Walk("18446744073709551615:" + RecordText({.name = "a"}));
  EXPECT_TRUE(list.Next());
  EXPECT_EQ("a", list.Name());
  EXPECT_TRUE(list.Next());
  EXPECT_FALSE(list.Next());
}

// Wherever a list is cut, the record that fails is the last, answers true, and is logged once.
TEST_F(SyncStatusListResponseTest, CutListEndsWithOneHalfRecord) {
  const std::string text = ListText({{.name = "a", .modifiedBy = "x", .fileId = "1"},
                                     {.name = "b", .lock = 1, .lockHolder = "y", .lockTime = 7}});
  for (std::size_t size = 2; size < text.size(); ++size) {
    const int before = LogCount("SyncStatusListResponse exception: kelvo::CTextDecoder &");
    CSyncStatusListResponse list = Walk(text.substr(0, size));
    CSyncStatusListResponse again = list;
    int records = 0;
    while (list.Next()) ++records;
    const int whole =
        size < RecordText({.name = "a", .modifiedBy = "x", .fileId = "1"}).size() + 2 ? 0 : 1;
    EXPECT_EQ(whole + 1, records) << size;
    while (again.Next()) --records;
    EXPECT_EQ(0, records) << size;
    EXPECT_EQ(before + 1, LogCount("SyncStatusListResponse exception: kelvo::CTextDecoder &"));
    EXPECT_FALSE(list.Next());
  }
}

}  // namespace
}  // namespace kelvo::test
