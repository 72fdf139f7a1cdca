#pragma once

#include <KPropertiesDialog>
#include <QList>
#include <QVariantList>

#include "hosts/dolphin/client.h"

class QFormLayout;
class QLabel;

namespace kelvo {

// A page in the properties of an item of which the extension has something to say: what its badge
// means, who has locked it, what the user may do with it, as texts that a screen reader finds.
class PropertiesPlugin final : public KPropertiesDialogPlugin {
  Q_OBJECT

 public:
  PropertiesPlugin(QObject* dialog, const QVariantList& arguments);

 private:
  void Show(const QList<ItemText>& texts);
  void AddPage(const QList<ItemText>& texts);

  // The dialog's; null before there is anything to say.
  QFormLayout* form_ = nullptr;
  QList<QLabel*> texts_;
  DolphinClient::Handle following_;
};

}  // namespace kelvo
