#include "settings/plist_user_defaults.h"

#include <filesystem>
#include <optional>
#include <system_error>
#include <utility>

#include "platform/background_queue.h"
#include "settings/properties.h"

namespace kelvo {

PlistUserDefaults::PlistUserDefaults(std::string path, BackgroundQueue& settingsQueue)
    : path_(std::move(path)), settingsQueue_(settingsQueue) {}

void PlistUserDefaults::Load() {
  std::error_code ignored;
  if (!std::filesystem::exists(path_, ignored)) return;  // opening would create it
  auto stored = LoadPropertiesFromFile(path_);
  if (!stored) return;
  CMutexLock lock(mutex_);
  values_.merge(*stored);
}

bool PlistUserDefaults::GetBool(const std::string& key) const {
  CMutexLock lock(mutex_);
  return GetBoolPropertyWithDefault(values_, key.c_str(), false);
}

void PlistUserDefaults::SetBool(const std::string& key, bool value) {
  {
    CMutexLock lock(mutex_);
    AddValueToDictionary(key, PropertyList(value), values_);
  }
  const bool isFirst = unwritten_.Add([&](PropertyList::Dictionary& changes) {
    changes.insert_or_assign(key, PropertyList(value));
  });
  if (!isFirst) return;
  settingsQueue_.Async([this] { (void)ChangePropertiesInFile(path_, unwritten_.Take()); });
}

}  // namespace kelvo
