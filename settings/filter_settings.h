#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "base/property_list.h"
#include "settings/filter_list.h"

namespace kelvo {

// Which files of an account are backed up, by name and size: filter_info.plist. The size limits are
// only kept here; nothing of the extension applies them.
//
// Threads: one at a time; what loads or stores waits for the file's lock.
class kelvo_FilterSettings {
 public:
  // `path`: the account's folder; empty for a record without a file. Reads nothing yet.
  explicit kelvo_FilterSettings(const std::string& path);

  // True also when the file is missing or does not parse; what was known stays then.
  bool load();
  bool loadFromSpecificPath(const std::string& path);
  // Replaces the whole file. False without a path.
  bool store() const;
  bool storeToSpecificPath(const std::string& path) const;
  bool isEqualToAgentSettings(const kelvo_FilterSettings& other) const;

  bool includeAllFiles() const;
  void setIncludeAllFiles(bool value);
  // False for a name other than "documents", "financial", "images", "archives", "databases",
  // "music" and "video".
  bool predefIncludeFilterValue(std::string_view name) const;
  // Deliberate: stores under any name.
  void setPredefIncludeFilter(const std::string& name, bool value);
  std::int32_t maxFileSize() const;
  void setMaxFileSize(std::int32_t value);
  std::int32_t minFileSize() const;
  void setMinFileSize(std::int32_t value);
  bool fileSizeFiltering() const;
  void setFileSizeFiltering(bool value);

  std::vector<std::string> excludeFilters() const;
  // A pattern may be there more than once. One that no settings file can hold is logged and not
  // added.
  void addExcludeFilter(const std::string& pattern);
  // Every copy of it.
  void removeExcludeFilter(std::string_view pattern);

  kelvo_FilterList includeFilterList() const;
  kelvo_FilterList excludeFilterList() const;

 private:
  std::string path_;  // of the file
  PropertyList::Dictionary settings_;
};

}  // namespace kelvo
