#include "hosts/bus/observation_counts.h"

#include <utility>

namespace kelvo {

ObservationCounts::ObservationCounts(Operation begin, Operation end)
    : begin_(std::move(begin)), end_(std::move(end)) {}

void ObservationCounts::Begin(const std::string& client, const std::string& path) {
  CMutexLock lock(mutex_);
  ++counts_[path][client];
  begin_(path);
}

void ObservationCounts::End(const std::string& client, const std::string& path) {
  CMutexLock lock(mutex_);
  auto folder = counts_.find(path);
  if (folder == counts_.end()) return;
  auto observer = folder->second.find(client);
  if (observer == folder->second.end() || --observer->second > 0) return;
  folder->second.erase(observer);
  if (!folder->second.empty()) return;
  counts_.erase(folder);
  end_(path);
}

void ObservationCounts::ClientGone(const std::string& client) {
  CMutexLock lock(mutex_);
  for (auto folder = counts_.begin(); folder != counts_.end();) {
    if (folder->second.erase(client) == 0 || !folder->second.empty()) {
      ++folder;
      continue;
    }
    end_(folder->first);
    folder = counts_.erase(folder);
  }
}

}  // namespace kelvo
