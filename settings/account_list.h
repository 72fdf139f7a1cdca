#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "base/pending.h"
#include "platform/background_queue.h"
#include "settings/account.h"
#include "settings/agent_observer.h"

namespace kelvo {

// The accounts of the Agent, one for each configuration folder, ordered by agent identifier as
// text: "10" before "2".
//
// Threads: made on the main loop, where it hears of changed settings. With a queue everything that
// reads a file runs there, and all operations belong on that queue; without one, all of it runs on
// the caller's thread. Freed on the main loop, while nothing of it runs on the queue.
class AccountList final : public AgentNotificationReceiver {
 public:
  static constexpr char kFirstAgentID[] = "1";  // whose folder is the configuration folder itself

  // The one list of the process, made on first use and never freed: then on the main loop. A later
  // call answers the existing list, whatever its flag.
  static AccountList& defaultAccountList() { return defaultAccountListWithPassword(true); }
  static AccountList& defaultAccountListWithPassword(bool loadPassword);
  // Null before first use.
  static AccountList* existingDefaultAccountList();
  // Where the default list is to work; before its first use. Null: on the caller's thread.
  static void SetSettingsQueue(BackgroundQueue* queue);
  // Frees the default list and forgets the queue.
  static void ResetForTesting();

  // Hears of changed settings from now on, and loads.
  explicit AccountList(bool loadPassword, BackgroundQueue* queue = nullptr);
  ~AccountList();
  AccountList(const AccountList&) = delete;
  AccountList& operator=(const AccountList&) = delete;

  void load();
  // Replaces the account of the folder by a new one; drops it when the folder is gone.
  void processPath(const std::string& path);

  // Main loop. Reads the account again, or takes it in when its folder has come; null is the first
  // account, by way of processPath. An identifier that leads to another folder is ignored.
  // Deliberate: the channel names "0" in every notice, so that those reach no account but that of
  // the folder "account_0".
  void notifyAgentSettings(int hint, const char* agentID) override;

  // What follows the first component that holds "account_", cut at its eighth character wherever
  // that stands; "1" for a path without one.
  static std::string extractAgentID(std::string_view path);

  // Null when there is none. Owned by the list, until it next changes.
  Account* accountForAgentID(std::string_view agentID);
  Account* accountForPath(std::string_view path);
  Account* accountForUserID(std::string_view userID);
  std::optional<std::string> teamForAgentID(std::string_view agentID);
  static std::string pathForAgentID(std::string_view agentID);
  static std::string defaultConfigPath();
  static std::string defaultConfigFilename();
  // The first account's settings, read again; without an account a record of defaults. Valid until
  // the list next changes or this is called again.
  kelvoAgentSettings& defaultConfig();

  std::size_t count() const { return accountsList_.size(); }
  Account& accountAtIndex(std::size_t index) { return *accountsList_[index]; }
  bool loadPassword() const { return loadPassword_; }
  // Whether no account is ready for use.
  bool needSetup();

  // The rcid of what would be the first account of a new list. Reads the file by itself, for
  // whoever is not on the list's queue: any thread. Waits for the file's lock.
  static std::string defaultClientId();

  // Of a random identifier below 10000 that no account has; empty when there is none.
  std::string createNewAccountPath();
  // Not in the list, and its folder not made. Null when there is no identifier left.
  std::unique_ptr<Account> newAccount();
  // Uniform 32-bit numbers; a test may take another source.
  void SetRandomSource(std::function<std::uint32_t()> source);

  bool syncEnabled();
  bool debugTabEnabled();
  // Deliberate: asks each account whether it syncs, not whether it backs up.
  bool backupEnabled();
  // The least of the accounts' values; deliberately, a 0 gives way to any later value.
  std::int64_t minMbBackupWindowTresholdSetting();
  std::int64_t minFilesBackupWindowTresholdSetting();

 private:
  struct Unregistered {};
  using ChangedAccounts = std::set<std::optional<std::string>>;
  AccountList(bool loadPassword, BackgroundQueue* queue, Unregistered);

  void settingsChanged(const std::optional<std::string>& agentID);
  void registerAgentEvents();
  void start();
  void runOnQueue(std::function<void(AccountList&)> work);
  std::optional<unsigned> unusedNumber();
  template <typename Value>
  std::int64_t leastOfAccounts(Value value);

  std::vector<std::unique_ptr<Account>> accountsList_;
  const bool loadPassword_;
  BackgroundQueue* const queue_;
  AgentObserver settingsObserver_;
  // To be read again: few, as whatever the Agent sends names one account.
  Pending<ChangedAccounts> changed_;
  std::optional<kelvoAgentSettings> withoutAccount_;
  std::function<std::uint32_t()> random_;
  // Proof for work on the queue that the list is still there.
  std::shared_ptr<AccountList*> alive_;
};

}  // namespace kelvo
