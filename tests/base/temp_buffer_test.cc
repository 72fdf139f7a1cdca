#include "base/temp_buffer.h"

#include <gtest/gtest.h>

namespace kelvo {
namespace {

TEST(TempBufferTest, HeapArrayStaysForLaterRequests) {
  CTempBuffer<512, char> buffer;
  char* const own = buffer.Get(512);
  EXPECT_GE(own, reinterpret_cast<char*>(&buffer));
  EXPECT_LT(own, reinterpret_cast<char*>(&buffer + 1));
  char* const heap = buffer.Get(1000);
  EXPECT_NE(heap, own);
  EXPECT_EQ(buffer.Get(100), own);
  EXPECT_EQ(buffer.Get(513), heap);
  char* const larger = buffer.Get(100'000);
  larger[99'999] = 'x';
  EXPECT_EQ(buffer.Get(1000), larger);
}

}  // namespace
}  // namespace kelvo
