// The account's configuration, and the folders that are watched because of it.
#pragma once

#include <string>
#include <vector>

#include "tools/finder/doctor/bus_checks.h"
#include "tools/finder/doctor/check.h"

namespace kelvo::finder {

// Where the extension reads its configuration, else where it would; empty, with the reason in
// `check`, when that cannot be found out in time.
std::string ConfigurationFile(const ExtensionFacts& facts, Check* check);

// Reads the file without the Agent's lock, for it waits for nobody. Nothing of its contents is told
// but the label. `check` may hold something already.
Check CheckConfiguration(const std::string& file, const ExtensionFacts& facts, Check check);

// The folders are looked at all at once, for two seconds: one on the network may hang.
Check CheckWatchedFolders(const ExtensionFacts& facts);

// The check that ConfigurationFile and CheckConfiguration fill.
Check ConfigurationCheck();

}  // namespace kelvo::finder
