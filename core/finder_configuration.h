#pragma once

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>

#include "base/mutex.h"
#include "base/property_list.h"

namespace kelvo {

// The account settings that the extension needs, from the Agent's "user_info.plist" and the secret
// store.
//
// Threads: accessors from any thread, each answers a copy; Load on the settings worker.
// Lifetime: created by FinderSync::init, never destroyed.
class CFinderConfiguration {
 public:
  static std::atomic<CFinderConfiguration*> m_Instance;

  // Every setting is empty or off and the trace level 3; nothing is read.
  CFinderConfiguration() = default;
  // Reads from `properties` instead of the file.
  explicit CFinderConfiguration(PropertyList::Dictionary properties);
  CFinderConfiguration(const CFinderConfiguration&) = delete;
  CFinderConfiguration& operator=(const CFinderConfiguration&) = delete;

  // Reads file and secret, waiting for the file's lock and for the store, and then publishes all of
  // it in one step; until then the former values stand. A missing file gives every default.
  void Load();

  std::string ClientId() const;
  std::string UserId() const;
  std::string CellId() const;
  std::string AuthenticationKey() const;
  // Whether the name is the signed-in user's; the empty name is.
  bool IsUserMe(const std::string& name) const;
  // For who asks that of very many names: the signed-in user's, and a number that grows whenever
  // Load publishes anew; a name that was read behind the number is of that publication or newer.
  std::string FullName() const;
  std::uint64_t Publication() const { return publication_.load(std::memory_order_acquire); }

  // The settings file and whether Load could read it; empty and false before the first Load.
  std::string File() const;
  bool IsRead() const;
  std::string Label() const;
  std::string WorkplaceFolder() const;  // "master_project_folder"
  int TraceLevel() const;
  bool ShowGreenCheckmarks() const;
  bool SyncFileLocking() const;
  bool PublicShare() const;

 private:
  struct Settings {
    std::string configurationPath;
    std::string file;
    bool isRead = false;
    std::string configLabel;
    std::string server;
    std::string cellId;
    std::string desktopName;
    int traceLevel = 3;
    std::string rcid;
    std::string user;
    std::string email;
    std::string fullName;
    std::string teamName;
    std::string userId;
    std::string masterProjectFolder;
    bool syncFileLocking = false;
    bool showGreenCheckmarks = false;
    bool publicShare = false;
    bool publicUpload = false;
    bool publicExpiration = false;
    bool publicPassword = false;
    bool faxEnabled = false;
    std::string convertTargets;
    std::string authenticationKey;
  };
  Settings ReadSettings() const;

  mutable CMutex mutex_{kMutexNormal};
  const std::optional<PropertyList::Dictionary> properties_;
  Settings settings_ KELVO_GUARDED_BY(mutex_);
  std::atomic<std::uint64_t> publication_{0};  // written with settings_
};

}  // namespace kelvo
