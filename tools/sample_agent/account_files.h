// The settings files by which an Agent tells the extension about its accounts. They are shared with
// whatever else writes them; property lists are locked while they are changed, and a lock that
// another process keeps is waited for.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/sample_agent/account_data.h"

namespace kelvo::sample_agent {

struct Account {
  std::string fullName;  // the name that lock owners and modifiers are compared with
};

// The file's path in the active configuration's folder.
std::string AccountFilePath();

// Makes `folder` the account's folder. Of the other settings those that the file has stay as they
// are, the rest get sample values. nullopt, with the reason on standard error, when the file cannot
// be written.
std::optional<Account> WriteAccountFile(const std::string& folder);

// Merges what the accounts say into their files: of dictionaries and XML files the keys that are
// said change, arrays get what they do not hold yet. A file that is not of its kind stays as it is:
// false, with the reason on standard error, as for one that cannot be written.
bool WriteAccountFiles(const std::vector<AccountData>& accounts);

// The account as the file has it; the sample values without a file.
Account ReadAccountFile();

}  // namespace kelvo::sample_agent
