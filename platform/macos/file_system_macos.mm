#include <limits.h>
#include <pwd.h>
#include <unistd.h>

#include "base/file_system.h"
#include "platform/macos/objc_support.h"

namespace kelvo {

std::string FilesystemRepresentation(std::string_view utf8Path) {
  if (utf8Path.empty() || utf8Path.find('\0') != std::string_view::npos) return {};
  @autoreleasepool {
    @try {
      char bytes[PATH_MAX];
      NSString* path = StringFromUtf8(utf8Path);
      const bool fits = path != nil && [path getFileSystemRepresentation:bytes
                                                               maxLength:sizeof bytes];
      return fits ? std::string(bytes) : std::string();
    } @catch (NSException* exception) {
      LogException("getFileSystemRepresentation", exception);
      return {};
    }
  }
}

// Not the environment's, which in a sandbox names the container. The Agent's files lie in the
// user's own folder.
std::string HomeFolder() {
  static const std::string* const folder = [] {
    const passwd* const user = ::getpwuid(::getuid());
    return new std::string(user == nullptr ? "" : user->pw_dir);
  }();
  return *folder;
}

}  // namespace kelvo
