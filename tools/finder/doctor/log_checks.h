// What the extension's log tells of failures.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/finder/doctor/bus_checks.h"
#include "tools/finder/doctor/check.h"

namespace kelvo::finder {

// Without anything found.
Check LogCheck();

// The last errors that the system's journal has of the extension, each with its time. Empty also
// when there is no journal, or it does not answer in time.
std::vector<std::string> JournalErrors();

// The extension's path, else where the log always lies; empty when HOME is not set.
std::string LogFile(const ExtensionFacts& facts);

// The file's lines have neither time nor level: of `journal` they are told exactly, of the file
// the last lines that read like failures. `now`: seconds since 1970.
Check CheckLog(const std::vector<std::string>& journal, const std::string& file, std::int64_t now);

}  // namespace kelvo::finder
