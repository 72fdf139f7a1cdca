#include "hosts/bus/bus_paths.h"

namespace kelvo {

bool IsBusPath(std::string_view path) {
  if (!path.starts_with('/') || path.find('\0') != std::string_view::npos) return false;
  return path.size() == 1 || !path.ends_with('/');
}

bool IsItemName(std::string_view name) {
  return !name.empty() && name != "." && name != ".." && name.find('/') == std::string_view::npos;
}

bool SplitNames(std::string_view packed, std::vector<std::string_view>* names) {
  if (!packed.empty() && packed.back() != '\0') return false;
  while (!packed.empty()) {
    const std::size_t end = packed.find('\0');
    names->push_back(packed.substr(0, end));
    packed.remove_prefix(end + 1);
  }
  return true;
}

std::string ItemPath(std::string_view folder, std::string_view name) {
  std::string path;
  path.reserve(folder.size() + 1 + name.size());
  path += folder;
  if (folder != "/") path += '/';
  path += name;
  return path;
}

}  // namespace kelvo
