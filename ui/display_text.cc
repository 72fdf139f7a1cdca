#include "ui/display_text.h"

#include <algorithm>
#include <cstddef>

#include "base/string_utils.h"

namespace kelvo {
namespace {

constexpr std::size_t kMaxLine = 80;
constexpr std::size_t kMaxParagraph = 1000;
constexpr char32_t kReplacement = 0xFFFD;
constexpr char32_t kEllipsis = 0x2026;
constexpr char kFirstStrongIsolate[] = "\u2068";
constexpr char kPopIsolate[] = "\u2069";

struct Range {
  char32_t first;
  char32_t last;
};

// Controls, directional marks, separators of lines and paragraphs, embeddings, overrides and
// isolates.
constexpr Range kUnfit[] = {{0, 0x1F},        {0x7F, 0x9F},     {0x61C, 0x61C},
                            {0x200E, 0x200F}, {0x2028, 0x202E}, {0x2066, 0x2069}};
constexpr Range kRightToLeft[] = {
    {0x590, 0x8FF}, {0xFB1D, 0xFDFF}, {0xFE70, 0xFEFE}, {0x10800, 0x10FFF}, {0x1E800, 0x1EFFF}};

template <std::size_t kSize>
bool IsIn(const Range (&ranges)[kSize], char32_t character) {
  return std::any_of(ranges, ranges + kSize, [character](const Range& range) {
    return character >= range.first && character <= range.last;
  });
}

std::u32string Characters(std::string_view text) {
  std::u32string characters;
  for (const char byte : ToValidUtf8(text)) {
    const auto value = static_cast<unsigned char>(byte);
    if (value < 0x80) {
      characters += value;
    } else if (value >= 0xC0) {
      characters += static_cast<char32_t>(value & (value < 0xE0 ? 0x1F : value < 0xF0 ? 0xF : 7));
    } else {
      characters.back() = characters.back() << 6 | (value & 0x3F);
    }
  }
  return characters;
}

std::string Utf8(const std::u32string& characters) {
  std::string text;
  for (const char32_t character : characters) {
    const auto append = [&text](char32_t byte) { text += static_cast<char>(byte); };
    if (character < 0x80) {
      append(character);
      continue;
    }
    int shift = character < 0x800 ? 6 : character < 0x10000 ? 12 : 18;
    append((character >> shift) | (shift == 6 ? 0xC0 : shift == 12 ? 0xE0 : 0xF0));
    for (shift -= 6; shift >= 0; shift -= 6) append((character >> shift & 0x3F) | 0x80);
  }
  return text;
}

std::u32string Fit(std::string_view text, std::size_t limit, bool keepLines) {
  std::u32string fit = Characters(text);
  if (fit.size() > limit) {
    const std::size_t head = limit / 2;
    const std::size_t tail = limit - head - 1;
    fit.replace(head, fit.size() - head - tail, 1, kEllipsis);
  }
  for (char32_t& character : fit) {
    if (IsIn(kUnfit, character) && !(keepLines && character == '\n')) character = kReplacement;
  }
  return fit;
}

}  // namespace

std::string DisplayText(std::string_view text) { return Utf8(Fit(text, kMaxLine, false)); }

std::string DisplayTextInSentence(std::string_view text) {
  const std::u32string fit = Fit(text, kMaxLine, false);
  const bool isolated =
      std::any_of(fit.begin(), fit.end(), [](char32_t value) { return IsIn(kRightToLeft, value); });
  return isolated ? kFirstStrongIsolate + Utf8(fit) + kPopIsolate : Utf8(fit);
}

std::string DisplayParagraph(std::string_view text) { return Utf8(Fit(text, kMaxParagraph, true)); }

}  // namespace kelvo
