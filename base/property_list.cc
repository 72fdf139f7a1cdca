#include "base/property_list.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

namespace kelvo {
namespace {

constexpr std::int64_t kMin = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();

std::optional<std::int64_t> IntegerOfReal(double value) {
  constexpr double kBeyond = 9223372036854775808.0;  // 2^63, the first that does not fit
  if (std::isnan(value)) return std::nullopt;
  if (value >= kBeyond) return kMax;
  if (value < -kBeyond) return kMin;
  return static_cast<std::int64_t>(value);
}

std::optional<std::int64_t> IntegerOfText(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size()));
  const bool negative = text.starts_with('-');
  // from_chars takes a minus, but no plus.
  if (text.starts_with('+')) {
    text.remove_prefix(1);
    if (text.starts_with('-')) return std::nullopt;
  }
  std::int64_t value = 0;
  const std::errc error = std::from_chars(text.data(), text.data() + text.size(), value).ec;
  if (error == std::errc::result_out_of_range) return negative ? kMin : kMax;
  if (error != std::errc()) return std::nullopt;
  return value;
}

template <typename Number>
std::string NumberText(Number value) {
  char text[32];
  return {text, std::to_chars(text, text + sizeof text, value).ptr};
}

}  // namespace

PropertyList::PropertyList(std::uint64_t value) {
  if (value <= static_cast<std::uint64_t>(kMax)) {
    value_ = static_cast<std::int64_t>(value);
  } else {
    value_ = value;
  }
}

std::optional<std::int64_t> PropertyList::ToInteger() const {
  if (const bool* flag = AsBool()) return *flag ? 1 : 0;
  if (const std::int64_t* integer = AsInteger()) return *integer;
  if (AsUnsigned() != nullptr) return kMax;
  if (const double* real = AsReal()) return IntegerOfReal(*real);
  if (const std::string* text = AsString()) return IntegerOfText(*text);
  return std::nullopt;
}

std::optional<bool> PropertyList::ToBool() const {
  if (const bool* flag = AsBool()) return *flag;
  if (const std::int64_t* integer = AsInteger()) return *integer != 0;
  if (AsUnsigned() != nullptr) return true;
  if (const double* real = AsReal()) return *real != 0;
  if (const std::string* text = AsString()) {
    return !text->empty() &&
           std::string_view("YyTt123456789").find(text->front()) != std::string_view::npos;
  }
  return std::nullopt;
}

std::optional<std::string> PropertyList::ToText() const {
  if (const std::string* text = AsString()) return *text;
  if (const bool* flag = AsBool()) return *flag ? "1" : "0";
  if (const std::int64_t* integer = AsInteger()) return NumberText(*integer);
  if (const std::uint64_t* integer = AsUnsigned()) return NumberText(*integer);
  if (const double* real = AsReal()) return NumberText(*real);
  return std::nullopt;
}

PropertyList::SharedText PropertyList::ToSharedText() const {
  if (const SharedText* shared = std::get_if<SharedText>(&value_)) return *shared;
  const std::string* text = AsString();
  return text == nullptr ? nullptr : std::make_shared<const std::string>(*text);
}

bool PropertyList::operator==(const PropertyList& other) const {
  const std::string* text = AsString();
  const std::string* otherText = other.AsString();
  if (text != nullptr && otherText != nullptr) return *text == *otherText;
  return value_ == other.value_;
}

const PropertyList* FindValue(const PropertyList::Dictionary& dictionary, std::string_view key) {
  const auto found = dictionary.find(key);
  return found == dictionary.end() ? nullptr : &found->second;
}

}  // namespace kelvo
