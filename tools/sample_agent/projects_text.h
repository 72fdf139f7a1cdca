#pragma once

#include <string>
#include <vector>

#include "base/property_list.h"

namespace kelvo::sample_agent {

// The "project-list" of a projects answer: an XML text with one "project" element per project, and
// in it one element per key. Keys are element names; ReadScenario sees to that.
std::string WriteProjectList(const std::vector<PropertyList::Dictionary>& projects);

}  // namespace kelvo::sample_agent
