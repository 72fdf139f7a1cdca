#include "tools/finder/doctor/plugin_checks.h"

#include <glib.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <set>
#include <string_view>
#include <system_error>

#include "platform/linux/glib_ptr.h"
#include "settings/whole_file.h"

namespace kelvo::finder {
namespace {

namespace fs = std::filesystem;

bool IsThere(const std::string& path) {
  std::error_code error;
  return fs::exists(path, error);
}

// The file that the file manager takes; empty when there is none.
std::string InstalledFile(const PluginPlace& place) {
  for (const std::string& folder : place.folders) {
    if (IsThere(folder + '/' + place.file)) return folder + '/' + place.file;
  }
  return {};
}

void TellOfMissing(const FileManager& manager, const PluginPlace& place, Check* check) {
  const std::string stray = place.ownFolder + '/' + place.file;
  const std::string looked =
      place.folders.empty() ? std::string("its own folder") : Shown(place.folders.front());
  if (!place.ownFolder.empty() && IsThere(stray)) {
    check->Warn(
        "The plug-in lies at " + Shown(stray) + ", where " + manager.name + " does not look.",
        "Install it where " + manager.name + " looks: " + looked);
    return;
  }
  check->Warn("No plug-in is installed (" + place.file + " in " + looked + "): no " + place.gives +
                  " in " + manager.name + ".",
              "Install the package " + manager.package + ", then restart " + manager.name + ".");
}

// False when the program is one that has nothing for our plug-in; a script may start any.
bool CheckProgram(const FileManager& manager, const std::string& program, Check* check) {
  const auto bytes = ReadWholeFile(program);
  if (!bytes ||
      !bytes->starts_with("\x7f"
                          "ELF") ||
      bytes->find(manager.library) != std::string::npos) {
    return true;
  }
  check->Fail(Shown(program) + " does not use " + manager.library + ": this " + manager.name +
                  " is too old or too new for the plug-in, and does not load it.",
              "Install the package " + manager.package + " of the same release of your system.");
  return false;
}

// False when it cannot work in the file manager.
bool CheckFile(const FileManager& manager, const std::string& file,
               const PluginSurroundings& surroundings, Check* check) {
  std::error_code error;
  if (!fs::is_regular_file(file, error)) {
    check->Fail(Shown(file) + " is no ordinary file.",
                "Remove it, then install the package " + manager.package + " anew.");
    return false;
  }
  const ModuleTrial trial = surroundings.tryModule(file);
  if (!trial.done) {
    check->Warn(Shown(file) +
                " is installed; trying to load it took too long, or was not possible.");
  } else if (trial.fault.empty()) {
    check->Pass(Shown(file) + " is installed and can be loaded.");
  } else {
    check->Fail(Shown(file) + " is installed, but " + manager.name + " cannot load it.");
    check->Fail(ExplainFault(trial.fault, manager.name),
                "Install the package " + manager.package +
                    " of the same release of your system, "
                    "and let the system install all updates.");
    return false;
  }
  return true;
}

void CheckProcess(const FileManager& manager, pid_t process, const PluginSurroundings& surroundings,
                  Check* check) {
  const std::string who = manager.name + " runs (process " + std::to_string(process) + ")";
  std::string mapped;
  if (!FindMapped(surroundings.procFolder, process, manager.places.front().file, &mapped)) {
    check->Warn(who + "; whether with the plug-in cannot be seen.");
  } else if (mapped.empty()) {
    check->Fail(who + " without the plug-in: it was started before that was installed.",
                manager.restart);
  } else if (mapped.ends_with(" (deleted)")) {
    check->Warn(who + " with a plug-in that has been replaced or removed since.", manager.restart);
  } else {
    check->Pass(who + " with the plug-in.");
  }
}

void CheckProcesses(const FileManager& manager, const std::vector<RunningProgram>& programs,
                    const PluginSurroundings& surroundings, Check* check) {
  bool any = false;
  for (const RunningProgram& program : programs) {
    if (program.name != manager.program ||
        IsOfOtherSession(surroundings.procFolder, program.process, surroundings.runtimeFolder)) {
      continue;
    }
    any = true;
    CheckProcess(manager, program.process, surroundings, check);
  }
  if (!any) check->Note("It does not run now.");
}

Check PluginCheck(const FileManager& manager) {
  return {manager.id + "-plugin", "Plug-in of " + manager.name};
}

Check CheckManager(const FileManager& manager, const std::vector<RunningProgram>& programs,
                   const PluginSurroundings& surroundings, bool* hasPlugin) {
  Check check = PluginCheck(manager);
  *hasPlugin = false;
  const std::string program = surroundings.programFile(manager.program);
  if (program.empty()) {
    check.Note(manager.name + " is not installed.");
    return check;
  }
  bool works = true;
  for (const PluginPlace& place : manager.places) {
    const std::string file = InstalledFile(place);
    if (file.empty()) {
      TellOfMissing(manager, place, &check);
      works = false;
      continue;
    }
    *hasPlugin = true;
    works = CheckFile(manager, file, surroundings, &check) && works;
  }
  works = works && CheckProgram(manager, program, &check);
  if (!works) return check;
  const std::string switchOn = manager.switchedOff();
  if (!switchOn.empty()) {
    check.Warn("The plug-in is switched off in " + manager.name + "'s settings.", switchOn);
    return check;
  }
  CheckProcesses(manager, programs, surroundings, &check);
  return check;
}

// Such a file is small; one that is not is no extension.
bool Mentions(const fs::path& file, std::string_view word) {
  const auto bytes = ReadWholeFile(file.string());
  return bytes && bytes->find(word) != std::string::npos;
}

// The files below the folder that end so and that `isOne` takes.
template <typename Predicate>
void AddFiles(const std::string& folder, std::string_view ending, Predicate isOne,
              std::set<std::string>* names) {
  std::error_code error;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    const std::string name = entry->path().filename().string();
    if (!name.ends_with(ending) || !isOne(entry->path())) continue;
    std::error_code ignored;  // the same folder may have two names
    names->insert(fs::weakly_canonical(entry->path(), ignored).string());
  }
}

std::set<std::string> OthersIn(const FileManager& manager, const PluginSurroundings& surroundings) {
  std::set<std::string> files;
  const PluginPlace& place = manager.places.front();
  const auto drawsBadges = [&](const fs::path& file) {
    const std::string name = file.filename().string();
    // The loader of Python extensions knows every call, and makes none itself.
    if (name == place.file || name.find("-python") != std::string::npos) return false;
    return manager.badgeCall.empty() || Mentions(file, manager.badgeCall);
  };
  for (const std::string& folder : place.folders) AddFiles(folder, ".so", drawsBadges, &files);
  if (manager.scriptFolder.empty()) return files;
  const auto addsEmblem = [](const fs::path& file) { return Mentions(file, "add_emblem"); };
  for (const std::string& folder : surroundings.dataFolders) {
    AddFiles(folder + '/' + manager.scriptFolder, ".py", addsEmblem, &files);
  }
  return files;
}

}  // namespace

