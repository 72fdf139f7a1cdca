#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>

#include "agent/sync_api_client.h"

namespace kelvo {

// Tells whoever waits for the Agent, or keeps what it once said, that it has said something new.
//
// Joins the API's clients after the cache, so that what it tells of is in the cache by then.
// Threads: Wait and Count any thread; all else main loop. Lifetime: as the API's clients.
class AgentNews final : public CSyncApiClient {
 public:
  // `path`: of the item, or of the folder whose list has come; empty when anything may have
  // changed. `list`: which nobody has walked yet; null for other news.
  using Changed = std::function<void(const std::string& path, const CSyncStatusListResponse* list)>;

  AgentNews(Changed changed, std::function<void()> publicLinksChanged);

  // How much news there was so far.
  std::uint64_t Count() const;
  // Blocks until there was more than `count`, at most until `limit`.
  void Wait(std::uint64_t count, std::chrono::steady_clock::time_point limit) const;

  void OnSyncStatusListResponse(CSyncStatusListResponse& response) override;
  void OnSyncStatusChanged(const SSyncApiItemStatus& item) override;
  void OnSyncStatusReset() override;
  void OnSyncSyncList(const std::string& listId, const std::string& list) override;

 private:
  void WakeAll();
  void Tell(const std::string& path, const CSyncStatusListResponse* list);

  const Changed changed_;
  const std::function<void()> publicLinksChanged_;
  mutable std::mutex mutex_;
  mutable std::condition_variable more_;
  std::uint64_t count_ = 0;  // under mutex_
};

}  // namespace kelvo
