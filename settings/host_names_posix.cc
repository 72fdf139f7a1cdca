#include <errno.h>
#include <pwd.h>
#include <unistd.h>

#include <cstddef>
#include <vector>

#include "base/string_utils.h"
#include "settings/host_names.h"

namespace kelvo {

std::string ComputerName() {
  char name[256] = {};
  // A name that was cut need not be terminated.
  if (::gethostname(name, sizeof name - 1) != 0 || name[0] == '\0') return "localhost";
  return ToValidUtf8(name);
}

std::string LoginUserName() {
  constexpr std::size_t kMostBytes = std::size_t{1} << 20;
  const uid_t user = ::getuid();
  for (std::size_t size = 1024; size <= kMostBytes; size *= 2) {
    std::vector<char> buffer(size);
    passwd entry = {};
    passwd* found = nullptr;
    const int error = ::getpwuid_r(user, &entry, buffer.data(), buffer.size(), &found);
    if (error == 0 && found != nullptr && *found->pw_name != '\0') {
      return ToValidUtf8(found->pw_name);
    }
    if (error != ERANGE) break;
  }
  return std::to_string(user);
}

}  // namespace kelvo
