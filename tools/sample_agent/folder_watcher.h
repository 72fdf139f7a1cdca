#pragma once

#include <gio/gio.h>

#include <chrono>
#include <map>
#include <memory>
#include <set>
#include <string>

#include "platform/clock.h"
#include "platform/run_loop.h"
#include "tools/sample_agent/folder_model.h"

namespace kelvo::sample_agent {

struct FileMonitorRelease {
  void operator()(GFileMonitor* monitor) const;
};
using FileMonitorPtr = std::unique_ptr<GFileMonitor, FileMonitorRelease>;

// Keeps the model in step with the disk: an item that was created, written or renamed is changing,
// and in sync once nothing has happened to it for a while.
//
// Threads: the run loop's, which turns the default main context.
class FolderWatcher {
 public:
  // What the peer has to be told.
  class Listener {
   public:
    virtual void OnItemChanged(const std::string& path) = 0;
    // Items have gone, which only a whole list can tell. Many at once make one call.
    virtual void OnItemsGone(const std::string& folder) = 0;

   protected:
    ~Listener() = default;
  };

  // `settleTime`: how long an item stays dirty after its last change. Everything handed over must
  // outlive the watcher.
  FolderWatcher(FolderModel& model, RunLoop& runLoop, const Clock& clock,
                std::chrono::milliseconds settleTime, Listener& listener);
  ~FolderWatcher();
  FolderWatcher(const FolderWatcher&) = delete;
  FolderWatcher& operator=(const FolderWatcher&) = delete;

  // Watches the folder's own items from now on; call it before listing them, so that nothing is
  // missed in between. Again is harmless. Beyond 8192 folders, and when the kernel has no watches
  // left, the folder is not watched and standard error says so.
  void Watch(const std::string& folder);
  // The folder is served no longer, and the state of its items void.
  void Leave(const std::string& folder);
  // The item is found elsewhere from now on, with everything below it.
  void Follow(const std::string& from, const std::string& to);

 private:
  static void OnMonitorEvent(GFileMonitor* monitor, GFile* file, GFile* other,
                             GFileMonitorEvent event, gpointer watcher);

  void HandleEvent(GFileMonitorEvent event, const std::string& path, const std::string& other);
  void Touch(const std::string& path);
  void Vanish(const std::string& path);
  void Settle();
  void AnnounceGone();

  FolderModel& model_;
  RunLoop& runLoop_;
  const Clock& clock_;
  const std::chrono::milliseconds settleTime_;
  Listener& listener_;
  std::map<std::string, FileMonitorPtr> monitors_;              // by folder
  std::map<std::string, std::chrono::milliseconds> settlesAt_;  // by path, monotonic
  std::set<std::string> foldersWithGoneItems_;
  RunLoop::TimerId tick_ = 0;          // running while something settles
  RunLoop::TimerId announceGone_ = 0;  // running while something is gathered
};

}  // namespace kelvo::sample_agent
