#include "settings/agent_settings.h"

#include <cstddef>
#include <filesystem>
#include <memory>
#include <string_view>
#include <system_error>
#include <utility>

#include "base/logger.h"
#include "deployment.h"
#include "settings/application_bundle.h"
#include "settings/host_names.h"
#include "settings/properties.h"
#include "settings/value_utilities.h"

namespace kelvo {
namespace {

constexpr char kFileName[] = "user_info.plist";
constexpr char kPreferencePane[] = "/Library/PreferencePanes/kelvoPreferencePane.prefPane";

struct Cell {
  std::int32_t id;
  LocalizedText name;
};
constexpr Cell kCells[] = {
    {1, Localizable("AgentSettings.CellNameUS1", "US1")},
    {2, Localizable("AgentSettings.CellNameEU2", "EU2")},
    {3, Localizable("AgentSettings.CellNameCA3", "CA3")},
    {4, Localizable("AgentSettings.CellNameEU4", "EU4")},
    {5, Localizable("AgentSettings.CellNameAU5", "AU5")},
    {6, Localizable("AgentSettings.CellNameUS6", "US6")},
    {7, Localizable("AgentSettings.CellNameEU7", "EU7")},
    {8, Localizable("AgentSettings.CellNameUS8", "US8")},
    {9, Localizable("AgentSettings.CellNameUS9", "US9")},
    {10, Localizable("AgentSettings.CellNameEU10", "EU10")},
    {11, Localizable("AgentSettings.CellNameEU11", "EU11")},
};

template <typename T, typename Default>
T Read(const PropertyList::Dictionary& settings, const char* key, Default byDefault) {
  if constexpr (std::is_same_v<T, bool>) {
    return GetBoolPropertyWithDefault(settings, key, byDefault());
  } else if constexpr (std::is_same_v<T, std::int32_t>) {
    return GetIntPropertyWithDefault(settings, key, byDefault());
  } else if constexpr (std::is_same_v<T, std::int64_t>) {
    return GetLongPropertyWithDefault(settings, key, byDefault());
  } else {
    std::optional<std::string> stored = GetStringProperty(settings, key);
    return stored ? T(*std::move(stored)) : T(byDefault());
  }
}

void Write(PropertyList::Dictionary& settings, const char* key, bool value) {
  SetBoolProperty(settings, key, value);
}

void Write(PropertyList::Dictionary& settings, const char* key, std::int32_t value) {
  SetIntProperty(settings, key, value);
}

void Write(PropertyList::Dictionary& settings, const char* key, std::int64_t value) {
  SetLongProperty(settings, key, value);
}

void Write(PropertyList::Dictionary& settings, const char* key, const std::string& value) {
  if (SetStringProperty(settings, key, value)) return;
  KELVO_LOG(kLogWarning, "the new value of " << key << " is not text; the old one stays");
}

void Write(PropertyList::Dictionary& settings, const char* key,
           const std::optional<std::string>& value) {
  if (value) {
    Write(settings, key, *value);
  } else {
    RemoveProperty(settings, key);
  }
}

// The preference pane reads the secrets by itself.
bool IsPreferencePane() {
  const std::shared_ptr<const Bundle> bundle = getBundle();
  return bundle != nullptr && bundle->path() == kPreferencePane;
}

}  // namespace

#define KELVO_SETTING(type, key, byDefault, getter, setter)                   \
  KELVO_READ_ONLY_SETTING(type, key, byDefault, getter)                       \
  void kelvoAgentSettings::setter(kelvoAgentSettings::Argument<type> value) { \
    Write(settings_, key, value);                                             \
  }
#define KELVO_READ_ONLY_SETTING(type, key, byDefault, getter)     \
  type kelvoAgentSettings::getter() const {                       \
    return Read<type>(settings_, key, [&] { return byDefault; }); \
  }
#define KELVO_SPECIAL_SETTING(type, key, getter)
#include "settings/agent_settings_keys.def"

kelvoAgentSettings::kelvoAgentSettings(const std::string& folder) {
  if (folder.empty()) return;
  settingsPath_ = folder + (folder.back() == '/' ? "" : "/") + kFileName;
}

bool kelvoAgentSettings::load() { return settingsPath_ && loadFromSpecificPath(*settingsPath_); }

bool kelvoAgentSettings::loadFromSpecificPath(const std::string& path) {
  if (auto read = LoadPropertiesFromFile(path)) settings_ = *std::move(read);
  if (!IsPreferencePane()) readAccountDataWithOverwrite(true);
  settingsPath_ = path;
  return true;
}

bool kelvoAgentSettings::loadSettingsWithoutPassword() {
  if (!settingsPath_) return false;
  auto read = LoadPropertiesFromFile(*settingsPath_);
  if (!read) return false;
  settings_ = *std::move(read);
  return true;
}

bool kelvoAgentSettings::store() { return settingsPath_ && storeToSpecificPath(*settingsPath_); }

bool kelvoAgentSettings::storeToSpecificPath(const std::string& path) {
  const bool isMerged = ChangePropertiesInFile(path, settings_);
  const bool isSecretStored = storeAccountData();
  if (isMerged) {
    if (auto read = LoadPropertiesFromFile(path)) settings_ = *std::move(read);
  }
  return isMerged && isSecretStored;
}

bool kelvoAgentSettings::needSetup() const {
  std::error_code ignored;
  return !settingsPath_ || !std::filesystem::exists(*settingsPath_, ignored) || rcid().empty() ||
         authenticationKey_.empty();
}

bool kelvoAgentSettings::isEqualToAgentSettings(const kelvoAgentSettings& other) const {
  return settings_ == other.settings_;
}

std::optional<std::string> kelvoAgentSettings::getStringProperty(const char* key) const {
  return GetStringProperty(settings_, key);
}

std::string kelvoAgentSettings::desktopName() const {
  const std::optional<std::string> stored = getStringProperty("desktop_name");
  return stored && !stored->empty() ? *stored : ComputerName();
}

void kelvoAgentSettings::setDesktopName(const std::string& name) {
  if (name != desktopName()) Write(settings_, "desktop_name", name);
}

std::int64_t kelvoAgentSettings::limitedConnectionFileSize() const {
  constexpr std::int64_t kGigabytes = 2;
  constexpr int kGigabyteBits = 30;
  return GetLongPropertyWithDefault(settings_, "limited_connection_file_size", kGigabytes)
         << kGigabyteBits;
}

void kelvoAgentSettings::setLimitedConnectionFileSize(std::int64_t gigabytes) {
  Write(settings_, "limited_connection_file_size", gigabytes);
}

std::optional<std::vector<std::string>> kelvoAgentSettings::badgeHandledFileExtensions() const {
  const std::optional<std::string> stored = getStringProperty("badge_handled_file_extension");
  if (!stored) return std::nullopt;
  std::vector<std::string> extensions;
  std::string_view rest = *stored;
  for (std::size_t comma; (comma = rest.find(',')) != std::string_view::npos;) {
    extensions.emplace_back(rest.substr(0, comma));
    rest.remove_prefix(comma + 1);
  }
  extensions.emplace_back(rest);
  return extensions;
}

void kelvoAgentSettings::setBadgeHandledFileExtensions(const std::vector<std::string>& extensions) {
  std::string joined;
  for (const std::string& extension : extensions) {
    if (&extension != extensions.data()) joined += ',';
    joined += extension;
  }
  Write(settings_, "badge_handled_file_extension", joined);
}

std::optional<std::string> kelvoAgentSettings::cellName() const {
  std::optional<std::string> cell = cellId();
  const std::int32_t id = IntValue(cell ? &*cell : nullptr);
  for (const Cell& known : kCells) {
    if (known.id == id) return LocalizedString(known.name);
  }
  return cell;
}

}  // namespace kelvo
