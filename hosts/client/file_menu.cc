#include "hosts/client/file_menu.h"

#include <cstddef>
#include <set>

namespace kelvo {

namespace {

constexpr std::string_view kNamePrefix = "KelvoFinderSync::";
// Beyond some thousand characters a toolkit cannot draw the menu at all.
constexpr std::size_t kMaxTitle = 240;  // bytes

bool ContinuesCharacter(char byte) { return (static_cast<unsigned char>(byte) & 0xc0) == 0x80; }

}  // namespace

std::vector<std::string> UniqueNames(const FileMenu& menu) {
  std::vector<std::string> names;
  std::set<std::string> taken;
  std::size_t plainLines = 0;
  for (const FileMenuLine& line : menu.lines) {
    std::string name(kNamePrefix);
    name += line.action.empty() ? "line" + std::to_string(++plainLines) : line.action;
    const std::string first = name;
    for (std::size_t next = 2; !taken.insert(name).second; ++next) {
      name = first + "-" + std::to_string(next);
    }
    names.push_back(std::move(name));
  }
  return names;
}

std::string ShownTitle(std::string_view title, bool mnemonics) {
  const bool cut = title.size() > kMaxTitle;
  if (cut) {
    std::size_t end = kMaxTitle;
    while (end > 0 && ContinuesCharacter(title[end])) --end;
    title = title.substr(0, end);
  }
  std::string shown;
  for (const char byte : title) {
    const auto code = static_cast<unsigned char>(byte);
    shown += code < 0x20 || code == 0x7f ? ' ' : byte;
    if (byte == '_' && mnemonics) shown += byte;
  }
  if (cut) shown += "\u2026";
  return shown;
}

}  // namespace kelvo
