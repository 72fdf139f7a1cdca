#include "core/late_requests.h"

#include <utility>

#include "base/logger.h"
#include "base/string_utils.h"

namespace kelvo {

void LateRequests::Remember(std::string_view path) {
  std::string_view directory;
  std::string_view name;
  if (!SplitPath(path, &directory, &name)) return;
  {
    CMutexLock lock(mutex_);
    if (names_.find(directory) != names_.end()) return;
    if (names_.size() < kMaxFolders) {
      names_.emplace(std::string(directory), std::string(name));
      return;
    }
    if (std::exchange(wasFull_, true)) return;
  }
  KELVO_LOG(kLogWarning, "more than " << kMaxFolders
                                      << " folders wait for the Agent: of some the badges may be "
                                         "missing or old until they are asked for again");
}

std::vector<std::string> LateRequests::Paths() const {
  std::vector<std::string> paths;
  CMutexLock lock(mutex_);
  paths.reserve(names_.size());
  for (const auto& [directory, name] : names_) paths.push_back(directory + "/" + name);
  return paths;
}

void LateRequests::Retain(const std::function<bool(const std::string& directory)>& isStillWanted) {
  CMutexLock lock(mutex_);
  std::erase_if(names_, [&](const auto& entry) { return !isStillWanted(entry.first); });
}

}  // namespace kelvo
