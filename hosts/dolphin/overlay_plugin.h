#pragma once

#include <KOverlayIconPlugin>

#include "hosts/dolphin/client.h"

namespace kelvo {

// The badges of items.
class OverlayPlugin final : public KOverlayIconPlugin {
  Q_OBJECT
  Q_PLUGIN_METADATA(IID "com.kelvo.FinderSync.Overlay" FILE "overlay_plugin.json")

 public:
  OverlayPlugin();

  QStringList getOverlays(const QUrl& item) override;

 private:
  DolphinClient* const client_ = kelvo_dolphin_client();
  DolphinClient::Handle following_;
};

}  // namespace kelvo
