#pragma once

#include <string>

#include "settings/agent_settings.h"
#include "settings/filter_settings.h"
#include "settings/fingerprint_settings.h"
#include "settings/storage_folders_info.h"
#include "settings/storage_quota_info.h"
#include "settings/storage_settings.h"

namespace kelvo {

// One account of the Agent: the settings of one configuration folder.
//
// Threads: one at a time, in the extension the accounts worker. Most accessors read a file again,
// and wait for its lock. Without the folder nothing is read or made: what was known stays.
class Account {
 public:
  Account(std::string accountFolderPath, bool loadSettings);

  void loadSettings();

  // Reads the record again, with its secrets only where the default list wants them.
  kelvoAgentSettings& agentSettings();
  // Each reads its record again.
  kelvo_StorageQuotaInfo& storageQuotaInfo();
  kelvo_StorageSettings& storageSettings();
  kelvo_StorageFoldersInfo& storageFoldersInfo();
  kelvo_FilterSettings& filterSettings();
  // Deliberate: reads the filter settings again, not the fingerprints, which are as fresh as the
  // last loadSettings.
  kelvo_FingerprintSettings& fingerprintSettings();

  const std::string& accountFolderPath() const { return accountFolderPath_; }
  const std::string& agentID() const { return agentID_; }
  // Whether loadSettings has run.
  bool isValid() const { return isValid_; }
  bool needSetup();
  // A further account takes label and server from the default list's first one, and is stored,
  // which makes its folder. Nothing for agent "1".
  void createSkelet();

 private:
  void loadAgentSettings();
  bool hasFolder() const;
  template <typename Record>
  Record& reload(Record& record) const;

  std::string accountFolderPath_;
  std::string agentID_;
  kelvoAgentSettings agentSettings_;
  kelvo_StorageSettings storageSettings_;
  kelvo_FilterSettings filterSettings_;
  kelvo_StorageFoldersInfo storageFoldersInfo_;
  kelvo_StorageQuotaInfo storageQuotaInfo_;
  kelvo_FingerprintSettings fingerprintSettings_;
  bool isValid_ = false;
};

}  // namespace kelvo
