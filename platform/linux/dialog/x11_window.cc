#include "platform/linux/dialog/x11_window.h"

#ifdef KELVO_DIALOG_X11
#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <gdk/x11/gdkx.h>
#endif

namespace kelvo::dialog {

void MakeDialogOfWindowManager(GtkWindow* window) {
#ifdef KELVO_DIALOG_X11
  GdkSurface* surface = gtk_native_get_surface(GTK_NATIVE(window));
  if (!GDK_IS_X11_SURFACE(surface)) return;
  GdkDisplay* display = gdk_surface_get_display(surface);
  const Atom property = gdk_x11_get_xatom_by_name_for_display(display, "_NET_WM_WINDOW_TYPE");
  const Atom type = gdk_x11_get_xatom_by_name_for_display(display, "_NET_WM_WINDOW_TYPE_DIALOG");
  XChangeProperty(gdk_x11_display_get_xdisplay(display), gdk_x11_surface_get_xid(surface), property,
                  XA_ATOM, 32, PropModeReplace, reinterpret_cast<const unsigned char*>(&type), 1);
#else
  (void)window;
#endif
}

}  // namespace kelvo::dialog
