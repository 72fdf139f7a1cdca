#include "platform/linux/gio_desktop.h"

#include "base/logger.h"
#include "base/string_utils.h"
#include "platform/linux/glib_ptr.h"

namespace kelvo {
namespace {

// GIO tells the bus what it starts. The bus's end is the front end's affair; GLib would end the
// process with a signal.
void OutliveSessionBus() {
  const GObjectPtr<GDBusConnection> bus(g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr));
  if (bus != nullptr) g_dbus_connection_set_exit_on_close(bus.get(), FALSE);
}

}  // namespace

bool GioDesktop::openURL(const std::string& url, const std::string& activationToken) {
  OutliveSessionBus();
  const GObjectPtr<GAppLaunchContext> context(g_app_launch_context_new());
  if (!activationToken.empty()) {
    for (const char* const name : {"XDG_ACTIVATION_TOKEN", "DESKTOP_STARTUP_ID"}) {
      g_app_launch_context_setenv(context.get(), name, activationToken.c_str());
    }
  }
  GErrorSlot error;
  if (g_app_info_launch_default_for_uri(url.c_str(), context.get(), error.out())) return true;
  // Without its query, which may sign in whoever reads it.
  const std::string address = ToValidUtf8(url.substr(0, url.find('?')));
  KELVO_LOG(kLogError, "Cannot open " << EscapeControlCharacters(address) << ": "
                                      << EscapeControlCharacters(ToValidUtf8(error.text())));
  return false;
}

}  // namespace kelvo
