#include "settings/property_list_scalars.h"

#include <array>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <locale>
#include <sstream>

namespace kelvo {
namespace {

constexpr std::string_view kWhiteSpace = " \t\r\n";
constexpr char kBase64[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// Takes a leading sign off; true for a minus.
bool TakeSign(std::string_view& text) {
  if (text.empty() || (text.front() != '-' && text.front() != '+')) return false;
  const bool negative = text.front() == '-';
  text.remove_prefix(1);
  return negative;
}

bool ParseWhole(std::string_view text, std::uint64_t& value, int base) {
  const char* end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, value, base);
  return error == std::errc() && rest == end;
}

// The digits of a real number, read alike everywhere: not every C++ library has from_chars for
// them.
bool ParseDigits(std::string_view text, double& value) {
  if (text.empty() || text.find_first_not_of("0123456789.eE+-") != std::string_view::npos) {
    return false;
  }
  std::istringstream stream{std::string(text)};
  stream.imbue(std::locale::classic());
  return stream >> value && stream.peek() == std::istringstream::traits_type::eof();
}

// Whether `text` is `word` in any case; `word` is in lower case.
bool EqualsWord(std::string_view text, std::string_view word) {
  if (text.size() != word.size()) return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if ((text[i] | 0x20) != word[i]) return false;
  }
  return true;
}

// The number in `count` digits at `position`; nullopt when one of them is no digit.
std::optional<int> Digits(std::string_view text, std::size_t position, std::size_t count) {
  int value = 0;
  for (const char digit : text.substr(position, count)) {
    if (digit < '0' || digit > '9') return std::nullopt;
    value = value * 10 + (digit - '0');
  }
  return value;
}

std::chrono::sys_days Epoch() {
  return std::chrono::sys_days(std::chrono::year(2001) / std::chrono::January / 1);
}

constexpr std::array<std::int16_t, 256> MakeBase64Values() {
  std::array<std::int16_t, 256> values{};
  for (auto& value : values) value = -1;
  for (int i = 0; i < 64; ++i) {
    values[static_cast<std::uint8_t>(kBase64[i])] = static_cast<std::int16_t>(i);
  }
  return values;
}

}  // namespace

std::string_view TrimWhiteSpace(std::string_view text) {
  const std::size_t first = text.find_first_not_of(kWhiteSpace);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kWhiteSpace) - first + 1);
}

std::optional<PropertyList> ParseIntegerText(std::string_view text) {
  text = TrimWhiteSpace(text);
  const bool negative = TakeSign(text);
  const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
  if (hexadecimal) text.remove_prefix(2);
  std::uint64_t magnitude = 0;
  if (!ParseWhole(text, magnitude, hexadecimal ? 16 : 10)) return std::nullopt;
  if (!negative) return PropertyList(magnitude);
  constexpr std::uint64_t kLimit = std::uint64_t{1} << 63;
  if (magnitude > kLimit) return std::nullopt;
  return PropertyList(static_cast<std::int64_t>(~magnitude + 1));
}

std::optional<double> ParseRealText(std::string_view text) {
  text = TrimWhiteSpace(text);
  const bool negative = TakeSign(text);
  double value = 0;
  if (EqualsWord(text, "nan")) {
    value = std::numeric_limits<double>::quiet_NaN();
  } else if (EqualsWord(text, "inf") || EqualsWord(text, "infinity")) {
    value = std::numeric_limits<double>::infinity();
  } else if (text.starts_with('-') || text.starts_with('+') || !ParseDigits(text, value)) {
    return std::nullopt;
  }
  return negative ? -value : value;
}

std::optional<PropertyList::Date> ParseDateText(std::string_view text) {
  text = TrimWhiteSpace(text);
  if (text.size() != 20 || text[4] != '-' || text[7] != '-' || text[10] != 'T' || text[13] != ':' ||
      text[16] != ':' || text[19] != 'Z') {
    return std::nullopt;
  }
  const auto year = Digits(text, 0, 4), month = Digits(text, 5, 2), day = Digits(text, 8, 2);
  const auto hour = Digits(text, 11, 2), minute = Digits(text, 14, 2), second = Digits(text, 17, 2);
  if (!year || !month || !day || !hour || !minute || !second) return std::nullopt;
  const std::chrono::year_month_day date = std::chrono::year(*year) /
                                           std::chrono::month(static_cast<unsigned>(*month)) /
                                           std::chrono::day(static_cast<unsigned>(*day));
  if (!date.ok() || *hour > 23 || *minute > 59 || *second > 59) return std::nullopt;
  const std::int64_t days = (std::chrono::sys_days(date) - Epoch()).count();
  const std::int64_t seconds = ((days * 24 + *hour) * 60 + *minute) * 60 + *second;
  return PropertyList::Date{static_cast<double>(seconds)};
}

std::optional<std::string> DateText(PropertyList::Date value) {
  constexpr double kFarAway = 1e12;
  if (!(std::fabs(value.secondsSince2001) < kFarAway)) return std::nullopt;
  const std::chrono::seconds sinceEpoch(
      static_cast<std::int64_t>(std::floor(value.secondsSince2001)));
  const auto days = std::chrono::floor<std::chrono::days>(sinceEpoch);
  const std::chrono::year_month_day date(Epoch() + days);
  const int year = static_cast<int>(date.year());
  if (year < 0 || year > 9999) return std::nullopt;
  const int time = static_cast<int>((sinceEpoch - days).count());
  char text[64];
  std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02dZ", year,
                static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()), time / 3600,
                time / 60 % 60, time % 60);
  return text;
}

std::string RealText(double value) {
  if (std::isnan(value)) return "nan";
  if (std::isinf(value)) return value < 0 ? "-infinity" : "+infinity";
  char text[32];
  return std::string(text, std::to_chars(text, text + sizeof text, value).ptr);
}

std::optional<std::string> DecodeBase64(std::string_view text) {
  static constexpr std::array<std::int16_t, 256> kValues = MakeBase64Values();
  std::string bytes;
  bytes.reserve(text.size() / 4 * 3);
  std::uint32_t group = 0;
  int digits = 0, padding = 0;
  for (const char character : text) {
    if (kWhiteSpace.find(character) != std::string_view::npos) continue;
    const int value = kValues[static_cast<std::uint8_t>(character)];
    if (character == '=') {
      ++padding;
    } else if (value < 0 || padding > 0) {
      return std::nullopt;
    }
    group = group << 6 | static_cast<std::uint32_t>(value < 0 ? 0 : value);
    if (++digits < 4) continue;
    if (padding > 2) return std::nullopt;
    for (int i = 0; i < 3 - padding; ++i) bytes += static_cast<char>(group >> (16 - 8 * i) & 0xFF);
    group = 0;
    digits = 0;
  }
  if (digits != 0 || padding > 2) return std::nullopt;
  return bytes;
}

std::string EncodeBase64(std::string_view bytes) {
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const std::string_view part = bytes.substr(i, 3);
    std::uint32_t group = 0;
    for (std::size_t j = 0; j < 3; ++j) {
      group = group << 8 | (j < part.size() ? static_cast<std::uint8_t>(part[j]) : 0U);
    }
    for (std::size_t j = 0; j < 4; ++j) {
      text += j <= part.size() ? kBase64[group >> (18 - 6 * j) & 0x3F] : '=';
    }
  }
  return text;
}

}  // namespace kelvo
