// The settings file by which an Agent tells the extension about its account. It is shared with
// whatever else writes it and is locked while it is changed; a lock that another process keeps is
// waited for.
#pragma once

#include <optional>
#include <string>

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

// The account as the file has it; the sample values without a file.
Account ReadAccountFile();

}  // namespace kelvo::sample_agent
