// What the stand-ins for the log and the keychain were told. Threads: any.
#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace kelvo::test {

// "identity|sender|level|text" of every line, in order.
std::vector<std::string> LoggedLines();

struct KeychainItem {
  std::string label;
  std::string secret;
  std::string description;                // of its access list
  std::vector<std::string> applications;  // that may read it
};
// By service and account.
std::map<std::pair<std::string, std::string>, KeychainItem> KeychainItems();
// What every later operation answers; 0 for what it really comes to.
void SetKeychainStatus(int status);
// Applications that are not installed, for which no entry of a list can be made.
void SetMissingApplication(const std::string& path);
// What the platform has handed out and was not given back; no counting of references releases it.
int KeychainObjects();
bool KeychainMayAsk();

}  // namespace kelvo::test
