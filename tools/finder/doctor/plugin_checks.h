// The plug-ins in file managers, ours and others that draw badges.
#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

#include "tools/finder/doctor/check.h"
#include "tools/finder/doctor/file_managers.h"
#include "tools/finder/doctor/module_trial.h"

namespace kelvo::finder {

struct PluginSurroundings {
  std::string procFolder;
  uid_t user;
  std::string runtimeFolder;             // of this session
  std::vector<std::string> dataFolders;  // where Python extensions lie
  // The file of a program; empty when it is not installed.
  std::function<std::string(const std::string& program)> programFile;
  std::function<ModuleTrial(const std::string& file)> tryModule;
};
// This machine's.
PluginSurroundings OwnSurroundings(const std::string& runtimeFolder);

// The checks without anything found.
std::vector<Check> PluginChecks(const std::vector<FileManager>& fileManagers);
Check OtherExtensionsCheck();

// One for each file manager. One that has no plug-in is a problem only when none has.
std::vector<Check> CheckPlugins(const std::vector<FileManager>& fileManagers,
                                const PluginSurroundings& surroundings);

// Others that may draw a badge on the same files. Tells the names of their files only.
Check CheckOtherExtensions(const std::vector<FileManager>& fileManagers,
                           const PluginSurroundings& surroundings);

}  // namespace kelvo::finder
