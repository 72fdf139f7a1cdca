#include "tools/sample_agent/account_files.h"

#include <filesystem>
#include <system_error>
#include <utility>

#include "base/property_list.h"
#include "deployment.h"
#include "settings/configuration_path.h"
#include "settings/properties.h"
#include "tools/terminal_text.h"

namespace kelvo::sample_agent {
namespace {

// No "rcid": without it nothing looks for a password of this account.
PropertyList::Dictionary SampleSettings() {
  return {{"config_label", "Kelvo Agent"},   {"server", deployment::kDefaultServer},
          {"desktop_name", "sample"},        {"user", "sample"},
          {"email", "sample@kelvo.example"}, {"full_name", "Sample User"},
          {"team_name", "Samples"},          {"user_id", "1"},
          {"sync_file_locking", true},       {"public_share", true}};
}

PropertyList::Dictionary LoadSettings() {
  const std::string path = AccountFilePath();
  std::error_code error;
  // Loading would leave an empty file behind.
  if (!std::filesystem::exists(path, error)) return {};
  return LoadPropertiesFromFile(path).value_or(PropertyList::Dictionary());
}

// What the sample settings add to the file's.
PropertyList::Dictionary MissingSettings(const PropertyList::Dictionary& settings) {
  PropertyList::Dictionary missing = SampleSettings();
  const auto has = [&settings](const char* key) { return FindValue(settings, key) != nullptr; };
  // The extension makes an absent name from the other two: a user who has one keeps it.
  if (has("user") || has("email") || has("full_name")) {
    for (const char* key : {"user", "email", "full_name"}) missing.erase(key);
  }
  std::erase_if(missing, [&has](const auto& entry) { return has(entry.first.c_str()); });
  return missing;
}

Account MakeAccount(const PropertyList::Dictionary& settings) {
  for (const char* key : {"full_name", "email", "user"}) {
    std::optional<std::string> name = GetStringProperty(settings, key);
    if (name.has_value()) return {std::move(*name)};
  }
  return {};
}

}  // namespace

std::string AccountFilePath() { return GetConfigurationPath("user_info.plist"); }

std::optional<Account> WriteAccountFile(const std::string& folder) {
  PropertyList::Dictionary settings = LoadSettings();
  PropertyList::Dictionary changes = MissingSettings(settings);
  changes.insert_or_assign("master_project_folder", folder);
  if (!ChangePropertiesInFile(AccountFilePath(), changes)) {
    tools::PrintError("cannot write " + tools::PrintableText(AccountFilePath()));
    return std::nullopt;
  }
  for (auto& [key, value] : changes) settings.insert_or_assign(key, value);
  return MakeAccount(settings);
}

Account ReadAccountFile() {
  PropertyList::Dictionary settings = LoadSettings();
  settings.merge(MissingSettings(settings));
  return MakeAccount(settings);
}

}  // namespace kelvo::sample_agent
