#include "ui/public_link.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <iterator>
#include <string>

namespace kelvo {
namespace {

std::string Base32(const std::string& bytes) {
  return base32Encoder(reinterpret_cast<const std::uint8_t*>(bytes.data()), std::ssize(bytes));
}

// The links were computed with Python's hmac, hashlib and base64 and with the C library's atoi and
// atoll.
TEST(PublicLinkTest, LinksAreThoseThatTheServerMakes) {
  const struct {
    const char* userId;
    const char* fileId;
    const char* link;
  } rows[] = {
      {"1", "1", "/filelink/i-c-6ynmt6zo"},
      {"12345", "67890", "/filelink/daoi-eete-jgszmpdw"},
      {"1", "1234567890123456789", "/filelink/i-cerbb5d55gark-25bygi35"},
      {"0", "0", "/filelink/--lexiiibd"},
      {"me", "77", "/filelink/-e2-olxmjflp"},
      {"+-5", "--7", "/filelink/--lexiiibd"},
      {"42abc", "77 x", "/filelink/kq-e2-wvd2vsag"},
      {" +42", "\t77", "/filelink/kq-e2-wvd2vsag"},
      {"42.9", "0x4d", "/filelink/kq--dpvmvoxw"},
      {"-1", "-1", "/filelink/777777y-7777777777776-olcccqji"},
      {"2147483647", "1", "/filelink/p77777y-c-2qabb4cr"},
      {"2147483648", "1", "/filelink/qaaaaaa-c-g3sm5ymo"},
      {"4294967297", "1", "/filelink/i-c-6ynmt6zo"},
      {"99999999999999999999", "1", "/filelink/777777y-c-pli2g5np"},
      {"-99999999999999999999", "1", "/filelink/-c-htiy4x5g"},
      {"1", "9999999999999999999", "/filelink/i-p777777777776-pjljgxwc"},
      {"1", "-9223372036854775809", "/filelink/i-qaaaaaaaaaaaa-omq2eiyz"},
      {"1", "757", "/filelink/i-bpk-5meh4l"},  // two leading zero digits of the check value
  };
  for (const auto& row : rows) {
    EXPECT_EQ(row.link, PublicLink::generateLinkURLForUserID(row.userId, row.fileId))
        << row.userId << " " << row.fileId;
  }
}

TEST(PublicLinkTest, Base32IsFilledUpAndLosesItsLeadingZeros) {
  using std::string_literals::operator""s;
  EXPECT_EQ("i", Base32("\0\0\0\1"s));
  EXPECT_EQ("", Base32("\0\0"s));
  EXPECT_EQ("74", Base32("\xFF"s));
  EXPECT_EQ("ebsxg33xmyqhg5dv", Base32(" esowf stu"s));
  // What is outside of the bounds is not even read; a long text takes linear time.
  EXPECT_EQ("", base32Encoder(nullptr, -1));
  EXPECT_EQ("", base32Encoder(nullptr, 0x10000001));
  EXPECT_EQ("e", Base32(std::string(4'000'000, '\0') + "\1"));
}

}  // namespace
}  // namespace kelvo
