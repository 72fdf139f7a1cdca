#pragma once

#include <gio/gio.h>

#include <cstdint>
#include <string>

#include "ui/menu.h"

namespace kelvo {

// The answer of MenuForItems. A floating reference.
GVariant* MenuToVariant(std::uint32_t serial, const Menu& menu);

// The text under "activation-token" in a choice's platform data; empty when there is none, or
// something else.
std::string ActivationTokenIn(GVariant* platformData);

}  // namespace kelvo
