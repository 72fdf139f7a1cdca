#pragma once

#include <cstdint>
#include <optional>
#include <span>
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
  // The badge of one item of a folder.
  struct ItemBadge {
    std::string_view name;
    std::string identifier;
    std::optional<bool> isDirectory;
  };

  virtual ~FinderController() = default;
  // Replaces the watched folders; absolute paths.
  virtual void setDirectoryURLs(const std::vector<std::string>& paths) = 0;
  virtual void setBadgeImage(const std::optional<BadgeImage>& image, const std::string& label,
                             const std::string& badgeIdentifier) = 0;
  // The empty identifier clears the badge. `isDirectory`: when that was looked at, so that the host
  // need not look again.
  virtual void setBadgeIdentifier(const std::string& badgeIdentifier, const std::string& path,
                                  std::optional<bool> isDirectory) = 0;
  // The same for items of one folder, in order. `directory` is empty for "/". `asOf`: what
  // FinderSync::badgeChanges was before the badges were worked out.
  virtual void setBadgeIdentifiers(const std::string& directory, std::span<const ItemBadge> items,
                                   std::uint64_t /*asOf*/) {
    for (const ItemBadge& item : items) {
      setBadgeIdentifier(item.identifier, directory + "/" + std::string(item.name),
                         item.isDirectory);
    }
  }
};

}  // namespace kelvo
