// The two XML files by which an Agent tells how much of an account's storage is in use.
#pragma once

#include <optional>
#include <string>

#include "tools/sample_agent/account_data.h"

namespace kelvo::sample_agent {

// Each answers `existing`, empty for a file that is not there, with what the account says changed
// in it; nullopt when `existing` is not a text of its kind.
std::optional<std::string> MergeStorageFolders(const std::string& existing,
                                               const AccountData& account);
std::optional<std::string> MergeStorageQuota(const std::string& existing,
                                             const AccountData& account);

}  // namespace kelvo::sample_agent
