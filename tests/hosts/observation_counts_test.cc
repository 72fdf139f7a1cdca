#include "hosts/bus/observation_counts.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace kelvo::test {
namespace {

using Calls = std::vector<std::string>;

class ObservationCountsTest : public ::testing::Test {
 protected:
  Calls calls_;
  ObservationCounts counts_{[this](const std::string& path) { calls_.push_back("begin " + path); },
                            [this](const std::string& path) { calls_.push_back("end " + path); }};
};

TEST_F(ObservationCountsTest, EveryBeginIsPassedOnAndTheLastEnd) {
  counts_.End("first", "/w");  // not begun
  for (const char* client : {"first", "first", "second"}) counts_.Begin(client, "/w");
  EXPECT_EQ((Calls{"begin /w", "begin /w", "begin /w"}), calls_);
  for (const char* client : {"first", "second", "second"}) counts_.End(client, "/w");
  counts_.End("first", "/other");
  EXPECT_EQ(3U, calls_.size());
  counts_.End("first", "/w");
  EXPECT_EQ("end /w", calls_.back());
}

TEST_F(ObservationCountsTest, LeavingEndsWhatNobodyElseObserves) {
  for (const char* path : {"/a", "/a", "/b"}) counts_.Begin("first", path);
  counts_.Begin("second", "/b");
  calls_.clear();
  counts_.ClientGone("first");
  EXPECT_EQ(Calls{"end /a"}, calls_);
  counts_.ClientGone("second");
  EXPECT_EQ((Calls{"end /a", "end /b"}), calls_);
}

}  // namespace
}  // namespace kelvo::test
