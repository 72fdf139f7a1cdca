#include "settings/account.h"

#include <utility>

#include "base/file_system.h"
#include "base/logger.h"
#include "base/string_utils.h"
#include "settings/account_list.h"

namespace kelvo {

Account::Account(std::string accountFolderPath, bool loadSettings)
    : accountFolderPath_(std::move(accountFolderPath)),
      agentID_(AccountList::extractAgentID(accountFolderPath_)),
      agentSettings_(accountFolderPath_),
      storageSettings_(accountFolderPath_),
      filterSettings_(accountFolderPath_),
      storageFoldersInfo_(accountFolderPath_),
      storageQuotaInfo_(accountFolderPath_),
      fingerprintSettings_(accountFolderPath_) {
  if (loadSettings) this->loadSettings();
}

void Account::loadSettings() {
  if (!hasFolder()) {
    KELVO_LOG(kLogWarning, "no account folder " << EscapeControlCharacters(accountFolderPath_));
  }
  loadAgentSettings();
  reload(storageSettings_);
  reload(filterSettings_);
  reload(storageFoldersInfo_);
  reload(storageQuotaInfo_);
  reload(fingerprintSettings_);
  isValid_ = true;
}

// Opening a settings file makes its folder: an account that the Agent has just removed would come
// back.
bool Account::hasFolder() const { return IsDirectory(accountFolderPath_); }

// A record that cannot be read keeps its values, and has logged why.
template <typename Record>
Record& Account::reload(Record& record) const {
  if (hasFolder()) (void)record.load();
  return record;
}

void Account::loadAgentSettings() {
  if (!hasFolder()) return;
  const AccountList* list = AccountList::existingDefaultAccountList();
  if (list != nullptr && list->loadPassword()) {
    (void)agentSettings_.load();
  } else {
    (void)agentSettings_.loadSettingsWithoutPassword();
  }
}

kelvoAgentSettings& Account::agentSettings() {
  loadAgentSettings();
  return agentSettings_;
}

kelvo_StorageQuotaInfo& Account::storageQuotaInfo() { return reload(storageQuotaInfo_); }

kelvo_StorageSettings& Account::storageSettings() { return reload(storageSettings_); }

kelvo_StorageFoldersInfo& Account::storageFoldersInfo() { return reload(storageFoldersInfo_); }

kelvo_FilterSettings& Account::filterSettings() { return reload(filterSettings_); }

kelvo_FingerprintSettings& Account::fingerprintSettings() {
  reload(filterSettings_);
  return fingerprintSettings_;
}

bool Account::needSetup() { return agentSettings().needSetup(); }

void Account::createSkelet() {
  if (agentID_ == AccountList::kFirstAgentID) return;
  const kelvoAgentSettings& first = AccountList::defaultAccountList().defaultConfig();
  agentSettings_.setConfigLabel(first.configLabel());
  agentSettings_.setServerName(first.serverName());
  (void)agentSettings_.store();
}

}  // namespace kelvo
