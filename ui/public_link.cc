#include "ui/public_link.h"

#include <openssl/evp.h>
#include <openssl/hmac.h>

#include <array>
#include <cstddef>
#include <iterator>

#include "base/logger.h"
#include "settings/value_utilities.h"

namespace kelvo {
namespace {

constexpr char kBase32Digits[] = "abcdefghijklmnopqrstuvwxyz234567";
constexpr int kBitsPerDigit = 5;
constexpr int kBitsPerByte = 8;
constexpr std::int64_t kMaxBase32Input = 0x10000000;

constexpr std::size_t kUserIdSize = 4;
constexpr std::size_t kFileIdSize = 8;
using LinkedIds = std::array<std::uint8_t, kUserIdSize + kFileIdSize>;  // most significant first

// Key and choice of bytes are the same in every installation: they are part of the link's format.
constexpr std::uint8_t kCheckKey[] = {0x5c, 0x21, 0xa7, 0x0b, 0x93, 0x4e, 0xf8, 0x16, 0xd2, 0x6a};
constexpr std::size_t kCheckBytes[] = {2, 6, 11, 15, 19};
constexpr std::size_t kDigestSize = 20;
using CheckValue = std::array<std::uint8_t, std::size(kCheckBytes)>;

void PutBigEndian(std::uint64_t value, std::uint8_t* bytes, std::size_t size) {
  for (std::size_t i = size; i-- > 0; value >>= kBitsPerByte) {
    bytes[i] = static_cast<std::uint8_t>(value);
  }
}

std::optional<CheckValue> CheckValueOf(const LinkedIds& ids) {
  std::array<std::uint8_t, EVP_MAX_MD_SIZE> digest;
  unsigned int size = 0;
  if (HMAC(EVP_sha1(), kCheckKey, sizeof kCheckKey, ids.data(), ids.size(), digest.data(), &size) ==
          nullptr ||
      size != kDigestSize) {
    KELVO_LOG(kLogError, "No link: the check value could not be computed");
    return std::nullopt;
  }
  CheckValue check;
  for (std::size_t i = 0; i < check.size(); ++i) check[i] = digest[kCheckBytes[i]];
  return check;
}

}  // namespace

std::optional<PublicLink> PublicLink::initWithPath(const std::optional<std::string>& path) {
  if (!path || path->empty()) return std::nullopt;
  return PublicLink(*path);
}

std::optional<std::string> PublicLink::generateLinkURLForUserID(const std::string& userId,
                                                                const std::string& fileId) {
  LinkedIds ids;
  // Deliberate: as C's atoi reads it: the nearest 64-bit number, of which the low 32 bits remain.
  PutBigEndian(static_cast<std::uint64_t>(LongLongValue(&userId)), ids.data(), kUserIdSize);
  PutBigEndian(static_cast<std::uint64_t>(LongLongValue(&fileId)), ids.data() + kUserIdSize,
               kFileIdSize);
  const std::optional<CheckValue> check = CheckValueOf(ids);
  if (!check) return std::nullopt;
  return "/filelink/" + base32Encoder(ids.data(), kUserIdSize) + "-" +
         base32Encoder(ids.data() + kUserIdSize, kFileIdSize) + "-" +
         base32Encoder(check->data(), std::ssize(*check));
}

std::string base32Encoder(const std::uint8_t* bytes, std::int64_t length) {
  if (length < 1 || length > kMaxBase32Input) return {};
  std::string text;
  std::uint32_t held = 0;
  int bits = 0;  // of `held` that are not written yet; the ones above them are old
  for (std::int64_t next = 0; next < length || bits > 0;) {
    if (bits < kBitsPerDigit) {
      const bool fill = next == length;
      const int wanted = fill ? kBitsPerDigit - bits : kBitsPerByte;
      held = held << wanted | (fill ? 0U : bytes[next++]);
      bits += wanted;
    }
    bits -= kBitsPerDigit;
    const std::uint32_t digit = held >> bits & 0x1F;
    if (digit != 0 || !text.empty()) text += kBase32Digits[digit];
  }
  return text;
}

}  // namespace kelvo
