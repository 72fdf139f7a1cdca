// What the doctor has found, for a person and for a program.
#pragma once

#include <string>
#include <vector>

#include "tools/finder/doctor/check.h"

namespace kelvo::finder {

// Lines with a mark each, what was found, what to do, and a verdict at the end.
std::string TextReport(const std::vector<Check>& checks, bool colours);

// One JSON object on one line: "version", "ok", and "checks", each with "id", "title", "state",
// "found" and "advice".
std::string JsonReport(const std::vector<Check>& checks);

}  // namespace kelvo::finder
