#include "projects/projects_file.h"

#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

#include "base/file_system.h"
#include "base/logger.h"
#include "base/string_utils.h"
#include "base/unique_fd.h"
#include "settings/property_list_binary.h"
#include "settings/property_list_limits.h"
#include "settings/property_list_xml.h"

namespace kelvo {
namespace {

void LogFailure(std::string_view what, const std::string& path, std::string_view reason) {
  KELVO_LOG(kLogError, what << " " << EscapeControlCharacters(path) << ": " << reason);
}

std::string Reason(int error) { return std::generic_category().message(error); }

// 0 and the bytes, or the error.
int ReadBytes(const std::string& path, std::string* bytes) {
  // Does not wait for a writer, should the path be a pipe.
  const UniqueFd fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat status {};
  if (!fd || ::fstat(fd.get(), &status) != 0) return errno;
  if (!S_ISREG(status.st_mode)) return EINVAL;
  char chunk[65536];
  while (true) {
    const ssize_t size = ::read(fd.get(), chunk, sizeof chunk);
    if (size == 0) return 0;
    if (size < 0 && errno == EINTR) continue;
    if (size < 0) return errno;
    bytes->append(chunk, static_cast<std::size_t>(size));
    if (bytes->size() > kMaxPropertyListBytes) return EFBIG;
  }
}

bool WriteAll(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(fd, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

// 0, or the error; then no trace is left.
int ReplaceFile(const std::string& path, std::string_view bytes) {
  if (!MakeParentFolders(path)) return errno;
  std::string temporary = path + ".XXXXXX";
  UniqueFd fd(::mkostemp(temporary.data(), O_CLOEXEC));
  if (!fd) return errno;
  // Only what has reached the disk may take the old file's place.
  if (WriteAll(fd.get(), bytes) && ::fsync(fd.get()) == 0 && ::close(fd.Release()) == 0 &&
      ::rename(temporary.c_str(), path.c_str()) == 0) {
    return 0;
  }
  const int error = errno;
  ::unlink(temporary.c_str());
  return error;
}

std::optional<std::string> FileBytes(const PropertyList& rows) {
  auto bytes = WriteXmlPropertyList(rows);
  // An unescaped text may hold a control character, for which XML has no form.
  return bytes ? bytes : WriteBinaryPropertyList(rows);
}

}  // namespace

std::vector<Project> LoadProjectsFile(const std::string& path) {
  std::vector<Project> projects;
  std::string bytes;
  if (const int error = ReadBytes(path, &bytes); error != 0) {
    if (error != ENOENT) LogFailure("cannot read", path, Reason(error));
    return projects;
  }
  std::string reason = "no array";
  auto value = ReadPropertyList(bytes, &reason);
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
  const int error = bytes ? ReplaceFile(path, *bytes) : EILSEQ;
  if (error == 0) return true;
  LogFailure("cannot write", path, Reason(error));
  KELVO_LOG(kLogError, "ERROR: Unable to save project list: " << EscapeControlCharacters(path));
  return false;
}

}  // namespace kelvo
