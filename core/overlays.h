#pragma once

#include <array>
#include <optional>
#include <string>

#include "cache/badge_status.h"
#include "platform/finder_controller.h"
#include "settings/application_bundle.h"

namespace kelvo {

// One badge as the file manager is told of it.
struct BadgeDescription {
  BadgeStatus status;
  const char* label;
  const char* imageName;  // bundle resource of type "icns"
};

// Statuses 1 to 6 in order.
// Deliberate crossings: the red lock is somebody else's, the plain lock the user's own; a pending
// unlock shows the picture of syncing.
inline constexpr std::array<BadgeDescription, 6> kBadges = {{
    {BadgeStatus::kInSync, "in-sync", "in-sync"},
    {BadgeStatus::kDirty, "dirty", "syncing"},
    {BadgeStatus::kLocked, "locked", "locked_red"},
    {BadgeStatus::kLockedForMe, "locked_me", "locked"},
    {BadgeStatus::kPendingUnlock, "pending_unlock", "syncing"},
    {BadgeStatus::kPermissions, "permissions", "permissionViolation"},
}};

// Badge images and identifiers by status.
//
// Threads: the images are loaded once at start; everything else from any thread.
class Overlays {
 public:
  static void loadOverlaysForBundle(const Bundle& bundle);
  static std::optional<BadgeImage> loadImageInBundle(const Bundle& bundle, const std::string& name);
  // `status` is 0 to 6. nullopt for 0 and for a picture that the bundle lacks.
  static const std::optional<BadgeImage>& getImageForStatus(int status);
  // The status as decimal text, empty for 0.
  static std::string getIdentifierForStatus(int status);
  // A file in sync has none while green check marks are switched off; folders keep theirs.
  static std::optional<BadgeImage> getImageForStatus(int status, bool isFolder);
  static std::string getIdentifierForStatus(int status, bool isFolder);
  // Whether these two differ for folders and others at present; as a rule, nobody needs to look.
  static bool dependsOnFolder(int status);

 private:
  static std::array<std::optional<BadgeImage>, 7>& Images();
};

}  // namespace kelvo
