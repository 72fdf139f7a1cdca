#include "hosts/bus/bus_finder_controller.h"

#include <utility>

#include "base/logger.h"
#include "base/string_utils.h"
#include "hosts/bus/bus_paths.h"

namespace kelvo {

void BusFinderController::setDirectoryURLs(const std::vector<std::string>& paths) {
  std::vector<std::string> directories;
  for (const std::string& path : paths) {
    if (IsBusPath(path)) {
      directories.push_back(path);
    } else {
      KELVO_LOG(kLogWarning, "Cannot be watched: " << path);
    }
  }
  service_.SetDirectoryURLs(std::move(directories));
}

void BusFinderController::setBadgeImage(const std::optional<BadgeImage>&, const std::string&,
                                        const std::string&) {}

void BusFinderController::setBadgeIdentifier(const std::string& badgeIdentifier,
                                             const std::string& path,
                                             std::optional<bool> isDirectory) {
  std::string_view directory;
  std::string_view name;
  if (!SplitPath(path, &directory, &name)) return;
  const ItemBadge item{name, badgeIdentifier, isDirectory};
  badges_.NoteRepaints(directory, {&item, 1});
}

void BusFinderController::setBadgeIdentifiers(const std::string& directory,
                                              std::span<const ItemBadge> items,
                                              std::uint64_t asOf) {
  badges_.NoteRepaints(directory, items, asOf);
}

}  // namespace kelvo
