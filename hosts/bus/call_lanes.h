#pragma once

#include <chrono>
#include <cstddef>
#include <deque>
#include <map>
#include <string>

#include "base/mutex.h"
#include "platform/posix/worker_threads.h"

namespace kelvo {

// Runs tasks on worker threads: those of one lane one after the other, in order; those of different
// lanes side by side. One that throws costs a line of the log, and its lane goes on.
//
// Threads: any. Lifetime: as WorkerThreads; after a Finish that answered false it must not be
// destroyed.
class OrderedLanes {
 public:
  using Task = WorkerThreads::Task;

  OrderedLanes(RunLoop& runLoop, std::size_t workers) : workers_(runLoop, workers) {}

  void Run(const std::string& lane, Task task);
  // Drops what has not begun and waits for what has; see WorkerThreads::Finish.
  [[nodiscard]] bool Finish(std::chrono::milliseconds limit);

 private:
  void Turn(const std::string& lane);

  CMutex mutex_{kMutexNormal};
  // The first task of a lane is waiting for a worker or at work; a lane without tasks is erased.
  std::map<std::string, std::deque<Task>> lanes_ KELVO_GUARDED_BY(mutex_);
  bool finishing_ KELVO_GUARDED_BY(mutex_) = false;
  WorkerThreads workers_;
};

// The order of the calls of the bus's clients: a client's calls run one after the other, except
// that a menu, when its turn has come, goes on in a lane and with workers of its own. So a menu
// sees what was called before it, one menu of a client is worked on at a time, and no badge ever
// waits for a menu. The actions of a menu keep the client's order among themselves and wait for
// nothing else; one that needs the client goes beside them, as the client may be waiting for a
// menu.
//
// Threads, lifetime: as OrderedLanes.
class CallLanes {
 public:
  using Task = OrderedLanes::Task;

  explicit CallLanes(RunLoop& runLoop)
      : actions_(runLoop, kActionWorkers),
        menus_(runLoop, kMenuWorkers),
        calls_(runLoop, kWorkers) {}

  void Run(const std::string& client, Task task);
  void RunMenu(const std::string& client, Task task);
  void RunAction(const std::string& client, bool needsClient, Task task);
  [[nodiscard]] bool Finish(std::chrono::milliseconds limit);

 private:
  static constexpr std::size_t kWorkers = 4;
  // These mostly sleep, waiting for the Agent's answer or for a client.
  static constexpr std::size_t kMenuWorkers = 32;
  static constexpr std::size_t kActionWorkers = 8;

  OrderedLanes actions_;
  OrderedLanes menus_;
  OrderedLanes calls_;
};

}  // namespace kelvo
