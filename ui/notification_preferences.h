// The user's three choices in the lock dialogs.
//
// Any thread; nothing blocks. What is set is in force at once and written later.
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
