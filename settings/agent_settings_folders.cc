// The folders that the account's main record names.
#include <filesystem>
#include <string>
#include <system_error>

#include "base/file_system.h"
#include "base/logger.h"
#include "base/string_utils.h"
#include "settings/account_list.h"
#include "settings/agent_settings.h"
#include "settings/properties.h"

namespace kelvo {
namespace {

constexpr char kKey[] = "master_project_folder";
constexpr char kDefaultLabel[] = "KelvoAgent";
// Deliberate: with a blank, as old installations have it; it differs from the default label.
constexpr char kOldLabel[] = "Kelvo Agent";
constexpr char kFirstAgent[] = "1";

bool Exists(const std::string& path) {
  std::error_code ignored;
  return std::filesystem::exists(path, ignored);
}

std::string WithSuffix(const std::string& folder, const std::string& suffix) {
  return folder + " (" + suffix + ")";
}

bool IsOfFirstAgent(const std::string& settingsPath) {
  const Account* const account = AccountList::defaultAccountList().accountForPath(settingsPath);
  return account != nullptr && account->agentID() == kFirstAgent;
}

}  // namespace

std::string kelvoAgentSettings::masterProjectFolder() const {
  // A stored text that can be no path counts as absent.
  std::string folder = FilesystemRepresentation(getStringProperty(kKey).value_or(""));
  if (folder.empty()) folder = defaultMasterProjectFolder();
  if (Exists(folder)) return folder;
  std::string old = oldMasterProjectFolder();
  return Exists(old) ? old : folder;
}

void kelvoAgentSettings::setMasterProjectFolder(const std::string& path) {
  const std::string form = FilesystemRepresentation(path);
  if ((form.empty() && !path.empty()) || !SetStringProperty(settings_, kKey, form)) {
    KELVO_LOG(kLogWarning, "no path for the Workplace: " << EscapeControlCharacters(path));
  }
}

std::string kelvoAgentSettings::defaultMasterProjectFolder() const {
  const std::string workplace = ExpandTildeInPath("~/Kelvo Workplace");
  const std::string label = configLabel();
  const std::string team = teamName().value_or("");
  const bool isFirst = IsOfFirstAgent(settingsPath_.value_or(""));
  if (label == kDefaultLabel) return isFirst ? workplace : WithSuffix(workplace, team);
  return WithSuffix(workplace, isFirst ? label : label + "-" + team);
}

std::string kelvoAgentSettings::oldMasterProjectFolder() const {
  const std::string projects = ExpandTildeInPath("~/Kelvo Projects");
  const std::string label = configLabel();
  return label == kOldLabel ? projects : WithSuffix(projects, label);
}

}  // namespace kelvo
