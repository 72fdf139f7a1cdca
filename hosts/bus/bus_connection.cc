#include "hosts/bus/bus_connection.h"

#include <utility>

#include "platform/linux/session_bus.h"

namespace kelvo {
namespace {

constexpr char kDaemonName[] = "org.freedesktop.DBus";
constexpr char kDaemonPath[] = "/org/freedesktop/DBus";

}  // namespace

std::unique_ptr<BusConnection> BusConnection::Open(std::string* error) {
  GObjectPtr<GDBusConnection> connection = OpenSessionBus(error);
  if (connection == nullptr) return nullptr;
  return std::unique_ptr<BusConnection>(new BusConnection(std::move(connection)));
}

BusConnection::BusConnection(GObjectPtr<GDBusConnection> connection)
    : connection_(std::move(connection)) {
  closedHandler_ = g_signal_connect(get(), "closed", G_CALLBACK(OnClosed), this);
}

BusConnection::~BusConnection() {
  g_signal_handler_disconnect(get(), closedHandler_);
  if (nameLost_ != 0) g_dbus_connection_signal_unsubscribe(get(), nameLost_);
}

void BusConnection::OnClosed(GDBusConnection*, gboolean, GError*, gpointer self) {
  auto* connection = static_cast<BusConnection*>(self);
  if (connection->lost_) connection->lost_();
}

void BusConnection::OnNameLost(GDBusConnection*, const gchar*, const gchar*, const gchar*,
                               const gchar*, GVariant*, gpointer self) {
  auto* connection = static_cast<BusConnection*>(self);
  if (connection->lost_) connection->lost_();
}

bool BusConnection::OwnName(const char* name, std::string* error) {
  constexpr guint32 kDoNotQueue = 4;
  constexpr guint32 kPrimaryOwner = 1;
  GErrorSlot failure;
  const GLibPtr<GVariant> answer(
      g_dbus_connection_call_sync(get(), kDaemonName, kDaemonPath, kDaemonName, "RequestName",
                                  g_variant_new("(su)", name, kDoNotQueue), G_VARIANT_TYPE("(u)"),
                                  G_DBUS_CALL_FLAGS_NONE, -1, nullptr, failure.out()));
  if (!answer) {
    *error = std::string("cannot ask for the bus name ") + name + ": " + failure.text();
    return false;
  }
  guint32 result = 0;
  g_variant_get(answer.get(), "(u)", &result);
  if (result != kPrimaryOwner) {
    *error = std::string("another process owns the bus name ") + name;
    return false;
  }
  nameLost_ = g_dbus_connection_signal_subscribe(
      get(), kDaemonName, kDaemonName, "NameLost", kDaemonPath, name,
      G_DBUS_SIGNAL_FLAGS_NO_MATCH_RULE, OnNameLost, this, nullptr);
  return true;
}

}  // namespace kelvo
