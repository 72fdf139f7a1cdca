#include "hosts/finder/finder_host.h"

#include <atomic>
#include <optional>
#include <utility>

#include "base/guarded_call.h"

namespace kelvo {

FinderHost* FinderHost::Instance() noexcept {
  static FinderHost* const host = [] {
    FinderHost* made = nullptr;
    CallGuarded("start of the extension", [&made] { made = new FinderHost(PlatformServices()); });
    return made;
  }();
  return host;
}

FinderHost::FinderHost(const Services& services)
    : services_(services),
      agentTransport_(runLoop_),
      dialogs_(runLoop_),
      finderSync_(
          Platform{clock_, runLoop_, settingsQueue_, accountsQueue_, messageQueue_, agentTransport_,
                   finderController_, services.secretStore, services.userDefaults,
                   services.systemLog, threads_, services.httpClient, services.desktop, dialogs_},
          services.bundle, nullptr) {}

void FinderHost::OnMainThread(const char* where, std::function<void()> task) noexcept {
  CallGuarded(where, [&] {
    if (runLoop_.IsCurrent()) return task();
    runLoop_.Post(std::move(task));
  });
}

void FinderHost::Start() noexcept {
  OnMainThread("start of the extension", [this] {
    if (users_++ > 0 || hasEnded_) return;
    // Finder waits for these, and the core has none to tell before the Agent's configuration.
    finderController_.setDirectoryURLs({});
    finderSync_.init();
  });
}

void FinderHost::End() noexcept {
  OnMainThread("end of the extension", [this] {
    if (--users_ > 0 || hasEnded_) return;
    hasEnded_ = true;
    finderSync_.dealloc();
  });
}

void FinderHost::BeginObserving(const std::string& directory) noexcept {
  CallGuarded("beginObservingDirectoryAtURL",
              [&] { finderSync_.beginObservingDirectoryAtURL(directory); });
}

void FinderHost::EndObserving(const std::string& directory) noexcept {
  CallGuarded("endObservingDirectoryAtURL",
              [&] { finderSync_.endObservingDirectoryAtURL(directory); });
}

void FinderHost::RequestBadge(const std::string& path) noexcept {
  CallGuarded("requestBadgeIdentifierForURL",
              [&] { finderSync_.requestBadgeIdentifierForURL(path); });
}

std::vector<OfferedLine> FinderHost::Menu(int kind,
                                          const std::vector<std::string>& items) noexcept {
  std::vector<OfferedLine> lines;
  CallGuarded("menuForMenuKind", [&] {
    static const std::atomic<bool> neverCancelled{false};
    std::optional<FinderMenu> menu = finderSync_.menuForMenuKind(kind, items, neverCancelled);
    if (!menu) return;
    const std::vector<MenuItem> shown = menu->menu.items();
    std::int32_t tag = menus_.Add(*std::move(menu));
    for (const MenuItem& item : shown) {
      lines.push_back({item.title,
                       services_.bundle->pathForResource(item.image, "icns").value_or(""),
                       std::string(item.action.name), tag++, item.enabled, item.separator});
    }
  });
  return lines;
}

void FinderHost::Choose(std::int64_t tag) noexcept {
  CallGuarded("choice of a menu", [&] {
    const std::optional<OfferedMenus::Line> line = menus_.LineOf(tag);
    if (!line) return;
    actions_.Async([this, line] {
      CallGuarded("action of a menu", [&] {
        finderSync_.performAction(line->action, line->context, services_.pasteboard, {});
      });
    });
  });
}

}  // namespace kelvo
