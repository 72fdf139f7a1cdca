#include "ui/notification_preferences.h"

#include <atomic>
#include <utility>

namespace kelvo {
namespace {

constexpr char kDontShowUnlock[] = "kelvo-dont-show-unlock";
constexpr char kDontShowLock[] = "kelvo-dont-show-lock";
constexpr char kOpenFileAfterLock[] = "kelvo-open-file-after-lock";

std::atomic<UserDefaults*> theDefaults{nullptr};

std::function<void()>& Changed() {
  static auto* changed = new std::function<void()>;
  return *changed;
}

bool Get(const char* key) {
  const UserDefaults* defaults = theDefaults.load(std::memory_order_acquire);
  return defaults != nullptr && defaults->GetBool(key);
}

void Set(const char* key, bool value) {
  UserDefaults* defaults = theDefaults.load(std::memory_order_acquire);
  if (defaults == nullptr) return;
  const bool isNew = defaults->GetBool(key) != value;
  defaults->SetBool(key, value);
  if (isNew && Changed()) Changed()();
}

}  // namespace

void SetNotificationPreferences(UserDefaults* defaults, std::function<void()> changed) {
  theDefaults.store(defaults, std::memory_order_release);
  Changed() = std::move(changed);
}

// The two kinds of notice are stored inverted, so that an absent key shows them.
void SetShowUnlockNotification(bool show) { Set(kDontShowUnlock, !show); }
bool GetShowUnlockNotification() { return !Get(kDontShowUnlock); }
void SetShowLockNotification(bool show) { Set(kDontShowLock, !show); }
bool GetShowLockNotification() { return !Get(kDontShowLock); }
void SetOpenFileAfterLock(bool open) { Set(kOpenFileAfterLock, open); }
bool GetOpenFileAfterLock() { return Get(kOpenFileAfterLock); }

}  // namespace kelvo
