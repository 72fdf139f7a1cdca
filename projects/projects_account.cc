#include "projects/projects_account.h"

#include "settings/account_list.h"

namespace kelvo {
namespace {

kelvoAgentSettings& DefaultConfig() {
  AccountList& accounts = AccountList::defaultAccountList();
  // The Agent may have been set up only after the list was made.
  if (accounts.count() == 0) accounts.load();
  return accounts.defaultConfig();
}

}  // namespace

ProjectsAccount ReadProjectsAccount() {
  kelvoAgentSettings& settings = DefaultConfig();
  ProjectsAccount account;
  account.me = {settings.fullName(), settings.userName(), settings.email()};
  // An unset name is nobody's: it would match a project without an owner.
  account.me.erase("");
  account.calculateSynced = settings.calculateSynced();
  return account;
}

std::string ReadMasterProjectFolder() { return DefaultConfig().masterProjectFolder(); }

}  // namespace kelvo
