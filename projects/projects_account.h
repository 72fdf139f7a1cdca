// What the list of projects takes from the account's settings.
//
// Threads: accounts worker.
#pragma once

#include <set>
#include <string>

namespace kelvo {

struct ProjectsAccount {
  std::set<std::string> me;  // full name, user name and e-mail of the signed-in user
  bool calculateSynced = true;
};

ProjectsAccount ReadProjectsAccount();
std::string ReadMasterProjectFolder();

}  // namespace kelvo
