#include "tools/finder/doctor/configuration_checks.h"

#include <errno.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <future>
#include <optional>
#include <system_error>

#include "base/property_list.h"
#include "base/string_utils.h"
#include "settings/configuration_path.h"
#include "settings/property_list_xml.h"
#include "settings/whole_file.h"
#include "tools/finder/doctor/limits.h"

namespace kelvo::finder {
namespace {

constexpr char kFileName[] = "user_info.plist";
constexpr char kLabelKey[] = "config_label";
constexpr char kSignIn[] = "Start the Kelvo Agent and sign in: it writes this file.";

std::string Reason(int error) { return std::generic_category().message(error); }

struct FileContents {
  int error = 0;
  bool isOrdinary = true;
  std::string bytes;
};

// nullopt when the file system does not answer.
std::optional<FileContents> Read(const std::string& file) {
  return Within(kPatience, [file] {
    FileContents contents;
    struct stat status;
    if (::stat(file.c_str(), &status) != 0) {
      contents.error = errno;
    } else if (!S_ISREG(status.st_mode)) {
      contents.isOrdinary = false;
    } else if (auto bytes = ReadWholeFile(file, &contents.error)) {
      contents.bytes = std::move(*bytes);
    } else if (contents.error == 0) {
      contents.error = EIO;
    }
    return contents;
  });
}

void CheckLabel(const PropertyList& settings, const ExtensionFacts& facts, Check* check) {
  const PropertyList::Dictionary* dictionary = settings.AsDictionary();
  if (dictionary == nullptr) {
    check->Fail("It holds no settings: it is a property list, but no dictionary.",
                "Move it away, start the Agent anew and sign in.");
    return;
  }
  const PropertyList* value = FindValue(*dictionary, kLabelKey);
  const std::string label = value == nullptr ? "" : value->ToText().value_or("");
  check->Pass(label.empty() ? "It names no label; the usual one holds."
                            : "Its label is \"" + Shown(label) + "\".");
  if (!facts.diagnosis) return;
  const std::string& known = facts.diagnosis->configurationLabel;
  if (!facts.diagnosis->configurationRead) {
    check->Warn("The extension has not read it yet.",
                "It does so when the Agent says so: see the connection to the Agent above.");
  } else if (!label.empty() && known != label) {
    check->Warn("The extension still goes by the label \"" + Shown(known) + "\".",
                "Start the Agent anew: the extension then reads the file again.");
  }
}

// What is wrong with a watched folder; empty when nothing is.
std::string Examine(const std::string& folder) {
  struct stat status;
  if (::stat(folder.c_str(), &status) != 0) {
    return errno == ENOENT ? "does not exist" : "cannot be reached: " + Reason(errno);
  }
  if (!S_ISDIR(status.st_mode)) return "is no folder";
  if (::access(folder.c_str(), R_OK | X_OK) != 0) return "cannot be read: " + Reason(errno);
  return {};
}

}  // namespace

Check ConfigurationCheck() { return {"configuration", "Configuration"}; }

std::string ConfigurationFile(const ExtensionFacts& facts, Check* check) {
  if (facts.diagnosis && !facts.diagnosis->configurationFile.empty()) {
    return facts.diagnosis->configurationFile;
  }
  if (ExpandTildeInPath("~").empty()) {
    check->Note("Not examined: HOME is not set, so nobody knows where the settings lie.");
    return {};
  }
  const auto file = Within(kPatience, [] { return PeekAtConfigurationPath(kFileName); });
  if (file) return *file;
  check->Fail("Your home folder does not answer within 2 seconds.",
              "See to the disk or network that it is on.");
  return {};
}

Check CheckConfiguration(const std::string& file, const ExtensionFacts& facts, Check check) {
  if (file.empty()) return check;
  const auto contents = Read(file);
  if (!contents) {
    check.Fail(Shown(file) + " does not come within 2 seconds.",
               "See to the disk or network that your home folder is on.");
  } else if (!contents->isOrdinary) {
    check.Fail(Shown(file) + " is no ordinary file.",
               "Remove it, then start the Kelvo Agent and sign in: it writes this file.");
  } else if (contents->error == ENOENT) {
    check.Fail("There is no " + Shown(file) + ": no account is set up here.", kSignIn);
  } else if (contents->error != 0) {
    check.Fail(Shown(file) + " cannot be read: " + Reason(contents->error) + ".",
               "See whose it is and who may read it: ls -l " + Shown(file));
  } else if (contents->bytes.empty()) {
    check.Fail(Shown(file) + " is empty: no account is set up here.", kSignIn);
  } else {
    std::string error;
    const auto settings = ReadPropertyList(contents->bytes, &error);
    if (!settings) {
      check.Fail(Shown(file) + " is damaged: " + Shown(error) + ".",
                 "Move it away, start the Agent anew and sign in.");
      return check;
    }
    check.Pass(Shown(file) + " can be read.");
    CheckLabel(*settings, facts, &check);
  }
  return check;
}

Check CheckWatchedFolders(const ExtensionFacts& facts) {
  Check check{"watched-folders", "Watched folders"};
  if (!facts.properties) {
    check.Note("Not examined: the extension does not answer.");
    return check;
  }
  constexpr std::size_t kMost = 200;  // each takes a thread for a moment
  const auto& folders = facts.properties->directories;
  if (folders.empty()) {
    check.Fail("No folder is watched, so nothing gets a badge.",
               "Sign in in the Kelvo Agent, and let it sync a folder.");
  }
  std::vector<std::future<std::string>> examined;
  for (std::size_t i = 0; i < std::min(folders.size(), kMost); ++i) {
    examined.push_back(Begin([folder = folders[i]] { return Examine(folder); }));
  }
  const auto end = std::chrono::steady_clock::now() + kPatience;
  for (std::size_t i = 0; i < examined.size(); ++i) {
    if (!examined[i].valid()) {
      check.Note(Shown(folders[i]) + " was not examined: the system gives no further threads.");
      continue;
    }
    const auto fault = ResultBy(examined[i], end);
    if (!fault) {
      check.Fail(Shown(folders[i]) + " does not answer within 2 seconds.",
                 "See to the disk or network that it is on.");
    } else if (fault->empty()) {
      check.Pass(Shown(folders[i]) + " is there.");
    } else {
      check.Fail(Shown(folders[i]) + " " + *fault + ".",
                 "Put the folder back where it was, or tell the Agent where it is now.");
    }
  }
  if (folders.size() > kMost) {
    check.Note(std::to_string(folders.size() - kMost) + " more were not examined.");
  }
  return check;
}

}  // namespace kelvo::finder
