#include "hosts/gtk/provider.h"

#ifdef KELVO_ICON_SEARCH_PATH
#include <gtk/gtk.h>
#endif

namespace kelvo {

void AddIconSearchPath() {
#ifdef KELVO_ICON_SEARCH_PATH
#if GTK_MAJOR_VERSION >= 4
  if (GdkDisplay* display = gdk_display_get_default()) {
    gtk_icon_theme_add_search_path(gtk_icon_theme_get_for_display(display), KELVO_ICON_SEARCH_PATH);
  }
#else
  if (GdkScreen* screen = gdk_screen_get_default()) {
    gtk_icon_theme_append_search_path(gtk_icon_theme_get_for_screen(screen),
                                      KELVO_ICON_SEARCH_PATH);
  }
#endif
#endif
}

}  // namespace kelvo
