#include "core/agent_news.h"

#include <utility>

#include "agent/sync_status_list_response.h"

namespace kelvo {

AgentNews::AgentNews(Changed changed, std::function<void()> publicLinksChanged)
    : changed_(std::move(changed)), publicLinksChanged_(std::move(publicLinksChanged)) {}

std::uint64_t AgentNews::Count() const {
  std::lock_guard lock(mutex_);
  return count_;
}

void AgentNews::Wait(std::uint64_t count, std::chrono::steady_clock::time_point limit) const {
  std::unique_lock lock(mutex_);
  more_.wait_until(lock, limit, [&] { return count_ > count; });
}

void AgentNews::WakeAll() {
  {
    std::lock_guard lock(mutex_);
    ++count_;
  }
  more_.notify_all();
}

void AgentNews::Tell(const std::string& path, const CSyncStatusListResponse* list) {
  WakeAll();
  changed_(path, list);
}

void AgentNews::OnSyncStatusListResponse(CSyncStatusListResponse& response) {
  Tell(response.Path(), &response);
}

void AgentNews::OnSyncStatusChanged(const SSyncApiItemStatus& item) { Tell(item.path, nullptr); }

void AgentNews::OnSyncStatusReset() { Tell({}, nullptr); }

// The public links.
void AgentNews::OnSyncSyncList(const std::string&, const std::string&) {
  WakeAll();
  publicLinksChanged_();
}

}  // namespace kelvo
