#include "hosts/bus/observation_counts.h"

#include <utility>

namespace kelvo {

ObservationCounts::ObservationCounts(Operation begin, Operation end)
    : begin_(std::move(begin)), end_(std::move(end)) {}

bool ObservationCounts::Begin(const std::string& client, const std::string& path) {
  CMutexLock lock(mutex_);
  const auto known = counts_.find(path);
  if (known == counts_.end() || !known->second.contains(client)) {
    std::size_t& bytes = bytesOf_[client];
    if (bytes + path.size() + kBytesPerFolder > kMostBytesPerClient) return false;
    bytes += path.size() + kBytesPerFolder;
  }
  ++counts_[path][client];
  begin_(path);
  return true;
}

void ObservationCounts::GiveBack(const std::string& client, const std::string& path) {
  const auto bytes = bytesOf_.find(client);
  bytes->second -= path.size() + kBytesPerFolder;
  if (bytes->second == 0) bytesOf_.erase(bytes);
}

void ObservationCounts::End(const std::string& client, const std::string& path) {
  CMutexLock lock(mutex_);
  auto folder = counts_.find(path);
  if (folder == counts_.end()) return;
  auto observer = folder->second.find(client);
  if (observer == folder->second.end() || --observer->second > 0) return;
  folder->second.erase(observer);
  GiveBack(client, path);
  if (!folder->second.empty()) return;
  counts_.erase(folder);
  end_(path);
}

void ObservationCounts::ClientGone(const std::string& client) {
  CMutexLock lock(mutex_);
  bytesOf_.erase(client);
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
