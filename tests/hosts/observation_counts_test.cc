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
  counts_.Begin("first", "/w");
  counts_.Begin("first", "/w");
  counts_.Begin("second", "/w");
  EXPECT_EQ((Calls{"begin /w", "begin /w", "begin /w"}), calls_);
  calls_.clear();
  counts_.End("first", "/w");
  counts_.End("second", "/w");
  EXPECT_EQ(Calls{}, calls_);
  counts_.End("first", "/w");
  EXPECT_EQ(Calls{"end /w"}, calls_);
}

TEST_F(ObservationCountsTest, EndWithoutBeginOfTheSameClientIsIgnored) {
  counts_.End("first", "/w");
  counts_.Begin("first", "/w");
  counts_.End("second", "/w");
  counts_.End("first", "/other");
  EXPECT_EQ(Calls{"begin /w"}, calls_);
}

TEST_F(ObservationCountsTest, LeavingEndsWhatNobodyElseObserves) {
  counts_.Begin("first", "/a");
  counts_.Begin("first", "/a");
  counts_.Begin("first", "/b");
  counts_.Begin("second", "/b");
  calls_.clear();
  counts_.ClientGone("first");
  EXPECT_EQ(Calls{"end /a"}, calls_);
  counts_.ClientGone("second");
  EXPECT_EQ((Calls{"end /a", "end /b"}), calls_);
}

}  // namespace
}  // namespace kelvo::test
