#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "base/property_list.h"

namespace kelvo::sample_agent {

// What a scenario says of one account, for its settings files. Whatever is empty is left alone.
struct AccountData {
  struct StoredFolder {
    std::string path;
    std::int64_t total = 0;
    std::int64_t stored = 0;
  };

  std::string agentId;                // "1": the first account
  PropertyList::Dictionary settings;  // user_info.plist
  PropertyList::Array storage;        // storage_info.plist: rows of a path and whether it counts
  std::vector<StoredFolder> folders;  // storage_folders.xml
  std::map<std::string, std::int64_t> quota;  // storage_quota.xml: elements by name
  PropertyList::Dictionary filter;            // filter_info.plist
  PropertyList::Array fingerprints;           // finger_prints.plist
  PropertyList::Dictionary servers;           // server_info.plist, which all accounts share
};

// False, with the reason, when anything in it is not understood.
bool ReadAccountData(const PropertyList& value, AccountData* account, std::string* error);

}  // namespace kelvo::sample_agent
