#include "core/late_requests.h"

#include "base/string_utils.h"

namespace kelvo {

void LateRequests::Remember(std::string_view path) {
  std::string_view directory;
  std::string_view name;
  if (!SplitPath(path, &directory, &name)) return;
  CMutexLock lock(mutex_);
  if (names_.find(directory) != names_.end() || names_.size() >= kMaxFolders) return;
  names_.emplace(std::string(directory), std::string(name));
}

std::vector<std::string> LateRequests::Paths() const {
  std::vector<std::string> paths;
  CMutexLock lock(mutex_);
  paths.reserve(names_.size());
  for (const auto& [directory, name] : names_) paths.push_back(directory + "/" + name);
  return paths;
}

void LateRequests::ForgetFolderOf(std::string_view path) {
  std::string_view directory;
  std::string_view name;
  if (!SplitPath(path, &directory, &name)) return;
  CMutexLock lock(mutex_);
  auto found = names_.find(directory);
  if (found != names_.end()) names_.erase(found);
}

void LateRequests::Retain(const std::function<bool(const std::string& directory)>& isStillWanted) {
  CMutexLock lock(mutex_);
  std::erase_if(names_, [&](const auto& entry) { return !isStillWanted(entry.first); });
}

}  // namespace kelvo
