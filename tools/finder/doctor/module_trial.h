// Whether a plug-in can be loaded at all. That runs its code and that of its libraries, so a
// process of its own does it.
#pragma once

#include <chrono>
#include <string>

namespace kelvo::finder {

struct ModuleTrial {
  bool done = false;  // false: it could not be tried, or took too long
  std::string fault;  // the loader's words; empty: it loads
};

// Runs `program`, which is kelvo-finder. `file`: absolute.
ModuleTrial TryModule(const std::string& program, const std::string& file,
                      std::chrono::milliseconds limit = std::chrono::seconds{5});
// This program; empty when the system does not tell.
std::string OwnProgram();

// What the child does: loads the library with all its symbols, prints the loader's words, and
// answers the exit code. Does not return to a program with such a library in it.
[[noreturn]] void LoadModuleAndExit(const std::string& file);

// What the loader's words mean to somebody who has the file manager of that name.
std::string ExplainFault(const std::string& fault, const std::string& fileManager);

}  // namespace kelvo::finder
