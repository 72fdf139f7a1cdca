#include "settings/whole_file.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstddef>
#include <system_error>

#include "base/file_system.h"
#include "base/logger.h"
#include "base/string_utils.h"
#include "base/unique_fd.h"

namespace kelvo {
namespace {

constexpr std::size_t kMaxBytes = std::size_t{64} << 20;

std::optional<std::string> Failed(const std::string& path, int error, int* reason) {
  if (reason != nullptr) *reason = error;
  KELVO_LOG(error == ENOENT ? kLogDebug : kLogError, "cannot read "
                                                         << EscapeControlCharacters(path) << ": "
                                                         << std::generic_category().message(error));
  return std::nullopt;
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
  std::string temporary = path + ".XXXXXX";
  UniqueFd fd(::mkostemp(temporary.data(), O_CLOEXEC));
  if (!fd) return errno;
  // Only what has reached the disk may take the old file's place.
  if (WriteAll(fd.get(), bytes) && ::fchmod(fd.get(), accessRights) == 0 &&
      ::fsync(fd.get()) == 0 && ::close(fd.Release()) == 0 &&
      ::rename(temporary.c_str(), path.c_str()) == 0) {
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
