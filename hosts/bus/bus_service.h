#pragma once

#include <gio/gio.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "base/mutex.h"
#include "hosts/bus/bus_calls.h"
#include "hosts/bus/call_lanes.h"
#include "platform/linux/glib_ptr.h"
#include "platform/linux/glib_run_loop.h"

namespace kelvo {

// The extension's object on the session bus: takes the calls apart, checks them, hands them to
// worker threads, and tells the clients what has changed.
//
// A thread with a main context of its own serves it, so that a busy main loop holds no call.
// Threads: Start and Stop on one thread; all else any. Lifetime: the connection outlives it; after
// a Stop that answered false it must not be destroyed.
class BusService {
 public:
  // What a client may have waiting, in bytes of arguments, of which each call counts for 4,096
  // more. That is 60,000 small calls, more than a client that reads its answers ever comes to. A
  // call that is alone may be larger.
  static constexpr std::size_t kMostWaiting = std::size_t{256} << 20;

  explicit BusService(GDBusConnection* connection, std::size_t mostWaiting = kMostWaiting);
  ~BusService();
  BusService(const BusService&) = delete;
  BusService& operator=(const BusService&) = delete;

  // Exports the object; once. False, with the reason in `error`, when the bus refuses or the system
  // makes no thread.
  [[nodiscard]] bool Start(BusCalls& calls, std::string* error);
  // Takes the object off the bus and waits at most `limit` for the calls under way. False when one
  // is still at work.
  [[nodiscard]] bool Stop(std::chrono::milliseconds limit);

  void SetDirectoryURLs(std::vector<std::string> paths);
  void SetAgentConnected(bool connected);
  void EmitBadgesChanged(const std::string& folder, const std::string& entries);
  void EmitDescriptionsChanged(const std::string& folder, const std::string& names);
  void EmitMenusChanged();

 private:
  // A call weighs what it holds in memory, until nothing of it is left to do.
  using Weight = std::shared_ptr<std::atomic<std::size_t>>;
  struct InvocationRelease {
    void operator()(GDBusMethodInvocation* invocation) const {
      g_object_unref(invocation);
      *waiting -= weight;
    }
    Weight waiting;  // of all of a client's calls
    std::size_t weight;
  };
  using Invocation = std::shared_ptr<GDBusMethodInvocation>;
  struct NamesOfFolder;
  using Handler = void (BusService::*)(const Invocation& invocation, const std::string& client);
  struct Method {
    const char* name;
    Handler handler;
    bool atOnce;  // on the service's thread, before the client's earlier calls are done
  };
  static const Method kMethods[];
  struct MenuCall;
  struct Client {
    guint watch = 0;
    std::weak_ptr<MenuCall> menuCall;  // the last
    Weight waiting = std::make_shared<std::atomic<std::size_t>>(0);
  };

  // The service's thread.
  void Serve();
  static void OnMethodCall(GDBusConnection*, const gchar* sender, const gchar*, const gchar*,
                           const gchar* method, GVariant*, GDBusMethodInvocation* invocation,
                           gpointer self);
  static GVariant* OnGetProperty(GDBusConnection*, const gchar*, const gchar*, const gchar*,
                                 const gchar* name, GError** error, gpointer self);
  static void OnClientVanished(GDBusConnection*, const gchar* client, gpointer self);
  Client& WatchClient(const std::string& client);
  void MenuForItems(const Invocation& invocation, const std::string& client);
  void Diagnose(const Invocation& invocation, const std::string& client);
  static void Supersede(const std::weak_ptr<MenuCall>& older);

  // Worker threads.
  void BeginObservingDirectory(const Invocation& invocation, const std::string& client);
  void EndObservingDirectory(const Invocation& invocation, const std::string& client);
  void RequestBadges(const Invocation& invocation, const std::string& client);
  void DescribeItems(const Invocation& invocation, const std::string& client);
  void BuildMenu(MenuCall& call, const std::string& client);
  void ChooseMenuItem(const Invocation& invocation, const std::string& client);
  void ListProjects(const Invocation& invocation, const std::string& client);

  void EmitPropertyChanged(const char* name, GVariant* value);
  void Emit(const char* interface, const char* signal, GVariant* parameters);

  GDBusConnection* const connection_;
  const std::size_t mostWaiting_;
  BusCalls* calls_ = nullptr;  // constant after Start
  const GLibPtr<GMainContext> context_{g_main_context_new()};
  GlibRunLoop loop_{context_.get()};
  std::thread thread_;
  guint registration_ = 0;
  std::map<std::string, Client> clients_;  // the service's thread: by unique name
  CallLanes lanes_{loop_};

  CMutex mutex_{
      kMutexNormal};  // held while a change is signalled, so that changes keep their order
  std::vector<std::string> directoryURLs_ KELVO_GUARDED_BY(mutex_);
  bool agentConnected_ KELVO_GUARDED_BY(mutex_) = false;
};

}  // namespace kelvo
