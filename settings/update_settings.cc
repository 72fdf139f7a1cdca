#include "settings/update_settings.h"

#include "base/logger.h"
#include "base/string_utils.h"
#include "deployment.h"
#include "settings/configuration_path.h"
#include "settings/properties.h"

namespace kelvo {
namespace {

constexpr char kWebServer[] = "web_server";
constexpr char kUpdateServer[] = "update_server";

}  // namespace

std::string kelvoUpdateSettings::defaultFilename() {
  return GetConfigurationPath("server_info.plist");
}

kelvoUpdateSettings kelvoUpdateSettings::settings() {
  kelvoUpdateSettings settings;
  settings.loadSettings();
  return settings;
}

kelvoUpdateSettings::kelvoUpdateSettings()
    : webServerName_(deployment::kDefaultWebServer),
      updateServerName_(deployment::kDefaultWebServer) {}

bool kelvoUpdateSettings::loadSettings() { return loadSettingsFromFile(defaultFilename()); }

bool kelvoUpdateSettings::loadSettingsFromFile(const std::string& path) {
  const auto servers = LoadPropertiesFromFile(path);
  if (!servers) return false;
  webServerName_ = GetStringProperty(*servers, kWebServer).value_or(deployment::kDefaultWebServer);
  updateServerName_ =
      GetStringProperty(*servers, kUpdateServer).value_or(deployment::kDefaultWebServer);
  return true;
}

bool kelvoUpdateSettings::store() const { return storeToSpecificPath(defaultFilename()); }

bool kelvoUpdateSettings::storeToSpecificPath(const std::string& path) const {
  PropertyList::Dictionary servers = CreateEmptyProperties();
  for (const char* key : {kWebServer, kUpdateServer}) {
    if (SetStringProperty(servers, key, webServerName_)) continue;
    KELVO_LOG(kLogError, "no server name: " << EscapeControlCharacters(webServerName_));
    return false;
  }
  return ChangePropertiesInFile(path, servers);
}

}  // namespace kelvo
