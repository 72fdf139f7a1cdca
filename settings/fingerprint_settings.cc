#include "settings/fingerprint_settings.h"

#include <utility>

#include "settings/account_list.h"
#include "settings/agent_observer.h"
#include "settings/properties.h"

namespace kelvo {
namespace {

constexpr int kFingerprintsChanged = 2048;

}  // namespace

kelvo_FingerprintSettings::kelvo_FingerprintSettings(const std::string& path)
    : settingsPath_(path.empty() ? path : path + "/finger_prints.plist") {}

bool kelvo_FingerprintSettings::load() {
  return !settingsPath_.empty() && loadFromSpecificPath(settingsPath_);
}

bool kelvo_FingerprintSettings::loadFromSpecificPath(const std::string& path) {
  auto fingerprints = LoadPropertiesFromFileToArrayOfDictionaries(path);
  if (fingerprints) settings_ = *std::move(fingerprints);
  return true;
}

bool kelvo_FingerprintSettings::store() const {
  if (settingsPath_.empty() || !storeToSpecificPath(settingsPath_)) return false;
  NotifyAgentSettingsChanged(AccountList::extractAgentID(settingsPath_).c_str(),
                             kFingerprintsChanged);
  return true;
}

bool kelvo_FingerprintSettings::storeToSpecificPath(const std::string& path) const {
  return StorePropertiesToFileA(path, settings_);
}

bool kelvo_FingerprintSettings::isEqualToAgentSettings(
    const kelvo_FingerprintSettings& other) const {
  return settings_ == other.settings_;
}

void kelvo_FingerprintSettings::setFingerprintsArray(PropertyList::Array fingerprints) {
  settings_ = std::move(fingerprints);
}

}  // namespace kelvo
