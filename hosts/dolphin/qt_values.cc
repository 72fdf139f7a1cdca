#include "hosts/dolphin/qt_values.h"

#include <QFile>
#include <utility>

#include "hosts/client/file_menu.h"

namespace kelvo {

std::string LocalPath(const QUrl& item) {
  if (!item.isLocalFile()) return {};
  std::string path = QFile::encodeName(item.toLocalFile()).toStdString();
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  return path.find('\0') == std::string::npos ? path : std::string();
}

std::vector<std::string> LocalPaths(const QList<QUrl>& items) {
  std::vector<std::string> paths;
  for (const QUrl& item : items) {
    std::string path = LocalPath(item);
    if (path.empty()) return {};
    paths.push_back(std::move(path));
  }
  return paths;
}

QString ActionText(const std::string& title) {
  return QString::fromStdString(ShownTitle(title, false))
      .replace(QLatin1Char('&'), QLatin1String("&&"));
}

}  // namespace kelvo
