#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "agent/agent_event_dispatcher.h"
#include "agent/notifications_bridge.h"
#include "base/selector.h"
#include "platform/background_queue.h"
#include "platform/run_loop.h"
#include "projects/project.h"
#include "projects/projects_account.h"

namespace kelvo {

// The name that a change of the list is posted under on the local notification center.
// User info: "operation" "0" (none pending) or "1", "timed-out" "1" or "0", "initialized" a
// boolean.
inline constexpr char kProjectsListChanged[] = "projects_list_changed";

// The projects of the account, as the Agent last listed them and, until it has, as the copy on disk
// says.
//
// Threads: main loop. What reads or writes a file (disk copy, the account's settings) is done on
// the accounts worker, in order, and what depends on it goes on here afterwards.
// Lifetime: made by the first client, freed when the last one leaves.
class ProjectsList final : private AgentEventReceiver, private AgentNotificationReceiver {
 public:
  enum class OperationState : std::int32_t { kPending = 0, kNone = 1 };
  using Projects = std::vector<Project>;

  // How the one list is made; set once at start, replaced by tests. Without a factory there is no
  // list: defaultProjectsList answers null, and a client hears nothing.
  // Setting it frees the list there is and forgets its clients.
  using Factory = std::function<std::unique_ptr<ProjectsList>()>;
  static void SetFactory(Factory factory);

  // The client is told of changes by `selector`, and must remove itself before it goes.
  // Deliberate: the first client registers before the list is there, and so hears the name from any
  // sender, later ones from the list only.
  static void addClient(AgentEventReceiver* client, Selector selector);
  static void removeClient(AgentEventReceiver* client);
  static void createInstance();
  static ProjectsList* defaultProjectsList();

  ProjectsList(RunLoop& runLoop, BackgroundQueue& accountsQueue);
  ~ProjectsList();
  ProjectsList(const ProjectsList&) = delete;
  ProjectsList& operator=(const ProjectsList&) = delete;

  // Commands. Each says one thing to the Agent, whose answer changes the list; without a channel
  // the command is lost.
  void subscribeProject(const Project& project, const std::optional<std::string>& path,
                        const std::optional<std::string>& folderId,
                        const std::optional<std::string>& mergeOption);
  void subscribeProjectWithMerge(const Project& project, const std::optional<std::string>& path,
                                 const std::optional<std::string>& mergeOption);
  void subscribeProject(const Project& project, const std::optional<std::string>& path);
  void subscribeProjectFolderId(const Project& project, const std::optional<std::string>& folderId);
  void subscribeProject(const Project& project);
  void partialySubscribeProject(const Project& project);
  void getPartialInfo(const std::string& projectId);
  void setPath(const std::string& path, const Project& project);
  void unsubscribeProject(const Project& project, const std::optional<std::string>& folderId);
  void unsubscribeProject(const Project& project);
  void unsubscribeProjectPath(const std::string& path);
  void createEPPath(std::string path, std::string name);
  void updateProjectOldPath(const std::string& oldPath, const std::string& newPath);
  void commitProjects();
  // Without a root the default account's master project folder, which is read first.
  void startImportProjects(const Projects& projects, const std::string& sourcePath,
                           const std::optional<std::string>& projectRoot);

  // Asks for the list as the account's settings, read first, say. While another program keeps them
  // locked it waits at most 2 seconds and goes by what was last known. Requests made meanwhile are
  // joined.
  void requestSubscribedProjects();
  void requestSubscribedProjectsCalculateSynced(bool calculateSynced);
  // Calls `then` with what a request for the subscribed projects would say, before any request that
  // waits for the same is sent.
  void readCalculateSynced(std::function<void(bool calculateSynced)> then);
  void requestNotSubscribedProjects();
  void requestAll();

  // Not subscribed, then synced, then external.
  Projects projects() const;
  Projects subscribedProjects() const;
  const Projects& subscribedSyncProjects() const { return subscribedSyncProjects_; }
  const Projects& subscribedExternalProjects() const { return subscribedExternalProjects_; }
  const Projects& notSubscribedProjects() const { return notSubscribedProjects_; }
  std::size_t projectsCount() const;
  std::size_t subscribedProjectsCount() const;
  std::int64_t syncedBytes() const { return syncedBytes_; }
  std::int64_t syncedFiles() const { return syncedFiles_; }
  std::int64_t notSyncedBytes() const { return notSyncedBytes_; }
  std::int64_t notSyncedFiles() const { return notSyncedFiles_; }
  bool isInitialized() const { return initialized_; }

