#include "settings/property_reader.h"

#include <optional>

#include "base/file_system.h"
#include "settings/properties.h"

namespace kelvo::config {
namespace {

// Whether there is a value; `out` is it or the default.
template <typename T>
bool Take(std::optional<T> value, T& out, const T& defaultValue) {
  const bool isThere = value.has_value();
  out = isThere ? *std::move(value) : defaultValue;
  return isThere;
}

std::optional<bool> BoolProperty(const PropertyList::Dictionary& properties, const char* key) {
  const PropertyList* value = FindValue(properties, key);
  return value == nullptr ? std::nullopt : value->ToBool();
}

}  // namespace

bool CPropertyReader::Load(const std::string& path) {
  auto properties = LoadPropertiesFromFile(path);
  const bool loaded = properties.has_value();
  properties_ = loaded ? *std::move(properties) : CreateEmptyProperties();
  return loaded;
}

void CPropertyReader::Load(const PropertyList::Dictionary& properties) { properties_ = properties; }

bool CPropertyReader::Get(const char* key, std::string& out,
                          const std::string& defaultValue) const {
  return Take(GetStringProperty(properties_, key), out, defaultValue);
}

bool CPropertyReader::Get(const char* key, bool& out) const {
  return Take(BoolProperty(properties_, key), out, out);
}

bool CPropertyReader::Get(const char* key, bool& out, bool defaultValue) const {
  return Take(BoolProperty(properties_, key), out, defaultValue);
}

template <>
bool CPropertyReader::Get<int>(const char* key, int& out) const {
  const PropertyList* value = FindValue(properties_, key);
  if (value == nullptr || !value->ToInteger()) return false;
  out = GetIntPropertyWithDefault(properties_, key, out);
  return true;
}

bool CPropertyReader::GetFs(const char* key, std::string& out,
                            const std::string& defaultValue) const {
  std::optional<std::string> path = GetStringProperty(properties_, key);
  if (path && !path->empty()) {
    path = FilesystemRepresentation(*path);
    if (path->empty()) path.reset();  // no path of this file system
  }
  return Take(std::move(path), out, defaultValue);
}

}  // namespace kelvo::config
