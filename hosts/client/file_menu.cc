#include "hosts/client/file_menu.h"

#include <cstddef>
#include <set>

namespace kelvo {

namespace {

constexpr std::string_view kNamePrefix = "KelvoFinderSync::";
// Beyond some thousand characters a toolkit cannot draw the menu at all.
constexpr std::size_t kMaxTitle = 240;  // bytes

bool ContinuesCharacter(char byte) { return (static_cast<unsigned char>(byte) & 0xc0) == 0x80; }

// The order of UTF-8 is that of the characters.
bool IsBetween(std::string_view character, std::string_view first, std::string_view last) {
  return character >= first && character <= last;
}

// Control characters and what separates lines.
bool IsShownAsBlank(std::string_view character) {
  const auto code = static_cast<unsigned char>(character.front());
  return code < 0x20 || IsBetween(character, "\x7f", "\u009f") ||
         IsBetween(character, "\u2028", "\u2029");
}

// With these a file's name could make the line read as something else.
bool ReordersText(std::string_view character) {
  return IsBetween(character, "\u202a", "\u202e") || IsBetween(character, "\u2066", "\u2069");
}

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
  for (std::size_t end = 0; !title.empty(); title.remove_prefix(end)) {
    end = 1;
    while (end < title.size() && ContinuesCharacter(title[end])) ++end;
    const std::string_view character = title.substr(0, end);
    if (ReordersText(character)) continue;
    shown += IsShownAsBlank(character) ? " " : character;
    if (character == "_" && mnemonics) shown += character;
  }
  if (cut) shown += "\u2026";
  return shown;
}

}  // namespace kelvo
