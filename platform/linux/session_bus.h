#pragma once

#include <gio/gio.h>

#include <chrono>
#include <string>

#include "platform/linux/glib_ptr.h"

namespace kelvo {

// A connection of the caller's own to the user's session bus; null, with the reason in `error`,
// when there is none, it refuses, the system makes no thread, or the bus takes the connection and
// is silent for the time of `patience`. Starts no bus. The connection's news come on the caller's
// main context; its end does not end the process. Any thread.
GObjectPtr<GDBusConnection> OpenSessionBus(
    std::string* error, std::chrono::milliseconds patience = std::chrono::seconds{5});

}  // namespace kelvo
