#include "hosts/dolphin/action_plugin.h"

#include <KFileItem>
#include <KFileItemListProperties>
#include <KPluginFactory>
#include <QList>
#include <QUrl>

#include "hosts/dolphin/client.h"

K_PLUGIN_CLASS_WITH_JSON(kelvo::ActionPlugin, "action_plugin.json")

namespace kelvo {

ActionPlugin::ActionPlugin(QObject* parent, const QVariantList&)
    : KAbstractFileItemActionPlugin(parent) {}

QList<QAction*> ActionPlugin::actions(const KFileItemListProperties& selection, QWidget* window) {
  DolphinClient* const client = kelvo_dolphin_client();
  if (client == nullptr) return {};
  if (lines_ != nullptr) lines_->deleteLater();  // one of them may be at work
  lines_ = new QObject(this);
  QList<QUrl> items;
  for (const KFileItem& item : selection.items()) items.append(item.mostLocalUrl());
  return client->Actions(items, lines_, window);
}

}  // namespace kelvo

#include "action_plugin.moc"
