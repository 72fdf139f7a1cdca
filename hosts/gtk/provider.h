#pragma once

#include <glib-object.h>

namespace kelvo {

class FinderClient;

// The process's one client, made on first use.
FinderClient& HostClient();

// The type that gives a file manager's files their badges, columns and menus; registered once per
// process. Every call of the file manager comes on its main thread.
GType RegisterProvider(GTypeModule* module);

// Makes icons of an unusual installation prefix known to the process; nothing without a display.
void AddIconSearchPath();

}  // namespace kelvo
