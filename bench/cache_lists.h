// Folders as an Agent lists them, for the benchmarks of the cache.
#pragma once

#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "agent/sync_status_list_response.h"
#include "tests/support/agent_text.h"

namespace kelvo::bench {

// Names of usual length in the order of a directory, which is none; every eighth file locked.
inline std::vector<test::ListRecord> ListRecords(int count) {
  std::vector<test::ListRecord> records;
  std::mt19937 random(1);
  for (int i = 0; i < count; ++i) {
    const std::string number = std::to_string(i);
    const bool isLocked = i % 8 == 0;
    records.push_back({.name = "Quarterly report " + number + ".docx",
                       .type = i % 10 == 0 ? 2 : 1,
                       .status = i % 4,
                       .modifiedBy = "user" + std::to_string(i % 50) + "@kelvo.example",
                       .fileId = "F" + number,
                       .itemId = 1'000'000'000 + i,
                       .lock = isLocked ? 1 : 0,
                       .lockHolder = isLocked ? "Alice Example" : "",
                       .lockTime = 1'474'634'018 + i});
    std::swap(records.back(), records[random() % records.size()]);
  }
  return records;
}

inline std::shared_ptr<const std::string> ListOf(int count) {
  return std::make_shared<const std::string>(test::ListText(ListRecords(count)));
}

}  // namespace kelvo::bench
