// What the list asks of the Agent.

#include <chrono>
#include <functional>
#include <string>
#include <utility>

#include "base/file_system.h"
#include "base/logger.h"
#include "projects/projects_list.h"

namespace kelvo {
namespace {

constexpr char kAgent[] = "1";
constexpr char kSyncRequest[] = "sync_request";
constexpr std::chrono::seconds kAccountLimit{2};

const char* OrEmpty(const std::optional<std::string>& text) { return text ? text->c_str() : ""; }

// `text` with a further element, the first one when `first`.
void AppendElement(std::string& text, bool first, const std::string& element) {
  if (!first) text += ',';
  text += element;
}

}  // namespace

void ProjectsList::subscriptionChanges() {
  awaitedChange_ = true;
  projectSubscribed_ = true;
}

void ProjectsList::subscribeProject(const Project& project, const std::optional<std::string>& path,
                                    const std::optional<std::string>& folderId,
                                    const std::optional<std::string>& mergeOption) {
  awaitedChange_ = true;
  const auto loaderSource = project.projectLoaderSourcePath();
  const bool partial = !loaderSource && project.isPartialSubscribe();
  if ((loaderSource || partial) && path && !mergeOption) setPath(*path, project);
  if (loaderSource) {
    startImportProjects({project}, *loaderSource, path);
  } else if (partial) {
    partialySubscribeProject(project);
  } else if (mergeOption) {
    NotifyAgentEvent(kAgent, kSyncRequest,
                     {{"command", "connect-project"},
                      {"project-id", project.id().c_str()},
                      {"full-path", OrEmpty(path)},
                      {"merge-option", mergeOption->c_str()}});
  } else {
    NotifyAgentEvent(kAgent, kSyncRequest,
                     {{"command", "subscribe"},
                      {"project-id", project.id().c_str()},
                      {"full-path", OrEmpty(path)},
                      {"folder-id", OrEmpty(folderId)}});
  }
}

void ProjectsList::subscribeProjectWithMerge(const Project& project,
                                             const std::optional<std::string>& path,
                                             const std::optional<std::string>& mergeOption) {
  subscribeProject(project, path, std::nullopt, mergeOption);
}

void ProjectsList::subscribeProject(const Project& project,
                                    const std::optional<std::string>& path) {
  subscribeProject(project, path, std::nullopt, std::nullopt);
}

void ProjectsList::subscribeProjectFolderId(const Project& project,
                                            const std::optional<std::string>& folderId) {
  subscribeProject(project, std::nullopt, folderId, std::nullopt);
}

void ProjectsList::subscribeProject(const Project& project) {
  subscribeProject(project, std::nullopt, std::nullopt, std::nullopt);
}

void ProjectsList::partialySubscribeProject(const Project& project) {
  subscriptionChanges();
  NotifyAgentEvent(kAgent, kSyncRequest,
                   {{"command", "set-partial-subscribe"},
                    {"payload", OrEmpty(project.partialSubscribePayload())}});
}

void ProjectsList::getPartialInfo(const std::string& projectId) {
  NotifyAgentEvent(kAgent, kSyncRequest,
                   {{"command", "get-partial-subscribe"}, {"project-id", projectId.c_str()}});
}

void ProjectsList::setPath(const std::string& path, const Project& project) {
  NotifyAgentEvent(kAgent, kSyncRequest,
                   {{"command", "set-project-path"},
                    {"project-id", project.id().c_str()},
                    {"path", path.c_str()}});
}

void ProjectsList::unsubscribeProject(const Project& project,
                                      const std::optional<std::string>& folderId) {
  subscriptionChanges();
  // Copied, since the project may be one of the list's own.
  const std::string id = project.id();
  const std::string path = project.path();
  removeSubscribed(
      [&](const Project& each) { return each.id() == id && (!id.empty() || each.path() == path); });
  NotifyAgentEvent(
      kAgent, kSyncRequest,
      {{"command", "unsubscribe"}, {"project-id", id.c_str()}, {"folder-id", OrEmpty(folderId)}});
}

void ProjectsList::unsubscribeProject(const Project& project) {
  unsubscribeProject(project, std::nullopt);
}

void ProjectsList::unsubscribeProjectPath(const std::string& path) {
  subscriptionChanges();
  if (!path.empty()) {
    removeSubscribed([&](const Project& each) { return each.path() == path; });
  }
  NotifyAgentEvent(kAgent, kSyncRequest,
                   {{"command", "unsubscribe"}, {"project-path", path.c_str()}});
}

void ProjectsList::removeSubscribed(const std::function<bool(const Project&)>& which) {
  std::erase_if(subscribedSyncProjects_, which);
  std::erase_if(subscribedExternalProjects_, which);
}

// By value, since the clients that are told of the operation may change what the texts belong to.
// NOLINTNEXTLINE(performance-unnecessary-value-param): the copies outlive the originals.
void ProjectsList::createEPPath(std::string path, std::string name) {
  subscriptionChanges();
  setPendingSyncOperation(OperationState::kPending, std::nullopt, path);
  NotifyAgentEvent(
      kAgent, kSyncRequest,
      {{"command", "create-external"}, {"path", path.c_str()}, {"name", name.c_str()}});
}

void ProjectsList::updateProjectOldPath(const std::string& oldPath, const std::string& newPath) {
  subscriptionChanges();
  // A project without a folder here has the empty path.
  const Project* project = oldPath.empty() ? nullptr : projectWithPath(oldPath);
  if (project == nullptr) {
    KELVO_LOG(kLogError, "ERROR: Project not found!");
    return;
  }
  NotifyAgentEvent(kAgent, kSyncRequest,
                   {{"command", "update-project-path"},
                    {"project-id", project->id().c_str()},
                    {"path", newPath.c_str()}});
}

void ProjectsList::commitProjects() {
  NotifyAgentEvent(kAgent, kSyncRequest, {{"command", "commit-projects"}});
}

void ProjectsList::startImportProjects(const Projects& projects, const std::string& sourcePath,
                                       const std::optional<std::string>& projectRoot) {
  std::string ids;
  std::string selections;
  for (const Project& project : projects) {
    const bool first = &project == &projects.front();
    AppendElement(ids, first, project.id());
    AppendElement(selections, first, project.partialSubscribePayload().value_or("0"));
  }
  if (projectRoot) return sendImport(ids, selections, sourcePath, *projectRoot);
  onWorker(ReadMasterProjectFolder, [=](ProjectsList& list, const std::string& root) {
    list.sendImport(ids, selections, sourcePath, root);
  });
}

void ProjectsList::sendImport(const std::string& ids, const std::string& selections,
                              const std::string& sourcePath, const std::string& projectRoot) const {
  NotifyAgentEvent(kAgent, "project_import_start",
                   {{"project-ids", ids.c_str()},
                    {"subscribe-xmls", selections.c_str()},
                    {"path", FilesystemRepresentation(sourcePath).c_str()},
                    {"project-root", FilesystemRepresentation(projectRoot).c_str()}});
}

void ProjectsList::requestSubscribedProjects() {
  subscribedWanted_ = true;
  awaitAccount();
}

void ProjectsList::readCalculateSynced(std::function<void(bool calculateSynced)> then) {
  waiting_.push_back(std::move(then));
  awaitAccount();
}

void ProjectsList::awaitAccount() {
  if (accountLimit_ != 0) return;  // joins those who wait
  accountLimit_ = runLoop_.After(kAccountLimit, [this] {
    KELVO_LOG(kLogWarning,
              "another program keeps a settings file locked; projects are requested "
              "as last known");
    accountIsKnown();
  });
  readAccount();
}

void ProjectsList::readAccount() {
  if (std::exchange(readingAccount_, true)) return;
  onWorker(ReadProjectsAccount, [](ProjectsList& list, ProjectsAccount account) {
    list.takeAccount(std::move(account));
  });
}

void ProjectsList::takeAccount(ProjectsAccount account) {
  account_ = std::move(account);
  readingAccount_ = false;
  if (std::exchange(accountChanged_, false)) readAccount();
  if (accountLimit_ != 0) accountIsKnown();
}

void ProjectsList::accountIsKnown() {
  runLoop_.Cancel(std::exchange(accountLimit_, 0));
  const bool subscribed = std::exchange(subscribedWanted_, false);
  const bool notSubscribed = std::exchange(notSubscribedWanted_, false);
  const bool calculateSynced = account_.calculateSynced;
  const auto alive = alive_;
  for (const auto& then : std::exchange(waiting_, {})) then(calculateSynced);
  if (*alive == nullptr) return;
  if (subscribed) requestSubscribedProjectsCalculateSynced(calculateSynced);
  if (notSubscribed) requestNotSubscribedProjects();
}

void ProjectsList::requestSubscribedProjectsCalculateSynced(bool calculateSynced) {
  NotifyAgentEvent(
      kAgent, kSyncRequest,
      {{"command", "subscribed-projects"}, {"compute-synced", calculateSynced ? "1" : "0"}});
}

void ProjectsList::requestNotSubscribedProjects() {
  NotifyAgentEvent(kAgent, kSyncRequest, {{"command", "not-subscribed-projects"}});
}

void ProjectsList::requestAll() {
  notSubscribedWanted_ = true;
  requestSubscribedProjects();
}

}  // namespace kelvo
