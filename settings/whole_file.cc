#include "settings/whole_file.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstddef>
#include <filesystem>
#include <system_error>

#include "base/file_system.h"
#include "base/logger.h"
#include "base/string_utils.h"
#include "base/unique_fd.h"

namespace kelvo {
namespace {

constexpr std::size_t kMaxBytes = std::size_t{64} << 20;
constexpr std::string_view kUnfinished = ".unfinished-";
constexpr int kMostTries = 10;

std::optional<std::string> Failed(const std::string& path, int error, int* reason) {
  if (reason != nullptr) *reason = error;
  KELVO_LOG(error == ENOENT ? kLogDebug : kLogError, "cannot read "
                                                         << EscapeControlCharacters(path) << ": "
                                                         << std::generic_category().message(error));
  return std::nullopt;
}

// Removes what writers that were killed have left. A living one has its file locked.
void RemoveUnfinished(const std::string& path) {
  const std::filesystem::path file(path);
  const std::string stem = file.filename().string() + std::string(kUnfinished);
  std::error_code ignored;
  for (std::filesystem::directory_iterator entry(file.parent_path(), ignored), end; entry != end;
       entry.increment(ignored)) {
    if (!entry->path().filename().string().starts_with(stem)) continue;
    const UniqueFd fd(
        ::open(entry->path().c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    if (fd && ::flock(fd.get(), LOCK_EX | LOCK_NB) == 0) ::unlink(entry->path().c_str());
  }
}

// A new, locked file beside `path`; its name goes to `name`.
UniqueFd OpenUnfinished(const std::string& path, std::string* name) {
  for (int i = 0; i < kMostTries; ++i) {
    *name = path + std::string(kUnfinished) + "XXXXXX";
    UniqueFd fd(::mkostemp(name->data(), O_CLOEXEC));
    struct stat status;
    if (!fd) return fd;
    while (::flock(fd.get(), LOCK_EX) != 0 && errno == EINTR) continue;
    // Before it was locked, another writer may have taken it for one that was left.
    if (::fstat(fd.get(), &status) == 0 && status.st_nlink > 0) return fd;
  }
  errno = EAGAIN;
  return UniqueFd();
}

}  // namespace

std::optional<std::string> ReadWholeFile(const std::string& path, int* error) {
  // Without waiting for a writer, should it be a pipe.
  const UniqueFd fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
  struct stat status;
  if (!fd || ::fstat(fd.get(), &status) != 0) return Failed(path, errno, error);
  if (S_ISDIR(status.st_mode)) return Failed(path, EISDIR, error);
  if (!S_ISREG(status.st_mode)) return Failed(path, EINVAL, error);
  std::string bytes;
  char chunk[16384];
  while (true) {
    const ssize_t size = ::read(fd.get(), chunk, sizeof chunk);
    if (size < 0 && errno == EINTR) continue;
    if (size < 0) return Failed(path, errno, error);
    if (size == 0) return bytes;
    bytes.append(chunk, static_cast<std::size_t>(size));
    if (bytes.size() > kMaxBytes) return Failed(path, EFBIG, error);
  }
}

int ReplaceWholeFile(const std::string& path, std::string_view bytes, mode_t accessRights) {
  if (!MakeParentFolders(path)) return errno;
  RemoveUnfinished(path);
  std::string temporary;
  const UniqueFd fd = OpenUnfinished(path, &temporary);
  if (!fd) return errno;
  // Only what has reached the disk may take the old file's place. It stays open, and so locked,
  // until it has.
  if (WriteAll(fd.get(), bytes) && ::fchmod(fd.get(), accessRights) == 0 &&
      ::fsync(fd.get()) == 0 && ::rename(temporary.c_str(), path.c_str()) == 0) {
    return 0;
  }
  const int error = errno;
  ::unlink(temporary.c_str());
  return error;
}

bool WriteAll(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(fd, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written == 0) errno = ENOSPC;
    if (written <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

}  // namespace kelvo
