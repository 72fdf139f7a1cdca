#include "hosts/gtk/local_path.h"

#include "platform/linux/glib_ptr.h"

namespace kelvo {

// A remote place that is mounted has a path, too, but GIO waits for another process to tell it.
std::string LocalPath(GFile* location) {
  if (location == nullptr || !g_file_is_native(location)) return {};
  const GLibPtr<char> path(g_file_get_path(location));
  return path ? std::string(path.get()) : std::string();
}

}  // namespace kelvo
