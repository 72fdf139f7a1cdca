#include "tools/sample_agent/request_handler.h"

#include <optional>
#include <string_view>
#include <utility>

#include "agent/notifications_bridge.h"

namespace kelvo::sample_agent {
namespace {

constexpr int kResultNotFound = 2;
constexpr char kPublicLinks[] = "publicLinks";

std::string TextOf(const PropertyList::Dictionary& info, std::string_view key) {
  const PropertyList* value = FindValue(info, key);
  return value == nullptr ? std::string() : value->ToText().value_or("");
}

}  // namespace

RequestHandler::RequestHandler(FolderModel& model, FolderWatcher& watcher, const Clock& clock)
    : model_(model), watcher_(watcher), clock_(clock), projects_(model, watcher) {}

void RequestHandler::SetAccount(Account account) {
  account_ = std::move(account);
  projects_.SetUser(account_.fullName);
}

void RequestHandler::SetScenario(const Scenario& scenario) {
  projects_.SetProjects(scenario.projects);
  publicLinks_ = scenario.publicLinks;
  for (const Scenario::Entry& entry : scenario.items) {
    Item item = entry.item;
    const bool users = item.lock == sync::ESyncItemLock::SYNC_LOCK_FOR_ME ||
                       item.lock == sync::ESyncItemLock::SYNC_PENDING_UNLOCK;
    if (users && item.lockHolder.empty()) item.lockHolder = account_.fullName;
    model_.Set(entry.path, std::move(item));
  }
}

std::vector<Answer> RequestHandler::Handle(const AgentMessage& message) {
  if (message.name == kReportStatusName) return {ToAsker(ConnectionStatusNow())};
  if (message.name == kAgentEventName) return HandleEvent(message.info);
  return {};
}

std::vector<Answer> RequestHandler::HandleEvent(const PropertyList::Dictionary& info) {
  const std::string eventName = TextOf(info, "event_name");
  if (eventName == "sync_request") return HandleSyncRequest(info);
  if (eventName == "project_import_start") return projects_.HandleImport(info);
  if (eventName == "configuration_init") return {ToAsker(Event("configuration_updated", {}))};
  if (eventName == "fp_ping") return {ToAsker(Event("fp_pong", {}))};
  return {};
}

std::vector<Answer> RequestHandler::HandleSyncRequest(const PropertyList::Dictionary& info) {
  const std::string command = TextOf(info, "command");
  if (command == "status-list") return {ToAsker(ListFolder(TextOf(info, "path")))};
  if (command == "lock" || command == "unlock") return HandleLock(command, TextOf(info, "path"));
  if (command == "sync-lists") {
    const std::string name = TextOf(info, "list-name");
    return {ToAsker(name == kPublicLinks ? PublicLinks() : PublicLinksResponse(name, {}))};
  }
  return projects_.HandleCommand(command, info);
}

std::vector<Answer> RequestHandler::HandleLock(const std::string& command,
                                               const std::string& path) {
  // Every extension hears the outcome: each knows by itself whether the command was its own.
  const std::optional<std::string> resolved = model_.Resolve(path);
  Item* item = resolved == path ? model_.Find(path) : nullptr;
  if (item == nullptr) return {ToEverybody(CommandResponse(command, path, kResultNotFound))};
  std::vector<Answer> answers;
  if (result_ == 0) {
    const bool locks = command == "lock";
    SetLock(*item,
            locks ? sync::ESyncItemLock::SYNC_LOCK_FOR_ME : sync::ESyncItemLock::NO_SYNC_LOCK, "");
    answers.push_back(ToEverybody(SyncItemEvent(path, *item)));
  }
  answers.push_back(ToEverybody(CommandResponse(command, path, result_)));
  return answers;
}

AgentMessage RequestHandler::ConnectionStatusNow() const {
  return ConnectionStatus(connectionStatus_, clock_.Now());
}

AgentMessage RequestHandler::PublicLinks() const {
  return PublicLinksResponse(kPublicLinks, publicLinks_);
}

void RequestHandler::SetPublicLink(const std::string& path, bool isPublic) {
  std::erase(publicLinks_, path);
  if (isPublic) publicLinks_.push_back(path);
}

AgentMessage RequestHandler::ListFolder(const std::string& folder) {
  if (model_.IsFolder(folder)) watcher_.Watch(folder);
  return StatusListEvent(folder, model_.List(folder).value_or(std::vector<ListedItem>()));
}

void RequestHandler::SetLock(Item& item, sync::ESyncItemLock lock, const std::string& owner) const {
  item.lock = lock;
  if (lock == sync::ESyncItemLock::NO_SYNC_LOCK) {
    item.lockHolder.clear();
    item.lockTime = 0;
    return;
  }
  item.lockHolder = owner.empty() ? account_.fullName : owner;
  item.lockTime = clock_.Now();
}

}  // namespace kelvo::sample_agent
