#include "platform/linux/desktop_notification.h"

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

void OnSent(GObject* bus, GAsyncResult* result, gpointer /*data*/) {
  GErrorSlot error;
  const GLibPtr<GVariant> reply(
      g_dbus_connection_call_finish(G_DBUS_CONNECTION(bus), result, error.out()));
  if (reply == nullptr) KELVO_LOG(kLogInformation, "no desktop notification: " << error.text());
}

}  // namespace

void SendDesktopNotification(GDBusConnection* bus, const DesktopNotification& notification) {
  if (bus == nullptr) return;
  // A service may take a body as markup, and names of files are none.
  const GLibPtr<char> body(g_markup_escape_text(ToValidUtf8(notification.body).c_str(), -1));
  g_dbus_connection_call(
      bus, kName, kPath, kName, "Notify",
      g_variant_new("(susssasa{sv}i)", ToValidUtf8(notification.applicationName).c_str(),
                    kReplacesNone, ToValidUtf8(notification.icon).c_str(),
                    ToValidUtf8(notification.summary).c_str(), body.get(), nullptr, nullptr,
                    kServicesOwnTimeout),
      G_VARIANT_TYPE("(u)"), G_DBUS_CALL_FLAGS_NONE, kCallLimit, nullptr, OnSent, nullptr);
}

}  // namespace kelvo
