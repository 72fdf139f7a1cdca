#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "core/finder_sync.h"
#include "hosts/finder/offered_menus.h"
#include "hosts/finder/services.h"
#include "platform/macos/mac_dialogs.h"
#include "platform/macos/mac_finder_controller.h"
#include "platform/macos/mac_run_loop.h"
#include "platform/macos/mach_agent_transport.h"
#include "platform/posix/system_clock.h"
#include "platform/posix/thread_background_queue.h"
#include "platform/posix/worker_thread_launcher.h"

namespace kelvo {

// One line of a menu as Finder is given it.
struct OfferedLine {
  std::string title;
  std::string image;   // a picture's file, "" for none
  std::string action;  // name of the operation, "" for none
  std::int32_t tag;
  bool enabled;
  bool separator;
};

// The extension in Finder's process for it: the core on what the platform has. No exception leaves
// an operation.
//
// Threads: operations from any, but for what says otherwise. Lifetime: one per process, never
// destroyed, since Finder's threads and the extension's own may be at work to the end.
class FinderHost {
 public:
  // Makes it at the first call. Null where that failed, which is logged.
  static FinderHost* Instance() noexcept;

  // Of every object that Finder makes: the first starts the extension, and the last to go ends it
  // for good. Off the main thread it happens a moment later.
  void Start() noexcept;
  void End() noexcept;

  void BeginObserving(const std::string& directory) noexcept;
  void EndObserving(const std::string& directory) noexcept;
  void RequestBadge(const std::string& path) noexcept;
  // Empty where there is no menu; on the main thread also for items that are not known yet.
  std::vector<OfferedLine> Menu(int kind, const std::vector<std::string>& items) noexcept;
  // Performs what the line does, later, on a thread of its own.
  void Choose(std::int64_t tag) noexcept;

 private:
  explicit FinderHost(const Services& services);
  void OnMainThread(const char* where, std::function<void()> task) noexcept;

  const Services& services_;
  SystemClock clock_;
  MacRunLoop runLoop_;
  ThreadBackgroundQueue settingsQueue_{runLoop_};
  ThreadBackgroundQueue accountsQueue_{runLoop_};
  ThreadBackgroundQueue messageQueue_{runLoop_};
  ThreadBackgroundQueue actions_{runLoop_};  // copying a link may wait for a settings file
  WorkerThreadLauncher threads_{runLoop_};
  MachAgentTransport agentTransport_;
  MacFinderController finderController_;
  MacDialogs dialogs_;
  FinderSync finderSync_;
  int users_ = 0;  // main thread
  bool hasEnded_ = false;
  OfferedMenus menus_;
};

}  // namespace kelvo
