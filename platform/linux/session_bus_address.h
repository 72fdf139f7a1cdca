#pragma once

#include <string>

namespace kelvo {

// The address of the user's session bus, from DBUS_SESSION_BUS_ADDRESS, else the socket "bus" in
// $XDG_RUNTIME_DIR; empty when there is none. Never one that would start a bus or a program. Any
// thread.
std::string SessionBusAddress();

}  // namespace kelvo
