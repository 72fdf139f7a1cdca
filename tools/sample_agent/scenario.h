#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/property_list.h"
#include "tools/sample_agent/account_data.h"
#include "tools/sample_agent/folder_model.h"
#include "tools/sample_agent/item.h"

namespace kelvo::sample_agent {

// What an Agent says beyond what is on disk.
struct Scenario {
  struct Entry {
    std::string path;  // absolute
    Item item;
  };
  std::vector<Entry> items;
  std::vector<PropertyList::Dictionary> projects;
  std::vector<AccountData> accounts;
  std::vector<std::string> publicLinks;  // absolute paths
};

// A property list: an array of items, or a dictionary with the arrays "items", "projects",
// "accounts" and "publicLinks". Paths are resolved by `model`, which is not changed, or lie in a
// folder of a project; a lock without a time gets
// `now` (seconds since 1970). nullopt, with a reason that names the place, when anything in it is
// not understood: a typing mistake shall not pass silently.
std::optional<Scenario> ReadScenario(std::string_view text, const FolderModel& model,
                                     std::int64_t now, std::string* error);
// The same from a file of at most 16 MiB.
std::optional<Scenario> ReadScenarioFile(const std::string& path, const FolderModel& model,
                                         std::int64_t now, std::string* error);

}  // namespace kelvo::sample_agent
