#pragma once

#include <memory>
#include <string>
#include <vector>

#include "core/finder_sync.h"
#include "hosts/bus/badge_table.h"
#include "hosts/bus/bus_connection.h"
#include "hosts/bus/bus_finder_controller.h"
#include "hosts/bus/bus_service.h"
#include "hosts/bus/description_news.h"
#include "hosts/bus/finder_calls.h"
#include "hosts/bus/paced_signal.h"
#include "platform/linux/gio_desktop.h"
#include "platform/linux/glib_run_loop.h"
#include "platform/linux/helper_dialogs.h"
#include "platform/linux/helper_pasteboard.h"
#include "platform/linux/secret_service_store.h"
#include "platform/linux/soup_http_client.h"
#include "platform/linux/syslog_system_log.h"
#include "platform/linux/unix_agent_transport.h"
#include "platform/platform.h"
#include "platform/posix/system_clock.h"
#include "platform/posix/thread_background_queue.h"
#include "platform/posix/worker_thread_launcher.h"
#include "settings/plist_user_defaults.h"

namespace kelvo {

// The process: everything that the extension stands on, put together, and its end.
//
// Threads: the main thread's. Lifetime: one per process.
class Application : private FinderSync::Observer {
 public:
  explicit Application(std::unique_ptr<BusConnection> connection);

  // Serves the bus until a signal asks for the end or the bus is gone. Answers the exit code; does
  // not return when something is still at work that cannot be waited for.
  int Run();

 private:
  void onAgentConnected(bool connected) override;
  void onMenusChanged() override;
  void onItemsChanged(const std::string& path, const CSyncStatusListResponse* list) override;
  void onPublicLinksChanged() override;
  void onFoldersSwept(const std::vector<std::string>& folders) override;

  bool Serve();
  void QuitOnSignals();

  SystemClock clock_;
  SyslogSystemLog systemLog_;
  GlibRunLoop runLoop_{nullptr};
  ThreadBackgroundQueue settingsQueue_{runLoop_};
  ThreadBackgroundQueue accountsQueue_{runLoop_};
  ThreadBackgroundQueue messageQueue_{runLoop_};
  const std::unique_ptr<BusConnection> connection_;
  BusService service_;
  BadgeTable badges_;
  DescriptionNews descriptions_;
  BusFinderController finderController_;
  UnixAgentTransport agentTransport_;
  SecretServiceStore secretStore_;
  PlistUserDefaults userDefaults_;
  WorkerThreadLauncher threads_{runLoop_};
  SoupHttpClient httpClient_;
  GioDesktop desktop_;
  const std::shared_ptr<const Bundle> bundle_;
  HelperDialogs dialogs_;
  HelperPasteboard pasteboard_;
  PacedSignal menusChanged_;
  FinderSync finderSync_;
  FinderCalls calls_;
};

// The program kelvo-finder-sync; answers its exit code.
int RunApplication(int argc, char** argv);

}  // namespace kelvo
