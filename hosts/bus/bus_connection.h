#pragma once

#include <gio/gio.h>

#include <functional>
#include <memory>
#include <string>

#include "platform/linux/glib_ptr.h"

namespace kelvo {

// The extension's own connection to the session bus.
//
// Threads: the main loop's, except get, whose object any thread may use.
class BusConnection {
 public:
  // As OpenSessionBus.
  static std::unique_ptr<BusConnection> Open(std::string* error);
  ~BusConnection();
  BusConnection(const BusConnection&) = delete;
  BusConnection& operator=(const BusConnection&) = delete;

  // `lost` is called on the main loop when the connection has closed or the name has gone.
  void OnLost(std::function<void()> lost) { lost_ = std::move(lost); }
  // Becomes the name's owner, without queueing; false, with the reason, when another one is.
  [[nodiscard]] bool OwnName(const char* name, std::string* error);

  GDBusConnection* get() const { return connection_.get(); }

 private:
  explicit BusConnection(GObjectPtr<GDBusConnection> connection);
  static void OnClosed(GDBusConnection*, gboolean, GError*, gpointer self);
  static void OnNameLost(GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar*,
                         GVariant*, gpointer self);

  const GObjectPtr<GDBusConnection> connection_;
  gulong closedHandler_ = 0;
  guint nameLost_ = 0;
  std::function<void()> lost_;
};

}  // namespace kelvo
