#include "ui/public_link.h"

#include <gtest/gtest.h>

namespace kelvo {
namespace {

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

}  // namespace
}  // namespace kelvo
