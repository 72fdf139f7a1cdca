// What goes to and fro between Qt's values and ours.
#pragma once

#include <QList>
#include <QString>
#include <QUrl>
#include <string>
#include <vector>

namespace kelvo {

// As the file manager opens the file itself; empty for what is not local, or cannot be a path.
std::string LocalPath(const QUrl& item);

// The paths of all items; none if one of them has none: a menu acts on the whole selection.
std::vector<std::string> LocalPaths(const QList<QUrl>& items);

// The title as an action's text, in which a single "&" would mark a key.
QString ActionText(const std::string& title);

}  // namespace kelvo
