#include "hosts/dolphin/desktop.h"

#include <KStartupInfo>
#include <KUserTimestamp>
#include <KWindowSystem>
#include <QClipboard>
#include <QFileInfo>
#include <QGuiApplication>
#include <QTimer>
#include <QWidget>
#include <QWindow>
#include <memory>
#include <utility>

#include "hosts/client/quietly.h"

namespace kelvo {

namespace {

constexpr int kCompositorLimit = 1000;  // milliseconds

// A time of the X server is of 32 bits.
std::string TimeToken() {
  const auto time = static_cast<quint32>(KUserTimestamp::userTimestamp());
  return time == 0 ? std::string()
                   : KStartupInfo::createNewStartupIdForTimestamp(time).toStdString();
}

void AskCompositor(QWindow* window, std::function<void(const std::string&)> use) {
  auto* const waiting = new QTimer;
  waiting->setSingleShot(true);
  const auto serial = static_cast<int>(KWindowSystem::lastInputSerial(window));
  const auto finish =
      [waiting, use = std::make_shared<decltype(use)>(std::move(use))](const std::string& token) {
        waiting->deleteLater();
        const auto once = std::exchange(*use, nullptr);
        if (once) Quietly([&] { once(token); });
      };
  QObject::connect(KWindowSystem::self(), &KWindowSystem::xdgActivationTokenArrived, waiting,
                   [serial, finish](int arrived, const QString& token) {
                     if (arrived == serial) finish(token.toStdString());
                   });
  QObject::connect(waiting, &QTimer::timeout, [finish] { finish({}); });
  waiting->start(kCompositorLimit);
  KWindowSystem::requestXdgActivationToken(window, static_cast<std::uint32_t>(serial),
                                           QStringLiteral("kelvo-finder-dialog"));
}

}  // namespace

void WithActivationToken(const QWidget* window, std::function<void(const std::string&)> use) {
  if (KWindowSystem::isPlatformX11()) return use(TimeToken());
  QWindow* const handle = window == nullptr ? nullptr : window->window()->windowHandle();
  if (handle == nullptr || !KWindowSystem::isPlatformWayland()) return use({});
  AskCompositor(handle, std::move(use));
}

QString FindableIcon(const std::string& name) {
  QString icon = QString::fromStdString(name);
#ifdef KELVO_ICON_FOLDER
  if (icon.isEmpty()) return icon;
  for (const char* const context : {"emblems", "apps"}) {
    const QString file = QStringLiteral(KELVO_ICON_FOLDER "/hicolor/scalable/%1/%2.svg")
                             .arg(QLatin1String(context), icon);
    if (QFileInfo::exists(file)) return file;
  }
#endif
  return icon;
}

bool SetClipboard(const std::string& text) {
  QClipboard* const clipboard = QGuiApplication::clipboard();
  if (clipboard == nullptr) return false;
  clipboard->setText(QString::fromStdString(text));
  return clipboard->ownsClipboard();
}

}  // namespace kelvo
