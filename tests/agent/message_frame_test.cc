#include "agent/message_frame.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace kelvo::test {
namespace {

// The head of a message as far as these integers.
std::string Head(std::initializer_list<std::uint32_t> values) {
  std::string bytes;
  for (const std::uint32_t value : values) {
    for (int shift = 24; shift >= 0; shift -= 8) bytes += static_cast<char>(value >> shift);
  }
  return bytes;
}

TEST(MessageFrameTest, BytesOfOneMessage) {
  const char expected[] = "\0\0\0\0\0\0\0\2\0\0\0\4name\0\0\0\3a\0b";
  EXPECT_EQ(std::string(expected, sizeof expected - 1),
            EncodeMessageFrame("name", std::string_view("a\0b", 3)));
}

TEST(MessageFrameTest, MessagesComeOutWholeHoweverTheyArrive) {
  std::string stream = EncodeMessageFrame("first", std::string(3000, 'x')) +
                       EncodeMessageFrame("", "") + EncodeMessageFrame("third", "z");
  stream[3] = 9;  // the message id is nobody's business
  for (std::size_t step : {std::size_t{1}, stream.size()}) {
    MessageFrameReader reader;
    std::string seen;
    for (std::size_t at = 0; at < stream.size(); at += step) {
      reader.Append(std::string_view(stream).substr(at, step));
      while (auto message = reader.Next()) {
        seen += message->name + ":" + std::to_string(message->archive.size()) + " ";
      }
    }
    EXPECT_EQ("first:3000 :0 third:1 ", seen) << step;
    EXPECT_EQ(0U, reader.Pending());
    EXPECT_EQ("", reader.Error());
  }
}

TEST(MessageFrameTest, LargeArchiveTakesNothingOfWhatIsAroundIt) {
  std::string large(3 << 20, 'x');
  for (std::size_t i = 0; i < large.size(); ++i) large[i] = static_cast<char>(i * 31 / 7);
  const std::string stream = EncodeMessageFrame("small", "s") + EncodeMessageFrame("large", large) +
                             EncodeMessageFrame("next", "n") + EncodeMessageFrame("again", large);
  for (std::size_t step : {std::size_t{60'000}, stream.size() - 100, stream.size()}) {
    MessageFrameReader reader;
    std::string seen;
    for (std::size_t at = 0; at < stream.size(); at += step) {
      reader.Append(std::string_view(stream).substr(at, step));
      while (auto message = reader.Next()) {
        seen += message->name + (message->archive == large ? "=large " : message->archive + " ");
      }
    }
    EXPECT_EQ("smalls large=large nextn again=large ", seen) << step;
    EXPECT_EQ(0U, reader.Pending());
  }
}

TEST(MessageFrameTest, BrokenFramingIsSeenBeforeTheBytesArrive) {
  const auto kTooLong = static_cast<std::uint32_t>(kMaxMessageSize);
  const struct {
    std::string head;
    const char* error;
  } rows[] = {
      {Head({0, 0}), "a message of 0 components"},
      {Head({0, 3}), "a message of 3 components"},
      {Head({0, 2, 0xFFFFFFFF}), "a message with a component of 4294967295 bytes"},
      {Head({0, 2, kTooLong}), "a message with a component of 268435456 bytes"},
      {Head({0, 2, 0, kTooLong - 15}), "a message with a component of 268435441 bytes"},
  };
  for (const auto& row : rows) {
    MessageFrameReader reader;
    reader.Append(EncodeMessageFrame("whole", "") + row.head);
    EXPECT_TRUE(reader.Next()) << row.error;
    EXPECT_FALSE(reader.Next());
    EXPECT_EQ(row.error, reader.Error());
    reader.Append(EncodeMessageFrame("late", ""));
    EXPECT_FALSE(reader.Next());
    EXPECT_EQ(0U, reader.Pending());
  }
}

TEST(MessageFrameTest, LargestMessageIsWaitedFor) {
  MessageFrameReader reader;
  reader.Append(Head({0, 2, 0, static_cast<std::uint32_t>(kMaxMessageSize) - 16}));
  EXPECT_FALSE(reader.Next());
  EXPECT_EQ("", reader.Error());
  EXPECT_EQ(16U, reader.Pending());
}

}  // namespace
}  // namespace kelvo::test
