#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "agent/agent_event_dispatcher.h"
#include "agent/notifications_bridge.h"
#include "base/mutex.h"
#include "base/selector.h"
#include "cache/badge_status.h"
#include "core/known_item.h"
#include "core/late_requests.h"
#include "platform/platform.h"
#include "settings/application_bundle.h"
#include "ui/menu.h"

namespace kelvo {

class AgentNews;
class CFinderConfiguration;
class CLoggerMac;
class CNotificationModule;
class CSyncApi;
class CSyncCache;
class CSyncStatusListResponse;
class ConfirmationDialogs;
class KelvoMenuContext;
class Pasteboard;
class ProjectsList;
struct DialogSources;
struct WordsOfItems;
struct Diagnostics;

using MenuContextPtr = std::shared_ptr<KelvoMenuContext>;

// A menu, and what performs its lines; kept as long as it can be chosen from.
struct FinderMenu {
  Menu menu;
  MenuContextPtr context;
};

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
    // The Agent has said something new of an item, or with `list`, which nobody has walked yet, of
    // all items of a folder; of anything at all with an empty path.
    virtual void onItemsChanged(const std::string& path, const CSyncStatusListResponse* list) = 0;
    virtual void onPublicLinksChanged() = 0;
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
  // The same for items of one folder. `directory`: empty for "/".
  void requestBadgeIdentifiers(const std::string& directory,
                               std::span<const std::string_view> names);

  // The menu for the file manager's selection, the same for every kind; nullopt when the extension
  // has none to offer. Items: absolute paths, empty for an item without one. For items that are not
  // known yet, it asks the Agent and waits 100 ms at most for the answer, less when `cancelled` is
  // set meanwhile; the answer comes within a second whatever the selection. Any thread; on the main
  // loop's, which must be free to hear the Agent, it asks and does not wait.
  std::optional<FinderMenu> menuForMenuKind(int kind, const std::vector<std::string>& items,
                                            const std::atomic<bool>& cancelled);
  // The actions of a menu's lines, each forwarded as it needs. Any thread but the main loop's; the
  // first two go on on a thread of their own, unlocking goes on on the main loop.
  // `activationToken`: see KelvoMenuContext.
  void openKelvoHereButtonPressed(const MenuContextPtr& context,
                                  const std::string& activationToken);
  void addCommentButtonPressed(const MenuContextPtr& context, const std::string& activationToken);
  void lockButtonPressed(const MenuContextPtr& context, const std::string& activationToken);
  void unlockButtonPressed(const MenuContextPtr& context, const std::string& activationToken);
  // Main loop.
  void unlockButtonPerform(const MenuContextPtr& context, const std::string& activationToken);
  void fixViolationsPressed(const MenuContextPtr& context);
  // May wait for a settings file and for the pasteboard.
  void copyLinkButtonPressed(const MenuContextPtr& context, Pasteboard& pasteboard);
  void createPublicLinkButtonPressed(const MenuContextPtr& context);
  // The one of these that `action` names; none for any other name.
  void performAction(Selector action, const MenuContextPtr& context, Pasteboard& pasteboard,
                     const std::string& activationToken);

  // The identifiers that items of the folder have by what is known, in order, without asking the
  // Agent. nullopt where that depends on whether the item is a directory and nobody has looked: a
  // repaint that looks is on its way then. `directory`: empty for "/". Any thread.
  std::vector<std::optional<std::string>> knownBadgeIdentifiers(
      std::string_view directory, std::span<const KnownItem> items) const;
  // Another number, never 0, whenever what the former answers may be another. What was read after
  // it was taken is what is known for as long as it stays the same. Any thread; does not block.
  std::uint64_t badgeChanges() const;
  // What is known of the folder's items, in words; asks nobody. An empty name is one of which
  // nothing is known. Any thread.
  WordsOfItems describeItems(const std::string& folder,
                             const std::vector<std::string_view>& names) const;
  // Any thread, before init, too.
  Diagnostics diagnostics() const;
  // Whether anything is known of the folder, or could soon be: listed, awaited or observed.
  bool isFolderOfInterest(const std::string& directory) const;
  bool isStarted() const { return started_; }
  // Calls `use` on the main loop, later; not at all when the extension is closed before. Any
  // thread.
  void withProjects(std::function<void(const ProjectsList& projects)> use);

  // The first time creates the logger; then has it open its file anew, at the present level.
  void initLogger();
  // Once: sync API, cache, notification module, then their initialisation in the same order; from
  // then on there are menus.
  void startUp();
  void refreshAllBadges();
  void setWatchedFolders();

 private:
  friend void RefreshPath(const std::string& path);
  friend void RefreshPaths(const std::string& directory, std::span<const std::string_view> names);

  void communicationInitiatized() override;
  void communicationEnded() override;
  void communicationRecovered() override { askAgain(); }
  void performSelector(Selector selector, const PropertyList::Dictionary& userInfo) override;

  void createProjectsList();
  MenuContextPtr makeMenuContext() const;
  void waitForItems(KelvoMenuContext& context, const std::vector<std::string>& items,
                    const std::atomic<bool>& cancelled);
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
  void refreshPaths(const std::string& directory, std::span<const std::string_view> names);
  // Sets the badge of the status, and of those that the cache comes to hold meanwhile.
  void setBadge(const std::string& path, BadgeStatus status);
  // Keeps in mind what the Agent cannot be asked now, or has been asked without an answer so far.
  void rememberUnanswered(const std::string& path);
  bool canAsk() const { return started_ && agentConnected_; }
  // The cache's own repaint of the item has asked for the list of a folder that is shown.
  void rememberIfShown(const std::string& path);
  // Asks for what was remembered, as fast as the Agent takes it, and 7 seconds later once more for
  // what has not come.
  void askAgain();
  // False when there is nothing to ask for.
  bool askForUnanswered();
  void askedForUnanswered();
  void listsRenewed(const std::vector<std::string>& items, bool requested);
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
  bool asking_ = false;       // for what was remembered
  bool askOnceMore_ = false;  // after that
  CMutex observedMutex_{kMutexNormal};
  std::set<std::string> observedBeforeStart_ KELVO_GUARDED_BY(observedMutex_);

  CLoggerMac* logger_ = nullptr;  // stays for good: see CLogger
  std::unique_ptr<CFinderConfiguration> configuration_;
  std::unique_ptr<CSyncApi> syncApi_;
  std::unique_ptr<CSyncCache> syncCache_;
  const std::unique_ptr<DialogSources> dialogSources_;
  const std::unique_ptr<ConfirmationDialogs> dialogs_;
  std::unique_ptr<CNotificationModule> notificationModule_;
  std::unique_ptr<AgentNews> news_;
  // Proof for tasks on the loop and the worker that the object is still there.
  std::shared_ptr<FinderSync*> alive_;
};

}  // namespace kelvo
