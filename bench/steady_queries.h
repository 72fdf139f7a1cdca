#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <thread>

#include "bench/extension_session.h"

namespace kelvo::bench {

// A client that asks for the badges of some items of one folder every 5 ms, on a thread and a
// connection of its own, until its end.
class SteadyQueries {
 public:
  // `names`: each followed by a zero byte.
  SteadyQueries(const ExtensionSession& session, const std::string& folder,
                const std::string& names);
  ~SteadyQueries();
  SteadyQueries(const SteadyQueries&) = delete;
  SteadyQueries& operator=(const SteadyQueries&) = delete;

  // How long an answer has taken at most; nanoseconds.
  std::int64_t Longest() const { return longest_; }
  int Answers() const { return answers_; }

 private:
  void Run(const ExtensionSession& session, const std::string& folder, const std::string& names);

  std::atomic<bool> stop_{false};
  std::atomic<std::int64_t> longest_{0};
  std::atomic<int> answers_{0};
  std::thread thread_;  // last: it uses all the others
};

}  // namespace kelvo::bench
