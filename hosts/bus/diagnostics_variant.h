#pragma once

#include <gio/gio.h>

namespace kelvo {

struct Diagnostics;

// What Diagnose answers; floating.
GVariant* DiagnosticsToVariant(const Diagnostics& facts);

}  // namespace kelvo
