#include "hosts/dolphin/client.h"

#include <glib.h>

#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QFile>
#include <QLoggingCategory>
#include <QThread>
#include <QTimer>
#include <array>
#include <string>
#include <utility>
#include <vector>

#include "base/user_languages.h"
#include "hosts/client/finder_client.h"
#include "hosts/client/item_description.h"
#include "hosts/client/item_labels.h"
#include "hosts/client/quietly.h"
#include "hosts/client/watched_directories.h"
#include "hosts/dolphin/desktop.h"
#include "hosts/dolphin/menus.h"
#include "hosts/dolphin/qt_values.h"
#include "hosts/dolphin/shown_items.h"

namespace kelvo {

namespace {

class MonotonicClock final : public Clock {
 public:
  std::int64_t Now() const override { return g_get_real_time() / G_USEC_PER_SEC; }
  std::chrono::milliseconds Monotonic() const override {
    return std::chrono::milliseconds(g_get_monotonic_time() / 1000);
  }
};

// The description of an item that somebody looks at.
struct FollowedItem {
  FollowedItem(FinderClient& client, std::string where) : finder(client), path(std::move(where)) {}
  ~FollowedItem() { finder.Release(item); }
  FollowedItem(const FollowedItem&) = delete;
  FollowedItem& operator=(const FollowedItem&) = delete;

  FinderClient& finder;
  const std::string path;
  std::function<void(const QList<ItemText>&)> tell;
  BadgeStore::Item* item = nullptr;
  ItemDescription description;
  bool owed = false;
};

QList<ItemText> TextsOf(const ItemDescription& description) {
  const ItemLabels& labels = ItemLabelsIn(PreferredLanguages());
  QList<ItemText> texts;
  const auto add = [&texts](const ItemLabel& label, const std::string& text) {
    texts.append({QString::fromUtf8(label.title), QString::fromUtf8(label.description),
                  QString::fromStdString(text)});
  };
  add(labels.state, description.state);
  add(labels.lockOwner, description.lockOwner);
  add(labels.permission, description.permission);
  return texts;
}

// Calls all that are still there when it is their turn; what is called may add and end some.
template <class T, class Callable>
void ForEach(std::vector<std::weak_ptr<T>>& all, Callable&& callable) {
  std::erase_if(all, [](const auto& each) { return each.expired(); });
  const std::vector<std::weak_ptr<T>> now = all;
  for (const std::weak_ptr<T>& each : now) {
    if (const std::shared_ptr<T> alive = each.lock()) callable(*alive);
  }
}

class Client final : public DolphinClient, private ShownItems::Surroundings {
 public:
  Client();

  QString BadgeIcon(const QUrl& item) noexcept override;
  Handle FollowBadges(std::function<void(const QUrl&)> tell) noexcept override;
  Handle FollowTexts(const QUrl& item,
                     std::function<void(const QList<ItemText>&)> tell) noexcept override;
  QList<QAction*> Actions(const QList<QUrl>& items, QObject* parent,
                          QWidget* window) noexcept override;

 private:
  using Follower = std::function<void(const QUrl&)>;
  struct BadgeIconName {
    std::string name;
    QString found;
  };

  // ShownItems::Surroundings
  void Retain(BadgeStore::Item* item) override { finder_.Retain(item); }
  void Release(BadgeStore::Item* item) override { finder_.Release(item); }
  void TellViews(const std::string& path) override;
  void WorkSoon() override { work_.start(0); }
  void DoubtAfter(std::chrono::milliseconds pause) override { doubt_.start(pause); }

  void OnNews(const std::string& path);
  BadgeStore::Answer Look(const std::string& path);
  void Work();
  const QString& IconOf(BadgeByte badge);

