// What an account's settings files say, for people. No secret, and nothing that stands for one.
#pragma once

#include <string>

#include "settings/account.h"

namespace kelvo::finder {

void PrintAccount(Account& account);
// The files in the configuration folder that all accounts share.
void PrintSharedFiles(const std::string& folder);
// The computer's printers and which of them are selected, for all accounts. Asks the printing
// system, which may take some seconds.
void PrintPrinters();

}  // namespace kelvo::finder
