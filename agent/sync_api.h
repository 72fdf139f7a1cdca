#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <string>

#include "agent/notifications_bridge.h"
#include "agent/sync_api_client.h"
#include "platform/background_queue.h"
#include "platform/run_loop.h"

namespace kelvo {

class CFinderConfiguration;

// Repaints the badge of one path in the file manager; supplied by the extension's core. Any thread.
void RefreshPath(const std::string& path);

// The extension's gateway to the Agent's sync engine: sends every request, decodes every event.
//
// Threads: requests from any thread (they are fire-and-forget); all else on the main loop.
// Lifetime: created by FinderSync::startUp, never destroyed.
class CSyncApi {
 public:
  // What the API needs of the cache, which is built on top of it.
  class Cache {
   public:
    virtual void AddCommandForThisInstance(const std::string& path) = 0;
    virtual sync::EItemPermissions GetPermissions(const std::string& path) = 0;

   protected:
    ~Cache() = default;
  };

  static std::atomic<CSyncApi*> m_Instance;

  CSyncApi(RunLoop& runLoop, BackgroundQueue& settingsQueue);
  ~CSyncApi();
  CSyncApi(const CSyncApi&) = delete;
  CSyncApi& operator=(const CSyncApi&) = delete;

  // Registers for the Agent's messages, then asks for its status and the public links.
  void Initialize(const CFinderConfiguration* configuration);
  // Until it is set, lock requests record nothing and permissions read as 0.
  void SetCache(Cache* cache) { cache_ = cache; }
  // Calls go to clients in order of joining. Not owned; clients stay for good.
  void AddClient(CSyncApiClient* client) { clients_.push_back(client); }

  // Called with a large list, as the clients will get it, before they do, on a worker as a rule;
  // what it makes of it they find in the response. Set once, before any message.
  using ListPreparer = std::function<std::shared_ptr<void>(CSyncStatusListResponse& response)>;
  void SetListPreparer(ListPreparer preparer);

  void RequestPublicLinks();
  void RequestFolderItems(const std::string& path);
  // `expire`: as the Agent takes it; the menu passes 0.
  void RequestLock(const std::string& path, unsigned long expire);
  void RequestUnlock(const std::string& path);
  void RequestShowViolationsPermissionsDialog();
  void RequestShowPublicLinkDialog(const std::string& path, const std::string& fileId);
  // Does not go to the Agent: repaints the badge. Always 0.
  int RefreshItem(const std::string& path);

  // The last connection status reported was 4. Any thread; false before the first.
  bool IsConnected() const { return connected_; }
  // The last connection status reported was any but 1. Any thread; false before the first.
  bool IsAgentActive() const { return agentActive_; }

 private:
  // What is made on a worker for the loop: the last large list, since later messages wait.
  class PreparedLists;
  class ResetAnswers;

  static void OnAgentEvent(void* target, const char* agentId, const std::string* eventName,
                           const PropertyList::Dictionary& userInfo);
  static void OnConnectionEvent(void* target, const char* agentId, int status,
                                std::int64_t timestamp);
  void OnSyncItem(const PropertyList::Dictionary& userInfo);
  void OnSyncStatusList(const PropertyList::Dictionary& userInfo);
  void OnSyncResponse(const PropertyList::Dictionary& userInfo);
  void OnResetShowDialog();
  void OnSyncError(const PropertyList::Dictionary& userInfo);
  void RecordCommand(const std::string& path);

  std::list<CSyncApiClient*> clients_;
  std::shared_ptr<PreparedLists> prepared_;  // shared with the worker
  const CFinderConfiguration* configuration_ = nullptr;
  AgentObserver agentEvents_;
  AgentObserver connectionEvents_;
  std::atomic<bool> connected_{false};
  std::atomic<bool> agentActive_{false};
  std::atomic<Cache*> cache_{nullptr};
  const std::shared_ptr<ResetAnswers> resetAnswers_;  // shared with the worker
};

}  // namespace kelvo