  // The first exact match in the order of projects(); null when there is none. Valid until the list
  // next changes.
  const Project* projectWithId(const std::string& id) const;
  const Project* projectWithPath(const std::string& path) const;
  const Project* projectWithName(const std::string& name) const;

  // Over subscribed projects, in order. nullopt when no project holds the path.
  std::optional<std::string> projectNameForPath(const std::string& path) const;
  // The path itself when no project holds it. Deliberate: asks projects without a path, too.
  std::string relativePathForPath(const std::string& path) const;
  // False: no project, and the whole path as the relative one.
  bool splitPath(const std::string& path, std::optional<std::string>* project,
                 std::string* relativePath) const;

  // Pending for at most 180 seconds, then timed out.
  void setPendingSyncOperation(OperationState state, const std::optional<std::string>& projectId,
                               const std::optional<std::string>& projectPath);

 private:
  void performSelector(Selector selector, const PropertyList::Dictionary& userInfo) override;
  void notifyConnectionStatus(int status, std::int64_t timestamp, const char* agentID) override;
  void notifyAgentSettings(int hint, const char* agentID) override;

  void registerAgentEvents();
  void handleSyncResponse(const PropertyList::Dictionary& userInfo);
  void handleSyncStatus(const PropertyList::Dictionary& userInfo);
  void handleServerResponse(const PropertyList::Dictionary& userInfo);
  void receiveSubscribedProjects(const PropertyList::Dictionary& userInfo);
  void receiveNotSubscribedProjects(const PropertyList::Dictionary& userInfo);
  // False when the text does not parse.
  bool parseProjectList(const PropertyList::Dictionary& userInfo);
  void sortProjects();
  void loadProjectList();
  void takeLoadedProjects(Projects projects);
  void storeProjectList() const;
  // A client may remove itself when told, and the list go with it: the caller must be done, or look
  // at alive_.
  void postChange() const;

  void readAccount();
  void takeAccount(ProjectsAccount account);
  void awaitAccount();
  void accountIsKnown();
  void sendImport(const std::string& ids, const std::string& selections,
                  const std::string& sourcePath, const std::string& projectRoot) const;
  void subscriptionChanges();
  void removeSubscribed(const std::function<bool(const Project&)>& which);
  bool pendingProjectExists() const;
  void startTimerWithTimeout(std::chrono::milliseconds timeout);
  void requestTimeoutElapsed();
  void stopTimer();

  const Project* firstProject(const std::function<bool(const Project&)>& which) const;
  const Project* firstSubscribed(const std::function<bool(const Project&)>& which) const;
  const Project* projectHolding(const std::string& path) const;

  // Does `work` on the accounts worker and hands its result to `then` here, if the list is still
  // there.
  template <typename Work, typename Then>
  void onWorker(Work work, Then then) const {
    accountsQueue_.Async(
        [&runLoop = runLoop_, alive = alive_, work = std::move(work), then = std::move(then)] {
          runLoop.Post([alive, then, result = work()]() mutable {
            if (*alive != nullptr) then(**alive, std::move(result));
          });
        });
  }

  RunLoop& runLoop_;
  BackgroundQueue& accountsQueue_;
  // Null inside once the list is gone; read on the main loop only.
  const std::shared_ptr<ProjectsList*> alive_;

  Projects subscribedSyncProjects_;
  Projects subscribedExternalProjects_;
  Projects notSubscribedProjects_;
  bool projectSubscribed_ = false;  // the other list must be fetched again, too
  bool awaitedChange_ = false;      // the next subscribed list goes to disk
  OperationState pendingSyncOperation_ = OperationState::kNone;
  std::optional<std::string> pendingSyncOperationProjectId_;
  std::optional<std::string> pendingSyncOperationProjectPath_;
  RunLoop::TimerId timer_ = 0;
  bool timedOut_ = false;
  std::int64_t syncedBytes_ = 0;
  std::int64_t syncedFiles_ = 0;
  std::int64_t notSyncedBytes_ = 0;
  std::int64_t notSyncedFiles_ = 0;
  ProjectsAccount account_;
  bool initialized_ = false;
  AgentObserver connectionStatusNotification_;
  AgentObserver agentSettingsNotification_;

  bool subscribedAnswered_ = false;  // the disk copy is too old
  bool readingAccount_ = false;
  bool accountChanged_ = false;        // while it was read
  RunLoop::TimerId accountLimit_ = 0;  // runs while somebody waits for the account
  bool subscribedWanted_ = false;      // to be requested then
  bool notSubscribedWanted_ = false;
  std::vector<std::function<void(bool calculateSynced)>> waiting_;
};

}  // namespace kelvo
