#include "tools/sample_agent/project_model.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <system_error>
#include <utility>

#include "tools/sample_agent/folder_model.h"
#include "tools/sample_agent/path_map.h"
#include "tools/sample_agent/projects_text.h"

namespace kelvo::sample_agent {
namespace {

namespace fs = std::filesystem;

constexpr int kMaxMeasured = 100'000;  // items of one project; the rest is not counted

std::string TextOf(const PropertyList::Dictionary& project, std::string_view key) {
  const PropertyList* value = FindValue(project, key);
  return value == nullptr ? std::string() : value->ToText().value_or("");
}

bool IsSet(const PropertyList::Dictionary& project, std::string_view key) {
  const PropertyList* value = FindValue(project, key);
  return value != nullptr && value->ToBool().value_or(false);
}

struct Measure {
  std::int64_t files = 0;
  std::int64_t folders = 0;
  std::int64_t bytes = 0;
};

Measure MeasureFolder(const std::string& folder) {
  Measure measure;
  int left = kMaxMeasured;
  std::error_code error;
  const auto options = fs::directory_options::skip_permission_denied;
  for (fs::recursive_directory_iterator entry(folder, options, error), end;
       !error && entry != end && left > 0; entry.increment(error), --left) {
    std::error_code gone;
    const fs::file_type type = entry->symlink_status(gone).type();
    if (type == fs::file_type::directory) ++measure.folders;
    if (type != fs::file_type::regular) continue;
    ++measure.files;
    const std::uintmax_t size = entry->file_size(gone);
    if (!gone) measure.bytes += static_cast<std::int64_t>(size);
  }
  return measure;
}

void AddTotals(PropertyList::Dictionary& project, const Measure& measure) {
  project.try_emplace("total-files", measure.files);
  project.try_emplace("total-folders", measure.folders);
  project.try_emplace("total-size", measure.bytes);
}

}  // namespace

ProjectModel::ProjectModel(std::string workplace) : workplace_(std::move(workplace)) {}

ProjectModel::Project* ProjectModel::Find(std::string_view id) {
  const auto found = std::find_if(projects_.begin(), projects_.end(), [id](const Project& project) {
    return TextOf(project, "id") == id;
  });
  return found == projects_.end() ? nullptr : &*found;
}

ProjectModel::Project* ProjectModel::FindAt(std::string_view folder) {
  for (Project& project : projects_) {
    if (IsSubscribed(project) && !folder.empty() && TextOf(project, "local-path") == folder) {
      return &project;
    }
  }
  return nullptr;
}

bool ProjectModel::IsSubscribed(const Project& project) { return IsSet(project, "subscribed"); }

std::string ProjectModel::FolderOf(const Project& project) const {
  std::string folder = TextOf(project, "local-path");
  if (!folder.empty()) return folder;
  const std::string name = TextOf(project, "name");
  if (name.empty() || name == "." || name == ".." || name.find('/') != std::string::npos) return {};
  return workplace_ + '/' + name;
}

void ProjectModel::SetFolder(Project& project, const std::string& folder) const {
  project.insert_or_assign("local-path", folder);
  project.insert_or_assign("external", !IsPathOrBelow(folder, workplace_));
}

bool ProjectModel::Subscribe(Project& project) const {
  const std::string folder = FolderOf(project);
  if (folder.empty()) return false;
  if (TextOf(project, "local-path").empty()) SetFolder(project, folder);
  project.insert_or_assign("subscribed", true);
  return true;
}

void ProjectModel::Unsubscribe(Project& project) const {
  AddTotals(project, MeasureFolder(FolderOf(project)));
  project.insert_or_assign("subscribed", false);
  project.insert_or_assign("partial", false);
}

void ProjectModel::Add(const std::string& folder, const std::string& name,
                       const std::string& owner) {
  int id = 1;
  while (Find(std::to_string(id)) != nullptr) ++id;
  projects_.push_back({{"id", std::to_string(id)},
                       {"name", name},
                       {"owner", owner},
                       {"local-path", folder},
                       {"external", true},
                       {"subscribed", true},
                       {"known", true}});
}

std::vector<std::string> ProjectModel::ExternalFolders() const {
  std::vector<std::string> folders;
  for (const Project& project : projects_) {
    if (!IsSubscribed(project) || !IsSet(project, "external")) continue;
    const std::string folder = TextOf(project, "local-path");
    const std::optional<std::string> absolute = AbsolutePath(folder, workplace_);
    if (folder.starts_with('/') && absolute.has_value()) folders.push_back(*absolute);
  }
  return folders;
}

std::string ProjectModel::ListText(bool subscribed, bool measure) const {
  std::vector<Project> told;
  for (const Project& project : projects_) {
    if (IsSubscribed(project) != subscribed) continue;
    told.push_back(project);
    if (!subscribed) told.back().erase("local-path");
    if (!subscribed || !measure || project.contains("synced-files")) continue;
    const Measure now = MeasureFolder(FolderOf(project));
    told.back().insert_or_assign("synced-files", now.files);
    told.back().insert_or_assign("synced-size", now.bytes);
    AddTotals(told.back(), now);
  }
  return WriteProjectList(told);
}

}  // namespace kelvo::sample_agent
