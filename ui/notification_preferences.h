// The user's three choices in the lock dialogs.
//
// Getters any thread, setters main loop; nothing blocks. What is set is in force at once and
// written later.
#pragma once

#include <functional>

#include "platform/user_defaults.h"

namespace kelvo {

// The defaults of this process; set once at start. `changed` is called after each change.
void SetNotificationPreferences(UserDefaults* defaults, std::function<void()> changed = nullptr);

void SetShowUnlockNotification(bool show);
bool GetShowUnlockNotification();
void SetShowLockNotification(bool show);
bool GetShowLockNotification();
void SetOpenFileAfterLock(bool open);
bool GetOpenFileAfterLock();

}  // namespace kelvo
