#include "hosts/gtk/display.h"

#include <gtk/gtk.h>

#include <cstdint>

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

std::string ActivationToken() {
  std::uint32_t time = 0;
#ifdef GDK_WINDOWING_X11
  GdkDisplay* const display = gdk_display_get_default();
  if (display == nullptr || !GDK_IS_X11_DISPLAY(display)) return {};
#if GTK_MAJOR_VERSION < 4
  time = gtk_get_current_event_time();
#endif
  if (time == 0) time = gdk_x11_display_get_user_time(display);
#endif
  // As startup notification has it, which window managers read the time of.
  return time == 0 ? std::string() : "kelvo-finder-sync_TIME" + std::to_string(time);
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
