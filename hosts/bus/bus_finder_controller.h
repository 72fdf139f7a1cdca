#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "hosts/bus/badge_table.h"
#include "hosts/bus/bus_service.h"
#include "platform/finder_controller.h"

namespace kelvo {

// Tells the bus's clients what the extension tells the file manager. Any thread.
class BusFinderController : public FinderController {
 public:
  BusFinderController(BadgeTable& badges, BusService& service)
      : badges_(badges), service_(service) {}

  void setDirectoryURLs(const std::vector<std::string>& paths) override;
  // Nothing to do: file managers look badges up in the icon theme, under the names that the bus's
  // property "Badges" gives from the start.
  void setBadgeImage(const std::optional<BadgeImage>& image, const std::string& label,
                     const std::string& badgeIdentifier) override;
  void setBadgeIdentifier(const std::string& badgeIdentifier, const std::string& path,
                          std::optional<bool> isDirectory) override;
  void setBadgeIdentifiers(const std::string& directory, std::span<const ItemBadge> items,
                           std::uint64_t asOf) override;

 private:
  BadgeTable& badges_;
  BusService& service_;
};

}  // namespace kelvo
