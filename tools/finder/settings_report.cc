#include "tools/finder/settings_report.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <vector>

#include "platform/background_queue.h"
#include "platform/linux/cups_printing.h"
#include "settings/account_list.h"
#include "settings/agent_settings.h"
#include "settings/filter_settings.h"
#include "settings/fingerprint_settings.h"
#include "settings/printers_settings.h"
#include "settings/storage_folders_info.h"
#include "settings/storage_quota_info.h"
#include "settings/storage_settings.h"
#include "settings/update_settings.h"
#include "settings/value_utilities.h"
#include "tools/terminal_text.h"

namespace kelvo::finder {
namespace {

constexpr std::array<std::string_view, 7> kFilterCategories = {
    "documents", "financial", "images", "archives", "databases", "music", "video"};
constexpr std::size_t kValueColumn = 38;

void PrintValue(std::string_view name, const std::string& value) {
  std::string line = "    " + tools::PrintableText(name);
  line.resize(std::max(line.size() + 2, kValueColumn), ' ');
  tools::PrintLine(line + tools::PrintableText(value));
}

const char* YesOrNo(bool value) { return value ? "yes" : "no"; }

// Reading a file that is not there would leave an empty one behind.
bool IsThere(const std::string& folder, const std::string& name) {
  std::error_code error;
  const bool there = std::filesystem::exists(folder + '/' + name, error);
  tools::PrintLine("  " + name + (there ? "" : ": not there"));
  return there;
}

// The default of one setting depends on the list of all accounts. It stays empty here: to load it
// makes the files that it misses, and asks for secrets.
class NoAccounts : public BackgroundQueue {
 public:
  void Async(std::function<void()> /*work*/) override {}
};

std::string ValueOf(const SettingLine& line) {
  // It identifies the account's secret.
  if (line.key == "rcid") return line.value.value_or("").empty() ? "not set" : "set";
  // Its default is made of more than this record.
  if (line.key == "master_project_folder" && !line.isStored) return "not set";
  return line.value.value_or("none") + (line.isStored ? "" : "  (default)");
}

void PrintAgentSettings(const std::string& folder) {
  if (!IsThere(folder, "user_info.plist")) return;
  kelvoAgentSettings settings(folder);
  if (!settings.loadSettingsWithoutPassword()) {
    tools::PrintLine("    cannot be read: every value is the default");
  }
  static NoAccounts noAccounts;
  AccountList::SetSettingsQueue(&noAccounts);
  for (const SettingLine& line : settings.describe()) PrintValue(line.key, ValueOf(line));
}

void PrintStorage(const std::string& folder) {
  kelvo_StorageSettings settings(folder);
  if (IsThere(folder, "storage_info.plist")) {
    settings.loadFromSpecificPath(folder + "/storage_info.plist");
  } else if (IsThere(folder, "share_info.plist")) {
    settings.loadOldShareInfoFromFile(folder + "/share_info.plist");
  }
  for (const PropertyList& row : settings.pathsAndFlags()) {
    const PropertyList::Array* cells = row.AsArray();
    if (cells == nullptr || cells->size() < 2) continue;
    const bool included = (*cells)[1].ToBool().value_or(false);
    PrintValue(included ? "included" : "excluded", (*cells)[0].ToText().value_or("?"));
  }
}

void PrintStorageFolders(const std::string& folder) {
  if (!IsThere(folder, "storage_folders.xml")) return;
  kelvo_StorageFoldersInfo info(folder);
  info.load();
  for (const kelvo_StorageFolderStatus& status : info.list()) {
    PrintValue(FileSizeString(status.stored()) + " of " + FileSizeString(status.total()),
               status.path());
  }
  PrintValue("in all",
             FileSizeString(info.stored()) + " of " + FileSizeString(info.total()) + " stored");
}

void PrintStorageQuota(const std::string& folder) {
  if (!IsThere(folder, "storage_quota.xml")) return;
  kelvo_StorageQuotaInfo info(folder);
  if (!info.load()) return;
  const auto stored = [](std::int64_t part, std::int64_t whole) {
    return FileSizeString(part) + " of " + FileSizeString(whole) + " stored";
  };
  PrintValue("quota", info.unlimitedQuota() ? "unlimited"
                      : info.haveQuota()    ? FileSizeString(info.quota())
                                            : "none");
  PrintValue("this computer", stored(info.storedThisComputer(), info.totalThisComputer()));
  PrintValue("other computers", stored(info.storedOtherComputers(), info.totalOtherComputers()));
  PrintValue("within the quota", YesOrNo(info.inQuota()));
}

void PrintFilter(const std::string& folder) {
  if (!IsThere(folder, "filter_info.plist")) return;
  kelvo_FilterSettings settings(folder);
  settings.load();
  std::string categories;
  for (const std::string_view category : kFilterCategories) {
    if (!settings.predefIncludeFilterValue(category)) continue;
    if (!categories.empty()) categories += ", ";
    categories += category;
  }
  PrintValue("all files", YesOrNo(settings.includeAllFiles()));
  PrintValue("categories", categories.empty() ? "none" : categories);
  for (const std::string& pattern : settings.excludeFilters()) PrintValue("excluded", pattern);
  PrintValue("sizes are filtered", YesOrNo(settings.fileSizeFiltering()));
  PrintValue("least and greatest size", std::to_string(settings.minFileSize()) + ", " +
                                            std::to_string(settings.maxFileSize()));
}

void PrintFingerprints(const std::string& folder) {
  if (!IsThere(folder, "finger_prints.plist")) return;
  kelvo_FingerprintSettings settings(folder);
  settings.load();
  PrintValue("fingerprints", std::to_string(settings.getFingerprintsArray().size()));
}

}  // namespace

void PrintAccountFiles(const std::string& folder) {
  PrintAgentSettings(folder);
  PrintStorage(folder);
  PrintStorageFolders(folder);
  PrintStorageQuota(folder);
  PrintFilter(folder);
  PrintFingerprints(folder);
}

void PrintSharedFiles(const std::string& folder) {
  if (!IsThere(folder, "server_info.plist")) return;
  const kelvoUpdateSettings settings = kelvoUpdateSettings::settings();
  PrintValue("web_server", settings.webServerName());
  PrintValue("update_server", settings.updateServerName());
}

void PrintPrinters(const std::string& folder) {
  IsThere(folder, "printer_info.plist");
  CupsPrinting printing;
  kelvo_PrintersSettings printers(printing);
  for (std::size_t i = 0; i < printers.count(); ++i) {
    PrintValue(
        printers.userCheckAtIndex(i) ? "selected printer" : "printer",
        printers.printersNameAtIndex(i).value_or("?") + ", " + printers.printersStatusAtIndex(i));
  }
}

}  // namespace kelvo::finder
