// What the list answers.

#include <functional>
#include <initializer_list>
#include <string>
#include <string_view>

#include "base/case_folding.h"
#include "projects/projects_list.h"
#include "settings/value_utilities.h"

namespace kelvo {
namespace {

// What follows the project's folder, which holds the path, and the separator.
std::string RelativePath(const std::string& path, const std::string& projectPath) {
  std::string_view rest = RestAfterPrefix(path, projectPath).value_or(std::string_view());
  if (!rest.empty() && rest.front() == '/') rest.remove_prefix(1);
  return std::string(rest);
}

void Append(ProjectsList::Projects& projects, const ProjectsList::Projects& more) {
  projects.insert(projects.end(), more.begin(), more.end());
}

template <typename Which>
const Project* First(std::initializer_list<const ProjectsList::Projects*> kinds,
                     const Which& which) {
  for (const ProjectsList::Projects* kind : kinds) {
    for (const Project& project : *kind) {
      if (which(project)) return &project;
    }
  }
  return nullptr;
}

}  // namespace

ProjectsList::Projects ProjectsList::projects() const {
  Projects all = notSubscribedProjects_;
  Append(all, subscribedSyncProjects_);
  Append(all, subscribedExternalProjects_);
  return all;
}

ProjectsList::Projects ProjectsList::subscribedProjects() const {
  Projects subscribed = subscribedSyncProjects_;
  Append(subscribed, subscribedExternalProjects_);
  return subscribed;
}

std::size_t ProjectsList::projectsCount() const {
  return notSubscribedProjects_.size() + subscribedProjectsCount();
}

std::size_t ProjectsList::subscribedProjectsCount() const {
  return subscribedSyncProjects_.size() + subscribedExternalProjects_.size();
}

const Project* ProjectsList::firstProject(const std::function<bool(const Project&)>& which) const {
  return First({&notSubscribedProjects_, &subscribedSyncProjects_, &subscribedExternalProjects_},
               which);
}

const Project* ProjectsList::firstSubscribed(
    const std::function<bool(const Project&)>& which) const {
  return First({&subscribedSyncProjects_, &subscribedExternalProjects_}, which);
}

const Project* ProjectsList::projectWithId(const std::string& id) const {
  return firstProject([&](const Project& project) { return project.id() == id; });
}

const Project* ProjectsList::projectWithPath(const std::string& path) const {
  return firstProject([&](const Project& project) { return project.path() == path; });
}

const Project* ProjectsList::projectWithName(const std::string& name) const {
  return firstProject([&](const Project& project) { return project.name() == name; });
}

const Project* ProjectsList::projectHolding(const std::string& path) const {
  return firstSubscribed([&](const Project& project) {
    const std::string folder = project.path();
    return !folder.empty() && StartsWithPath(path, folder);
  });
}

std::optional<std::string> ProjectsList::projectNameForPath(const std::string& path) const {
  const Project* project = projectHolding(path);
  return project == nullptr ? std::nullopt : std::optional(project->name());
}

std::string ProjectsList::relativePathForPath(const std::string& path) const {
  const Project* project =
      firstSubscribed([&](const Project& each) { return StartsWithPath(path, each.path()); });
  return project == nullptr ? path : RelativePath(path, project->path());
}

bool ProjectsList::splitPath(const std::string& path, std::optional<std::string>* project,
                             std::string* relativePath) const {
  const Project* holder = projectHolding(path);
  *project = holder == nullptr ? std::nullopt : std::optional(holder->name());
  *relativePath = holder == nullptr ? path : RelativePath(path, holder->path());
  return holder != nullptr;
}

}  // namespace kelvo
