#pragma once

#include <gio/gio.h>

#include <array>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "hosts/client/badge_store.h"
#include "hosts/client/extension_link.h"
#include "hosts/client/file_menu.h"
#include "hosts/client/host_object.h"
#include "hosts/client/menu_source.h"
#include "platform/clock.h"
#include "platform/linux/glib_ptr.h"

namespace kelvo {

// What menus need of a file manager.
struct MenuHost {
  MenuWaiting waiting = MenuWaiting::kNever;
  std::function<void()> menusChanged = {};  // see MenuSource
  HostObject::SetClipboard setClipboard = {};
};

// A file manager's side of the extension: badges from a table of its own, kept true over the
// session bus, and menus. Without a bus, an extension or an Agent there simply are none.
//
// Nothing here blocks, but for menus where MenuHost says so; nothing prints, throws, or changes
// what belongs to the process. The first look-up connects; making a client does nothing yet.
//
// Threads: the main thread with the default main context.
// Lifetime: one per process, never destroyed, except in tests.
class FinderClient final : private BadgeStore::Surroundings, private ExtensionLink::Owner {
 public:
  // The file manager is to ask anew for the item `name` of `folder`. Called when the main loop is
  // idle, never from inside a look-up.
  using Listener = std::function<void(const std::string& folder, const std::string& name)>;

  explicit FinderClient(Listener listener, MenuHost menuHost = {});
  ~FinderClient();
  FinderClient(const FinderClient&) = delete;
  FinderClient& operator=(const FinderClient&) = delete;

  // See BadgeStore.
  BadgeStore::Answer Lookup(std::string_view path) noexcept;
  void Retain(BadgeStore::Item* item) noexcept { store_.Retain(item); }
  void Release(BadgeStore::Item* item) noexcept;

  // The full name of the badge's icon ("emblem-..."); empty for no badge and for one that the
  // extension did not describe.
  const std::string& IconName(BadgeByte badge) const noexcept;

  // See MenuSource: Covers, MenuFor, Choose.
  bool HasMenus(std::string_view path) noexcept;
  FileMenuPtr MenuFor(std::vector<std::string> items) noexcept;
  void Choose(const FileMenu& menu, const FileMenuLine& line,
              const std::string& activationToken) noexcept;

 private:
  class MonotonicClock : public Clock {
   public:
    std::int64_t Now() const override { return g_get_real_time() / G_USEC_PER_SEC; }
    std::chrono::milliseconds Monotonic() const override {
      return std::chrono::milliseconds(g_get_monotonic_time() / 1000);
    }
  };
  struct Request;
  using IconNames = std::array<std::string, 10>;  // by the digit

  // BadgeStore::Surroundings
  void BeginObserving(const std::string& folder) override;
  void EndObserving(const std::string& folder) override;
  void RequestBadges(const std::string& folder, const std::string& names,
                     std::uint64_t ticket) override;
  void DescribeItems(const std::string& folder, const std::string& names,
                     std::uint64_t ticket) override;
  void BadgeChanged(const std::string& folder, const std::string& name) override;
  void WorkSoon() override;
  void WorkAfter(std::chrono::milliseconds delay) override;

  // ExtensionLink::Owner
  void ExtensionUp(GDBusConnection* connection, const char* owner) override;
  void ExtensionDown() override;
  bool ExtensionWanted() override { return store_.HasFolders(); }

  static gboolean OnIdle(gpointer self);
  static gboolean OnTimer(gpointer self);
  static gboolean OnAskProperties(gpointer self);
  static void OnBadgesAnswered(GObject* source, GAsyncResult* result, gpointer request);
  static void OnDescribed(GObject* source, GAsyncResult* result, gpointer request);
  static void OnProperties(GObject* source, GAsyncResult* result, gpointer self);
  static void OnSignal(GDBusConnection* connection, const char* sender, const char* path,
                       const char* interface, const char* signal, GVariant* parameters,
                       gpointer self);

  void Work();
  void Call(const char* interface, const char* method, GVariant* parameters, const char* replyType,
            GAsyncReadyCallback done, gpointer data);
  void AskProperties();
  void TakeProperties(GVariant* all);
  void TakeChanges(GVariant* parameters);
  void TakeIconNames(GVariant* badges);
  void TakeAgentConnected(bool connected);

  const MonotonicClock clock_;
  const Listener listener_;
  BadgeStore store_;
  MenuSource menus_;
  HostObject hostObject_;
  ExtensionLink link_;
  IconNames iconNames_;
  guint idleSource_ = 0;
  guint timerSource_ = 0;

  // Of the extension that owns the name now.
  GObjectPtr<GDBusConnection> connection_;
  GObjectPtr<GCancellable> cancel_;
  std::string extension_;  // its unique name
  guint signals_ = 0;
  guint propertyChanges_ = 0;
  guint propertiesTimer_ = 0;
  bool known_ = false;               // its properties were read
  bool propertiesAsked_ = false;     // all of them, and not answered yet
  bool propertiesOutdated_ = false;  // one has changed since they were asked for
  bool agentConnected_ = false;
};

}  // namespace kelvo
