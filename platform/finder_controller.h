#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kelvo {

// A badge picture of the extension's bundle.
struct BadgeImage {
  std::string name;  // resource name without its type, such as "locked_red"
  std::string path;  // the .icns file
};

// What the extension tells the file manager. Any thread.
class FinderController {
 public:
  virtual ~FinderController() = default;
  // Replaces the watched folders; absolute paths.
  virtual void setDirectoryURLs(const std::vector<std::string>& paths) = 0;
  virtual void setBadgeImage(const std::optional<BadgeImage>& image, const std::string& label,
                             const std::string& badgeIdentifier) = 0;
  // The empty identifier clears the badge. `isDirectory` spares the host another look at the disk.
  virtual void setBadgeIdentifier(const std::string& badgeIdentifier, const std::string& path,
                                  bool isDirectory) = 0;
};

}  // namespace kelvo
