// Typed values in a dictionary.
#include <algorithm>
#include <limits>

#include "base/string_utils.h"
#include "settings/properties.h"

namespace kelvo {
namespace {

const PropertyList::Dictionary* Row(const PropertyList::Array& rows, std::size_t row) {
  return row < rows.size() ? rows[row].AsDictionary() : nullptr;
}

}  // namespace

std::int32_t GetIntPropertyWithDefault(const PropertyList::Dictionary& properties, const char* key,
                                       std::int32_t defaultValue) {
  using Limits = std::numeric_limits<std::int32_t>;
  const std::int64_t value = GetLongPropertyWithDefault(properties, key, defaultValue);
  return static_cast<std::int32_t>(std::clamp<std::int64_t>(value, Limits::min(), Limits::max()));
}

std::int64_t GetLongPropertyWithDefault(const PropertyList::Dictionary& properties, const char* key,
                                        std::int64_t defaultValue) {
  const PropertyList* value = FindValue(properties, key);
  return value == nullptr ? defaultValue : value->ToInteger().value_or(defaultValue);
}

bool GetBoolPropertyWithDefault(const PropertyList::Dictionary& properties, const char* key,
                                bool defaultValue) {
  const PropertyList* value = FindValue(properties, key);
  return value == nullptr ? defaultValue : value->ToBool().value_or(defaultValue);
}

std::optional<std::string> GetStringProperty(const PropertyList::Dictionary& properties,
                                             const char* key) {
  const PropertyList* value = FindValue(properties, key);
  return value == nullptr ? std::nullopt : value->ToText();
}

bool SetIntProperty(PropertyList::Dictionary& properties, const char* key, std::int32_t value) {
  return SetLongProperty(properties, key, value);
}

bool SetLongProperty(PropertyList::Dictionary& properties, const char* key, std::int64_t value) {
  AddValueToDictionary(key, PropertyList(value), properties);
  return true;
}

bool SetBoolProperty(PropertyList::Dictionary& properties, const char* key, bool value) {
  AddValueToDictionary(key, PropertyList(value), properties);
  return true;
}

bool SetStringProperty(PropertyList::Dictionary& properties, const char* key,
                       const std::string& utf8) {
  if (!IsValidUtf8(utf8)) return false;
  AddValueToDictionary(key, PropertyList(utf8), properties);
  return true;
}

void RemoveProperty(PropertyList::Dictionary& properties, const char* key) {
  const auto found = properties.find(std::string_view(key));
  if (found != properties.end()) properties.erase(found);
}

bool GetBoolPropertyWithDefaultForRowInArray(const PropertyList::Array& rows, std::size_t row,
                                             const char* key, bool defaultValue) {
  const PropertyList::Dictionary* properties = Row(rows, row);
  return properties == nullptr ? defaultValue
                               : GetBoolPropertyWithDefault(*properties, key, defaultValue);
}

std::optional<std::string> GetStringPropertyForRowInArray(const PropertyList::Array& rows,
                                                          std::size_t row, const char* key) {
  const PropertyList::Dictionary* properties = Row(rows, row);
  return properties == nullptr ? std::nullopt : GetStringProperty(*properties, key);
}

}  // namespace kelvo
