#pragma once

#include <KAbstractFileItemActionPlugin>
#include <QVariantList>

namespace kelvo {

// The extension's lines in context menus. Dolphin has one of it for all menus of a window, other
// programs make one for each menu.
class ActionPlugin final : public KAbstractFileItemActionPlugin {
  Q_OBJECT

 public:
  ActionPlugin(QObject* parent, const QVariantList& arguments);

  QList<QAction*> actions(const KFileItemListProperties& selection, QWidget* window) override;

 private:
  QObject* lines_ = nullptr;  // owns those of the last menu
};

}  // namespace kelvo
