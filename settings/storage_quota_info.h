#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace kelvo {

// The account's quota and what is used of it, in bytes, as the Agent last wrote them to
// "storage_quota.xml".
//
// Threads: one at a time.
class kelvo_StorageQuotaInfo {
 public:
  // `path`: the account's configuration folder; empty for none. Nothing is read yet.
  explicit kelvo_StorageQuotaInfo(const std::string& path);

  // On failure, which is logged unless the file is missing, the values stay as they are.
  bool load();
  // Deliberate: reads the record's own file, whatever the argument.
  bool loadAtPath(const std::string& file);
  bool loadData(std::string_view data);

  std::int64_t totalOtherComputers() const { return totalOtherComputers_; }
  std::int64_t storedOtherComputers() const { return storedOtherComputers_; }
  std::int64_t totalThisComputer() const { return totalThisComputer_; }
  std::int64_t storedThisComputer() const { return storedThisComputer_; }
  std::int64_t quota() const { return quota_; }
  bool haveQuota() const { return quota_ != 0; }
  bool unlimitedQuota() const { return quota_ == -1; }
  // Whether the totals of all computers fit into the quota.
  bool inQuota() const;

 private:
  std::int64_t totalOtherComputers_ = 0;
  std::int64_t storedOtherComputers_ = 0;
  std::int64_t totalThisComputer_ = 0;
  std::int64_t storedThisComputer_ = 0;
  std::int64_t quota_ = 0;
  std::string settingsPath_;
};

}  // namespace kelvo
