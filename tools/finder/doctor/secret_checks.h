// The secret service, which keeps the account's key.
#pragma once

#include "tools/finder/doctor/check.h"
#include "tools/finder/extension_client.h"

namespace kelvo::finder {

// Asks only what needs no password; the desktop shows no question because of it. `client` may be
// null.
Check CheckSecretService(ExtensionClient* client);

}  // namespace kelvo::finder
