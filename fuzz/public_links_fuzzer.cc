#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "bench/istream_decoder.h"
#include "cache/sync_cache.h"
#include "fuzz/hand_turned_loop.h"
#include "fuzz/input.h"

namespace {

using kelvo::fuzz::Require;

constexpr char kEarlier[] = "/earlier";

struct PlainLinks {
  std::set<std::string> paths;
  std::vector<std::string> otherTexts;
};

// The list read with formatted extraction; nothing when it does not follow the encoding.
std::optional<PlainLinks> ReadPlainly(const std::string& list, PlainLinks* seen) {
  std::istringstream stream(list);
  kelvo::IstreamDecoder decoder(&stream);
  while (!decoder.AtEnd()) {
    std::string path;
    std::string text[4];
    long number;
    if (!decoder.Read(path)) return std::nullopt;
    seen->paths.insert(path);
    if (!decoder.Read(text[0]) || !decoder.Read(number) || !decoder.Read(number) ||
        !decoder.Read(number) || !decoder.Read(text[1]) || !decoder.Read(text[2]) ||
        !decoder.Read(text[3]) || !decoder.Read(number)) {
      return std::nullopt;
    }
    seen->otherTexts.insert(seen->otherTexts.end(), std::begin(text), std::end(text));
  }
  return *seen;
}

}  // namespace

// A list replaces the earlier one as a whole, or, when any of it cannot be read, not at all.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > kelvo::fuzz::kMaxInput) return 0;
  const std::string list(reinterpret_cast<const char*>(data), size);
  kelvo::fuzz::HandTurnedLoop loop;
  kelvo::CSyncCache cache(loop, loop);
  cache.OnSyncSyncList("publicLinks", "8:/earlier0:0:0:0:0:0:0:0:");
  Require(cache.IsPublicLink(kEarlier));
  cache.OnSyncSyncList("otherLinks", list);
  Require(cache.IsPublicLink(kEarlier));
  cache.OnSyncSyncList("publicLinks", list);

  PlainLinks seen;
  const auto links = ReadPlainly(list, &seen);
  const std::set<std::string> expected = links ? links->paths : std::set<std::string>{kEarlier};
  seen.otherTexts.insert(seen.otherTexts.end(), seen.paths.begin(), seen.paths.end());
  seen.otherTexts.insert(seen.otherTexts.end(), {kEarlier, "", "/"});
  for (const std::string& path : expected) Require(cache.IsPublicLink(path));
  for (const std::string& text : seen.otherTexts) {
    Require(cache.IsPublicLink(text) == expected.contains(text));
  }
  return 0;
}
