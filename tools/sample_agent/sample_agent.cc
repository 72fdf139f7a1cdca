#include "tools/sample_agent/sample_agent.h"

#include <optional>
#include <utility>
#include <vector>

#include "tools/sample_agent/account_files.h"
#include "tools/sample_agent/deeds.h"
#include "tools/sample_agent/rendezvous.h"
#include "tools/sample_agent/scenario.h"
#include "tools/terminal_text.h"

namespace kelvo::sample_agent {

using tools::PrintableText;
using tools::PrintError;
using tools::PrintLine;

SampleAgent::SampleAgent(const Options& options, RunLoop& runLoop, const Clock& clock,
                         std::function<void()> quit)
    : options_(options),
      runLoop_(runLoop),
      clock_(clock),
      quit_(std::move(quit)),
      model_(options.folder),
      watcher_(model_, runLoop, clock, options.settleTime, *this),
      handler_(model_, watcher_, clock),
      server_(*this) {}

SampleAgent::~SampleAgent() { runLoop_.Cancel(hanging_); }

bool SampleAgent::Start() {
  std::string error;
  const std::optional<std::string> path = RendezvousPath(&error);
  if (!path.has_value()) {
    PrintError(error);
    return false;
  }
  Scenario scenario;
  if (!LoadScenario(&scenario)) return false;
  // An Agent that is there already keeps its account, and the extension reads the account's file as
  // soon as it has found the Agent: hence between the two.
  if (!server_.Claim(*path, &error)) {
    PrintError(PrintableText(*path) + ": " + error);
    return false;
  }
  if (options_.writeAccount) {
    PrintLine("writing " + PrintableText(AccountFilePath()));
    if (!WriteAccountFiles(scenario.accounts) || !WriteAccountFile(model_.Root())) return false;
  }
  handler_.SetAccount(ReadAccountFile());
  handler_.SetScenario(scenario);
  if (!server_.Listen(&error)) {
    PrintError(PrintableText(*path) + ": " + error);
    return false;
  }
  PrintLine("serving " + PrintableText(model_.Root()));
  PrintLine("listening at " + PrintableText(*path));
  return true;
}

bool SampleAgent::LoadScenario(Scenario* scenario) const {
  if (options_.scenario.empty()) return true;
  std::string error;
  std::optional<Scenario> read = ReadScenarioFile(options_.scenario, model_, clock_.Now(), &error);
  if (!read.has_value()) {
    PrintError("scenario " + PrintableText(options_.scenario) + ": " + PrintableText(error));
    return false;
  }
  *scenario = std::move(*read);
  return true;
}

void SampleAgent::OnMessage(AgentServer::ConnectionId from, const AgentMessage& message) {
  const std::vector<Answer> answers = handler_.Handle(message);
  const std::string deed = DescribeDeed(message, answers);
  if (!deed.empty()) PrintLine(deed);
  for (const Answer& answer : answers) {
    if (answer.audience == Answer::Audience::kAsker) {
      server_.Send(from, answer.message);
    } else {
      server_.SendToAll(answer.message);
    }
  }
}

void SampleAgent::OnItemChanged(const std::string& path) {
  if (const Item* item = model_.FindKnown(path)) server_.SendToAll(SyncItemEvent(path, *item));
}

void SampleAgent::OnItemsGone(const std::string& folder) {
  server_.SendToAll(handler_.ListFolder(folder));
}

void SampleAgent::RunLine(const std::string& line) {
  std::string error;
  const std::optional<Command> command = ParseCommand(line, &error);
  if (command.has_value()) {
    Run(*command);
  } else if (!error.empty()) {
    PrintError(error);
  }
}

void SampleAgent::Run(const Command& command) {
  switch (command.kind) {
    case CommandKind::kStatus:
      handler_.SetConnectionStatus(static_cast<int>(command.number.value_or(0)));
      server_.SendToAll(handler_.ConnectionStatusNow());
      break;
    case CommandKind::kResult:
      handler_.SetResult(static_cast<int>(command.number.value_or(0)));
      PrintLine("later lock and unlock requests end with " +
                std::to_string(command.number.value_or(0)));
      break;
    case CommandKind::kDrop:
      server_.CloseAll();
      break;
    case CommandKind::kHang:
      Hang(std::chrono::milliseconds(command.number.value_or(0)));
      break;
    case CommandKind::kSend:
      server_.SendToAll(Event(command.text, {command.pairs.begin(), command.pairs.end()}));
      break;
    case CommandKind::kList:
      ListUnasked(command.path);
      break;
    case CommandKind::kReset:
      server_.SendToAll(ResetResponse());
      break;
    case CommandKind::kSubscribe:
    case CommandKind::kUnsubscribe:
    case CommandKind::kRenameProject:
    case CommandKind::kMoveProject:
      RunOnProject(command);
      break;
    case CommandKind::kSettingsChanged:
      server_.SendToAll(SettingsChanged(command.number));
      break;
    case CommandKind::kHelp:
      PrintLine(CommandHelp());
      break;
    case CommandKind::kQuit:
      quit_();
      break;
    default:
      RunOnItem(command);
  }
}

void SampleAgent::RunOnItem(const Command& command) {
  const std::optional<std::string> path = model_.Resolve(command.path);
  Item* item = path.has_value() ? model_.Find(*path) : nullptr;
  if (item == nullptr) {
    PrintError("nothing in the served folder: " + tools::QuotedText(command.path, 200));
    return;
  }
  switch (command.kind) {
    case CommandKind::kDirty:
      item->status = kDirty;
      break;
    case CommandKind::kClean:
      item->status = kInSync;
      item->changing = false;
      break;
    case CommandKind::kLock:
      handler_.SetLock(*item,
                       command.text.empty() ? sync::ESyncItemLock::SYNC_LOCK_FOR_ME
                                            : sync::ESyncItemLock::SYNC_LOCK,
                       command.text);
      break;
    case CommandKind::kPending:
      handler_.SetLock(*item, sync::ESyncItemLock::SYNC_PENDING_UNLOCK, "");
      break;
    case CommandKind::kUnlock:
      handler_.SetLock(*item, sync::ESyncItemLock::NO_SYNC_LOCK, "");
      break;
    case CommandKind::kDeny:
      item->denied = static_cast<sync::EPermissionsDenied>(command.number.value_or(0));
      break;
    case CommandKind::kAllow:
      item->denied = sync::EPermissionsDenied::NO_PERMISSIONS_DENIED;
      break;
    case CommandKind::kPublic:
    case CommandKind::kPrivate:
      handler_.SetPublicLink(*path, command.kind == CommandKind::kPublic);
      server_.SendToAll(handler_.PublicLinks());
      return;
    default:
      return;
  }
  server_.SendToAll(SyncItemEvent(*path, *item));
}

void SampleAgent::RunOnProject(const Command& command) {
  ProjectRequests& projects = handler_.Projects();
  bool done = false;
  if (command.kind == CommandKind::kSubscribe) {
    done = projects.Subscribe(command.project, command.path);
  } else if (command.kind == CommandKind::kUnsubscribe) {
    done = projects.Unsubscribe(command.project);
  } else if (command.kind == CommandKind::kRenameProject) {
    done = projects.Rename(command.project, command.text);
  } else {
    done = projects.MoveTo(command.project, command.path);
  }
  if (done) {
    server_.SendToAll(SyncIdle());
  } else {
    PrintError("no such project, or no such place for it: " +
               tools::QuotedText(command.project, 100));
  }
}

void SampleAgent::ListUnasked(const std::string& path) {
  const std::optional<std::string> folder = model_.Resolve(path);
  if (!folder.has_value() || !model_.IsFolder(*folder)) {
    PrintError("no folder of the served one: " + tools::QuotedText(path, 200));
    return;
  }
  server_.SendToAll(handler_.ListFolder(*folder));
}

void SampleAgent::Hang(std::chrono::milliseconds duration) {
  PrintLine("hanging for " + std::to_string(duration.count()) + " ms");
  server_.SetPaused(true);
  runLoop_.Cancel(hanging_);
  hanging_ = runLoop_.After(duration, [this] {
    hanging_ = 0;
    PrintLine("answering again");
    server_.SetPaused(false);
  });
}

}  // namespace kelvo::sample_agent
