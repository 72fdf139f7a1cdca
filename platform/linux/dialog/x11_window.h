#pragma once

#include <gtk/gtk.h>

namespace kelvo::dialog {

// Tells an X11 window manager that a realized window is a dialog, which it then places in the
// middle of the screen. GTK says so only of windows above another one of theirs. Does nothing on
// other displays, where a program has no say in where its windows come.
void MakeDialogOfWindowManager(GtkWindow* window);

}  // namespace kelvo::dialog
