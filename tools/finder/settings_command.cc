#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

#include "base/logger.h"
#include "settings/account_list.h"
#include "tools/finder/command.h"
#include "tools/finder/settings_report.h"
#include "tools/stderr_logger.h"
#include "tools/terminal_text.h"

namespace kelvo::finder {
namespace {

// Says so when its owner takes long, which can only be for another program's lock on a file.
class WaitingNote {
 public:
  WaitingNote() : thread_([this] { Wait(); }) {}
  ~WaitingNote() {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      done_ = true;
    }
    changed_.notify_one();
    thread_.join();
  }
  WaitingNote(const WaitingNote&) = delete;
  WaitingNote& operator=(const WaitingNote&) = delete;

 private:
  void Wait() {
    std::unique_lock<std::mutex> lock(mutex_);
    if (changed_.wait_for(lock, std::chrono::seconds(2), [this] { return done_; })) return;
    tools::PrintError("another program keeps a settings file locked; waiting for it");
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  bool done_ = false;
  std::thread thread_;  // last: it uses the others
};

struct AccountFolder {
  std::string agentId;
  std::string path;
};

// In the order of the account list, which cannot be asked: it makes the files that it misses.
std::vector<AccountFolder> FindAccounts() {
  std::vector<AccountFolder> accounts;
  std::error_code error;
  const std::string base = AccountList::defaultConfigPath();
  if (std::filesystem::is_directory(base, error)) accounts.push_back({"1", base});
  for (std::filesystem::directory_iterator entry(base, error), end; !error && entry != end;
       entry.increment(error)) {
    const std::string path = entry->path().string();
    std::error_code gone;
    const bool named = entry->path().filename().string().starts_with("account_");
    if (!named || !entry->is_directory(gone)) continue;
    accounts.push_back({AccountList::extractAgentID(path), path});
  }
  std::sort(accounts.begin(), accounts.end(),
            [](const auto& a, const auto& b) { return a.agentId < b.agentId; });
  return accounts;
}

}  // namespace

int RunSettings(const Command& command, const Arguments& arguments) {
  const bool one = arguments.size() == 2 && arguments[0] == "--account";
  if (!arguments.empty() && !one) return Complain(command);
  tools::StderrLogger logger;
  CLogger::m_Instance = &logger;
  bool found = false;
  {
    const WaitingNote note;
    for (const AccountFolder& account : FindAccounts()) {
      if (one && account.agentId != arguments[1]) continue;
      found = true;
      tools::PrintLine("Account " + tools::PrintableText(account.agentId) + "  " +
                       tools::PrintableText(account.path));
      PrintAccountFiles(account.path);
    }
    if (!one && found) {
      tools::PrintLine("All accounts");
      PrintSharedFiles(AccountList::defaultConfigPath());
    }
  }
  if (!one && found) PrintPrinters(AccountList::defaultConfigPath());
  CLogger::m_Instance = nullptr;
  if (!found) return Fail(one ? "there is no such account" : "there is no account yet");
  return kSuccess;
}

}  // namespace kelvo::finder
