// Whether file managers find a picture for each badge.
#pragma once

#include <string>
#include <vector>

#include "tools/finder/doctor/bus_checks.h"
#include "tools/finder/doctor/check.h"
#include "tools/finder/doctor/icon_search.h"

namespace kelvo::finder {

// Without anything found.
Check IconsCheck();
// `hasSvgLoader`: SVG files can be drawn.
Check CheckIcons(const ExtensionFacts& facts, const IconSearch& search, bool hasSvgLoader);

// Whether gdk-pixbuf, by which GTK loads pictures, has a loader for SVG files.
bool HasSvgLoader();

}  // namespace kelvo::finder
