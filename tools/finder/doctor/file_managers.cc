#include "tools/finder/doctor/file_managers.h"

#include <sys/stat.h>

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <string_view>
#include <system_error>

#include "tools/finder/doctor/desktop_settings.h"

namespace kelvo::finder {
namespace {

constexpr char kPlugin[] = "kelvo-finder-sync.so";
constexpr char kBoth[] = "badges and no menus";
constexpr char kPluginName[] = "kelvo-finder-sync";

// The non-empty parts of a list with colons.
std::vector<std::string> Split(const char* list, const std::string& suffix = {}) {
  std::vector<std::string> parts;
  std::istringstream stream(list == nullptr ? "" : list);
  for (std::string part; std::getline(stream, part, ':');) {
    if (!part.empty()) parts.push_back(part + suffix);
  }
  return parts;
}

std::vector<std::string> Joined(std::vector<std::string> first,
                                const std::vector<std::string>& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

bool Holds(const std::vector<std::string>& list, std::string_view value) {
  return std::find(list.begin(), list.end(), value) != list.end();
}

std::string SwitchedOffInNemo() {
  // Nemo notes the name of the plug-in's type.
  const auto off = ListSetting("org.nemo.plugins", "disabled-extensions");
  if (!Holds(off, "KelvoNemoProvider")) return {};
  return "Switch it on in Nemo: Edit > Plugins > Extensions.";
}

std::string SwitchedOffInCaja() {
  const auto off = ListSetting("org.mate.caja.extensions", "disabled-extensions");
  if (!Holds(off, kPluginName)) return {};
  return "Switch it on in Caja: Edit > Preferences > Extensions.";
}

std::string SwitchedOffInDolphin() {
  if (ValueInKdeFile("kservicemenurc", "Show", kPluginName) != "false") return {};
  return "Switch its menu on in Dolphin: Configure > Configure Dolphin > Context Menu.";
}

FileManager Dolphin() {
  const auto place = [](const char* kind, const char* gives) {
    const std::string suffix = std::string("/kf5/") + kind;
    return PluginPlace{
        kPlugin,
        Joined(Split(std::getenv("QT_PLUGIN_PATH"), suffix), Split(KELVO_DOLPHIN_FOLDERS, suffix)),
        KELVO_DOLPHIN_OWN_FOLDER + suffix, gives};
  };
  return {"dolphin",
          "Dolphin",
          "dolphin",
          "libKF5KIOWidgets.so.5",
          "kelvo-finder-sync-dolphin",
          {place("overlayicon", "badges"), place("kfileitemaction", "menus"),
           place("propertiesdialog", "status in the properties")},
          "",
          "",
          "Close all windows of Dolphin and open it again.",
          SwitchedOffInDolphin};
}

std::optional<pid_t> ProcessNumber(const std::string& name) {
  pid_t process = 0;
  const auto [end, code] = std::from_chars(name.data(), name.data() + name.size(), process);
  if (code != std::errc() || end != name.data() + name.size()) return std::nullopt;
  return process;
}

// The name of the program's file, also after an update has replaced that; else what the process
// calls itself.
std::string ProgramName(const std::filesystem::path& folder) {
  std::error_code error;
  std::string name = std::filesystem::read_symlink(folder / "exe", error).filename().string();
  if (error) std::getline(std::ifstream(folder / "comm"), name);
  constexpr std::string_view kDeleted = " (deleted)";
  if (name.ends_with(kDeleted)) name.resize(name.size() - kDeleted.size());
  return name;
}

}  // namespace

std::vector<FileManager> FileManagers() {
  return {{"nemo",
           "Nemo",
           "nemo",
           "libnemo-extension.so.1",
           "kelvo-finder-sync-nemo",
           {{kPlugin, Split(KELVO_NEMO_FOLDERS), KELVO_NEMO_OWN_FOLDER, kBoth}},
           "nemo_file_info_add_emblem",
           "nemo-python/extensions",
           "Restart it: nemo -q ; then open a window again.",
           SwitchedOffInNemo},
          {"nautilus",
           "Nautilus",
           "nautilus",
           "libnautilus-extension.so.4",
           "kelvo-finder-sync-nautilus",
           {{kPlugin, Split(KELVO_NAUTILUS_FOLDERS), KELVO_NAUTILUS_OWN_FOLDER, kBoth}},
           "nautilus_file_info_add_emblem",
           "nautilus-python/extensions",
           "Restart it: nautilus -q ; then open a window again.",
           [] { return std::string(); }},
          {"caja",
           "Caja",
           "caja",
           "libcaja-extension.so.1",
           "kelvo-finder-sync-caja",
           {{kPlugin, Joined(Split(std::getenv("CAJA_EXTENSION_DIRS")), Split(KELVO_CAJA_FOLDERS)),
             KELVO_CAJA_OWN_FOLDER, kBoth}},
           "caja_file_info_add_emblem",
           "caja-python/extensions",
           "Restart it: caja -q ; then open a window again.",
           SwitchedOffInCaja},
          Dolphin()};
}

std::vector<RunningProgram> ProgramsOf(const std::string& procFolder, uid_t user) {
  std::vector<RunningProgram> programs;
  std::error_code error;
  for (std::filesystem::directory_iterator entry(procFolder, error), end; !error && entry != end;
       entry.increment(error)) {
    const auto process = ProcessNumber(entry->path().filename().string());
    struct stat status;
    if (!process || ::stat(entry->path().c_str(), &status) != 0 || status.st_uid != user) continue;
    programs.push_back({*process, ProgramName(entry->path())});
  }
  std::sort(programs.begin(), programs.end(),
            [](const auto& a, const auto& b) { return a.process < b.process; });
  return programs;
}

bool IsOfOtherSession(const std::string& procFolder, pid_t process,
                      const std::string& runtimeFolder) {
  constexpr std::string_view kName = "XDG_RUNTIME_DIR=";
  std::ifstream environment(procFolder + '/' + std::to_string(process) + "/environ");
  for (std::string entry; std::getline(environment, entry, '\0');) {
    if (entry.starts_with(kName)) return entry.substr(kName.size()) != runtimeFolder;
  }
  return false;
}

bool FindMapped(const std::string& procFolder, pid_t process, const std::string& fileName,
                std::string* path) {
  std::ifstream maps(procFolder + '/' + std::to_string(process) + "/maps");
  std::string line;
  bool any = false;
  while (std::getline(maps, line)) {
    any = true;
    const std::size_t start = line.find('/');
    const std::size_t found = line.rfind('/' + fileName);
    if (start == std::string::npos || found == std::string::npos) continue;
    const std::string_view rest = std::string_view(line).substr(found + 1 + fileName.size());
    if (rest.empty() || rest == " (deleted)") {
      *path = line.substr(start);
      return true;
    }
  }
  path->clear();
  return any;
}

}  // namespace kelvo::finder
