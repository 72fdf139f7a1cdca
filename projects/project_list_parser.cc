#include "projects/project_list_parser.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "base/case_folding.h"
#include "base/format_text.h"
#include "base/logger.h"
#include "settings/application_bundle.h"
#include "settings/value_utilities.h"
#include "settings/xml_document.h"

namespace kelvo {
namespace {

std::int64_t Sum(std::int64_t a, std::int64_t b) {
  using Limits = std::numeric_limits<std::int64_t>;
  std::int64_t sum = 0;
  if (__builtin_add_overflow(a, b, &sum)) return b < 0 ? Limits::min() : Limits::max();
  return sum;
}

std::string ElementName(const xmlNode& element) {
  std::string name;
  if (element.ns != nullptr && element.ns->prefix != nullptr) {
    name.append(reinterpret_cast<const char*>(element.ns->prefix)).append(":");
  }
  return name.append(reinterpret_cast<const char*>(element.name));
}

// Reads the projects of one list; texts are looked up once for all of them.
class ListReader {
 public:
  explicit ListReader(const std::set<std::string>& me) : me_(me) {}

  void Read(xmlNode* list) {
    for (xmlNode* child = xmlFirstElementChild(list); child != nullptr;
         child = xmlNextElementSibling(child)) {
      if (ElementName(*child) == "project") Add(ReadProject(child));
    }
  }
  ProjectList Take() { return std::move(result_); }

 private:
  static Project ReadProject(xmlNode* element) {
    PropertyList::Dictionary values;
    for (xmlNode* child = xmlFirstElementChild(element); child != nullptr;
         child = xmlNextElementSibling(child)) {
      values.insert_or_assign(ElementName(*child), UnescapeString(NodeText(child)).value_or(""));
    }
    Project project;
    project.setDictionary(std::move(values));
    return project;
  }

  void Add(Project project) {
    const bool subscribed = project.subscribed();
    const std::int64_t files = subscribed ? project.syncedFiles() : project.totalFiles();
    const std::int64_t bytes = subscribed ? project.syncedSize() : project.totalSize();
    project.setObject(Status(project, files, bytes), "status");
    if (me_.contains(project.owner())) project.setOwner(meText_);
    auto& totals = subscribed ? result_.subscribedTotals : result_.notSubscribedTotals;
    if (!totals) totals.emplace();
    totals->Add(bytes, files);
    auto& kind = !subscribed          ? result_.notSubscribed
                 : project.external() ? result_.external
                                      : result_.synced;
    kind.push_back(std::move(project));
  }

  std::string Status(const Project& project, std::int64_t files, std::int64_t bytes) const {
    const std::string& format = project.outOfQuota() ? outOfStorageText_ : statusText_;
    std::string text = FormatText(format, {files, FileSizeString(bytes)});
    return project.partial() ? text + selectiveText_ : text;
  }

  const std::set<std::string>& me_;
  const std::string outOfStorageText_ =
      LocalizedString("ProjectsList.OutOfStorage", "Out of Storage, %d files, %@");
  const std::string statusText_ = LocalizedString("ProjectsList.Status", "%d files, %@");
  const std::string selectiveText_ = LocalizedString("ProjectsList.Selective", " (Selective Sync)");
  const std::string meText_ = LocalizedString("ProjectsList.Me", "Me");
  ProjectList result_;
};

}  // namespace

void ProjectTotals::Add(std::int64_t moreBytes, std::int64_t moreFiles) {
  bytes = Sum(bytes, moreBytes);
  files = Sum(files, moreFiles);
}

std::optional<ProjectList> ParseProjectList(std::string_view text,
                                            const std::set<std::string>& me) {
  std::string error;
  const XmlDocument document = ParseXmlDocument(text, &error);
  if (document == nullptr) {
    KELVO_LOG(kLogError, "the list of projects is no XML: " << error);
    return std::nullopt;
  }
  xmlNode* node = xmlDocGetRootElement(document.get());
  while (node != nullptr && ElementName(*node) != "project-list") {
    node = xmlNextElementSibling(node);
  }
  ListReader reader(me);
  if (node != nullptr) reader.Read(node);
  return reader.Take();
}

void SortProjects(std::vector<Project>& projects) {
  struct Entry {
    std::u32string key;
    Project project;
  };
  std::vector<Entry> entries;
  entries.reserve(projects.size());
  for (Project& project : projects) {
    std::u32string key = FoldedText(project.name());
    entries.push_back({std::move(key), std::move(project)});
  }
  std::stable_sort(entries.begin(), entries.end(),
                   [](const Entry& a, const Entry& b) { return a.key < b.key; });
  for (std::size_t i = 0; i < entries.size(); ++i) projects[i] = std::move(entries[i].project);
}

}  // namespace kelvo
