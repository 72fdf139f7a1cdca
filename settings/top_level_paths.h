// The list of folders selected for storage: rows [path, whether it is included]. Rows with fewer
// than two elements, or without a text as their path, count for nothing. Stateless: any thread.
//
// A path is inside another when it begins with it (case matters) and equals it, goes on with "/",
// or the other is "/". It is on a volume when it is inside "/Volumes".
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "base/property_list.h"

namespace kelvo {

// The included folders that are inside no other included one, in order; one that is listed again
// takes its last place. "/" does not cover what is on a volume.
std::vector<std::string> TopLevelPaths(const PropertyList::Array& selection);

// Removes the rows, included or not, whose path is inside `path`; for "/" every row but those on a
// volume.
void RemoveTopLevelPath(PropertyList::Array& selection, std::string_view path);

}  // namespace kelvo
