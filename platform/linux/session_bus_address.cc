#include "platform/linux/session_bus_address.h"

#include <gio/gio.h>
#include <sys/stat.h>

#include <algorithm>
#include <string_view>

#include "platform/linux/glib_ptr.h"

namespace kelvo {
namespace {

std::string WithoutLaunchers(std::string_view addresses) {
  std::string kept;
  while (!addresses.empty()) {
    const std::size_t end = std::min(addresses.find(';'), addresses.size());
    const std::string_view one = addresses.substr(0, end);
    addresses.remove_prefix(std::min(end + 1, addresses.size()));
    if (one.empty() || one.starts_with("autolaunch:") || one.starts_with("unixexec:")) continue;
    if (!kept.empty()) kept.push_back(';');
    kept.append(one);
  }
  return kept;
}

bool IsSocket(const std::string& path) {
  struct stat status;
  return ::stat(path.c_str(), &status) == 0 && S_ISSOCK(status.st_mode);
}

}  // namespace

std::string SessionBusAddress() {
  if (const char* given = g_getenv("DBUS_SESSION_BUS_ADDRESS"); given != nullptr) {
    if (std::string usable = WithoutLaunchers(given); !usable.empty()) return usable;
  }
  const char* folder = g_getenv("XDG_RUNTIME_DIR");
  if (folder == nullptr || *folder != '/') return {};
  const std::string path = std::string(folder) + "/bus";
  if (!IsSocket(path)) return {};
  const GLibPtr<char> escaped(g_dbus_address_escape_value(path.c_str()));
  return std::string("unix:path=") + escaped.get();
}

}  // namespace kelvo
