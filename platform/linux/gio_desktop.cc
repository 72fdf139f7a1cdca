#include "platform/linux/gio_desktop.h"

#include "base/logger.h"
#include "base/string_utils.h"
#include "platform/linux/glib_ptr.h"

namespace kelvo {
namespace {

constexpr char kTokenData[] = "kelvo-activation-token";
constexpr const char* kTokenVariables[] = {"XDG_ACTIVATION_TOKEN", "DESKTOP_STARTUP_ID"};

// GIO tells the bus what it starts. The bus's end is the front end's affair; GLib would end the
// process with a signal.
void OutliveSessionBus() {
  const GObjectPtr<GDBusConnection> bus(g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr));
  if (bus != nullptr) g_dbus_connection_set_exit_on_close(bus.get(), FALSE);
}

char* TokenOf(GAppLaunchContext* context, GAppInfo* /*info*/, GList* /*files*/) {
  return g_strdup(static_cast<const char*>(g_object_get_data(G_OBJECT(context), kTokenData)));
}

void InitializeClass(gpointer launchContextClass, gpointer /*data*/) {
  G_APP_LAUNCH_CONTEXT_CLASS(launchContextClass)->get_startup_notify_id = TokenOf;
}

// What GIO sends a program that is started over the bus is what a launch context answers, and that
// is nothing unless a subclass says it.
GType LaunchContextType() {
  static const GType type = g_type_register_static_simple(
      G_TYPE_APP_LAUNCH_CONTEXT, "KelvoLaunchContext", sizeof(GAppLaunchContextClass),
      InitializeClass, sizeof(GAppLaunchContext), nullptr, static_cast<GTypeFlags>(0));
  return type;
}

GObjectPtr<GAppLaunchContext> NewLaunchContext(const std::string& activationToken) {
  GObjectPtr<GAppLaunchContext> context(
      G_APP_LAUNCH_CONTEXT(g_object_new(LaunchContextType(), nullptr)));
  if (activationToken.empty()) {
    // The extension may itself have been started with a token, which is not the browser's to use.
    for (const char* const name : kTokenVariables) {
      g_app_launch_context_unsetenv(context.get(), name);
    }
    return context;
  }
  g_object_set_data_full(G_OBJECT(context.get()), kTokenData, g_strdup(activationToken.c_str()),
                         g_free);
  // Of itself GIO sets at most one of them, and only for programs that notify of their start.
  for (const char* const name : kTokenVariables) {
    g_app_launch_context_setenv(context.get(), name, activationToken.c_str());
  }
  return context;
}

}  // namespace

bool GioDesktop::openURL(const std::string& url, const std::string& activationToken) {
  OutliveSessionBus();
  const GObjectPtr<GAppLaunchContext> context = NewLaunchContext(activationToken);
  GErrorSlot error;
  if (g_app_info_launch_default_for_uri(url.c_str(), context.get(), error.out())) return true;
  // Without its query, which may sign in whoever reads it.
  const std::string address = ToValidUtf8(url.substr(0, url.find('?')));
  KELVO_LOG(kLogError, "Cannot open " << EscapeControlCharacters(address) << ": "
                                      << EscapeControlCharacters(ToValidUtf8(error.text())));
  return false;
}

}  // namespace kelvo
