#include "hosts/gtk/local_path.h"

namespace kelvo {

// A remote place that is mounted has a path, too, but GIO waits for another process to tell it.
std::string_view LocalPath(GFile* location) {
  if (location == nullptr || !g_file_is_native(location)) return {};
  const char* const path = g_file_peek_path(location);
  return path == nullptr ? std::string_view() : std::string_view(path);
}

}  // namespace kelvo
