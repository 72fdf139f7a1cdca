// The account's main record as a list to be shown.
#include <cstdint>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include "settings/agent_settings.h"
#include "settings/properties.h"

namespace kelvo {
namespace {

template <typename T>
constexpr SettingKind KindOf() {
  if constexpr (std::is_same_v<T, bool>) return SettingKind::kBoolean;
  if constexpr (std::is_same_v<T, std::int32_t>) return SettingKind::kInteger32;
  if constexpr (std::is_same_v<T, std::int64_t>) return SettingKind::kInteger64;
  return SettingKind::kText;
}

std::optional<std::string> Text(bool value) { return value ? "true" : "false"; }
std::optional<std::string> Text(std::int64_t value) { return PropertyList(value).ToText(); }
std::optional<std::string> Text(std::int32_t value) { return PropertyList(value).ToText(); }
std::optional<std::string> Text(std::string value) { return value; }
std::optional<std::string> Text(std::optional<std::string> value) { return value; }
std::optional<std::string> Text(const std::optional<std::vector<std::string>>& values) {
  if (!values) return std::nullopt;
  kelvoAgentSettings joined;
  joined.setBadgeHandledFileExtensions(*values);
  return joined.getStringProperty("badge_handled_file_extension");
}

}  // namespace

const char* SettingKindName(SettingKind kind) {
  switch (kind) {
    case SettingKind::kBoolean:
      return "boolean";
    case SettingKind::kInteger32:
      return "32-bit integer";
    case SettingKind::kInteger64:
      return "64-bit integer";
    default:
      return "text";
  }
}

template <typename T>
SettingLine kelvoAgentSettings::describeSetting(const char* key,
                                                T (kelvoAgentSettings::*getter)() const) const {
  // Some defaults depend on other keys.
  kelvoAgentSettings without;
  without.settings_ = settings_;
  without.settingsPath_ = settingsPath_;
  RemoveProperty(without.settings_, key);
  SettingLine line{key, KindOf<T>(), Text((without.*getter)()), {}, false};
  line.isStored = FindValue(settings_, key) != nullptr;
  line.value = line.isStored ? Text((this->*getter)()) : line.defaultValue;
  return line;
}

std::vector<SettingLine> kelvoAgentSettings::describe() const {
  std::vector<SettingLine> lines;
#define KELVO_SPECIAL_SETTING(type, key, getter) \
  lines.push_back(describeSetting<type>(key, &kelvoAgentSettings::getter));
#define KELVO_READ_ONLY_SETTING(type, key, byDefault, getter) \
  KELVO_SPECIAL_SETTING(type, key, getter)
#define KELVO_SETTING(type, key, byDefault, getter, setter) KELVO_SPECIAL_SETTING(type, key, getter)
#include "settings/agent_settings_keys.def"
  return lines;
}

}  // namespace kelvo
