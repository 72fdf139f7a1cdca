// What a list of projects costs for each of them: parsing, sorting and saving, for a usual account
// and for one ten times as large.
#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <filesystem>
#include <set>
#include <string>
#include <utility>

#include "projects/project_list_parser.h"
#include "projects/projects_file.h"

namespace kelvo {
namespace {

std::string Element(const std::string& name, const std::string& value) {
  return "<" + name + ">" + value + "</" + name + ">";
}

// As an Agent lists them: every fourth external, in no order of names.
std::string ListText(std::int64_t count) {
  std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?><project-list>";
  for (std::int64_t i = 0; i < count; ++i) {
    const std::string number = std::to_string(i);
    const std::string name = "Project " + std::to_string(i * 7919 % count) + " R%26;D";
    text += "<project>" + Element("id", "P" + number) + Element("name", name) +
            Element("owner", i % 3 == 0 ? "alice@kelvo.example" : "bob@kelvo.example") +
            Element("local-path", "/home/alice/Kelvo/" + name) + Element("total-size", number) +
            Element("total-files", "12") + Element("total-folders", "3") +
            Element("synced-size", number) + Element("synced-files", "12") +
            Element("read-only", "0") + Element("subscribed", "1") + Element("known", "1") +
            Element("outOfQuota", "0") + Element("external", i % 4 == 0 ? "1" : "0") +
            Element("partial", "0") + "</project>";
  }
  return text + "</project-list>";
}

PropertyList Rows(const ProjectList& list) {
  PropertyList::Array rows;
  for (const auto* kind : {&list.synced, &list.external}) {
    for (const Project& project : *kind) rows.emplace_back(project.dictionary());
  }
  return rows;
}

void ParseSortAndSave(benchmark::State& state) {
  const std::string text = ListText(state.range(0));
  const std::set<std::string> me = {"Alice", "alice", "alice@kelvo.example"};
  std::string folder = (std::filesystem::temp_directory_path() / "kelvo-bench-XXXXXX").string();
  if (mkdtemp(folder.data()) == nullptr) return state.SkipWithError("no temporary folder");
  for ([[maybe_unused]] auto _ : state) {
    auto list = ParseProjectList(text, me);
    if (!list) {
      state.SkipWithError("the list did not parse");
      break;
    }
    SortProjects(list->synced);
    SortProjects(list->external);
    if (!StoreProjectsFile(folder + "/subscribed_projects.plist", Rows(*list))) {
      state.SkipWithError("the list was not saved");
      break;
    }
  }
  std::filesystem::remove_all(folder);
  state.SetItemsProcessed(state.iterations() * state.range(0));
  state.counters["per_project"] = benchmark::Counter(
      static_cast<double>(state.range(0)),
      benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}
BENCHMARK(ParseSortAndSave)->Arg(1'000)->Arg(10'000)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace kelvo
