// The disk copy of the subscribed projects: a property list, an array with one dictionary each.
//
// Threads: accounts worker. No file lock is taken: a reader finds the old or the new file.
#pragma once

#include <string>
#include <vector>

#include "base/property_list.h"
#include "projects/project.h"

namespace kelvo {

// Empty when there is no file; also, logged, when it cannot be read or holds something else. Rows
// that are no dictionaries are left out.
std::vector<Project> LoadProjectsFile(const std::string& path);

// Replaces the file in one step. When that fails the old one stays, and the log says so.
// `rows`: an array of the projects' dictionaries.
bool StoreProjectsFile(const std::string& path, const PropertyList& rows);

}  // namespace kelvo
