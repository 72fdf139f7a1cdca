#include "settings/whole_file.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstddef>
#include <system_error>

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

}  // namespace kelvo
