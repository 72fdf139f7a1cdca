#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

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

}  // namespace

int RunSettings(const Command& command, const Arguments& arguments) {
  const bool one = arguments.size() == 2 && arguments[0] == "--account";
  if (!arguments.empty() && !one) return Complain(command);
  tools::StderrLogger logger;
  CLogger::m_Instance = &logger;
  bool found = false;
  {
    const WaitingNote note;
    // Without the secrets, which nobody is to see.
    AccountList& accounts = AccountList::defaultAccountListWithPassword(false);
    for (std::size_t i = 0; i < accounts.count(); ++i) {
      Account& account = accounts.accountAtIndex(i);
      if (one && account.agentID() != arguments[1]) continue;
      found = true;
      PrintAccount(account);
    }
    if (!one && found) {
      tools::PrintLine("All accounts");
      PrintSharedFiles(AccountList::defaultConfigPath());
    }
  }
  if (!one && found) PrintPrinters();
  CLogger::m_Instance = nullptr;
  if (!found) return Fail(one ? "there is no such account" : "there is no account yet");
  return kSuccess;
}

}  // namespace kelvo::finder
