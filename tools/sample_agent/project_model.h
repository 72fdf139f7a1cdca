#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/property_list.h"

namespace kelvo::sample_agent {

// The account's projects, one dictionary each, with the keys that an extension is told.
//
// A project that is not subscribed keeps its "local-path" for the next time, but nobody is told.
//
// Threads: one.
class ProjectModel {
 public:
  using Project = PropertyList::Dictionary;

  // `workplace`: a project outside this folder is an external one.
  explicit ProjectModel(std::string workplace);

  void Set(std::vector<Project> projects) { projects_ = std::move(projects); }

  // Null when there is none. Valid until a project is added.
  Project* Find(std::string_view id);
  // The subscribed one with exactly this folder.
  Project* FindAt(std::string_view folder);

  static bool IsSubscribed(const Project& project);
  // The project's folder, or the one that it had, or will have by itself. Empty when its name
  // cannot name a folder.
  std::string FolderOf(const Project& project) const;
  void SetFolder(Project& project, const std::string& folder) const;
  // A project whose folder cannot be told is left as it is: false.
  bool Subscribe(Project& project) const;
  // What is on disk now becomes the total, unless one was set.
  void Unsubscribe(Project& project) const;
  // An external project, subscribed.
  void Add(const std::string& folder, const std::string& name, const std::string& owner);

  // In the order in which they are kept, and in the form of AbsolutePath; what has none is left
  // out.
  std::vector<std::string> ExternalFolders() const;
  // The "project-list" of an answer. `measure`: counts of subscribed projects that were not set are
  // taken from the disk.
  std::string ListText(bool subscribed, bool measure) const;

 private:
  const std::string workplace_;
  std::vector<Project> projects_;
};

}  // namespace kelvo::sample_agent
