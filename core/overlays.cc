#include "core/overlays.h"

#include <utility>

#include "core/finder_configuration.h"

namespace kelvo {
namespace {

bool HidesInSyncBadge(int status, bool isFolder) {
  if (isFolder || status != static_cast<int>(BadgeStatus::kInSync)) return false;
  const CFinderConfiguration* configuration = CFinderConfiguration::m_Instance;
  return configuration != nullptr && !configuration->ShowGreenCheckmarks();
}

}  // namespace

std::array<std::optional<BadgeImage>, 7>& Overlays::Images() {
  static auto* images = new std::array<std::optional<BadgeImage>, 7>();
  return *images;
}

void Overlays::loadOverlaysForBundle(const Bundle& bundle) {
  Images().fill(std::nullopt);
  for (const BadgeDescription& badge : kBadges) {
    Images()[static_cast<std::size_t>(badge.status)] = loadImageInBundle(bundle, badge.imageName);
  }
}

std::optional<BadgeImage> Overlays::loadImageInBundle(const Bundle& bundle,
                                                      const std::string& name) {
  std::optional<std::string> path = bundle.pathForResource(name, "icns");
  if (!path) return std::nullopt;
  return BadgeImage{name, std::move(*path)};
}

const std::optional<BadgeImage>& Overlays::getImageForStatus(int status) {
  return Images()[static_cast<std::size_t>(status)];
}

std::string Overlays::getIdentifierForStatus(int status) {
  return status == 0 ? std::string() : std::to_string(status);
}

std::optional<BadgeImage> Overlays::getImageForStatus(int status, bool isFolder) {
  if (HidesInSyncBadge(status, isFolder)) return std::nullopt;
  return getImageForStatus(status);
}

bool Overlays::dependsOnFolder(int status) { return HidesInSyncBadge(status, false); }

std::string Overlays::getIdentifierForStatus(int status, bool isFolder) {
  return getIdentifierForStatus(HidesInSyncBadge(status, isFolder) ? 0 : status);
}

}  // namespace kelvo
