// The way to the Agent: the runtime folder, the socket in it, and the connection.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>

#include "tools/finder/doctor/bus_checks.h"
#include "tools/finder/doctor/check.h"

namespace kelvo::finder {

Check CheckRuntimeFolder(const std::string& folder, uid_t user);

// What this terminal sees of the socket; the extension's own path goes before `runtimeFolder`'s.
// The socket is connected to, for a moment, only while the extension is not: each connection is a
// new one to the Agent.
Check CheckAgentSocket(const std::string& runtimeFolder, uid_t user, const ExtensionFacts& facts);

// `now`: seconds since 1970.
Check CheckAgentConnection(const ExtensionFacts& facts, std::int64_t now);

}  // namespace kelvo::finder
