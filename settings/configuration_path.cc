#include "settings/configuration_path.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <utility>

#include "base/agent_id.h"
#include "base/file_system.h"
#include "base/mutex.h"
#include "base/property_list.h"
#include "base/string_utils.h"
#include "settings/properties.h"
#include "settings/property_list_xml.h"
#include "settings/whole_file.h"

namespace kelvo {
namespace {

constexpr char kAlternativesList[] =
    "~/Library/Preferences/com.kelvo.configs/com.kelvo.vip/alternative_configs.plist";
constexpr char kAlternativesFolder[] = "~/Library/Preferences/com.kelvo.configs/com.kelvo.vip/";
constexpr char kDefaultFolder[] = "~/Library/Preferences/com.kelvo.vip";
constexpr char kDefaultLabel[] = "Default";
constexpr char kDefaultAgent[] = "1";
constexpr std::uint32_t kBufferSize = 1024;

// Two mutexes, so that only those who need the folder before it is known wait for the list's lock.
struct State {
  CMutex computing{kMutexNormal};  // held while the list is read
  CMutex mutex{kMutexNormal};      // never held across anything that blocks
  std::string ConfigBasePath KELVO_GUARDED_BY(mutex);
};

State& TheState() {
  static State* const state = new State;  // never destroyed: threads may outlive main()
  return *state;
}

std::string KnownBasePath() {
  State& state = TheState();
  CMutexLock lock(state.mutex);
  return state.ConfigBasePath;
}

using Rows = std::optional<PropertyList::Array>;

// Of the first active row; nullopt also when that row has none.
std::optional<std::string> ActiveLabel(const Rows& rows) {
  if (!rows) return std::nullopt;
  for (std::size_t row = 0; row < rows->size(); ++row) {
    if (GetBoolPropertyWithDefaultForRowInArray(*rows, row, "active_config", false)) {
      return GetStringPropertyForRowInArray(*rows, row, "label_of_config");
    }
  }
  return std::nullopt;
}

std::string ComputeBasePath(const Rows& rows) {
  const std::optional<std::string> label = ActiveLabel(rows);
  std::string path = label && *label != kDefaultLabel
                         ? ExpandTildeInPath(kAlternativesFolder) + *label
                         : ExpandTildeInPath(kDefaultFolder);
  if (!AgentID().empty() && AgentID() != kDefaultAgent) path += "/account_" + AgentID();
  return path;
}

std::string BasePath() {
  std::string path = KnownBasePath();
  if (!path.empty()) return path;
  State& state = TheState();
  CMutexLock computing(state.computing);
  path = KnownBasePath();  // another thread may have been first
  if (!path.empty()) return path;
  path = ComputeBasePath(
      LoadPropertiesFromFileToArrayOfDictionaries(ExpandTildeInPath(kAlternativesList)));
  CMutexLock lock(state.mutex);
  state.ConfigBasePath = path;
  return path;
}

}  // namespace

void GetConfigurationPath(std::string* path, const char* fileName) {
  *path = BasePath();
  if (fileName != nullptr) path->append("/").append(fileName);
}

std::string GetConfigurationPath(const char* fileName) {
  std::string path;
  GetConfigurationPath(&path, fileName);
  return path;
}

char* GetConfigurationPath(char* buffer, const char* fileName, std::uint32_t size) {
  const std::string path = GetConfigurationPath(fileName);
  std::memcpy(buffer, path.c_str(), std::min<std::size_t>(path.size() + 1, size));
  return buffer;
}

std::string GetConfigurationNsPath(const std::string* fileName) {
  char buffer[kBufferSize];
  if (fileName == nullptr || fileName->empty()) {
    GetConfigurationPath(buffer, nullptr, kBufferSize);
  } else {
    GetConfigurationPath(buffer, FilesystemRepresentation(*fileName).c_str(), kBufferSize);
  }
  return std::string(buffer, ::strnlen(buffer, kBufferSize));
}

std::string PeekAtConfigurationPath(const char* fileName) {
  Rows rows;
  if (const auto bytes = ReadWholeFile(ExpandTildeInPath(kAlternativesList))) {
    auto list = ReadPropertyList(*bytes, nullptr);
    if (list && list->AsArray() != nullptr) rows = std::move(*list->AsArray());
  }
  return ComputeBasePath(rows) + '/' + fileName;
}

void ResetConfigurationPathForTesting() {
  CMutexLock lock(TheState().mutex);
  TheState().ConfigBasePath.clear();
}

}  // namespace kelvo
