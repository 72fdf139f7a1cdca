#include "hosts/dolphin/menus.h"

#include <QAction>
#include <QIcon>
#include <QPointer>
#include <QString>
#include <QWidget>
#include <string>
#include <vector>

#include "hosts/client/finder_client.h"
#include "hosts/client/quietly.h"
#include "hosts/dolphin/desktop.h"
#include "hosts/dolphin/qt_values.h"

namespace kelvo {

namespace {

QIcon Picture(const FileMenuLine& line) {
  if (line.icon.empty()) return {};
  const QString icon = FindableIcon(line.icon);
  return icon.startsWith(QLatin1Char('/')) ? QIcon(icon) : QIcon::fromTheme(icon);
}

// The token may take a moment, and the menu with its actions goes meanwhile.
void Choose(FinderClient& client, const FileMenuPtr& menu, std::size_t line,
            const QWidget* window) {
  WithActivationToken(window, [&client, menu, line](const std::string& token) {
    client.Choose(*menu, menu->lines[line], token);
  });
}

QAction* NewAction(FinderClient& client, const FileMenuPtr& menu, std::size_t index,
                   QObject* parent, QWidget* window) {
  const FileMenuLine& line = menu->lines[index];
  auto* const action = new QAction(parent);
  if (line.separator) {
    action->setSeparator(true);
    return action;
  }
  action->setText(ActionText(line.title));
  action->setEnabled(line.enabled);
  action->setIcon(Picture(line));
  QObject::connect(action, &QAction::triggered,
                   [&client, menu, index, window = QPointer<QWidget>(window)] {
                     Quietly([&] { Choose(client, menu, index, window.data()); });
                   });
  return action;
}

}  // namespace

QList<QAction*> NewActions(FinderClient& client, const FileMenuPtr& menu, QObject* parent,
                           QWidget* window) {
  QList<QAction*> actions;
  const std::vector<std::string> names = UniqueNames(*menu);
  for (std::size_t i = 0; i < names.size(); ++i) {
    actions.append(NewAction(client, menu, i, parent, window));
    actions.back()->setObjectName(QString::fromStdString(names[i]));
  }
  return actions;
}

}  // namespace kelvo
