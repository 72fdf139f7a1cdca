#include "hosts/client/watched_directories.h"

namespace kelvo {

namespace {

// The folder that holds the path; empty for "/".
std::string_view ParentOf(std::string_view path) {
  if (path.size() < 2) return {};
  const std::size_t slash = path.rfind('/');
  return slash == 0 ? std::string_view("/") : path.substr(0, slash);
}

}  // namespace

std::string JoinPath(std::string_view folder, std::string_view name) {
  std::string path;
  path.reserve(folder.size() + 1 + name.size());
  path.append(folder);
  if (path.empty() || path.back() != '/') path.push_back('/');
  path.append(name);
  return path;
}

WatchedDirectories::WatchedDirectories(const std::vector<std::string>& directories) {
  for (std::string_view path : directories) {
    while (path.size() > 1 && path.back() == '/') path.remove_suffix(1);
    if (path.empty() || path.front() != '/') continue;
    watched_.emplace(path);
    if (const std::string_view parent = ParentOf(path); !parent.empty()) parents_.emplace(parent);
  }
}

WatchedDirectories::Relation WatchedDirectories::RelationOf(std::string_view folder) const {
  for (std::string_view path = folder; !path.empty(); path = ParentOf(path)) {
    if (IsWatched(path)) return Relation::kInside;
  }
  return parents_.find(folder) != parents_.end() ? Relation::kHoldsWatched : Relation::kOutside;
}

}  // namespace kelvo
