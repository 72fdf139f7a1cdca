#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "agent/agent_event_dispatcher.h"
#include "agent/notifications_bridge.h"
#include "base/mutex.h"
#include "core/late_requests.h"
#include "platform/platform.h"
#include "settings/application_bundle.h"

namespace kelvo {

class CFinderConfiguration;
class CSyncApi;
class CSyncCache;
class ProjectsList;

// The extension: creates the process-wide objects, tells the file manager which folders to watch
// and which badges exist, and answers its badge requests from the cache.
//
// Threads: the operations of the file manager from any thread, also before start-up: nothing is
// known then, and what was asked is asked again once the system stands. All else on the main loop.
// Lifetime: one per process. What init and startUp create is never destroyed, except in tests.
class FinderSync final : private NotificationsBridgeDelegate, private AgentEventReceiver {
 public:
  // What a front end wants to know beyond what FinderController tells. Main loop.
  class Observer {
   public:
    virtual void onAgentConnected(bool connected) = 0;
    // What menus depend on has changed: connection or configuration.
    virtual void onMenusChanged() = 0;
    // The cache has expired these folders. Not told while the channel is down, when what was asked
    // for is still owed an answer.
    virtual void onFoldersSwept(const std::vector<std::string>& folders) = 0;

   protected:
    ~Observer() = default;
  };

  // `observer` may be null.
  FinderSync(const Platform& platform, std::shared_ptr<const Bundle> bundle, Observer* observer);
  ~FinderSync();

  // Brings up configuration, logger, badges and the channel, and asks the Agent for its
  // configuration. The first "configuration_updated" goes on with startUp.
  void init();
  // Closes the channel and the registrations. The process-wide objects stay.
  void dealloc();

  // The file manager shows the directory, or no longer. Each begin queries the directory once.
  void beginObservingDirectoryAtURL(const std::string& path);
  void endObservingDirectoryAtURL(const std::string& path);
  // Sets the item's badge by way of RefreshPath.
  void requestBadgeIdentifierForURL(const std::string& path);

  // The identifier that the path has by what is known, without asking the Agent. Any thread.
  std::string knownBadgeIdentifier(const std::string& path, bool isDirectory) const;
  // Whether anything is known of the folder, or could soon be: listed, awaited or observed.
  bool isFolderOfInterest(const std::string& directory) const;
  bool isStarted() const { return started_; }
  // Calls `use` on the main loop, later; not at all when the extension is closed before. Any
  // thread.
  void withProjects(std::function<void(const ProjectsList& projects)> use);

  // Creates a new logger; the former one lets go of its file and stays, since a thread may hold it.
  void initLogger();
  // Once: sync API, cache, then their initialisation in the same order.
  void startUp();
  void refreshAllBadges();
  void setWatchedFolders();

 private:
  friend void RefreshPath(const std::string& path);

  void communicationInitiatized() override;
  void communicationEnded() override;
  void performSelector(Selector selector, const PropertyList::Dictionary& userInfo) override;

  void createProjectsList();
  void registerAgentEvents();
  void handleConfigurationUpdated();
  void configurationLoaded(bool greenCheckmarksChanged);
  void handleReinitLogger();
  void handleProjectsListChanged();
  void loadImages();
  void tellAgentConnected(bool connected);
  void foldersSwept(const std::vector<std::string>& expired);
  static void connectionStatusChanged(void* target, const char* agentId, int status,
                                      std::int64_t timestamp);

  void refreshPath(const std::string& path);
  // Keeps in mind what the Agent cannot be asked now, or has been asked without an answer so far.
  void rememberUnanswered(const std::string& path);
  bool canAsk() const { return started_ && agentConnected_; }
  // Asks for what was remembered, and 7 seconds later once more for what has not come.
  void askAgain();
  void askAgainFor(const std::vector<std::string>& paths);
  void forgetListed(const std::vector<std::string>& paths);
  // Runs `task` on the main loop's next turn, unless the object is gone by then.
  void postToSelf(void (FinderSync::*task)());

  static std::atomic<FinderSync*> m_Instance;

  const Platform platform_;
  const std::shared_ptr<const Bundle> bundle_;
  Observer* const observer_;
  bool startedUp_ = false;            // startUp has begun
  std::atomic<bool> started_{false};  // startUp is done
  std::atomic<bool> agentConnected_{false};
  std::atomic<bool> loadWaiting_{false};  // a configuration load is queued and has not begun
  int connectionStatus_ = 0;              // the last that was reported
  AgentObserver connectionObserver_;
  LateRequests lateRequests_;
  CMutex observedMutex_{kMutexNormal};
  std::set<std::string> observedBeforeStart_ KELVO_GUARDED_BY(observedMutex_);

  std::unique_ptr<CFinderConfiguration> configuration_;
  std::unique_ptr<CSyncApi> syncApi_;
  std::unique_ptr<CSyncCache> syncCache_;
  // Proof for tasks on the loop and the worker that the object is still there.
  std::shared_ptr<FinderSync*> alive_;
};

}  // namespace kelvo
