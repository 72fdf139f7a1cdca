// What an account's settings files say, for people. No secret, and nothing that stands for one.
#pragma once

#include <string>

namespace kelvo::finder {

// Prints the files of one configuration folder. What is not there is said to be so, and not made.
void PrintAccountFiles(const std::string& folder);
// The files that all accounts share.
void PrintSharedFiles(const std::string& folder);
// The computer's printers and which of them are selected, for all accounts. Asks the printing
// system, which may take some seconds.
void PrintPrinters(const std::string& folder);

}  // namespace kelvo::finder
