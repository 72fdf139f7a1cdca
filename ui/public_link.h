#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "base/property_list.h"

namespace kelvo {

// One public link of a file, and the maker of the short links by which the service's web server
// opens a file.
//
// Threads: a value; the class methods any thread.
class PublicLink {
 public:
  // nullopt without a path.
  static std::optional<PublicLink> initWithPath(const std::optional<std::string>& path);
  // "/filelink/USER-FILE-CHECK", to be put behind the server's address. The ids are read as decimal
  // numbers up to the first character that is none, 0 when there is none. nullopt, logged, when the
  // check value cannot be computed.
  static std::optional<std::string> generateLinkURLForUserID(const std::string& userId,
                                                             const std::string& fileId);

  std::int32_t accessCount = 0;
  std::int32_t directLink = 0;  // 0 or 1
  std::optional<std::string> downloadMode = {};
  PropertyList::Date expireAt = {63'113'904'000.0};  // the year 4001, which stands for never
  std::int32_t expireCount = 0;
  std::optional<std::string> password = {};
  std::optional<std::string> upload = {};
  std::optional<std::string> url = {};
  std::string path;

 private:
  explicit PublicLink(std::string linkedPath) : path(std::move(linkedPath)) {}
};

// The bytes in base 32, lower-case letters and then 2 to 7, filled up with zero bits, without
// padding characters and without leading zero digits ("a"). Empty for a length below 1 or above
// 0x10000000.
std::string base32Encoder(const std::uint8_t* bytes, std::int64_t length);

}  // namespace kelvo
