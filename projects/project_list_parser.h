// The Agent's list of projects, an XML text, as records. Stateless: any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "projects/project.h"

namespace kelvo {

// Sums that do not go beyond the range of their type.
struct ProjectTotals {
  std::int64_t bytes = 0;
  std::int64_t files = 0;

  void Add(std::int64_t moreBytes, std::int64_t moreFiles);
  bool operator==(const ProjectTotals&) const = default;
};

// What one list holds, each kind in the list's order.
struct ProjectList {
  std::vector<Project> synced;
  std::vector<Project> external;
  std::vector<Project> notSubscribed;
  // nullopt when the list has no project of the kind.
  std::optional<ProjectTotals> subscribedTotals;
  std::optional<ProjectTotals> notSubscribedTotals;
};

// `me`: the names of the signed-in user, shown as "Me" where they own a project. nullopt, logged,
// when the text is no XML.
std::optional<ProjectList> ParseProjectList(std::string_view text, const std::set<std::string>& me);

// By name without regard to case; equal names keep their order.
void SortProjects(std::vector<Project>& projects);

}  // namespace kelvo
