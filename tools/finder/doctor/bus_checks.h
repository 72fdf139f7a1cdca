// The session bus and the extension on it.
#pragma once

#include <gio/gio.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/linux/glib_ptr.h"
#include "tools/finder/doctor/check.h"
#include "tools/finder/extension_client.h"

namespace kelvo::finder {

// What the extension says of itself, as far as it does.
struct ExtensionFacts {
  std::optional<ExtensionClient::Properties> properties;
  std::optional<ExtensionClient::Diagnosis> diagnosis;
};

// A call on the bus that waits no longer than the limit: the reply of the type, or null with the
// bus's own words. A floating `parameters` is taken.
struct BusCall {
  const char* destination;
  const char* path;
  const char* interface;
  const char* member;
  GVariant* parameters;
  const char* replyType;
};
GLibPtr<GVariant> CallBus(GDBusConnection* connection, const BusCall& call,
                          std::chrono::milliseconds limit, std::string* error);
// Whether some process owns the name, and whether the bus knows a program to start for it. False
// also when the bus does not say.
bool HasOwner(GDBusConnection* connection, const char* name);
bool IsActivatable(GDBusConnection* connection, const char* name);

// Connects, unless there are no threads to do so; `client` is null afterwards when there is no bus.
Check CheckSessionBus(bool threads, std::unique_ptr<ExtensionClient>* client);
// Looks for the extension, starts it as a file manager would, and asks it for the facts.
Check CheckExtension(ExtensionClient* client, ExtensionFacts* facts);

}  // namespace kelvo::finder
