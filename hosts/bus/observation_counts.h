#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <string>

#include "base/mutex.h"

namespace kelvo {

// Counts who of the bus's clients shows which folder, and passes on what matters to the extension.
//
// Threads: any. The two functions are called with the lock held, so that the end of one client's
// observation cannot overtake the beginning of another's; they must not call back.
class ObservationCounts {
 public:
  using Operation = std::function<void(const std::string& path)>;

  // What a client may have begun, in bytes of paths; each counts some more. That is some 100,000
  // folders, and no file manager shows as many.
  static constexpr std::size_t kMostBytesPerClient = std::size_t{64} << 20;
  static constexpr std::size_t kBytesPerFolder = 512;

  // `begin` is called for every Begin, `end` when no client observes the folder any more.
  ObservationCounts(Operation begin, Operation end);

  // False, and nothing is done, when the client observes too much.
  [[nodiscard]] bool Begin(const std::string& client, const std::string& path);
  // Ignored without a Begin of the same client.
  void End(const std::string& client, const std::string& path);
  // Ends all that the client has begun.
  void ClientGone(const std::string& client);

 private:
  // The client observes the folder no longer.
  void GiveBack(const std::string& client, const std::string& path) KELVO_REQUIRES(mutex_);

  const Operation begin_;
  const Operation end_;
  CMutex mutex_{kMutexNormal};
  // Begins without their End, by folder and client; none is 0.
  std::map<std::string, std::map<std::string, long>> counts_ KELVO_GUARDED_BY(mutex_);
  std::map<std::string, std::size_t> bytesOf_ KELVO_GUARDED_BY(mutex_);  // by client; none is 0
};

}  // namespace kelvo
