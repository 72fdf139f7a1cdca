#include "tools/sample_agent/project_requests.h"

#include <libxml/tree.h>

#include <optional>
#include <utility>

#include "settings/value_utilities.h"
#include "settings/xml_document.h"

namespace kelvo::sample_agent {
namespace {

constexpr char kOk[] = "0";
constexpr char kNotDone[] = "2";
constexpr std::string_view kProjectKeys[] = {"project-id", "project-path", "path"};

std::string TextOf(const PropertyList::Dictionary& info, std::string_view key) {
  const PropertyList* value = FindValue(info, key);
  return value == nullptr ? std::string() : value->ToText().value_or("");
}

std::vector<std::string> Split(std::string_view text) {
  std::vector<std::string> parts;
  for (;;) {
    const std::size_t comma = text.find(',');
    parts.emplace_back(text.substr(0, comma));
    if (comma == std::string_view::npos) return parts;
    text.remove_prefix(comma + 1);
  }
}

// The project of a selection: its root element's "id" or "project-id", an attribute or an element.
// Empty when neither is there, nullopt when the text is no XML.
std::optional<std::string> ProjectOfSelection(const std::string& payload) {
  const XmlDocument document = ParseXmlDocument(payload, nullptr);
  xmlNode* root = document == nullptr ? nullptr : xmlDocGetRootElement(document.get());
  if (root == nullptr) return std::nullopt;
  for (const char* name : {"project-id", "id"}) {
    const auto* key = reinterpret_cast<const xmlChar*>(name);
    if (const xmlAttr* attribute = xmlHasProp(root, key)) {
      return NodeText(attribute->children);
    }
    if (const xmlNode* element = FindChildNode(root, name)) return NodeText(element);
  }
  return std::string();
}

}  // namespace

const ProjectRequests::Form ProjectRequests::kForms[] = {
    {"subscribe", &ProjectRequests::ConnectAsAsked},
    {"connect-project", &ProjectRequests::ConnectAsAsked},
    {"unsubscribe", &ProjectRequests::UnsubscribeAsAsked},
    {"set-project-path", &ProjectRequests::MoveAsAsked},
    {"update-project-path", &ProjectRequests::MoveAsAsked},
    {"create-external", &ProjectRequests::CreateAsAsked},
    {"commit-projects", &ProjectRequests::CommitAsAsked},
};

ProjectRequests::ProjectRequests(FolderModel& folders, FolderWatcher& watcher)
    : folders_(folders), watcher_(watcher), projects_(folders.Root()) {}

void ProjectRequests::SetProjects(std::vector<ProjectModel::Project> projects) {
  projects_.Set(std::move(projects));
  Serve();
}

std::vector<Answer> ProjectRequests::HandleCommand(const std::string& command,
                                                   const PropertyList::Dictionary& info) {
  if (command == "subscribed-projects" || command == "not-subscribed-projects") {
    const bool measure = TextOf(info, "compute-synced") == "1";
    return {ToAsker(
        ProjectsResponse(command, projects_.ListText(command == "subscribed-projects", measure)))};
  }
  if (command == "set-partial-subscribe") return {SetPartial(info)};
  if (command == "get-partial-subscribe") return {GetPartial(info)};
  for (const Form& form : kForms) {
    if (form.command != command) continue;
    const Outcome outcome = (this->*form.run)(info);
    PropertyList::Dictionary pairs{{"command", command},
                                   {"result", outcome == Outcome::kFailed ? kNotDone : kOk}};
    for (const std::string_view key : kProjectKeys) {
      if (const PropertyList* value = FindValue(info, key)) pairs.emplace(key, *value);
    }
    std::vector<Answer> answers{ToEverybody(Event("sync_response", std::move(pairs)))};
    if (outcome == Outcome::kChanged) answers.push_back(ToEverybody(SyncIdle()));
    return answers;
  }
  return {};
}

ProjectRequests::Outcome ProjectRequests::ConnectAsAsked(const PropertyList::Dictionary& info) {
  const std::string path = TextOf(info, "full-path");
  if (!path.empty() && !path.starts_with('/')) return Outcome::kFailed;
  return Subscribe(TextOf(info, "project-id"), path) ? Outcome::kChanged : Outcome::kFailed;
}

ProjectRequests::Outcome ProjectRequests::UnsubscribeAsAsked(const PropertyList::Dictionary& info) {
  std::string id = TextOf(info, "project-id");
  if (const ProjectModel::Project* at = projects_.FindAt(TextOf(info, "project-path"))) {
    id = TextOf(*at, "id");
  }
  return Unsubscribe(id) ? Outcome::kChanged : Outcome::kFailed;
}

ProjectRequests::Outcome ProjectRequests::MoveAsAsked(const PropertyList::Dictionary& info) {
  const std::string id = TextOf(info, "project-id");
  const std::string path = TextOf(info, "path");
  if (!path.starts_with('/') || !MoveTo(id, path)) return Outcome::kFailed;
  // A project gets its place before it is subscribed: a list sent now would come too early.
  return ProjectModel::IsSubscribed(*projects_.Find(id)) ? Outcome::kChanged : Outcome::kDone;
}

ProjectRequests::Outcome ProjectRequests::CreateAsAsked(const PropertyList::Dictionary& info) {
  const std::string path = TextOf(info, "path");
  const std::string name = TextOf(info, "name");
  const bool canBe = path.starts_with('/') && AbsolutePath(path, path) == path && !name.empty() &&
                     !folders_.IsServed(path);
  if (!canBe) return Outcome::kFailed;
  projects_.Add(path, name, user_);
  Serve();
  return Outcome::kChanged;
}

ProjectRequests::Outcome ProjectRequests::CommitAsAsked(const PropertyList::Dictionary& /*info*/) {
  return Outcome::kChanged;
}

Answer ProjectRequests::SetPartial(const PropertyList::Dictionary& info) {
  // The extension asks for the list by itself once it has heard of a success.
  const std::string payload = TextOf(info, "payload");
  const std::optional<std::string> id = ProjectOfSelection(payload);
  const bool done = id.has_value() && (id->empty() || SubscribePartly(*id, payload));
  return ToEverybody(Event("server_response", {{"command", "set-partial-subscribe"},
                                               {"result", done ? "1" : "0"},
                                               {"project-id", id.value_or("")}}));
}

Answer ProjectRequests::GetPartial(const PropertyList::Dictionary& info) const {
  const std::string id = TextOf(info, "project-id");
  const auto found = partial_.find(id);
  const bool known = found != partial_.end();
  return ToAsker(Event("server_response", {{"command", "get-partial-subscribe"},
                                           {"result", known ? "1" : "0"},
                                           {"project-id", id},
                                           {"payload", known ? found->second : ""}}));
}

std::vector<Answer> ProjectRequests::HandleImport(const PropertyList::Dictionary& info) {
  const std::vector<std::string> ids = Split(TextOf(info, "project-ids"));
  const std::string selections = TextOf(info, "subscribe-xmls");
  std::vector<std::string> payloads =
      ids.size() == 1 ? std::vector<std::string>{selections} : Split(selections);
  // A comma inside a selection leaves it open which project it is for.
  if (payloads.size() != ids.size()) payloads.assign(ids.size(), "0");
  const std::string root = TextOf(info, "project-root");
  bool changed = false;
  for (std::size_t i = 0; i < ids.size(); ++i) {
    const ProjectModel::Project* project = projects_.Find(ids[i]);
    if (project == nullptr) continue;
    const bool hasPlace = !TextOf(*project, "local-path").empty();
    const std::string place = hasPlace ? "" : root + '/' + TextOf(*project, "name");
    if (!hasPlace && !root.starts_with('/')) continue;
    if (!Subscribe(ids[i], place)) continue;
    if (payloads[i] != "0") SubscribePartly(ids[i], payloads[i]);
    changed = true;
  }
  if (!changed) return {};
  return {ToEverybody(SyncIdle())};
}

bool ProjectRequests::Subscribe(const std::string& id, const std::string& path) {
  ProjectModel::Project* project = projects_.Find(id);
  if (project == nullptr || (!path.empty() && !MoveTo(id, path))) return false;
  if (!projects_.Subscribe(*project)) return false;
  Serve();
  return true;
}

bool ProjectRequests::SubscribePartly(const std::string& id, const std::string& payload) {
  if (!Subscribe(id, "")) return false;
  projects_.Find(id)->insert_or_assign("partial", true);
  partial_.insert_or_assign(id, payload);
  return true;
}

bool ProjectRequests::Unsubscribe(const std::string& id) {
  ProjectModel::Project* project = projects_.Find(id);
  if (project == nullptr || !ProjectModel::IsSubscribed(*project)) return false;
  projects_.Unsubscribe(*project);
  partial_.erase(id);
  Serve();
  return true;
}

bool ProjectRequests::Rename(const std::string& id, const std::string& name) {
  ProjectModel::Project* project = projects_.Find(id);
  if (project == nullptr) return false;
  project->insert_or_assign("name", name);
  return true;
}

bool ProjectRequests::MoveTo(const std::string& id, const std::string& path) {
  ProjectModel::Project* project = projects_.Find(id);
  const std::optional<std::string> folder = AbsolutePath(path, folders_.Root());
  if (project == nullptr || !folder.has_value()) return false;
  const std::string former = projects_.FolderOf(*project);
  projects_.SetFolder(*project, *folder);
  if (ProjectModel::IsSubscribed(*project) && !former.empty()) watcher_.Follow(former, *folder);
  Serve();
  return true;
}

void ProjectRequests::Serve() {
  const std::vector<std::string> former = std::exchange(served_, projects_.ExternalFolders());
  folders_.SetExternalFolders(served_);
  for (const std::string& folder : former) {
    if (!folders_.IsServed(folder)) watcher_.Leave(folder);
  }
}

}  // namespace kelvo::sample_agent
