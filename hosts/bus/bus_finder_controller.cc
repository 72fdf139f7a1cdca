#include "hosts/bus/bus_finder_controller.h"

#include <utility>

#include "base/logger.h"
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
                                             const std::string& path, bool isDirectory) {
  badges_.NoteRepaint(path, BadgeOfIdentifier(badgeIdentifier), isDirectory);
}

}  // namespace kelvo
