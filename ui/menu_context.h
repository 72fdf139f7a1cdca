#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "agent/sync_enums.h"
#include "base/selector.h"
#include "ui/menu.h"
#include "ui/menu_selection.h"
#include "ui/web_access.h"

namespace kelvo {

class CFinderConfiguration;
class CNotificationModule;
class CSyncApi;
class CSyncCache;
class Clock;
class Desktop;
class Dialogs;
class Pasteboard;
class RunLoop;

// What the lines of the menu do: operations of KelvoMenuContext.
namespace menu_action {
inline constexpr Selector kOpenKelvoHere{"openKelvoHereButtonPressed"};
inline constexpr Selector kAddComment{"addCommentButtonPressed"};
inline constexpr Selector kCreatePublicLink{"createPublicLinkButtonPressed"};
inline constexpr Selector kCopyLink{"copyLinkButtonPressed"};
inline constexpr Selector kLock{"lockButtonPressed"};
inline constexpr Selector kUnlock{"unlockButtonPressed"};
inline constexpr Selector kFixViolations{"fixViolationsPressed"};
}  // namespace menu_action

// What menus and their actions stand on. All of it outlives every menu.
struct MenuSources {
  CSyncCache& cache;
  CSyncApi& syncApi;
  CNotificationModule& notificationModule;
  const CFinderConfiguration& configuration;
  const Clock& clock;
  RunLoop& runLoop;
  HttpClient& httpClient;
  Desktop& desktop;
  Dialogs& dialogs;
};

// Turns a selection into the extension's lines of a context menu. First set the menu and the
// options, last the selection, which inserts the lines: once for each setMenu.
//
// Threads: building one at a time; once the menu is built, actions from any thread and side by
// side, each where it says so. A context is for one menu, and two have nothing in common but their
// sources and the user's preferences, which lock for themselves; so many menus may be built at
// once, each on a thread of its own. Lifetime: as long as its menu can be chosen from or an action
// of it runs; the menu given to setMenu as long as lines are inserted into it.
class KelvoMenuContext final : private WebAccessDelegate {
 public:
  explicit KelvoMenuContext(const MenuSources& sources);
  KelvoMenuContext(const KelvoMenuContext&) = delete;
  KelvoMenuContext& operator=(const KelvoMenuContext&) = delete;

  // Lines go behind those that the menu has now. Not owned; null for none.
  void setMenu(Menu* menu);
  // Whether a separator follows the lines; at first it does.
  void setInsertSeparator(bool insert) { insertSeparator_ = insert; }
  // Whether web requests hold up the thread that makes them; at first they do not.
  void setSynchronous(bool synchronous);
  // `items`: UTF-8 paths, empty for an item without one.
  void setSelectedItems(const std::vector<std::string>& items);
  // As the file system knows it; empty for an item without a path and beyond the end.
  std::string selectedItemPath(std::size_t index) const { return selection_.path(index); }
  bool isInjected() const { return injected_; }
  bool pathsAreInProject() { return selection_.pathsAreInProject(); }

  // Does nothing unless everything that the lines need is known. Never waits for the Agent, but
  // asks the file system about every item.
  void insertMenus();
  void insertMenuItem(MenuItem item);
  // The line that was inserted, valid until the next one is; null when there is no title (logged)
  // or no menu. Without an action it is disabled, whatever `enabled` says.
  const MenuItem* insertMenuItemWithTitle(const std::string& title, const std::string& image,
                                          Selector action, bool enabled);

  static std::string stringForPermission(sync::EItemPermissions permission);

  // The actions. They act on the selection that was set, whatever has become of it since.
  // `activationToken`: what the desktop gave the user's choice, for the window or the browser that
  // it leads to; may be empty.
  //
  // These two wait for web servers when requests are synchronous; else they belong on the main
  // loop. Ignored while such a command is under way anywhere.
  void openKelvoHereButtonPressed(const std::string& activationToken) {
    startWebCommand("desktopExploreFile", activationToken);
  }
  void addCommentButtonPressed(const std::string& activationToken) {
    startWebCommand("fileAddComment", activationToken);
  }
  void createPublicLinkButtonPressed();
  // May wait for a settings file and for the pasteboard; not on the main loop.
  void copyLinkButtonPressed(Pasteboard& pasteboard);
  void lockButtonPressed(const std::string& activationToken);
  // Main loop, which it turns while it asks the user about somebody else's lock.
  void unlockButtonPressed(const std::string& activationToken);
  void fixViolationsPressed();

  // A web command counts as under way until this moment, in seconds since 1970. Any thread.
  std::int64_t pendingWebCommand() const { return pendingWebCommand_; }
  void setPendingWebCommand(std::int64_t until) { pendingWebCommand_ = until; }

 private:
  void webAccessUrlGenerated(const std::optional<std::string>& url,
                             const std::string& activationToken) override;
  void startWebCommand(const std::string& command, const std::string& activationToken);

  std::string fileIdOfFirst() const;

  void insertKelvoMenu();
  void insertFileLockMenu();
  void insertLockLines(sync::EItemPermissions permissions);
  void insertUnlockLines(MenuSelection::LockStatus status);
  void insertPermissionsMenu();
  void insertInformation(const std::string& title);
  bool isWebCommandIdle() const;

  const MenuSources sources_;
  const std::string rcid_;
  const std::string userId_;
  Menu* contextMenu_ = nullptr;
  std::size_t menuPosition_ = 0;
  MenuSelection selection_;
  std::atomic<std::int64_t> pendingWebCommand_{0};
  std::string fileIdInMenu_;  // the first item's, when its lines were made
  bool injected_ = false;
  bool insertSeparator_ = true;
  bool synchronous_ = false;
  WebAccess webAccess_;
};

}  // namespace kelvo
