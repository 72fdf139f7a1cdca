#include "agent/text_decoder.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <utility>

#include "tests/support/list_text_agreement.h"

namespace kelvo::test {
namespace {

template <typename T>
std::string FailureText(const std::string& text) {
  std::istringstream stream(text);
  CTextDecoder decoder(&stream);
  T value{};
  try {
    decoder >> value;
  } catch (const CTextDecodingException& exception) {
    return exception.what();
  }
  return "accepted";
}

TEST(TextDecoderTest, FailureNamesTheOperator) {
  const std::pair<std::string, std::string> rows[] = {
      {"int", FailureText<int>("x:")},
      {"long", FailureText<long>("1")},
      {"long long", FailureText<long long>("9223372036854775808:")},
      {"unsigned long", FailureText<unsigned long>(":")},
      {"unsigned long", FailureText<std::string>("x:ab")},
      {"kelvo::sync::ESyncItemStatus", FailureText<sync::ESyncItemStatus>("x:")},
      {"kelvo::sync::ESyncItemLock", FailureText<sync::ESyncItemLock>("x:")},
      {"kelvo::sync::EItemPermissions", FailureText<sync::EItemPermissions>("x:")},
      {"kelvo::sync::EPermissionsDenied", FailureText<sync::EPermissionsDenied>("2147483648:")},
  };
  for (const auto& [type, text] : rows) {
    EXPECT_EQ("kelvo::CTextDecoder &kelvo::CTextDecoder::operator>>(T &) [T = " + type + "]", text);
  }
  EXPECT_EQ("kelvo::CTextDecoder &kelvo::CTextDecoder::operator>>(std::string &)",
            FailureText<std::string>("3:ab"));
}

TEST(TextDecoderTest, LengthBeyondTheTextTakesNoMemory) {
  for (const char* length :
       {"2147483647:", "-5:", "18446744073709551615:", "9223372036854775808:", "70000:"}) {
    std::istringstream known(length + std::string("abc"));
    TrickleBuffer trickle(length + std::string("abc"), 2);
    std::istream unknown(&trickle);
    for (std::istream* stream : {static_cast<std::istream*>(&known), &unknown}) {
      CTextDecoder decoder(stream);
      std::string target;
      EXPECT_THROW(decoder >> target, CTextDecodingException) << length;
      EXPECT_LT(target.capacity(), 1000U) << length;
    }
  }
}

TEST(TextDecoderTest, LongStringArrivesWholeHoweverItComes) {
  std::string text(300'000, 'x');
  for (std::size_t i = 0; i < text.size(); ++i) text[i] = static_cast<char>(i * 31 / 7);
  for (std::size_t step : {1, 1000, 1'000'000}) {
    TrickleBuffer buffer("300000:" + text + "5:", step);
    std::istream stream(&buffer);
    CTextDecoder decoder(&stream);
    std::string target;
    int after = 0;
    decoder >> target >> after;
    EXPECT_EQ(text, target) << step;
    EXPECT_EQ(5, after) << step;
  }
}

// Formatted extraction is the model: accepted texts, values, what is taken, and for the two
// decoders and the cursor what a failure says must be the same.
TEST(TextDecoderTest, AgreesWithFormattedExtraction) {
  ListTextFuzz fuzz(20240131);
  for (int round = 0; round < 20'000; ++round) ASSERT_EQ("", fuzz.Step()) << "round " << round;
}

}  // namespace
}  // namespace kelvo::test
