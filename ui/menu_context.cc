#include "ui/menu_context.h"

#include <utility>

#include "agent/sync_api.h"
#include "base/file_system.h"
#include "base/format_text.h"
#include "base/logger.h"
#include "cache/sync_cache.h"
#include "core/finder_configuration.h"
#include "platform/clock.h"
#include "settings/application_bundle.h"
#include "ui/notification_preferences.h"
#include "ui/short_date_time.h"

namespace kelvo {
namespace {

using sync::EItemPermissions;
using sync::ESyncItemLock;

constexpr char kBrand[] = "Kelvo";
constexpr char kNoImage[] = "";
// A project that is subscribed only in part offers no locks, whatever its level: the values of all
// such projects are below those of fully subscribed ones.
constexpr EItemPermissions kLeastToLock = EItemPermissions::PERM_UPDATE;

std::string Me() { return LocalizedString("ContextMenu.Me", "Me"); }

}  // namespace

KelvoMenuContext::KelvoMenuContext(const MenuSources& sources)
    : sources_(sources),
      rcid_(sources.configuration.ClientId()),
      userId_(sources.configuration.UserId()),
      selection_(sources.cache),
      webAccess_({sources.httpClient, sources.dialogs, sources.runLoop, sources.configuration},
                 *this) {
  setMenu(nullptr);
}

void KelvoMenuContext::setSynchronous(bool synchronous) {
  synchronous_ = synchronous;
  webAccess_.setSynchronous(synchronous);
}

void KelvoMenuContext::setMenu(Menu* menu) {
  KELVO_LOG(kLogDebug, "KelvoMenuContext set menu: " << static_cast<const void*>(menu));
  injected_ = false;
  contextMenu_ = menu;
  menuPosition_ = menu == nullptr ? 0 : menu->numberOfItems();
}

void KelvoMenuContext::setSelectedItems(const std::vector<std::string>& items) {
  KELVO_LOG(kLogDebug, "KelvoMenuContext setSelectedItems: " << items.size());
  std::vector<std::string> paths;
  paths.reserve(items.size());
  for (const std::string& item : items) paths.push_back(FilesystemRepresentation(item));
  selection_ = MenuSelection(sources_.cache, std::move(paths));
  insertMenus();
}

void KelvoMenuContext::insertMenus() {
  if (injected_ || contextMenu_ == nullptr || selection_.isEmpty() || !pathsAreInProject() ||
      !sources_.syncApi.IsAgentActive()) {
    return;
  }
  if (selection_.count() == 1 && selection_.itemsHaveFileId()) insertKelvoMenu();
  if (sources_.configuration.SyncFileLocking()) insertFileLockMenu();
  insertPermissionsMenu();
  if (insertSeparator_) insertMenuItem({.separator = true});
  injected_ = true;
}

void KelvoMenuContext::insertMenuItem(MenuItem item) {
  if (contextMenu_ == nullptr) return;
  contextMenu_->insertItem(std::move(item), menuPosition_);
  ++menuPosition_;
}

const MenuItem* KelvoMenuContext::insertMenuItemWithTitle(const std::string& title,
                                                          const std::string& image, Selector action,
                                                          bool enabled) {
  if (title.empty()) {
    KELVO_LOG(kLogError, "ERROR: empty title for menu item");
    return nullptr;
  }
  if (contextMenu_ == nullptr) return nullptr;
  insertMenuItem({title, action, enabled && !action.name.empty(), image});
  return &contextMenu_->items()[menuPosition_ - 1];
}

void KelvoMenuContext::insertInformation(const std::string& title) {
  insertMenuItemWithTitle(title, kNoImage, {}, false);
}

bool KelvoMenuContext::isWebCommandIdle() const {
  return sources_.clock.Now() >= pendingWebCommand() && sources_.syncApi.IsConnected();
}

void KelvoMenuContext::insertKelvoMenu() {
  KELVO_LOG(kLogDebug, "insert kelvo menu");
  // Deliberate: the answer is not used.
  (void)IsDirectory(selection_.path(0));
  fileIdInMenu_ = selection_.first().fileId;
  const bool isIdle = isWebCommandIdle();
  insertMenuItemWithTitle(FormatText(LocalizedString("ContextMenu.OpenKelvoHere1", "Open %@ Here"),
                                     {std::string(kBrand)}),
                          "App", menu_action::kOpenKelvoHere, isIdle);
  insertMenuItemWithTitle(LocalizedString("ContextMenu.addComment", "Add Comment"), kNoImage,
                          menu_action::kAddComment, isIdle);
  const bool isPublic = sources_.cache.IsPublicLink(selection_.path(0));
  if (sources_.configuration.PublicShare()) {
    insertMenuItemWithTitle(
        isPublic ? LocalizedString("ContextMenu.editPublicLink", "Edit Public Link")
                 : LocalizedString("ContextMenu.createPublicLink", "Create Public Link"),
        kNoImage, menu_action::kCreatePublicLink, true);
  }
  insertMenuItemWithTitle(isPublic
                              ? LocalizedString("ContextMenu.sendPublicLink", "Copy Public Link")
                              : LocalizedString("ContextMenu.sendTeamLink", "Copy Team Link"),
                          kNoImage, menu_action::kCopyLink, true);
}

void KelvoMenuContext::insertFileLockMenu() {
  KELVO_LOG(kLogDebug, "insert lock menu");
  auto status = selection_.itemsHaveSameLockStatus();
  if (!status) return;
  if (status->lock == ESyncItemLock::NO_SYNC_LOCK) {
    insertLockLines(status->permissions);
  } else {
    insertUnlockLines(*std::move(status));
  }
}

void KelvoMenuContext::insertLockLines(EItemPermissions permissions) {
  if (permissions >= kLeastToLock && !selection_.anyItemHasPermissionViolation()) {
    insertMenuItemWithTitle(GetOpenFileAfterLock()
                                ? LocalizedString("ContextMenu.LockAndOpen", "Lock & Open")
                                : LocalizedString("ContextMenu.LockForMe", "Lock for Me"),
                            "locked", menu_action::kLock, sources_.syncApi.IsConnected());
  }
  const std::string& modifiedBy = selection_.first().modifiedBy;
  insertInformation(FormatText(LocalizedString("ContextMenu.ModifiedBy", "Last Modified by: %@"),
                               {modifiedBy.empty() ? Me() : modifiedBy}));
}

void KelvoMenuContext::insertUnlockLines(MenuSelection::LockStatus status) {
  if (status.lock == ESyncItemLock::SYNC_LOCK_FOR_ME) status.owner = Me();
  if (status.lock == ESyncItemLock::SYNC_PENDING_UNLOCK) {
    insertMenuItemWithTitle(LocalizedString("ContextMenu.UnlockPending", "Unlock Pending..."),
                            kNoImage, menu_action::kUnlock, false);
  } else if (status.owner && status.permissions >= kLeastToLock) {
    // Another user's lock is overridden one file at a time.
    const bool isOneOrMine = status.lock != ESyncItemLock::SYNC_LOCK || selection_.count() == 1;
    insertMenuItemWithTitle(LocalizedString("ContextMenu.Unlock", "Unlock"), kNoImage,
                            menu_action::kUnlock, sources_.syncApi.IsConnected() && isOneOrMine);
  }
  if (status.owner) {
    const std::string when = ShortDateTime(selection_.first().lockTime);
    insertInformation(FormatText(LocalizedString("ContextMenu.lockedBy", "Locked by: %@ at %@"),
                                 {*std::move(status.owner), when}));
  } else if (selection_.count() >= 2) {
    insertInformation(
        LocalizedString("ContextMenu.LockedByMultipleUsers", "Locked by Multiple Users"));
  }
}

void KelvoMenuContext::insertPermissionsMenu() {
  const EItemPermissions permissions = selection_.itemsHaveSamePermissions();
  if (permissions > EItemPermissions::PERM_NONE) {
    insertInformation(stringForPermission(permissions));
  }
  if (selection_.anyItemHasPermissionViolation()) {
    insertMenuItemWithTitle(LocalizedString("ContextMenu.InConflict", "Fix Permission Violations"),
                            "permissionViolation", menu_action::kFixViolations,
                            sources_.syncApi.IsConnected());
  }
}

}  // namespace kelvo
