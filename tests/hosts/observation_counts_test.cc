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
  for (const char* client : {"first", "first", "second"}) EXPECT_TRUE(counts_.Begin(client, "/w"));
  EXPECT_EQ((Calls{"begin /w", "begin /w", "begin /w"}), calls_);
  for (const char* client : {"first", "second", "second"}) counts_.End(client, "/w");
  counts_.End("first", "/other");
  EXPECT_EQ(3U, calls_.size());
  counts_.End("first", "/w");
  EXPECT_EQ("end /w", calls_.back());
}

TEST_F(ObservationCountsTest, LeavingEndsWhatNobodyElseObserves) {
  for (const char* path : {"/a", "/a", "/b"}) EXPECT_TRUE(counts_.Begin("first", path));
  EXPECT_TRUE(counts_.Begin("second", "/b"));
  calls_.clear();
  counts_.ClientGone("first");
  EXPECT_EQ(Calls{"end /a"}, calls_);
  counts_.ClientGone("second");
  EXPECT_EQ((Calls{"end /a", "end /b"}), calls_);
}

TEST_F(ObservationCountsTest, AClientObservesOnlySoMuch) {
  const auto path = [](std::size_t i) {
    return "/" + std::to_string(i) + std::string(60'000, 'x');
  };
  std::size_t most = 0;
  while (most < 10'000 && counts_.Begin("greedy", path(most))) ++most;
  EXPECT_LE(most, ObservationCounts::kMostBytesPerClient / 60'000);
  EXPECT_EQ(most, calls_.size());
  EXPECT_TRUE(counts_.Begin("greedy", path(0))) << "what it observes already";
  EXPECT_TRUE(counts_.Begin("other", path(most)));
  counts_.End("greedy", path(most));  // not begun
  EXPECT_FALSE(counts_.Begin("greedy", path(most)));
  counts_.End("greedy", path(1));
  EXPECT_TRUE(counts_.Begin("greedy", path(most)));
  EXPECT_FALSE(counts_.Begin("greedy", path(1)));
  counts_.ClientGone("greedy");
  EXPECT_TRUE(counts_.Begin("greedy", path(1)));
}

}  // namespace
}  // namespace kelvo::test
