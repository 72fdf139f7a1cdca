#include "hosts/client/extension_link.h"

#include <algorithm>
#include <string_view>

#include "hosts/client/quietly.h"
#include "platform/linux/session_bus_address.h"

namespace kelvo {

namespace {

constexpr char kBusName[] = "com.kelvo.FinderSync";
constexpr guint kLongestPause = 60;  // seconds
// An extension that lived that long did not die of its start.
constexpr gint64 kSoundLife = gint64{30} * G_USEC_PER_SEC;

}  // namespace

ExtensionLink::ExtensionLink(Owner& owner) : owner_(owner), cancel_(g_cancellable_new()) {}

ExtensionLink::~ExtensionLink() {
  g_cancellable_cancel(cancel_.get());
  if (pauseTimer_ != 0) g_source_remove(pauseTimer_);
  Drop();
}

void ExtensionLink::Want() {
  if (pauseTimer_ != 0) return;
  if (state_ == State::kNoBus) Connect();
  if (state_ == State::kAbsent) Start();
}

void ExtensionLink::Connect() {
  const std::string address = SessionBusAddress();
  if (address.empty()) {
    Pause();
    return;
  }
  state_ = State::kConnecting;
  g_dbus_connection_new_for_address(
      address.c_str(),
      static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                        G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
      nullptr, cancel_.get(), OnConnected, this);
}

void ExtensionLink::OnConnected(GObject*, GAsyncResult* result, gpointer self) {
  GErrorSlot error;
  GObjectPtr<GDBusConnection> connection(
      g_dbus_connection_new_for_address_finish(result, error.out()));
  if (g_error_matches(error.get(), G_IO_ERROR, G_IO_ERROR_CANCELLED)) return;
  Quietly([&] { static_cast<ExtensionLink*>(self)->Adopt(connection.release()); });
}

void ExtensionLink::Adopt(GDBusConnection* connection) {
  connection_.reset(connection);
  if (connection == nullptr || g_dbus_connection_is_closed(connection)) {
    Drop();
    Pause();
    return;
  }
  state_ = State::kAsking;
  closedHandler_ = g_signal_connect(connection, "closed", G_CALLBACK(OnClosed), this);
  watch_ = g_bus_watch_name_on_connection(connection, kBusName, G_BUS_NAME_WATCHER_FLAGS_NONE,
                                          OnAppeared, OnVanished, this, nullptr);
}

void ExtensionLink::Drop() {
  if (watch_ != 0) g_bus_unwatch_name(watch_);
  watch_ = 0;
  if (closedHandler_ != 0) g_signal_handler_disconnect(connection_.get(), closedHandler_);
  closedHandler_ = 0;
  connection_.reset();
  state_ = State::kNoBus;
}

void ExtensionLink::OnClosed(GDBusConnection*, gboolean, GError*, gpointer self) {
  Quietly([&] {
    auto* link = static_cast<ExtensionLink*>(self);
    link->SetPresent(false);
    link->Drop();
    link->Pause();
  });
}

void ExtensionLink::OnAppeared(GDBusConnection* connection, const char*, const char* owner,
                               gpointer self) {
  Quietly([&] {
    auto* link = static_cast<ExtensionLink*>(self);
    link->SetPresent(true);
    link->owner_.ExtensionUp(connection, owner);
  });
}

void ExtensionLink::OnVanished(GDBusConnection* connection, const char*, gpointer self) {
  if (connection == nullptr) return;  // OnClosed sees to it
  Quietly([&] {
    auto* link = static_cast<ExtensionLink*>(self);
    const bool died = link->state_ == State::kPresent;
    link->SetPresent(false);
    link->state_ = State::kAbsent;
    if (died) {
      link->Pause();
    } else if (link->owner_.ExtensionWanted()) {
      link->Want();
    }
  });
}

void ExtensionLink::SetPresent(bool present) {
  if (present) {
    state_ = State::kPresent;
    presentSince_ = g_get_monotonic_time();
    if (pauseTimer_ != 0) g_source_remove(pauseTimer_);
    pauseTimer_ = 0;
  } else if (state_ == State::kPresent) {
    if (g_get_monotonic_time() - presentSince_ > kSoundLife) pauseSeconds_ = 0;
    owner_.ExtensionDown();
  }
}

void ExtensionLink::Start() {
  state_ = State::kStarting;
  g_dbus_connection_call(connection_.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus",
                         "org.freedesktop.DBus", "StartServiceByName",
                         g_variant_new("(su)", kBusName, 0U), G_VARIANT_TYPE("(u)"),
                         G_DBUS_CALL_FLAGS_NONE, -1, cancel_.get(), OnStarted, this);
}

void ExtensionLink::OnStarted(GObject* source, GAsyncResult* result, gpointer self) {
  GErrorSlot error;
  const GLibPtr<GVariant> reply(
      g_dbus_connection_call_finish(G_DBUS_CONNECTION(source), result, error.out()));
  if (g_error_matches(error.get(), G_IO_ERROR, G_IO_ERROR_CANCELLED)) return;
  Quietly([&] {
    auto* link = static_cast<ExtensionLink*>(self);
    if (link->state_ != State::kStarting) return;  // it is there already, or the bus has gone
    link->state_ = State::kAbsent;
    const bool notInstalled =
        g_error_matches(error.get(), G_DBUS_ERROR, G_DBUS_ERROR_SERVICE_UNKNOWN);
    if (notInstalled) link->pauseSeconds_ = kLongestPause;
    // Also after a success: the name may be lost again before anybody saw its owner.
    link->Pause();
  });
}

void ExtensionLink::Pause() {
  if (pauseTimer_ != 0) return;
  pauseSeconds_ = std::clamp(2 * pauseSeconds_, 1U, kLongestPause);
  pauseTimer_ = g_timeout_add_seconds(pauseSeconds_, OnPauseOver, this);
}

gboolean ExtensionLink::OnPauseOver(gpointer self) {
  Quietly([&] {
    auto* link = static_cast<ExtensionLink*>(self);
    link->pauseTimer_ = 0;
    if (link->owner_.ExtensionWanted()) link->Want();
  });
  return G_SOURCE_REMOVE;
}

}  // namespace kelvo
