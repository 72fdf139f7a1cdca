// The user's three choices in the lock dialogs.
//
// Getters: any thread, never block. Setters may wait for a file lock: settings worker.
#pragma once

#include "platform/user_defaults.h"

namespace kelvo {

// The defaults of this process; set once at start.
void SetNotificationPreferences(UserDefaults* defaults);

void SetShowUnlockNotification(bool show);
bool GetShowUnlockNotification();
void SetShowLockNotification(bool show);
bool GetShowLockNotification();
void SetOpenFileAfterLock(bool open);
bool GetOpenFileAfterLock();

}  // namespace kelvo
