#include "tools/finder/settings_report.h"

#include <algorithm>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <vector>

#include "platform/posix/cups_printing.h"
#include "settings/filter_categories.h"
#include "settings/printers_settings.h"
#include "settings/update_settings.h"
#include "settings/value_utilities.h"
#include "tools/terminal_text.h"

namespace kelvo::finder {
namespace {

constexpr std::size_t kValueColumn = 38;

void PrintValue(std::string_view name, const std::string& value) {
  std::string line = "    " + tools::PrintableText(name);
  line.resize(std::max(line.size() + 2, kValueColumn), ' ');
  tools::PrintLine(line + tools::PrintableText(value));
}

const char* YesOrNo(bool value) { return value ? "yes" : "no"; }

bool IsThere(const std::string& folder, const std::string& name) {
  std::error_code error;
  const bool there = std::filesystem::exists(folder + '/' + name, error);
  tools::PrintLine("  " + name + (there ? "" : ": not there"));
  return there;
}

std::string ValueOf(const SettingLine& line) {
  // It identifies the account's secret.
  if (line.key == "rcid") return line.value.value_or("").empty() ? "not set" : "set";
  return line.value.value_or("none") + (line.isStored ? "" : "  (default)");
}

void PrintAgentSettings(Account& account) {
  tools::PrintLine("  user_info.plist");
  for (const SettingLine& line : account.agentSettings().describe()) {
    PrintValue(line.key, ValueOf(line));
  }
}

void PrintStorage(kelvo_StorageSettings& settings) {
  tools::PrintLine("  storage_info.plist");
  for (const PropertyList& row : settings.pathsAndFlags()) {
    const PropertyList::Array* cells = row.AsArray();
    if (cells == nullptr || cells->size() < 2) continue;
    const bool included = (*cells)[1].ToBool().value_or(false);
    PrintValue(included ? "included" : "excluded", (*cells)[0].ToText().value_or("?"));
  }
}

void PrintStorageFolders(Account& account) {
  if (!IsThere(account.accountFolderPath(), "storage_folders.xml")) return;
  const kelvo_StorageFoldersInfo& info = account.storageFoldersInfo();
  for (const kelvo_StorageFolderStatus& status : info.list()) {
    PrintValue(FileSizeString(status.stored()) + " of " + FileSizeString(status.total()),
               status.path());
  }
  PrintValue("in all",
             FileSizeString(info.stored()) + " of " + FileSizeString(info.total()) + " stored");
}

void PrintStorageQuota(Account& account) {
  if (!IsThere(account.accountFolderPath(), "storage_quota.xml")) return;
  kelvo_StorageQuotaInfo& info = account.storageQuotaInfo();
  if (!info.load()) return PrintValue("quota", "cannot be read");
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

void PrintFilter(const kelvo_FilterSettings& settings) {
  tools::PrintLine("  filter_info.plist");
  std::string categories;
  for (const FilterCategory& category : FilterCategories()) {
    if (!settings.predefIncludeFilterValue(category.name)) continue;
    if (!categories.empty()) categories += ", ";
    categories += category.name;
  }
  PrintValue("all files", YesOrNo(settings.includeAllFiles()));
  PrintValue("categories", categories.empty() ? "none" : categories);
  for (const std::string& pattern : settings.excludeFilters()) PrintValue("excluded", pattern);
  PrintValue("sizes are filtered", YesOrNo(settings.fileSizeFiltering()));
  PrintValue("least and greatest size", std::to_string(settings.minFileSize()) + ", " +
                                            std::to_string(settings.maxFileSize()));
}

}  // namespace

void PrintAccount(Account& account) {
  tools::PrintLine("Account " + tools::PrintableText(account.agentID()) + "  " +
                   tools::PrintableText(account.accountFolderPath()));
  PrintAgentSettings(account);
  PrintStorage(account.storageSettings());
  PrintStorageFolders(account);
  PrintStorageQuota(account);
  PrintFilter(account.filterSettings());
  tools::PrintLine("  finger_prints.plist");
  PrintValue("fingerprints",
             std::to_string(account.fingerprintSettings().getFingerprintsArray().size()));
}

void PrintSharedFiles(const std::string& folder) {
  if (!IsThere(folder, "server_info.plist")) return;
  const kelvoUpdateSettings settings = kelvoUpdateSettings::settings();
  PrintValue("web_server", settings.webServerName());
  PrintValue("update_server", settings.updateServerName());
}

void PrintPrinters() {
  tools::PrintLine("  printer_info.plist");
  CupsPrinting printing;
  kelvo_PrintersSettings printers(printing);
  for (std::size_t i = 0; i < printers.count(); ++i) {
    PrintValue(
        printers.userCheckAtIndex(i) ? "selected printer" : "printer",
        printers.printersNameAtIndex(i).value_or("?") + ", " + printers.printersStatusAtIndex(i));
  }
}

}  // namespace kelvo::finder
