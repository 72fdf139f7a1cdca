#include "hosts/bus/call_lanes.h"

#include <utility>

#include "base/guarded_call.h"

namespace kelvo {

void OrderedLanes::Run(const std::string& lane, Task task) {
  CMutexLock lock(mutex_);
  std::deque<Task>& tasks = lanes_[lane];
  tasks.push_back(std::move(task));
  if (tasks.size() == 1) workers_.Run([this, lane] { Turn(lane); });
}

void OrderedLanes::Turn(const std::string& lane) {
  Task task;
  {
    CMutexLock lock(mutex_);
    if (finishing_) return;
    task = std::move(lanes_.at(lane).front());
  }
  CallGuarded("a call of the bus", task);
  task = nullptr;
  CMutexLock lock(mutex_);
  auto entry = lanes_.find(lane);
  entry->second.pop_front();
  if (entry->second.empty()) {
    lanes_.erase(entry);
  } else {
    // One task a turn, so that a busy client does not keep a worker to itself.
    workers_.Run([this, lane] { Turn(lane); });
  }
}

bool OrderedLanes::Finish(std::chrono::milliseconds limit) {
  {
    CMutexLock lock(mutex_);
    finishing_ = true;
  }
  return workers_.Finish(limit);
}

void CallLanes::Run(const std::string& client, Task task) { calls_.Run(client, std::move(task)); }

void CallLanes::RunMenu(const std::string& client, Task task) {
  calls_.Run(client, [this, client, task = std::move(task)]() mutable {
    menus_.Run(client, std::move(task));
  });
}

void CallLanes::RunAction(const std::string& client, bool needsClient, Task task) {
  actions_.Run(needsClient ? client + " with itself" : client, std::move(task));
}

bool CallLanes::Finish(std::chrono::milliseconds limit) {
  const bool calls = calls_.Finish(limit);
  const bool menus = menus_.Finish(limit);
  const bool actions = actions_.Finish(limit);
  return calls && menus && actions;
}

}  // namespace kelvo
