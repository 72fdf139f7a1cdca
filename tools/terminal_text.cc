#include "tools/terminal_text.h"

#include <glib.h>

#include <algorithm>
#include <cstdio>

namespace kelvo::tools {
namespace {

void AppendHex(std::string& text, std::string_view bytes) {
  static constexpr char kDigits[] = "0123456789abcdef";
  for (const char byte : bytes) {
    const auto value = static_cast<unsigned char>(byte);
    text += "\\x";
    text += kDigits[value >> 4];
    text += kDigits[value & 15];
  }
}

bool IsShownAsItIs(gunichar character) {
  switch (g_unichar_type(character)) {
    case G_UNICODE_CONTROL:
    case G_UNICODE_FORMAT:
    case G_UNICODE_LINE_SEPARATOR:
    case G_UNICODE_PARAGRAPH_SEPARATOR:
      return false;
    default:
      return true;
  }
}

void AppendCharacter(std::string& text, std::string_view bytes, gunichar character) {
  switch (character) {
    case '\\':
      text += "\\\\";
      break;
    case '\n':
      text += "\\n";
      break;
    case '\r':
      text += "\\r";
      break;
    case '\t':
      text += "\\t";
      break;
    default:
      if (IsShownAsItIs(character)) {
        text += bytes;
      } else {
        AppendHex(text, bytes);
      }
  }
}

std::size_t WidthOf(const std::string& cell) {
  return static_cast<std::size_t>(g_utf8_strlen(cell.c_str(), -1));
}

void WriteLine(std::FILE* stream, std::string line) {
  line += '\n';
  // A reader that went away is no reason to stop serving, so the outcome does not matter.
  std::fwrite(line.data(), 1, line.size(), stream);
  std::fflush(stream);
}

}  // namespace

std::string PrintableText(std::string_view bytes) {
  std::string text;
  text.reserve(bytes.size());
  while (!bytes.empty()) {
    const gunichar character =
        g_utf8_get_char_validated(bytes.data(), static_cast<gssize>(bytes.size()));
    const bool valid = character != static_cast<gunichar>(-1) &&
                       character != static_cast<gunichar>(-2);  // -2: cut off in the middle
    if (!valid || character == 0) {
      AppendHex(text, bytes.substr(0, 1));
      bytes.remove_prefix(1);
      continue;
    }
    const std::size_t length = static_cast<std::size_t>(g_unichar_to_utf8(character, nullptr));
    AppendCharacter(text, bytes.substr(0, length), character);
    bytes.remove_prefix(length);
  }
  return text;
}

std::string QuotedText(std::string_view bytes, std::size_t limit) {
  std::string text = "\"";
  for (const char character : PrintableText(bytes.substr(0, limit))) {
    if (character == '"') text += '\\';
    text += character;
  }
  text += '"';
  if (bytes.size() > limit) text += "... (" + std::to_string(bytes.size()) + " bytes)";
  return text;
}

void PrintLine(std::string_view line) { WriteLine(stdout, std::string(line)); }

void PrintTable(const std::vector<std::vector<std::string>>& rows) {
  std::vector<std::size_t> widths;
  for (const auto& row : rows) {
    widths.resize(std::max(widths.size(), row.size()));
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], WidthOf(row[i]));
  }
  for (const auto& row : rows) {
    std::string line;
    for (std::size_t i = 0; i < row.size(); ++i) {
      line += "  " + row[i];
      line.append(widths[i] - WidthOf(row[i]), ' ');
    }
    line.erase(line.find_last_not_of(' ') + 1);
    PrintLine(line);
  }
}

void PrintError(std::string_view message) {
  const char* program = g_get_prgname();
  WriteLine(stderr,
            std::string(program == nullptr ? "kelvo" : program) + ": " + std::string(message));
}

}  // namespace kelvo::tools
