#pragma once

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <set>
#include <string>
#include <thread>

#include "base/property_list.h"
#include "base/unique_fd.h"

namespace kelvo::bench {

// The Agent's end of its socket: it sends the configuration's event when it is asked, and else what
// the benchmark says.
//
// Threads: the benchmark's; what the extension says is read on a thread of its own.
class BenchAgent {
 public:
  // Listens below `runtimeFolder`.
  explicit BenchAgent(const std::string& runtimeFolder);
  ~BenchAgent();
  BenchAgent(const BenchAgent&) = delete;
  BenchAgent& operator=(const BenchAgent&) = delete;

  // Until the extension has asked for the folder's list. Ends the program when it never does.
  void WaitForRequest(const std::string& folder);
  // The bytes of an event as Send takes them.
  static std::string EventFrame(const std::string& eventName, PropertyList::Dictionary info);
  static std::string ListFrame(const std::string& folder, const std::string& listText);
  // Whole frames; waits while the extension does not read.
  void Send(std::string_view frames);

 private:
  void Serve();
  void Hear(const PropertyList::Dictionary& info);

  UniqueFd listening_;
  UniqueFd connection_;
  std::thread thread_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::set<std::string> requested_;
};

}  // namespace kelvo::bench
