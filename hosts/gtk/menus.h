// The extension's lines in the file manager's context menus.
#pragma once

#include <glib-object.h>

namespace kelvo {

// For the provider's type: the interface by which the file manager asks.
void AddMenuInterface(GTypeModule* module, GType provider);

// The file manager is to ask anew.
void RefreshMenus();

}  // namespace kelvo
