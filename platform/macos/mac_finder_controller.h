#pragma once

#include "platform/finder_controller.h"

namespace kelvo {

// Finder itself. Threads: any. A path that no file URL can be made of is left out; an exception of
// the framework is logged.
class MacFinderController : public FinderController {
 public:
  void setDirectoryURLs(const std::vector<std::string>& paths) override;
  // Nothing for a badge without a picture, which Finder does not take.
  void setBadgeImage(const std::optional<BadgeImage>& image, const std::string& label,
                     const std::string& badgeIdentifier) override;
  void setBadgeIdentifier(const std::string& badgeIdentifier, const std::string& path,
                          std::optional<bool> isDirectory) override;
};

}  // namespace kelvo
