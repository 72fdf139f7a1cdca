#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/clock.h"
#include "tools/sample_agent/account_files.h"
#include "tools/sample_agent/agent_message.h"
#include "tools/sample_agent/answer.h"
#include "tools/sample_agent/folder_model.h"
#include "tools/sample_agent/folder_watcher.h"
#include "tools/sample_agent/project_requests.h"
#include "tools/sample_agent/scenario.h"

namespace kelvo::sample_agent {

// The connection status in which the extension offers what needs the Agent's service.
inline constexpr int kConnected = 4;

// Answers what an extension asks of an Agent. An extension waits for no answer, so that silence is
// a legal one to whatever is not known here.
//
// Threads: one. Everything handed over must outlive it.
class RequestHandler {
 public:
  RequestHandler(FolderModel& model, FolderWatcher& watcher, const Clock& clock);

  void SetAccount(Account account);
  // Takes the items into the model; after SetAccount, whose user they may be about.
  void SetScenario(const Scenario& scenario);
  // How every later lock and unlock ends. Only 0 changes the item.
  void SetResult(int result) { result_ = result; }
  void SetConnectionStatus(int status) { connectionStatus_ = status; }

  ProjectRequests& Projects() { return projects_; }

  // The answers in order; none when the message asks for nothing.
  std::vector<Answer> Handle(const AgentMessage& message);

  AgentMessage ConnectionStatusNow() const;
  // All public links, as if an extension had asked.
  AgentMessage PublicLinks() const;
  void SetPublicLink(const std::string& path, bool isPublic);
  // Lists a folder, and watches it from now on. An unknown folder has an empty list.
  AgentMessage ListFolder(const std::string& folder);
  // Locks the item: for the user with an empty owner, and pending unlock is the user's, too.
  void SetLock(Item& item, sync::ESyncItemLock lock, const std::string& owner) const;

 private:
  std::vector<Answer> HandleEvent(const PropertyList::Dictionary& info);
  std::vector<Answer> HandleSyncRequest(const PropertyList::Dictionary& info);
  std::vector<Answer> HandleLock(const std::string& command, const std::string& path);

  FolderModel& model_;
  FolderWatcher& watcher_;
  const Clock& clock_;
  Account account_;
  ProjectRequests projects_;
  std::vector<std::string> publicLinks_;
  int result_ = 0;
  int connectionStatus_ = kConnected;
};

}  // namespace kelvo::sample_agent
