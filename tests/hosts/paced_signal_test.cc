#include "hosts/bus/paced_signal.h"

#include <gtest/gtest.h>

#include "tests/support/fake_platform.h"

namespace kelvo::test {
namespace {

using std::chrono::milliseconds;

TEST(PacedSignalTest, EmitsAtOnceThenAtMostOnceAnIntervalAndLosesNoRequest) {
  FakeClock clock;
  FakeRunLoop loop(clock);
  int emitted = 0;
  PacedSignal signal(loop, clock, milliseconds{500}, [&] { ++emitted; });
  signal.Request();
  EXPECT_EQ(1, emitted);
  signal.Request();
  loop.Advance(milliseconds{300});
  signal.Request();
  loop.Advance(milliseconds{199});
  EXPECT_EQ(1, emitted);
  loop.Advance(milliseconds{1});
  EXPECT_EQ(2, emitted);
  loop.Advance(milliseconds{10'000});
  EXPECT_EQ(2, emitted);
  signal.Request();
  EXPECT_EQ(3, emitted);
}

}  // namespace
}  // namespace kelvo::test
