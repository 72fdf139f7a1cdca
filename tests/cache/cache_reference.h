// The cache as a plain reference: maps of records, every rule in its simplest form.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "cache/sync_cache_item.h"
#include "tests/cache/cache_steps.h"

namespace kelvo::test {

using Lines = std::vector<std::string>;

// What a step leads to.
struct Outcome {
  Lines answers;
  Lines requests;  // to the Agent, in order
  Lines repaints;  // in the file manager, in order
  Lines sweeps;    // the folders that each dropped

  friend bool operator==(const Outcome&, const Outcome&) = default;
};

// All fields in words, and what the query of that number answers.
std::string ItemText(const CSyncCacheItem& item);
std::string AnswerText(std::int64_t query, const CSyncCacheItem& item);
// One line per status.
Lines StatusLines(const std::vector<BadgeStatus>& statuses);
// What may stand in a place of which nothing is answered.
constexpr BadgeStatus kUntouched{77};

class CacheReference {
 public:
  Outcome Do(const Step& step);

 private:
  struct Folder {
    bool valid = false;
    std::int64_t lastAccess = 0;
    std::map<std::string, CSyncCacheItem> items;
  };

  void DoStatuses(const Step& step);
  void DoError(const Step& step);
  void DoPass(std::int64_t milliseconds);

  CSyncCacheItem Query(const std::string& path);
  std::optional<CSyncCacheItem> Peek(const std::string& path) const;
  void Paint(const std::string& path);
  void Request(const std::string& path);
  void TakeList(const Step& step);
  void TakeItem(const Step& step);
  int Update(const std::string& path, int syncStatus, const CSyncCacheItem& item);
  void TakeLinks(const Step& step);
  void Reload(const std::string& path);
  void RefreshAll();
  void Sweep();
  Lines LookAtAll() const;
  std::int64_t Now() const { return monotonic_ / 1000; }

  std::map<std::string, Folder> folders_;
  std::set<std::string> links_;
  std::set<std::string> observed_;
  // Milliseconds. What the wall clock shows plays no part.
  std::int64_t monotonic_ = 0;
  std::int64_t nextSweep_ = 600'000;
  Outcome outcome_;
};

}  // namespace kelvo::test
