// The file managers that we have plug-ins for: where they look for them, and which processes run.
#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

namespace kelvo::finder {

// One kind of plug-in that a file manager loads.
struct PluginPlace {
  std::string file;                  // ours
  std::vector<std::string> folders;  // where it is looked for, the likeliest first
  std::string ownFolder;             // where this build installs it; empty: nowhere
  std::string gives;                 // what there is not without it
};

struct FileManager {
  std::string id;  // "nemo"
  std::string name;
  std::string program;
  std::string library;              // what a program that our plug-in fits is linked with
  std::string package;              // of our plug-in
  std::vector<PluginPlace> places;  // all are needed; the first one draws the badges
  // What a library calls that adds a badge; empty: every library in the first place's folders does.
  std::string badgeCall;
  std::string scriptFolder;  // below data folders, with extensions in Python; empty: has none
  std::string restart;       // what the user does to load plug-ins anew
  std::function<std::string()> switchedOff;  // what to do when the user switched ours off, else ""
};

// With the user's CAJA_EXTENSION_DIRS and QT_PLUGIN_PATH.
std::vector<FileManager> FileManagers();

struct RunningProgram {
  pid_t process;
  std::string name;
};
// The user's processes below a folder such as /proc; none when that is not there.
std::vector<RunningProgram> ProgramsOf(const std::string& procFolder, uid_t user);
// Whether the process is of another session: its environment names another XDG_RUNTIME_DIR.
bool IsOfOtherSession(const std::string& procFolder, pid_t process,
                      const std::string& runtimeFolder);

// What a process has mapped of a file with that name: its path, with " (deleted)" behind it when
// the file has been replaced since; empty when nothing. False when it may not be seen.
bool FindMapped(const std::string& procFolder, pid_t process, const std::string& fileName,
                std::string* path);

}  // namespace kelvo::finder
