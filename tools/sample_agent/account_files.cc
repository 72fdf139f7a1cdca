#include "tools/sample_agent/account_files.h"

#include <glib.h>
#include <glib/gstdio.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>

#include "base/open_exclusive.h"
#include "base/property_list.h"
#include "base/unique_fd.h"
#include "deployment.h"
#include "platform/linux/glib_ptr.h"
#include "settings/configuration_path.h"
#include "settings/properties.h"
#include "tools/sample_agent/storage_xml.h"
#include "tools/terminal_text.h"

namespace kelvo::sample_agent {
namespace {

constexpr int kOwnersAlone = 0600;
constexpr int kOwnersFolder = 0700;

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

// Empty for a file that is not there, nullopt for one that cannot be read.
std::optional<std::string> ReadWhole(const std::string& path) {
  char* contents = nullptr;
  gsize length = 0;
  GErrorSlot error;
  if (g_file_get_contents(path.c_str(), &contents, &length, error.out()) == FALSE) {
    if (!g_error_matches(error.get(), G_FILE_ERROR, G_FILE_ERROR_NOENT)) return std::nullopt;
    return std::string();
  }
  const GLibPtr<char> owned(contents);
  return std::string(contents, length);
}

bool MergeDictionary(const std::string& path, const PropertyList::Dictionary& changes) {
  return changes.empty() || ChangePropertiesInFile(path, changes);
}

// Under one lock, so that nothing that another program writes meanwhile is lost.
bool MergeArray(const std::string& path, const PropertyList::Array& added) {
  if (added.empty()) return true;
  const UniqueFd fd(OpenExclusive(path));
  if (!fd) return false;
  PropertyList::Array array;
  struct stat status {};
  if (::fstat(fd.get(), &status) != 0) return false;
  if (status.st_size > 0) {
    std::optional<PropertyList> existing = ReadPropertiesFile(fd.get());
    if (!existing.has_value() || existing->AsArray() == nullptr) return false;
    array = std::move(*existing->AsArray());
  }
  for (const PropertyList& element : added) {
    if (std::find(array.begin(), array.end(), element) == array.end()) array.push_back(element);
  }
  return WritePropertiesFile(fd.get(), PropertyList(std::move(array)));
}

bool MergeXml(const std::string& path, const AccountData& account,
              std::optional<std::string> (*merge)(const std::string&, const AccountData&)) {
  const std::optional<std::string> existing = ReadWhole(path);
  const std::optional<std::string> text =
      existing.has_value() ? merge(*existing, account) : std::nullopt;
  if (!text.has_value()) return false;
  return g_file_set_contents_full(path.c_str(), text->data(), static_cast<gssize>(text->size()),
                                  G_FILE_SET_CONTENTS_CONSISTENT, kOwnersAlone, nullptr) == TRUE;
}

bool WriteFilesOf(const AccountData& account) {
  const std::string folder = account.agentId == "1"
                                 ? GetConfigurationPath(nullptr)
                                 : GetConfigurationPath(("account_" + account.agentId).c_str());
  if (g_mkdir_with_parents(folder.c_str(), kOwnersFolder) != 0) return false;
  return MergeDictionary(folder + "/user_info.plist", account.settings) &&
         MergeArray(folder + "/storage_info.plist", account.storage) &&
         (account.folders.empty() ||
          MergeXml(folder + "/storage_folders.xml", account, MergeStorageFolders)) &&
         (account.quota.empty() ||
          MergeXml(folder + "/storage_quota.xml", account, MergeStorageQuota)) &&
         MergeDictionary(folder + "/filter_info.plist", account.filter) &&
         MergeArray(folder + "/finger_prints.plist", account.fingerprints) &&
         MergeDictionary(GetConfigurationPath("server_info.plist"), account.servers);
}

}  // namespace

bool WriteAccountFiles(const std::vector<AccountData>& accounts) {
  for (const AccountData& account : accounts) {
    if (WriteFilesOf(account)) continue;
    tools::PrintError("cannot merge the files of account " +
                      tools::QuotedText(account.agentId, 100));
    return false;
  }
  return true;
}

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
