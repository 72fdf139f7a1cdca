#include "platform/linux/session_bus.h"

#include <condition_variable>
#include <exception>
#include <mutex>
#include <thread>

#include "platform/linux/session_bus_address.h"

namespace kelvo {
namespace {

// Ends an attempt to connect that takes too long. A thread, since whoever opens the bus runs no
// loop.
class Deadline {
 public:
  explicit Deadline(std::chrono::milliseconds time) {
    try {
      thread_ = std::thread([this, time] { Wait(time); });
    } catch (const std::exception& refused) {
      failure_ = refused.what();
    }
  }
  ~Deadline() { (void)Met(); }
  Deadline(const Deadline&) = delete;
  Deadline& operator=(const Deadline&) = delete;

  // Why there is no thread for it; empty when there is one.
  const std::string& failure() const { return failure_; }
  GCancellable* cancellable() const { return cancellable_.get(); }
  // Whether the time has not passed; it does not pass any more.
  bool Met() {
    {
      std::lock_guard lock(mutex_);
      over_ = true;
    }
    changed_.notify_one();
    if (thread_.joinable()) thread_.join();
    return g_cancellable_is_cancelled(cancellable()) == FALSE;
  }

 private:
  void Wait(std::chrono::milliseconds time) {
    std::unique_lock lock(mutex_);
    if (changed_.wait_for(lock, time, [this] { return over_; })) return;
    g_cancellable_cancel(cancellable());
  }

  const GObjectPtr<GCancellable> cancellable_{g_cancellable_new()};
  std::string failure_;
  std::mutex mutex_;
  std::condition_variable changed_;
  bool over_ = false;
  std::thread thread_;  // last: it uses all the others
};

void ShutDown(GCancellable* /*cancellable*/, gpointer stream) {
  if (!G_IS_SOCKET_CONNECTION(stream)) return;
  GSocket* socket = g_socket_connection_get_socket(G_SOCKET_CONNECTION(stream));
  g_socket_shutdown(socket, TRUE, TRUE, nullptr);
}

GObjectPtr<GDBusConnection> Connect(const std::string& address, GCancellable* cancellable,
                                    GError** error) {
  GIOStream* stream = g_dbus_address_get_stream_sync(address.c_str(), nullptr, cancellable, error);
  if (stream == nullptr) return nullptr;
  // GLib's first call on the connection cannot be cancelled and waits for 25 seconds.
  g_cancellable_connect(cancellable, G_CALLBACK(ShutDown), stream, g_object_unref);
  return GObjectPtr<GDBusConnection>(g_dbus_connection_new_sync(
      stream, nullptr,
      static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                        G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
      nullptr, cancellable, error));
}

}  // namespace

GObjectPtr<GDBusConnection> OpenSessionBus(std::string* error, std::chrono::milliseconds patience) {
  const std::string address = SessionBusAddress();
  if (address.empty()) {
    *error = "there is no session bus";
    return nullptr;
  }
  Deadline deadline(patience);
  if (!deadline.failure().empty()) {
    *error = "no connection to the session bus: no thread to watch over it: " + deadline.failure();
    return nullptr;
  }
  GErrorSlot failure;
  GObjectPtr<GDBusConnection> connection = Connect(address, deadline.cancellable(), failure.out());
  const bool inTime = deadline.Met();
  if (connection == nullptr || !inTime) {
    *error = std::string("no connection to the session bus: ") +
             (inTime ? failure.text() : "it does not answer");
    return nullptr;
  }
  g_dbus_connection_set_exit_on_close(connection.get(), FALSE);
  return connection;
}

}  // namespace kelvo
