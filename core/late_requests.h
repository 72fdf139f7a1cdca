#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "base/mutex.h"

namespace kelvo {

// Folders for which a badge was wanted and not had: before start-up, while the Agent was away, or
// while its answer is outstanding; and shown folders whose lists have to come anew. One item stands
// for its folder, since a query for any brings the folder's list, and the list repaints all of
// them.
//
// Threads: any.
class LateRequests {
 public:
  // More are not remembered, which is logged once.
  static constexpr std::size_t kMaxFolders = 65536;

  // A path that does not split is ignored.
  void Remember(std::string_view path);
  // The path of the item that stands for each folder, in order.
  std::vector<std::string> Paths() const;
  // Forgets the folders that `isStillWanted` denies.
  void Retain(const std::function<bool(const std::string& directory)>& isStillWanted);

 private:
  mutable CMutex mutex_{kMutexNormal};
  std::map<std::string, std::string, std::less<>> names_ KELVO_GUARDED_BY(mutex_);
  bool wasFull_ KELVO_GUARDED_BY(mutex_) = false;
};

}  // namespace kelvo