PluginSurroundings OwnSurroundings(const std::string& runtimeFolder) {
  PluginSurroundings surroundings{
      "/proc",
      ::geteuid(),
      runtimeFolder,
      {g_get_user_data_dir()},
      [](const std::string& program) {
        const GLibPtr<char> path(g_find_program_in_path(program.c_str()));
        const std::string usual = "/usr/bin/" + program;
        return path != nullptr ? std::string(path.get()) : IsThere(usual) ? usual : std::string();
      },
      [program = OwnProgram()](const std::string& file) { return TryModule(program, file); }};
  for (const char* const* folder = g_get_system_data_dirs(); *folder != nullptr; ++folder) {
    surroundings.dataFolders.emplace_back(*folder);
  }
  return surroundings;
}

std::vector<Check> PluginChecks(const std::vector<FileManager>& fileManagers) {
  std::vector<Check> checks;
  checks.reserve(fileManagers.size());
  for (const FileManager& manager : fileManagers) checks.push_back(PluginCheck(manager));
  return checks;
}

Check OtherExtensionsCheck() { return {"other-extensions", "Other extensions with badges"}; }

std::vector<Check> CheckPlugins(const std::vector<FileManager>& fileManagers,
                                const PluginSurroundings& surroundings) {
  const auto programs = ProgramsOf(surroundings.procFolder, surroundings.user);
  std::vector<Check> checks;
  bool anyPlugin = false;
  for (const FileManager& manager : fileManagers) {
    bool hasPlugin = false;
    checks.push_back(CheckManager(manager, programs, surroundings, &hasPlugin));
    anyPlugin = anyPlugin || hasPlugin;
  }
  if (anyPlugin) return checks;
  for (Check& check : checks) {
    if (check.state == CheckState::kWarning) check.state = CheckState::kProblem;
  }
  return checks;
}

Check CheckOtherExtensions(const std::vector<FileManager>& fileManagers,
                           const PluginSurroundings& surroundings) {
  Check check = OtherExtensionsCheck();
  bool anyManager = false;
  for (const FileManager& manager : fileManagers) {
    if (surroundings.programFile(manager.program).empty()) continue;
    anyManager = true;
    for (const std::string& file : OthersIn(manager, surroundings)) {
      check.Warn(manager.name + ": " + Shown(file),
                 "Where such a program marks the same files as the Agent syncs, both badges show, "
                 "or only one: let each folder be synced by one program only.");
    }
  }
  if (!anyManager) {
    check.Note("No file manager is installed.");
  } else if (check.found.empty()) {
    check.Pass("None is installed.");
  }
  return check;
}

}  // namespace kelvo::finder
