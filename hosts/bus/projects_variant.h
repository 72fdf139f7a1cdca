#pragma once

#include <gio/gio.h>

#include "projects/projects_list.h"

namespace kelvo {

// The answer of ListProjects: one dictionary per project, in the order of the list, and the totals.
// A floating reference. Main loop.
GVariant* ProjectsToVariant(const ProjectsList& projects);

}  // namespace kelvo
