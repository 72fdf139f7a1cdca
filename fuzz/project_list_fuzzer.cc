#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "base/case_folding.h"
#include "projects/project_list_parser.h"

// A project is taken as one kind only, tells its status, and stands where its name belongs.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > 65536) return 0;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  auto list = kelvo::ParseProjectList(text, {"me"});
  if (!list) return 0;
  for (auto* kind : {&list->synced, &list->external, &list->notSubscribed}) {
    kelvo::SortProjects(*kind);
    for (const kelvo::Project& project : *kind) {
      const bool right = project.subscribed() == (kind != &list->notSubscribed) &&
                         project.objectForKey("status") && project.owner() != "me";
      if (!right) std::abort();
      (void)project.partialSubscribePayload();
    }
    const auto unordered = [](const kelvo::Project& a, const kelvo::Project& b) {
      return kelvo::FoldedText(b.name()) < kelvo::FoldedText(a.name());
    };
    if (std::adjacent_find(kind->begin(), kind->end(), unordered) != kind->end()) std::abort();
  }
  return 0;
}
