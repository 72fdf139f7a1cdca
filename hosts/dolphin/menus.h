#pragma once

#include <QList>

#include "hosts/client/file_menu.h"

class QAction;
class QObject;
class QWidget;

namespace kelvo {

class FinderClient;

// One action for each of the menu's lines, owned by `parent`, chosen through `client`, which must
// outlive all of them. They keep what they need: a click may come when the parent is already gone.
QList<QAction*> NewActions(FinderClient& client, const FileMenuPtr& menu, QObject* parent,
                           QWidget* window);

}  // namespace kelvo
