#include "hosts/gtk/display.h"

#include <gtk/gtk.h>

#include <cstdint>

#include "platform/linux/glib_ptr.h"

#if GTK_MAJOR_VERSION >= 4
#ifdef GDK_WINDOWING_X11
#include <gdk/x11/gdkx.h>
#endif
#else
#ifdef GDK_WINDOWING_X11
#include <gdk/gdkx.h>
#endif
#endif

namespace kelvo {

namespace {

std::string CompositorToken(GdkDisplay* display) {
  // GTK cannot ask without a seat, and complains.
  if (gdk_display_get_default_seat(display) == nullptr) return {};
  const GObjectPtr<GAppInfo> program(
      g_app_info_create_from_commandline("kelvo-finder-dialog", "Kelvo Finder Sync",
                                         G_APP_INFO_CREATE_SUPPORTS_STARTUP_NOTIFICATION, nullptr));
  if (!program) return {};
  const GObjectPtr<GAppLaunchContext> context(
      G_APP_LAUNCH_CONTEXT(gdk_display_get_app_launch_context(display)));
  const GLibPtr<char> token(
      g_app_launch_context_get_startup_notify_id(context.get(), program.get(), nullptr));
  return token ? std::string(token.get()) : std::string();
}

#ifdef GDK_WINDOWING_X11
// As startup notification has it, which window managers read the time of.
std::string TimeToken(GdkDisplay* display) {
  std::uint32_t time = 0;
#if GTK_MAJOR_VERSION < 4
  time = gtk_get_current_event_time();
#endif
  if (time == 0) time = gdk_x11_display_get_user_time(display);
  return time == 0 ? std::string() : "kelvo-finder-sync_TIME" + std::to_string(time);
}
#endif

}  // namespace

std::string ActivationToken() {
  GdkDisplay* const display = gdk_display_get_default();
  if (display == nullptr) return {};
#ifdef GDK_WINDOWING_X11
  if (GDK_IS_X11_DISPLAY(display)) return TimeToken(display);
#endif
  return CompositorToken(display);
}

bool SetClipboard(const std::string& text) {
  GdkDisplay* const display = gdk_display_get_default();
  if (display == nullptr) return false;
#if GTK_MAJOR_VERSION >= 4
  gdk_clipboard_set_text(gdk_display_get_clipboard(display), text.c_str());
#else
  GtkClipboard* const clipboard = gtk_clipboard_get_for_display(display, GDK_SELECTION_CLIPBOARD);
  gtk_clipboard_set_text(clipboard, text.data(), static_cast<int>(text.size()));
  gtk_clipboard_set_can_store(clipboard, nullptr, 0);
#endif
  return true;
}

}  // namespace kelvo
