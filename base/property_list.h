#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace kelvo {

// A property list in memory: one value of the kinds that settings files and Agent events hold.
//
// Threads: a value; copies share nothing that can change.
// Nesting is bounded by whoever builds it (readers refuse more than kMaxDepth levels), because
// copying and destroying recurse.
class PropertyList {
 public:
  static constexpr int kMaxDepth = 256;

  using Array = std::vector<PropertyList>;
  using Dictionary = std::map<std::string, PropertyList, std::less<>>;
  struct Date {
    double secondsSince2001 = 0;  // UTC
    bool operator==(const Date&) const = default;
  };
  struct Data {
    std::string bytes;
    bool operator==(const Data&) const = default;
  };
  using SharedText = std::shared_ptr<const std::string>;

  // Implicit on purpose, so that a dictionary can be written down as {{"key", value}, ...}.
  PropertyList() : value_(std::string()) {}
  PropertyList(bool value) : value_(value) {}
  PropertyList(int value) : value_(static_cast<std::int64_t>(value)) {}
  PropertyList(std::int64_t value) : value_(value) {}
  PropertyList(std::uint64_t value);
  PropertyList(double value) : value_(value) {}
  PropertyList(const char* utf8) : value_(std::string(utf8)) {}
  PropertyList(std::string utf8) : value_(std::move(utf8)) {}
  PropertyList(std::string_view utf8) : value_(std::string(utf8)) {}
  // A string all the same, for large texts that many hold and nobody copies. Not null.
  PropertyList(SharedText utf8) : value_(std::move(utf8)) {}
  PropertyList(Date value) : value_(value) {}
  PropertyList(Data value) : value_(std::move(value)) {}
  PropertyList(Array value) : value_(std::move(value)) {}
  PropertyList(Dictionary value) : value_(std::move(value)) {}

  // The value of exactly this kind, or null. An integer above 2^63-1 is only an Unsigned().
  const bool* AsBool() const { return std::get_if<bool>(&value_); }
  const std::int64_t* AsInteger() const { return std::get_if<std::int64_t>(&value_); }
  const std::uint64_t* AsUnsigned() const { return std::get_if<std::uint64_t>(&value_); }
  const double* AsReal() const { return std::get_if<double>(&value_); }
  const std::string* AsString() const {
    const SharedText* shared = std::get_if<SharedText>(&value_);
    return shared != nullptr ? shared->get() : std::get_if<std::string>(&value_);
  }
  const Date* AsDate() const { return std::get_if<Date>(&value_); }
  const Data* AsData() const { return std::get_if<Data>(&value_); }
  const Array* AsArray() const { return std::get_if<Array>(&value_); }
  const Dictionary* AsDictionary() const { return std::get_if<Dictionary>(&value_); }
  Array* AsArray() { return std::get_if<Array>(&value_); }
  Dictionary* AsDictionary() { return std::get_if<Dictionary>(&value_); }

  // Conversions that readers of foreign dictionaries share. A number, boolean or decimal text (with
  // leading white space) as an integer, cut to the range; nullopt for other kinds and texts that do
  // not begin with a number.
  std::optional<std::int64_t> ToInteger() const;
  // Not 0 for numbers; for texts: begins with Y, y, T, t or a digit 1 to 9. nullopt for other
  // kinds.
  std::optional<bool> ToBool() const;
  // The text of a string; decimal for integers and reals, "1" or "0" for booleans; else nullopt.
  std::optional<std::string> ToText() const;

  // The string for somebody who keeps it: a copy only if it is not shared already. Null for other
  // kinds.
  SharedText ToSharedText() const;

  bool operator==(const PropertyList& other) const;

 private:
  std::variant<bool, std::int64_t, std::uint64_t, double, std::string, SharedText, Date, Data,
               Array, Dictionary>
      value_;
};

// The value under `key`, or null.
const PropertyList* FindValue(const PropertyList::Dictionary& dictionary, std::string_view key);

}  // namespace kelvo
