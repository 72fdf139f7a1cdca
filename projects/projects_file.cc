#include "projects/projects_file.h"

#include <errno.h>

#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

#include "base/logger.h"
#include "base/string_utils.h"
#include "settings/property_list_binary.h"
#include "settings/property_list_xml.h"
#include "settings/whole_file.h"

namespace kelvo {
namespace {

void LogFailure(std::string_view what, const std::string& path, std::string_view reason) {
  KELVO_LOG(kLogError, what << " " << EscapeControlCharacters(path) << ": " << reason);
}

std::string Reason(int error) { return std::generic_category().message(error); }

std::optional<std::string> FileBytes(const PropertyList& rows) {
  auto bytes = WriteXmlPropertyList(rows);
  // An unescaped text may hold a control character, for which XML has no form.
  return bytes ? bytes : WriteBinaryPropertyList(rows);
}

}  // namespace

std::vector<Project> LoadProjectsFile(const std::string& path) {
  std::vector<Project> projects;
  const auto bytes = ReadWholeFile(path);
  if (!bytes) return projects;
  std::string reason = "no array";
  auto value = ReadPropertyList(*bytes, &reason);
  PropertyList::Array* rows = value ? value->AsArray() : nullptr;
  if (rows == nullptr) {
    LogFailure("there is no list of projects in", path, reason);
    return projects;
  }
  for (PropertyList& row : *rows) {
    if (PropertyList::Dictionary* dictionary = row.AsDictionary()) {
      projects.emplace_back().setDictionary(std::move(*dictionary));
    }
  }
  if (const std::size_t skipped = rows->size() - projects.size(); skipped != 0) {
    LogFailure("rows are no projects in", path, std::to_string(skipped));
  }
  return projects;
}

bool StoreProjectsFile(const std::string& path, const PropertyList& rows) {
  const auto bytes = FileBytes(rows);
  const int error = bytes ? ReplaceWholeFile(path, *bytes, 0600) : EILSEQ;
  if (error == 0) return true;
  LogFailure("cannot write", path, Reason(error));
  KELVO_LOG(kLogError, "ERROR: Unable to save project list: " << EscapeControlCharacters(path));
  return false;
}

}  // namespace kelvo
