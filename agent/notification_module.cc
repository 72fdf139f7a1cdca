#include "agent/notification_module.h"

#include "agent/notifications_bridge.h"
#include "agent/sync_api.h"
#include "cache/sync_cache.h"
#include "settings/value_utilities.h"
#include "ui/notification_preferences.h"

namespace kelvo {

std::atomic<CNotificationModule*> CNotificationModule::m_Instance{nullptr};

void CNotificationModule::Initialize(CFinderConfiguration* owner, CSyncApi* api,
                                     CSyncCache* cache) {
  if (api_ != nullptr) return;
  owner_ = owner;
  api_ = api;
  cache_ = cache;
  api_->AddClient(this);
}

bool CNotificationModule::ShowUnlockOverride(const std::string& path, const std::string& lockOwner,
                                             const std::string& lockTime) {
  return dialogs_.showUnlockOverrideForFile(path, lockOwner, lockTime);
}

void CNotificationModule::OnSyncRequestResponse(const std::string& command,
                                                const StringMap& values) {
  const bool lock = command == "lock";
  if (!lock && command != "unlock") return;
  const auto path = values.find("path");
  const auto result = values.find("result");
  if (path == values.end() || result == values.end()) return;
  // Every extension process hears every response; only the one that asked speaks, and once.
  if (!cache_->IsReponseForThisInstance(path->second)) return;
  cache_->RemoveCommandForThisInstance(path->second);

  // Deliberate: a result that is no number counts as success.
  if (const int code = IntValue(&result->second); code != 0) {
    dialogs_.showError(code, path->second);
  } else if (lock) {
    ShowLocked(path->second);
  } else {
    ShowUnlocked(path->second);
  }
}

void CNotificationModule::ShowUnlocked(const std::string& path) {
  if (GetShowUnlockNotification()) dialogs_.showUnlockForFile(path);
}

// The dialog has a box of its own for opening the file.
void CNotificationModule::ShowLocked(const std::string& path) {
  if (GetShowLockNotification()) {
    dialogs_.showLockForFile(path);
  } else if (GetOpenFileAfterLock()) {
    NotifyAgentEvent(kAgentInstance, "open_file", {{"path", path.c_str()}});
  }
}

}  // namespace kelvo
