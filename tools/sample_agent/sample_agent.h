#pragma once

#include <chrono>
#include <functional>
#include <string>

#include "platform/clock.h"
#include "platform/run_loop.h"
#include "tools/sample_agent/agent_server.h"
#include "tools/sample_agent/command_parser.h"
#include "tools/sample_agent/folder_model.h"
#include "tools/sample_agent/folder_watcher.h"
#include "tools/sample_agent/request_handler.h"
#include "tools/sample_agent/scenario.h"

namespace kelvo::sample_agent {

// The command line.
struct Options {
  std::string folder;    // absolute, without a trailing slash
  std::string scenario;  // a file; empty for none
  bool writeAccount = true;
  std::chrono::milliseconds settleTime{2000};
};

// An Agent without a service behind it: what the disk, a scenario and typed commands say is what it
// tells extensions.
//
// Threads: the run loop's, which turns the default main context.
class SampleAgent : private AgentServer::Listener, private FolderWatcher::Listener {
 public:
  // `quit` ends the run loop. Everything handed over must outlive the Agent.
  SampleAgent(const Options& options, RunLoop& runLoop, const Clock& clock,
              std::function<void()> quit);
  ~SampleAgent();

  // Reads the scenario, takes its place, writes the accounts' files, listens. False, told on
  // standard error, when one of these fails; nothing that comes after it was done then.
  bool Start();
  // One line of standard input. What is wrong with it is told on standard error.
  void RunLine(const std::string& line);

 private:
  void OnMessage(AgentServer::ConnectionId from, const AgentMessage& message) override;
  void OnItemChanged(const std::string& path) override;
  void OnItemsGone(const std::string& folder) override;

  bool LoadScenario(Scenario* scenario) const;
  void Run(const Command& command);
  void RunOnItem(const Command& command);
  void RunOnProject(const Command& command);
  void ListUnasked(const std::string& path);
  void Hang(std::chrono::milliseconds duration);

  const Options options_;
  RunLoop& runLoop_;
  const Clock& clock_;
  const std::function<void()> quit_;
  FolderModel model_;
  FolderWatcher watcher_;
  RequestHandler handler_;
  AgentServer server_;
  RunLoop::TimerId hanging_ = 0;
};

}  // namespace kelvo::sample_agent
