// The length-prefixed text in which an Agent sends lists: a number is decimal and followed by ":",
// a string is its length in bytes as a number and then exactly these bytes.
#pragma once

#include <string>
#include <vector>

#include "tools/sample_agent/item.h"

namespace kelvo::sample_agent {

// The "list" of a "sync_status_list" event: the record count, then the records. One locked file:
// 1:5:a.txt1:3:1044:0:3:bob4:F1237:1:5:alice1474634018:
std::string WriteStatusList(const std::vector<ListedItem>& items);

// The "list" of public links, which has no count. Of a record's nine fields only the first, the
// path, says something about this Agent's links; the others are empty or 0.
std::string WritePublicLinks(const std::vector<std::string>& paths);

}  // namespace kelvo::sample_agent
