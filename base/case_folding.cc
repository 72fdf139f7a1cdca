#include "base/case_folding.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

namespace kelvo {
namespace {

// Capital letters `first` to `last`, `step` apart; the small letter is `distance` further on.
struct CaseRange {
  char32_t first;
  char32_t last;
  int step;
  int distance;
};

// One capital to one small letter, in the alphabets that have case and occur in file names: Latin
// with its extensions, Greek, Cyrillic, Armenian, full-width Latin. In order. Letters whose other
// case is several letters (German sharp s) and those of dead scripts stay as they are.
constexpr CaseRange kCaseRanges[] = {
    {U'A', U'Z', 1, 32},     {0x00B5, 0x00B5, 1, 775},  {0x00C0, 0x00D6, 1, 32},
    {0x00D8, 0x00DE, 1, 32}, {0x0100, 0x012E, 2, 1},    {0x0132, 0x0136, 2, 1},
    {0x0139, 0x0147, 2, 1},  {0x014A, 0x0176, 2, 1},    {0x0178, 0x0178, 1, -121},
    {0x0179, 0x017D, 2, 1},  {0x017F, 0x017F, 1, -268}, {0x01A0, 0x01A4, 2, 1},
    {0x01AF, 0x01AF, 1, 1},  {0x01CD, 0x01DB, 2, 1},    {0x01DE, 0x01EE, 2, 1},
    {0x01F8, 0x021E, 2, 1},  {0x0222, 0x0232, 2, 1},    {0x0386, 0x0386, 1, 38},
    {0x0388, 0x038A, 1, 37}, {0x038C, 0x038C, 1, 64},   {0x038E, 0x038F, 1, 63},
    {0x0391, 0x03A1, 1, 32}, {0x03A3, 0x03AB, 1, 32},   {0x03C2, 0x03C2, 1, 1},
    {0x0400, 0x040F, 1, 80}, {0x0410, 0x042F, 1, 32},   {0x0460, 0x0480, 2, 1},
    {0x048A, 0x04BE, 2, 1},  {0x04C0, 0x04C0, 1, 15},   {0x04C1, 0x04CD, 2, 1},
    {0x04D0, 0x052E, 2, 1},  {0x0531, 0x0556, 1, 48},   {0x1E00, 0x1E94, 2, 1},
    {0x1EA0, 0x1EFE, 2, 1},  {0xFF21, 0xFF3A, 1, 32},
};

char32_t FoldCase(char32_t character) {
  const auto* range = std::lower_bound(std::begin(kCaseRanges), std::end(kCaseRanges), character,
                                       [](const CaseRange& r, char32_t c) { return r.last < c; });
  if (range == std::end(kCaseRanges) || character < range->first ||
      (character - range->first) % static_cast<char32_t>(range->step) != 0) {
    return character;
  }
  return character + static_cast<char32_t>(range->distance);
}

// Takes one character off the text. A byte that begins no valid sequence is a character of its own,
// equal to no other: file names need not be UTF-8.
char32_t TakeCharacter(std::string_view& text) {
  constexpr char32_t kBrokenByte = 0x80000000;
  const auto lead = static_cast<unsigned char>(text.front());
  const std::size_t length = lead < 0x80   ? 1
                             : lead < 0xC2 ? 0
                             : lead < 0xE0 ? 2
                             : lead < 0xF0 ? 3
                                           : 4;
  char32_t character = length <= 1 ? lead : lead & (0x7FU >> length);
  bool valid = length > 0 && lead < 0xF5 && text.size() >= length;
  for (std::size_t i = 1; valid && i < length; ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    valid = (byte & 0xC0) == 0x80;
    character = character << 6 | (byte & 0x3FU);
  }
  constexpr char32_t kLeast[] = {0, 0, 0x80, 0x800, 0x10000};
  valid = valid && character >= kLeast[length] && character <= 0x10FFFF &&
          (character < 0xD800 || character > 0xDFFF);
  text.remove_prefix(valid ? length : 1);
  return valid ? character : kBrokenByte | lead;
}

}  // namespace

std::u32string FoldedText(std::string_view text) {
  std::u32string folded;
  folded.reserve(text.size());
  while (!text.empty()) folded += FoldCase(TakeCharacter(text));
  return folded;
}

std::optional<std::string_view> RestAfterPrefix(std::string_view text, std::string_view prefix) {
  while (!prefix.empty()) {
    if (text.empty() || FoldCase(TakeCharacter(text)) != FoldCase(TakeCharacter(prefix))) {
      return std::nullopt;
    }
  }
  return text;
}

}  // namespace kelvo
