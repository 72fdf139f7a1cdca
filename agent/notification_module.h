#pragma once

#include <atomic>
#include <string>

#include "agent/sync_api_client.h"
#include "base/string_map.h"

namespace kelvo {

class CFinderConfiguration;
class CSyncApi;
class CSyncCache;

// Tells the user how the locks and unlocks that this process asked for ended.
//
// Threads: main loop. Lifetime: created by FinderSync::startUp, never destroyed.
class CNotificationModule final : public CSyncApiClient {
 public:
  static std::atomic<CNotificationModule*> m_Instance;

  // The dialogs, as far as they are needed here. Paths: as the Agent names them.
  class Dialogs {
   public:
    // Each returns at once; results of one kind gather in the dialog that is open.
    virtual void showError(int code, const std::string& path) = 0;
    virtual void showUnlockForFile(const std::string& path) = 0;
    virtual void showLockForFile(const std::string& path) = 0;
    // Turns the main loop until the user has answered; true only for consent. `lockTime`: a date
    // for people.
    virtual bool showUnlockOverrideForFile(const std::string& path, const std::string& lockOwner,
                                           const std::string& lockTime) = 0;

   protected:
    ~Dialogs() = default;
  };

  explicit CNotificationModule(Dialogs& dialogs) : dialogs_(dialogs) {}
  CNotificationModule(const CNotificationModule&) = delete;
  CNotificationModule& operator=(const CNotificationModule&) = delete;

  // Joins the API's clients. Only the first call has an effect.
  void Initialize(CFinderConfiguration* owner, CSyncApi* api, CSyncCache* cache);

  // Whether the user agrees to unlock a file that somebody else has locked. Turns the main loop.
  bool ShowUnlockOverride(const std::string& path, const std::string& lockOwner,
                          const std::string& lockTime);

  void OnSyncRequestResponse(const std::string& command, const StringMap& values) override;

 private:
  void ShowUnlocked(const std::string& path);
  void ShowLocked(const std::string& path);

  Dialogs& dialogs_;
  [[maybe_unused]] CFinderConfiguration* owner_ = nullptr;
  CSyncApi* api_ = nullptr;
  CSyncCache* cache_ = nullptr;
};

}  // namespace kelvo
