#include "platform/linux/desktop_notification.h"

#include <memory>
#include <string>

#include "base/logger.h"
#include "base/string_utils.h"
#include "platform/linux/glib_ptr.h"

namespace kelvo {
namespace {

constexpr char kName[] = "org.freedesktop.Notifications";
constexpr char kPath[] = "/org/freedesktop/Notifications";
constexpr guint32 kReplacesNone = 0;
constexpr gint32 kServicesOwnTimeout = -1;
constexpr int kCallLimit = 25'000;  // milliseconds; the service may have to be started first

// What a failed call leaves is null, and logged.
GLibPtr<GVariant> ReplyTo(GObject* bus, GAsyncResult* result) {
  GErrorSlot error;
  GLibPtr<GVariant> reply(
      g_dbus_connection_call_finish(G_DBUS_CONNECTION(bus), result, error.out()));
  if (reply == nullptr) KELVO_LOG(kLogInformation, "no desktop notification: " << error.text());
  return reply;
}

void Call(GDBusConnection* bus, const char* member, GVariant* parameters, const char* replyType,
          GAsyncReadyCallback replied, gpointer data) {
  g_dbus_connection_call(bus, kName, kPath, kName, member, parameters, G_VARIANT_TYPE(replyType),
                         G_DBUS_CALL_FLAGS_NONE, kCallLimit, nullptr, replied, data);
}

void OnSent(GObject* bus, GAsyncResult* result, gpointer /*data*/) { ReplyTo(bus, result); }

// A service that understands markup takes a body for it, and names of files are none; any other
// would show what was escaped.
void OnCapabilities(GObject* bus, GAsyncResult* result, gpointer data) {
  const std::unique_ptr<DesktopNotification> notification(static_cast<DesktopNotification*>(data));
  const GLibPtr<GVariant> reply = ReplyTo(bus, result);
  if (reply == nullptr) return;
  const GLibPtr<GVariant> capabilities(g_variant_get_child_value(reply.get(), 0));
  const GLibPtr<const char*> names(g_variant_get_strv(capabilities.get(), nullptr));
  std::string body = ToValidUtf8(notification->body);
  if (g_strv_contains(names.get(), "body-markup")) {
    body = GLibPtr<char>(g_markup_escape_text(body.c_str(), -1)).get();
  }
  Call(G_DBUS_CONNECTION(bus), "Notify",
       g_variant_new("(susssasa{sv}i)", ToValidUtf8(notification->applicationName).c_str(),
                     kReplacesNone, ToValidUtf8(notification->icon).c_str(),
                     ToValidUtf8(notification->summary).c_str(), body.c_str(), nullptr, nullptr,
                     kServicesOwnTimeout),
       "(u)", OnSent, nullptr);
}

}  // namespace

void SendDesktopNotification(GDBusConnection* bus, const DesktopNotification& notification) {
  if (bus == nullptr) return;
  Call(bus, "GetCapabilities", nullptr, "(as)", OnCapabilities,
       new DesktopNotification(notification));
}

}  // namespace kelvo
