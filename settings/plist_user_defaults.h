#pragma once

#include <string>

#include "base/mutex.h"
#include "base/pending.h"
#include "base/property_list.h"
#include "platform/user_defaults.h"

namespace kelvo {

class BackgroundQueue;

// User defaults kept in one property-list file, for platforms without a defaults service.
//
// Lifetime: until the settings worker has finished what was set.
class PlistUserDefaults : public UserDefaults {
 public:
  // Reads nothing yet: every key is absent until Load.
  PlistUserDefaults(std::string path, BackgroundQueue& settingsQueue);

  // Reads the file under its lock, if there is one; settings worker. Values set meanwhile win.
  void Load();
  bool GetBool(const std::string& key) const override;
  void SetBool(const std::string& key, bool value) override;

 private:
  const std::string path_;
  BackgroundQueue& settingsQueue_;
  mutable CMutex mutex_{kMutexNormal};
  PropertyList::Dictionary values_ KELVO_GUARDED_BY(mutex_);
  // Whoever keeps the file locked meanwhile, each key waits once.
  Pending<PropertyList::Dictionary> unwritten_;
};

}  // namespace kelvo