  const MonotonicClock clock_;
  ShownItems shown_;
  FinderClient finder_;
  std::array<BadgeIconName, 10> icons_;  // by the badge's digit, looked for once
  QTimer work_;
  QTimer doubt_;
  std::vector<std::weak_ptr<Follower>> followers_;
  std::vector<std::weak_ptr<FollowedItem>> followedItems_;
};

Client::Client()
    : shown_(clock_, *this),
      finder_([this](const std::string& folder,
                     const std::string& name) { OnNews(JoinPath(folder, name)); },
              MenuHost{MenuWaiting::kShortly, {}, SetClipboard}) {
  work_.setSingleShot(true);
  doubt_.setSingleShot(true);
  QObject::connect(&work_, &QTimer::timeout, [this] { Quietly([this] { Work(); }); });
  QObject::connect(&doubt_, &QTimer::timeout, [this] { Quietly([this] { shown_.Doubt(); }); });
}

void Client::OnNews(const std::string& path) {
  shown_.Tell(path);
  ForEach(followedItems_, [&](const FollowedItem& followed) {
    if (followed.path == path) shown_.Noticed(path, Look(path).badge);
  });
}

// Every look-up takes the news of an item to be known: whoever follows it is owed them.
BadgeStore::Answer Client::Look(const std::string& path) {
  const BadgeStore::Answer answer = finder_.Lookup(path);
  if (followedItems_.empty()) return answer;
  ForEach(followedItems_, [&](FollowedItem& followed) {
    if (followed.path != path || followed.description == *answer.description) return;
    followed.description = *answer.description;
    followed.owed = true;
    WorkSoon();
  });
  return answer;
}

void Client::Work() {
  ForEach(followedItems_, [](FollowedItem& followed) {
    if (std::exchange(followed.owed, false)) followed.tell(TextsOf(followed.description));
  });
  shown_.Work();
}

const QString& Client::IconOf(BadgeByte badge) {
  const std::string& name = finder_.IconName(badge);
  BadgeIconName& known = icons_[name.empty() ? 0 : static_cast<std::size_t>(badge - kNoBadge)];
  if (known.name != name) known = {name, FindableIcon(name)};
  return known.found;
}

QString Client::BadgeIcon(const QUrl& item) noexcept {
  QString icon;
  Quietly([&] {
    const std::string path = LocalPath(item);
    if (path.empty()) return;
    const BadgeStore::Answer answer = Look(path);
    shown_.Asked(path, answer.item, answer.badge);
    icon = IconOf(answer.badge);
  });
  return icon;
}

DolphinClient::Handle Client::FollowBadges(std::function<void(const QUrl&)> tell) noexcept {
  std::shared_ptr<Follower> follower;
  Quietly([&] {
    follower = std::make_shared<Follower>(std::move(tell));
    followers_.push_back(follower);
  });
  return follower;
}

void Client::TellViews(const std::string& path) {
  const QUrl url = QUrl::fromLocalFile(QFile::decodeName(path.c_str()));
  ForEach(followers_, [&](const Follower& tell) { tell(url); });
}

DolphinClient::Handle Client::FollowTexts(
    const QUrl& item, std::function<void(const QList<ItemText>&)> tell) noexcept {
  std::shared_ptr<FollowedItem> followed;
  Quietly([&] {
    const std::string path = LocalPath(item);
    if (path.empty()) return;
    followed = std::make_shared<FollowedItem>(finder_, path);
    followed->tell = std::move(tell);
    const BadgeStore::Answer answer = Look(path);
    shown_.Noticed(path, answer.badge);
    finder_.Retain(answer.item);
    followed->item = answer.item;
    followed->description = *answer.description;
    followedItems_.push_back(followed);
    if (followed->description != NoDescription()) followed->tell(TextsOf(followed->description));
  });
  return followed;
}

QList<QAction*> Client::Actions(const QList<QUrl>& items, QObject* parent,
                                QWidget* window) noexcept {
  QList<QAction*> actions;
  Quietly([&] {
    std::vector<std::string> paths = LocalPaths(items);
    if (paths.empty()) return;
    // Where no views ask for badges, this is what connects.
    shown_.Noticed(paths.front(), Look(paths.front()).badge);
    for (const std::string& path : paths) {
      if (!finder_.HasMenus(path)) return;
    }
    if (const FileMenuPtr menu = finder_.MenuFor(std::move(paths))) {
      actions = NewActions(finder_, menu, parent, window);
    }
  });
  return actions;
}

bool IsServedByGLib() {
  const auto* const dispatcher = QAbstractEventDispatcher::instance();
  return dispatcher != nullptr && dispatcher->inherits("QEventDispatcherGlib");
}

Client* NewClient() {
  if (IsServedByGLib()) return new Client;
  const QLoggingCategory category("kelvo-finder-sync");
  qCWarning(category, "No badges and no menus: Qt's main loop is not GLib's (is QT_NO_GLIB set?)");
  return nullptr;
}

}  // namespace

}  // namespace kelvo

kelvo::DolphinClient* kelvo_dolphin_client() noexcept {
  const QCoreApplication* const application = QCoreApplication::instance();
  if (application == nullptr || QThread::currentThread() != application->thread()) return nullptr;
  kelvo::DolphinClient* shared = nullptr;
  kelvo::Quietly([&] {
    static kelvo::Client* const client = kelvo::NewClient();
    shared = client;
  });
  return shared;
}
