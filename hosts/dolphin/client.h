#pragma once

#include <QList>
#include <QString>
#include <QUrl>
#include <functional>
#include <memory>

class QAction;
class QObject;
class QWidget;

namespace kelvo {

// A text of an item's description, for the user.
struct ItemText {
  QString title;
  QString meaning;  // what the title stands for
  QString text;     // empty where there is nothing to say
};

// What the plug-ins share that Dolphin loads into one process: the connection to the extension and
// the table of what is known. It lives in a library of its own, of which this interface is all that
// the plug-ins see.
//
// Items are local ones; of any other nothing is known.
//
// Threads: the main thread only. Nothing blocks, but for Actions. Nothing throws.
// Lifetime: made on first use, never destroyed.
class DolphinClient {
 public:
  // Ends what it stands for when it goes.
  using Handle = std::shared_ptr<void>;

  // What a view draws on the item: an icon's full name or its file; empty for nothing.
  virtual QString BadgeIcon(const QUrl& item) noexcept = 0;
  // `tell` is called when views are to ask for an item anew, never from inside BadgeIcon. A view
  // that shows it must ask before that returns.
  virtual Handle FollowBadges(std::function<void(const QUrl&)> tell) noexcept = 0;

  // `tell` is called with the same texts each time, in order: at once when something is known of
  // the item, and whenever that changes; never from inside BadgeIcon.
  virtual Handle FollowTexts(const QUrl& item,
                             std::function<void(const QList<ItemText>&)> tell) noexcept = 0;

  // The extension's lines for the selection, which `parent` owns; none when one of the items has
  // no menu. Waits for the extension, 200 ms at most. `window`: in which the menu pops up.
  virtual QList<QAction*> Actions(const QList<QUrl>& items, QObject* parent,
                                  QWidget* window) noexcept = 0;

 protected:
  ~DolphinClient() = default;
};

}  // namespace kelvo

// Null, with a line in the log, where nothing could be heard of the extension: outside of the
// main thread, and where Qt's main loop is not GLib's.
//
// The symbol's name holds the version: a plug-in that an upgrade brings while the file manager
// runs would get the library that is in memory, whose interface may be another one. So the
// plug-in is refused until the file manager starts anew.
extern "C" __attribute__((visibility("default"))) kelvo::DolphinClient*
kelvo_dolphin_client() noexcept __asm__(KELVO_DOLPHIN_CLIENT_SYMBOL);
