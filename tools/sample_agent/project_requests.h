#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "base/property_list.h"
#include "tools/sample_agent/answer.h"
#include "tools/sample_agent/folder_watcher.h"
#include "tools/sample_agent/project_model.h"

namespace kelvo::sample_agent {

// What an extension asks of projects. The folders of external ones are served as long as they are
// subscribed.
//
// Threads: one. Everything handed over must outlive it.
class ProjectRequests {
 public:
  ProjectRequests(FolderModel& folders, FolderWatcher& watcher);

  void SetProjects(std::vector<ProjectModel::Project> projects);
  // Who owns projects that an extension creates.
  void SetUser(std::string name) { user_ = std::move(name); }

  // The answers in order; none when the request is not about projects.
  std::vector<Answer> HandleCommand(const std::string& command,
                                    const PropertyList::Dictionary& info);
  std::vector<Answer> HandleImport(const PropertyList::Dictionary& info);

  // What happens to a project without being asked for. False, with nothing changed, when there is
  // no such project or the path is of no use. A path is absolute or relative to the root; empty:
  // where the project was, or would be by itself.
  bool Subscribe(const std::string& id, const std::string& path);
  bool Unsubscribe(const std::string& id);
  bool Rename(const std::string& id, const std::string& name);
  // Nothing on disk is moved.
  bool MoveTo(const std::string& id, const std::string& path);

 private:
  enum class Outcome {
    kFailed,
    kDone,     // what is told of projects stays
    kChanged,  // it does not
  };
  struct Form {
    std::string_view command;
    Outcome (ProjectRequests::*run)(const PropertyList::Dictionary& info);
  };
  static const Form kForms[];

  Outcome ConnectAsAsked(const PropertyList::Dictionary& info);
  Outcome UnsubscribeAsAsked(const PropertyList::Dictionary& info);
  Outcome MoveAsAsked(const PropertyList::Dictionary& info);
  Outcome CreateAsAsked(const PropertyList::Dictionary& info);
  Outcome CommitAsAsked(const PropertyList::Dictionary& info);
  Answer SetPartial(const PropertyList::Dictionary& info);
  Answer GetPartial(const PropertyList::Dictionary& info) const;
  bool SubscribePartly(const std::string& id, const std::string& payload);
  void Serve();

  FolderModel& folders_;
  FolderWatcher& watcher_;
  ProjectModel projects_;
  std::map<std::string, std::string> partial_;  // the selections, XML, by project id
  std::vector<std::string> served_;             // the external projects' folders
  std::string user_;
};

}  // namespace kelvo::sample_agent
