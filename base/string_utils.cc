#include "base/string_utils.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

#include "base/file_system.h"

namespace kelvo {
namespace {

constexpr char32_t kBroken = 0xFFFFFFFF;

// One character, or the bytes that begin one and are cut short by the next: those make one mistake.
struct Utf8Unit {
  std::size_t length;
  char32_t character;  // or kBroken
};

// `text` must not be empty.
Utf8Unit FirstUnit(std::string_view text) {
  const auto byte = [text](std::size_t index) { return static_cast<unsigned char>(text[index]); };
  const unsigned lead = byte(0);
  if (lead < 0x80) return {1, lead};
  if (lead < 0xC2 || lead > 0xF4) return {1, kBroken};
  const std::size_t length = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
  // The second byte is what tells overlong forms, surrogates and too large values.
  unsigned lowest = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
  unsigned highest = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
  char32_t character = lead & (0x7Fu >> length);
  for (std::size_t index = 1; index < length; ++index) {
    if (index == text.size() || byte(index) < lowest || byte(index) > highest) {
      return {index, kBroken};
    }
    character = character << 6 | (byte(index) & 0x3Fu);
    lowest = 0x80;
    highest = 0xBF;
  }
  return {length, character};
}

// How many bytes at the start are ASCII, in steps of 8.
std::size_t AsciiPrefix(std::string_view text) {
  std::size_t size = 0;
  std::uint64_t block;
  while (text.size() - size >= sizeof block) {
    std::memcpy(&block, text.data() + size, sizeof block);
    if ((block & 0x8080808080808080u) != 0) break;
    size += sizeof block;
  }
  return size;
}

void AppendHexEscape(std::string& text, unsigned value) {
  constexpr char kDigits[] = "0123456789abcdef";
  text += {'\\', 'x', kDigits[value >> 4], kDigits[value & 0xF]};
}

bool IsControl(char32_t character) {
  return character < 0x20 || (character >= 0x7F && character < 0xA0);
}

void AppendEscaped(std::string& text, unsigned control) {
  switch (control) {
    case '\n':
      text += "\\n";
      break;
    case '\t':
      text += "\\t";
      break;
    case '\r':
      text += "\\r";
      break;
    default:
      AppendHexEscape(text, control);
  }
}

}  // namespace

bool SplitPath(std::string_view path, std::string_view* directory, std::string_view* name) {
  if (path == "/") {
    *directory = {};
    *name = {};
    return true;
  }
  if (path.empty() || path.back() == '/') return false;
  const std::size_t slash = path.rfind('/');
  const bool hasDirectory = slash != std::string_view::npos;
  *directory = hasDirectory ? path.substr(0, slash) : std::string_view();
  *name = hasDirectory ? path.substr(slash + 1) : path;
  return true;
}

bool SplitPath(std::string_view path, std::string* directory, std::string* name) {
  std::string_view directoryPart;
  std::string_view namePart;
  if (!SplitPath(path, &directoryPart, &namePart)) return false;
  // `path` may be a view of one of the outputs.
  std::string directoryText(directoryPart);
  std::string nameText(namePart);
  *directory = std::move(directoryText);
  *name = std::move(nameText);
  return true;
}

std::string LastPathComponent(std::string_view path) {
  const std::size_t end = path.find_last_not_of('/');
  if (end == std::string_view::npos) return std::string(path.substr(0, 1));
  path = path.substr(0, end + 1);
  return std::string(path.substr(path.rfind('/') + 1));
}

std::string ExpandTildeInPath(std::string_view path) {
  if (!path.starts_with('~')) return std::string(path);
  return HomeFolder().append(path.substr(1));
}

std::string_view CutText(std::string_view text, std::size_t most) {
  if (text.size() <= most) return text;
  const auto isContinuation = [text](std::size_t at) {
    return (static_cast<unsigned char>(text[at]) & 0xC0) == 0x80;
  };
  constexpr std::size_t kLongestCharacter = 4;
  std::size_t end = most;
  while (end > 0 && most - end < kLongestCharacter && isContinuation(end)) --end;
  return text.substr(0, isContinuation(end) ? most : end);
}

bool IsAscii(std::string_view text) {
  text.remove_prefix(AsciiPrefix(text));
  return std::all_of(text.begin(), text.end(),
                     [](char byte) { return static_cast<unsigned char>(byte) < 0x80; });
}

bool IsValidUtf8(std::string_view text) {
  while (true) {
    text.remove_prefix(AsciiPrefix(text));
    if (text.empty()) return true;
    // Up to the end of the block that is not all ASCII.
    for (std::size_t done = 0; done < sizeof(std::uint64_t) && !text.empty();) {
      const Utf8Unit unit = FirstUnit(text);
      if (unit.character == kBroken) return false;
      text.remove_prefix(unit.length);
      done += unit.length;
    }
  }
}

std::string ToValidUtf8(std::string_view text) {
  text = text.substr(0, text.find('\0'));
  std::string valid;
  valid.reserve(text.size());
  while (!text.empty()) {
    const Utf8Unit unit = FirstUnit(text);
    valid +=
        unit.character == kBroken ? std::string_view("\xEF\xBF\xBD") : text.substr(0, unit.length);
    text.remove_prefix(unit.length);
  }
  return valid;
}

std::string EscapeControlCharacters(std::string_view text) {
  std::string escaped;
  escaped.reserve(text.size());
  while (!text.empty()) {
    const Utf8Unit unit = FirstUnit(text);
    if (unit.character == kBroken) {
      // A lone byte of this range is a C1 control to a reader that takes no UTF-8.
      for (const char byte : text.substr(0, unit.length)) {
        const auto value = static_cast<unsigned char>(byte);
        if (IsControl(value)) {
          AppendEscaped(escaped, value);
        } else {
          escaped += byte;
        }
      }
    } else if (IsControl(unit.character)) {
      AppendEscaped(escaped, static_cast<unsigned>(unit.character));
    } else {
      escaped += text.substr(0, unit.length);
    }
    text.remove_prefix(unit.length);
  }
  return escaped;
}

std::string ConvertCfStringToString(const PropertyList* value, StringEncoding encoding) {
  if (value == nullptr) return {};
  std::string text = value->ToText().value_or("");
  const bool hasForm = encoding == StringEncoding::kAscii ? IsAscii(text) : IsValidUtf8(text);
  if (!hasForm) text.clear();
  return text;
}

std::string ConvertCfStringToFilesystemString(const PropertyList* value) {
  return FilesystemRepresentation(ConvertCfStringToString(value, StringEncoding::kUtf8));
}

}  // namespace kelvo
