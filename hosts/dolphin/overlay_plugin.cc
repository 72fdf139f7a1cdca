#include "hosts/dolphin/overlay_plugin.h"

namespace kelvo {

OverlayPlugin::OverlayPlugin() {
  if (client_ == nullptr) return;
  // Views take no notice of the list, but ask for it.
  following_ =
      client_->FollowBadges([this](const QUrl& item) { Q_EMIT overlaysChanged(item, {}); });
}

QStringList OverlayPlugin::getOverlays(const QUrl& item) {
  const QString icon = client_ == nullptr ? QString() : client_->BadgeIcon(item);
  return icon.isEmpty() ? QStringList() : QStringList(icon);
}

}  // namespace kelvo
