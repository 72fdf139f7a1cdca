#pragma once

#include <cstddef>
#include <string>

#include "agent/sync_api.h"
#include "agent/sync_status_list_response.h"
#include "cache/sync_cache_items.h"

namespace kelvo {

// One directory's list as the cache will keep it.
struct PreparedList {
  std::string path;
  SyncCacheItems items;
  SyncCacheNames names;
};

// Walks the response to its end. Any thread, which is what it is for: preparing a large list takes
// long, storing it does not.
PreparedList PrepareList(CSyncStatusListResponse& response);
// For a worker: does as well what a large list's first rename would do on the main loop. Of a list
// short enough for the main loop to prepare, that can wait until it is needed.
PreparedList PrepareListAside(CSyncStatusListResponse& response);

// The repaints that a stored list calls for, in byte order of the names; as many at a time as the
// caller likes, whatever the cache holds by then.
//
// Threads: the main loop.
class ListRepaint {
 public:
  ListRepaint(const std::string& directory, SyncCacheNames names);

  // Repaints the next items, `most` at most.
  void Next(std::size_t most);
  const std::string& Directory() const { return directory_; }
  // How many are still to be repainted.
  std::size_t Left() const { return names_.Size() - done_; }

 private:
  std::string directory_;
  SyncCacheNames names_;
  std::size_t done_ = 0;
};

}  // namespace kelvo
