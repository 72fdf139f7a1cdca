#include "settings/storage_settings.h"

#include <optional>
#include <utility>

#include "settings/secure_store.h"
#include "settings/top_level_paths.h"

namespace kelvo {
namespace {

constexpr char kFile[] = "/storage_info.plist";
constexpr char kOldFile[] = "/share_info.plist";

}  // namespace

kelvo_StorageSettings::kelvo_StorageSettings(std::string path) : settingsPath_(std::move(path)) {}

bool kelvo_StorageSettings::load() {
  if (settingsPath_.empty()) return false;
  return loadFromSpecificPath(settingsPath_ + kFile) ||
         loadOldShareInfoFromFile(settingsPath_ + kOldFile);
}

bool kelvo_StorageSettings::loadFromSpecificPath(const std::string& file) {
  auto rows = LoadStorageConfiguration(file);
  if (!rows) return false;
  settings_ = *std::move(rows);
  return true;
}

bool kelvo_StorageSettings::loadOldShareInfoFromFile(const std::string& file) {
  auto oldRows = LoadStorageConfiguration(file);
  if (!oldRows) return false;
  PropertyList::Array rows;
  for (PropertyList& row : *oldRows) {
    PropertyList::Array* elements = row.AsArray();
    if (elements == nullptr || elements->size() < 2) continue;
    rows.emplace_back(PropertyList::Array{std::move((*elements)[1]), true});
  }
  settings_ = std::move(rows);
  return true;
}

bool kelvo_StorageSettings::store() const {
  return !settingsPath_.empty() && storeToSpecificPath(settingsPath_ + kFile);
}

bool kelvo_StorageSettings::storeToSpecificPath(const std::string& file) const {
  return StoreStorageConfiguration(file, settings_);
}

void kelvo_StorageSettings::setPathsAndFlags(PropertyList::Array pathsAndFlags) {
  settings_ = std::move(pathsAndFlags);
}

std::vector<std::string> kelvo_StorageSettings::topLevelPaths() const {
  return TopLevelPaths(settings_);
}

void kelvo_StorageSettings::removeTopLevelPath(std::string_view path) {
  RemoveTopLevelPath(settings_, path);
}

bool kelvo_StorageSettings::isEqualToAgentSettings(const kelvo_StorageSettings& other) const {
  return settings_ == other.settings_;
}

}  // namespace kelvo
