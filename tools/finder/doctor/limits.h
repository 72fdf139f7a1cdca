// Time limits for what the doctor asks of the outside: a network folder may hang, and so may a
// library that is tried.
#pragma once

#include <chrono>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace kelvo::finder {

inline constexpr std::chrono::milliseconds kPatience{2000};  // with one thing of the outside

// Does the work on a thread of its own, which is left behind when nobody waits for it any more: it
// must own all that it uses. The answer is not valid() when there is no thread to be had.
template <typename Work>
auto Begin(Work work) {
  using Result = decltype(work());
  auto task = std::make_shared<std::packaged_task<Result()>>(std::move(work));
  std::future<Result> result = task->get_future();
  try {
    std::thread([task] { (*task)(); }).detach();
  } catch (const std::system_error&) {  // a limit on processes, or on memory
    return std::future<Result>();
  }
  return result;
}

// What was begun, or nullopt when it is not there by then, was never begun, or ended with an
// exception.
template <typename Result>
std::optional<Result> ResultBy(std::future<Result>& result,
                               std::chrono::steady_clock::time_point end) {
  if (!result.valid() || result.wait_until(end) != std::future_status::ready) return std::nullopt;
  try {
    return result.get();
  } catch (...) {
    return std::nullopt;
  }
}

template <typename Work>
auto Within(std::chrono::milliseconds limit, Work work) {
  auto result = Begin(std::move(work));
  return ResultBy(result, std::chrono::steady_clock::now() + limit);
}

// Whether this program can have the few threads that it and its libraries need. GLib ends a program
// that cannot: without them neither the bus nor the desktop's settings may be asked.
bool CanHaveThreads();

struct ProgramEnd {
  int exitCode = 0;    // -1: a signal ended it
  std::string output;  // the first 64 KiB of what it wrote to standard output
};

// Runs a program (absolute path, or a name in PATH) without input and with its standard error
// thrown away. nullopt when it cannot be started, or was ended at the limit.
std::optional<ProgramEnd> RunProgram(const std::vector<std::string>& command,
                                     std::chrono::milliseconds limit);

}  // namespace kelvo::finder
