#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "base/property_list.h"

namespace kelvo {

// Which local folders the account stores: the list of rows [path, whether it is included] in
// "storage_info.plist", else the older "share_info.plist", which is only read.
//
// Threads: one at a time. Loading and storing wait for the file's lock: on a worker.
class kelvo_StorageSettings {
 public:
  // `path`: the account's configuration folder; empty for a record without files. Nothing is read
  // yet.
  explicit kelvo_StorageSettings(std::string path);

  // On failure, and without a path, the list stays as it is. Files that are missing are left behind
  // empty.
  bool load();
  bool loadFromSpecificPath(const std::string& file);
  bool loadOldShareInfoFromFile(const std::string& file);
  // False without a path.
  bool store() const;
  bool storeToSpecificPath(const std::string& file) const;

  const PropertyList::Array& pathsAndFlags() const { return settings_; }
  void setPathsAndFlags(PropertyList::Array pathsAndFlags);
  // See top_level_paths.h. Removing changes only the list in memory.
  std::vector<std::string> topLevelPaths() const;
  void removeTopLevelPath(std::string_view path);
  bool isEqualToAgentSettings(const kelvo_StorageSettings& other) const;

 private:
  PropertyList::Array settings_;
  std::string settingsPath_;
};

}  // namespace kelvo
