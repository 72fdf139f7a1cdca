#pragma once

#include <string>

#include "base/property_list.h"

namespace kelvo {

// The fingerprints of an account: finger_prints.plist.
//
// Threads: one at a time; what loads or stores waits for the file's lock.
class kelvo_FingerprintSettings {
 public:
  // `path`: the account's folder; empty for a record without a file. Reads nothing yet.
  explicit kelvo_FingerprintSettings(const std::string& path);

  // False without a path. True also when the file is missing or does not parse; what was known
  // stays then.
  bool load();
  bool loadFromSpecificPath(const std::string& path);
  // Replaces the whole file, and tells the Agent. False without a path.
  bool store() const;
  bool storeToSpecificPath(const std::string& path) const;
  bool isEqualToAgentSettings(const kelvo_FingerprintSettings& other) const;

  const PropertyList::Array& getFingerprintsArray() const { return settings_; }
  void setFingerprintsArray(PropertyList::Array fingerprints);

 private:
  std::string settingsPath_;  // of the file
  PropertyList::Array settings_;
};

}  // namespace kelvo
