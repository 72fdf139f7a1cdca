#include "base/format_text.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <optional>
#include <utility>

namespace kelvo {
namespace {

// Beyond these a number in a format is a mistake or malice.
constexpr std::size_t kMaxPosition = 99;
constexpr std::size_t kMaxWidth = 99;
constexpr std::size_t kMaxPrecision = 20;
constexpr std::size_t kDefaultPrecision = 6;

enum class Kind { kText, kInteger, kReal, kPercent, kUnknown };

struct Specifier {
  std::string_view text;  // as it stands, "%" included
  Kind kind = Kind::kUnknown;
  bool hasPosition = false;
  bool takesArgument = true;
  std::size_t position = 0;  // from 1
  std::size_t width = 0;
  std::size_t precision = kDefaultPrecision;
  bool leftAligned = false;
  bool zeroPadded = false;
};

// Reads a specifier from its "%" on.
class SpecifierReader {
 public:
  explicit SpecifierReader(std::string_view format) : format_(format), rest_(format.substr(1)) {}

  Specifier Read() {
    ReadPosition();
    ReadFlags();
    specifier_.width = Limited(TakeNumber(), kMaxWidth, 0);
    if (Take('.')) specifier_.precision = Limited(TakeNumber(), kMaxPrecision, kDefaultPrecision);
    const std::size_t modifiers = std::min(rest_.find_first_not_of("hlqjzt"), rest_.size());
    rest_.remove_prefix(modifiers);
    ReadConversion(modifiers > 0);
    specifier_.text = format_.substr(0, format_.size() - rest_.size());
    return specifier_;
  }

 private:
  static constexpr std::size_t kHuge = static_cast<std::size_t>(-1);

  static std::size_t Limited(std::size_t value, std::size_t limit, std::size_t otherwise) {
    return value <= limit ? value : otherwise;
  }

  bool Take(char expected) {
    if (!rest_.starts_with(expected)) return false;
    rest_.remove_prefix(1);
    return true;
  }

  // 0 when there is no number.
  std::size_t TakeNumber() {
    std::size_t value = 0;
    const auto [end, error] = std::from_chars(rest_.data(), rest_.data() + rest_.size(), value);
    rest_.remove_prefix(static_cast<std::size_t>(end - rest_.data()));
    return error == std::errc::result_out_of_range ? kHuge : value;
  }

  void ReadPosition() {
    const std::string_view start = rest_;
    const std::size_t position = TakeNumber();
    if (rest_.size() == start.size() || !Take('$')) {
      rest_ = start;
      return;
    }
    specifier_.hasPosition = true;
    specifier_.position = position;
    specifier_.takesArgument = position >= 1 && position <= kMaxPosition;
  }

  void ReadFlags() {
    const std::size_t size = std::min(rest_.find_first_not_of("-+ #0'"), rest_.size());
    const std::string_view flags = rest_.substr(0, size);
    specifier_.leftAligned = flags.find('-') != std::string_view::npos;
    specifier_.zeroPadded = flags.find('0') != std::string_view::npos;
    rest_.remove_prefix(size);
  }

  void ReadConversion(bool hasModifiers) {
    const char conversion = rest_.empty() ? '\0' : rest_.front();
    if (conversion == '%' && rest_.data() == format_.data() + 1) {
      specifier_.kind = Kind::kPercent;
      specifier_.takesArgument = false;
    } else if ((conversion == '@' || conversion == 's') && !hasModifiers) {
      specifier_.kind = Kind::kText;
    } else if (conversion == 'd' || conversion == 'i' || conversion == 'u') {
      specifier_.kind = Kind::kInteger;
    } else if (conversion == 'f') {
      specifier_.kind = Kind::kReal;
    } else if (conversion == '\0' || conversion == '%') {
      specifier_.takesArgument = false;
      return;  // a "%" may begin the next one
    }
    rest_.remove_prefix(1);
  }

  std::string_view format_;
  std::string_view rest_;
  Specifier specifier_;
};

// Calls onText for what lies between, onSpecifier with each specifier and its argument's index.
template <typename OnText, typename OnSpecifier>
void Walk(std::string_view format, OnText onText, OnSpecifier onSpecifier) {
  std::size_t next = 0;
  while (!format.empty()) {
    const std::string_view text = format.substr(0, format.find('%'));
    onText(text);
    format.remove_prefix(text.size());
    if (format.empty()) return;
    const Specifier specifier = SpecifierReader(format).Read();
    format.remove_prefix(specifier.text.size());
    const bool inOrder = specifier.takesArgument && !specifier.hasPosition;
    onSpecifier(specifier, inOrder ? next++ : specifier.position - 1);
  }
}

std::string Padded(std::string text, const Specifier& specifier) {
  if (text.size() >= specifier.width) return text;
  const std::size_t missing = specifier.width - text.size();
  if (specifier.leftAligned) return text.append(missing, ' ');
  if (!specifier.zeroPadded) return text.insert(0, missing, ' ');
  return text.insert(text.starts_with('-') ? 1 : 0, missing, '0');
}

std::string RealText(double value, std::size_t precision) {
  char text[400];  // the largest has 309 digits before the point
  return {text, std::to_chars(text, text + sizeof text, value, std::chars_format::fixed,
                              static_cast<int>(precision))
                    .ptr};
}

std::optional<std::string> Fill(const Specifier& specifier, const FormatArgument& argument) {
  switch (specifier.kind) {
    case Kind::kText:
      if (const auto* text = std::get_if<std::string>(&argument)) return *text;
      return std::nullopt;
    case Kind::kInteger:
      if (const auto* integer = std::get_if<std::int64_t>(&argument)) {
        return Padded(std::to_string(*integer), specifier);
      }
      return std::nullopt;
    case Kind::kReal:
      if (const auto* real = std::get_if<double>(&argument)) {
        return Padded(RealText(*real, specifier.precision), specifier);
      }
      return std::nullopt;
    default:
      return std::nullopt;
  }
}

std::string KindText(const Specifier& specifier) {
  switch (specifier.kind) {
    case Kind::kText:
      return "@";
    case Kind::kInteger:
      return "d";
    case Kind::kReal:
      return "f";
    default:
      return std::string(specifier.text);
  }
}

}  // namespace

std::string FormatText(std::string_view format, const std::vector<FormatArgument>& arguments) {
  std::string filled;
  Walk(
      format, [&](std::string_view text) { filled += text; },
      [&](const Specifier& specifier, std::size_t index) {
        if (specifier.kind == Kind::kPercent) {
          filled += '%';
          return;
        }
        std::optional<std::string> text;
        if (specifier.takesArgument && index < arguments.size()) {
          text = Fill(specifier, arguments[index]);
        }
        filled += text ? *text : specifier.text;
      });
  return filled;
}

std::vector<std::string> FormatSpecifiers(std::string_view format) {
  std::vector<std::string> specifiers;
  std::vector<std::string> nowhere;
  Walk(
      format, [](std::string_view) {},
      [&](const Specifier& specifier, std::size_t index) {
        if (specifier.kind == Kind::kPercent) return;
        if (!specifier.takesArgument) {
          if (specifier.hasPosition) nowhere.emplace_back(specifier.text);
          return;
        }
        if (index >= specifiers.size()) specifiers.resize(index + 1);
        const std::string kind = KindText(specifier);
        // An argument that is asked for as two kinds differs from one of either kind.
        if (specifiers[index] != kind) specifiers[index] += kind;
      });
  specifiers.insert(specifiers.end(), nowhere.begin(), nowhere.end());
  return specifiers;
}

}  // namespace kelvo
