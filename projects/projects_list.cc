#include "projects/projects_list.h"

#include <iterator>
#include <list>
#include <string_view>
#include <unordered_set>
#include <utility>

#include "base/logger.h"
#include "base/notification_center.h"
#include "projects/project_list_parser.h"
#include "projects/projects_file.h"
#include "settings/account_list.h"
#include "settings/configuration_path.h"

namespace kelvo {
namespace {

constexpr char kListObject[] = "ProjectsList";
constexpr char kFileName[] = "subscribed_projects.plist";
constexpr std::chrono::seconds kOperationLimit{180};
// The connection statuses in which the Agent answers for its projects.
constexpr int kStatusesWithProjects[] = {3, 4};

constexpr Selector kHandleQuota{"handleProjectQuota"};
constexpr Selector kHandleSyncResponse{"handleSyncResponse"};
constexpr Selector kHandleSyncStatus{"handleSyncStatus"};
constexpr Selector kHandleServerResponse{"handleServerResponse"};

// One registration with the notification center, under an address of its own: the center removes by
// observer and sender, whatever the name.
struct Client {
  AgentEventReceiver* receiver;
};

struct Registry {
  ProjectsList::Factory factory;
  std::unique_ptr<ProjectsList> instance;
  std::list<Client> clients;
  int clientCount = 0;
};

Registry& TheRegistry() {
  static Registry& registry = *new Registry;
  return registry;
}

void Unregister(const Client& client) {
  for (const char* object : {"", kListObject}) {
    NotificationCenter::LocalCenter().RemoveObserver(&client, object);
  }
}

std::string TextValue(const PropertyList::Dictionary& info, std::string_view key) {
  const PropertyList* value = FindValue(info, key);
  return value == nullptr ? "" : value->ToText().value_or("");
}

std::int64_t NumberValue(const PropertyList::Dictionary& info, std::string_view key) {
  const PropertyList* value = FindValue(info, key);
  return value == nullptr ? 0 : value->ToInteger().value_or(0);
}

// A list may hold rows of the kind that was not asked for; they replace what is known of the same
// projects, so that repeated answers do not pile up.
void TakeRows(ProjectsList::Projects rows, ProjectsList::Projects& known) {
  if (!known.empty() && !rows.empty()) {
    std::unordered_set<std::string> ids;
    for (const Project& row : rows) ids.insert(row.id());
    ids.erase("");
    std::erase_if(known, [&](const Project& project) { return ids.contains(project.id()); });
  }
  known.insert(known.end(), std::make_move_iterator(rows.begin()),
               std::make_move_iterator(rows.end()));
}

}  // namespace

void ProjectsList::SetFactory(Factory factory) {
  Registry& registry = TheRegistry();
  for (const Client& client : registry.clients) Unregister(client);
  registry.clients.clear();
  registry.clientCount = 0;
  registry.instance.reset();
  registry.factory = std::move(factory);
}

void ProjectsList::addClient(AgentEventReceiver* client, Selector selector) {
  Registry& registry = TheRegistry();
  ++registry.clientCount;
  const Client& added = registry.clients.emplace_back(Client{client});
  NotificationCenter::LocalCenter().AddObserver(
      &added, kProjectsListChanged, registry.instance == nullptr ? "" : kListObject,
      [client, selector](const std::string&, const PropertyList::Dictionary& userInfo) {
        client->performSelector(selector, userInfo);
      });
  createInstance();
}

void ProjectsList::removeClient(AgentEventReceiver* client) {
  Registry& registry = TheRegistry();
  for (const Client& each : registry.clients) {
    if (each.receiver == client) Unregister(each);
  }
  std::erase_if(registry.clients, [=](const Client& each) { return each.receiver == client; });
  if (registry.clientCount == 0) return;
  if (--registry.clientCount == 0) registry.instance.reset();
}

void ProjectsList::createInstance() {
  Registry& registry = TheRegistry();
  if (registry.instance != nullptr || registry.factory == nullptr) return;
  registry.instance = registry.factory();
  if (registry.instance == nullptr) return;
  registry.instance->loadProjectList();
  registry.instance->requestAll();
}

ProjectsList* ProjectsList::defaultProjectsList() {
  createInstance();
  return TheRegistry().instance.get();
}

ProjectsList::ProjectsList(RunLoop& runLoop, BackgroundQueue& accountsQueue)
    : runLoop_(runLoop),
      accountsQueue_(accountsQueue),
      alive_(std::make_shared<ProjectsList*>(this)) {
  // The worker uses the list of accounts, which only the main loop may make.
  AccountList::defaultAccountList();
  RegisterConnectionStatusObserver(&connectionStatusNotification_,
                                   static_cast<AgentNotificationReceiver*>(this),
                                   ForwardConnectionStatus);
  RegisterAgentSettingsObserver(&agentSettingsNotification_,
                                static_cast<AgentNotificationReceiver*>(this),
                                ForwardAgentSettingsEvent);
  readAccount();
  registerAgentEvents();
}

ProjectsList::~ProjectsList() {
  *alive_ = nullptr;
  stopTimer();
  if (accountLimit_ != 0) runLoop_.Cancel(accountLimit_);
  AgentEventDispatcher::defaultDispatcher().unregisterTarget(this);
  RemoveAgentObserver(&connectionStatusNotification_);
  RemoveAgentObserver(&agentSettingsNotification_);
}

void ProjectsList::registerAgentEvents() {
  AgentEventDispatcher& dispatcher = AgentEventDispatcher::defaultDispatcher();
  dispatcher.registerEventName("sync_project_quota", this, kHandleQuota);
  dispatcher.registerEventName("sync_response", this, kHandleSyncResponse);
  dispatcher.registerEventName("sync_status", this, kHandleSyncStatus);
  dispatcher.registerEventName("server_response", this, kHandleServerResponse);
}

void ProjectsList::performSelector(Selector selector, const PropertyList::Dictionary& userInfo) {
  if (selector == kHandleQuota) requestAll();
  if (selector == kHandleSyncResponse) handleSyncResponse(userInfo);
  if (selector == kHandleSyncStatus) handleSyncStatus(userInfo);
  if (selector == kHandleServerResponse) handleServerResponse(userInfo);
}

void ProjectsList::notifyConnectionStatus(int status, std::int64_t /*timestamp*/,
                                          const char* /*agentID*/) {
  for (const int answering : kStatusesWithProjects) {
    if (status == answering) requestAll();
  }
}

void ProjectsList::notifyAgentSettings(int /*hint*/, const char* /*agentID*/) {
  accountChanged_ = readingAccount_;
  readAccount();
}

void ProjectsList::handleSyncResponse(const PropertyList::Dictionary& userInfo) {
  const std::string command = TextValue(userInfo, "command");
  if (command == "subscribe") projectSubscribed_ = true;
  if (command == "subscribed-projects") return receiveSubscribedProjects(userInfo);
  if (command == "not-subscribed-projects") return receiveNotSubscribedProjects(userInfo);
}

void ProjectsList::handleSyncStatus(const PropertyList::Dictionary& userInfo) {
  const bool idle =
      NumberValue(userInfo, "send-count") == 0 && NumberValue(userInfo, "receive-count") == 0;
  if (idle) requestAll();
}

void ProjectsList::handleServerResponse(const PropertyList::Dictionary& userInfo) {
  const bool done = TextValue(userInfo, "command") == "set-partial-subscribe" &&
                    TextValue(userInfo, "result") == "1";
  if (done) requestSubscribedProjects();
}

void ProjectsList::receiveSubscribedProjects(const PropertyList::Dictionary& userInfo) {
  subscribedAnswered_ = true;
  subscribedSyncProjects_.clear();
  subscribedExternalProjects_.clear();
  // A text that does not parse is no list, and must not take the place of the copy on disk.
  const bool parsed = parseProjectList(userInfo);
  if (parsed && std::exchange(awaitedChange_, false)) storeProjectList();
  if (pendingSyncOperation_ == OperationState::kPending && pendingProjectExists()) {
    const auto alive = alive_;
    setPendingSyncOperation(OperationState::kNone, std::nullopt, std::nullopt);
    if (*alive == nullptr) return;
  }
  if (std::exchange(projectSubscribed_, false)) {
    requestNotSubscribedProjects();
  } else {
    postChange();
  }
}

void ProjectsList::receiveNotSubscribedProjects(const PropertyList::Dictionary& userInfo) {
  notSubscribedProjects_.clear();
  (void)parseProjectList(userInfo);
  postChange();
}

bool ProjectsList::parseProjectList(const PropertyList::Dictionary& userInfo) {
  const PropertyList* value = FindValue(userInfo, "project-list");
  const std::string* text = value == nullptr ? nullptr : value->AsString();
  auto list = ParseProjectList(text == nullptr ? std::string_view() : *text, account_.me);
  if (!list) return false;
  TakeRows(std::move(list->synced), subscribedSyncProjects_);
  TakeRows(std::move(list->external), subscribedExternalProjects_);
  TakeRows(std::move(list->notSubscribed), notSubscribedProjects_);
  // Deliberate: a list without projects of a kind leaves the totals of that kind as they were.
  if (list->subscribedTotals) {
    syncedBytes_ = list->subscribedTotals->bytes;
    syncedFiles_ = list->subscribedTotals->files;
  }
  if (list->notSubscribedTotals) {
    notSyncedBytes_ = list->notSubscribedTotals->bytes;
    notSyncedFiles_ = list->notSubscribedTotals->files;
  }
  sortProjects();
  initialized_ = true;
  return true;
}

void ProjectsList::sortProjects() {
  SortProjects(subscribedSyncProjects_);
  SortProjects(subscribedExternalProjects_);
  SortProjects(notSubscribedProjects_);
}

void ProjectsList::loadProjectList() {
  onWorker(
      [] { return LoadProjectsFile(GetConfigurationPath(kFileName)); },
      [](ProjectsList& list, Projects projects) { list.takeLoadedProjects(std::move(projects)); });
}

void ProjectsList::takeLoadedProjects(Projects projects) {
  // The Agent's own answer is newer than what it was saved from.
  if (subscribedAnswered_) return;
  for (Project& project : projects) {
    Projects& kind = project.external() ? subscribedExternalProjects_ : subscribedSyncProjects_;
    kind.push_back(std::move(project));
  }
  sortProjects();
  postChange();
}

void ProjectsList::storeProjectList() const {
  PropertyList::Array rows;
  rows.reserve(subscribedProjectsCount());
  for (const Projects* kind : {&subscribedSyncProjects_, &subscribedExternalProjects_}) {
    for (const Project& project : *kind) rows.emplace_back(project.dictionary());
  }
  accountsQueue_.Async([list = PropertyList(std::move(rows))] {
    (void)StoreProjectsFile(GetConfigurationPath(kFileName), list);
  });
}

void ProjectsList::postChange() const {
  const bool pending = pendingSyncOperation_ == OperationState::kPending;
  NotificationCenter::LocalCenter().Post(kProjectsListChanged, kListObject,
                                         {{"operation", pending ? "1" : "0"},
                                          {"timed-out", timedOut_ ? "1" : "0"},
                                          {"initialized", initialized_}});
}

void ProjectsList::setPendingSyncOperation(OperationState state,
                                           const std::optional<std::string>& projectId,
                                           const std::optional<std::string>& projectPath) {
  pendingSyncOperation_ = state;
  pendingSyncOperationProjectId_ = projectId;
  pendingSyncOperationProjectPath_ = projectPath;
  stopTimer();
  if (state == OperationState::kPending) startTimerWithTimeout(kOperationLimit);
  postChange();
}

bool ProjectsList::pendingProjectExists() const {
  const auto& id = pendingSyncOperationProjectId_;
  const auto& path = pendingSyncOperationProjectPath_;
  return (id && projectWithId(*id) != nullptr) ||
         (path && !path->empty() && projectWithPath(*path) != nullptr);
}

void ProjectsList::startTimerWithTimeout(std::chrono::milliseconds timeout) {
  timedOut_ = false;
  timer_ = runLoop_.After(timeout, [this] { requestTimeoutElapsed(); });
}

void ProjectsList::requestTimeoutElapsed() {
  timer_ = 0;
  timedOut_ = true;
  setPendingSyncOperation(OperationState::kNone, std::nullopt, std::nullopt);
}

void ProjectsList::stopTimer() {
  if (timer_ != 0) runLoop_.Cancel(std::exchange(timer_, 0));
}

}  // namespace kelvo
