#pragma once

#include <gio/gio.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "hosts/bus/bus_interface.h"
#include "platform/linux/glib_ptr.h"
#include "tools/finder/badge_list.h"

namespace kelvo::finder {

// The extension as a client of the session bus sees it.
//
// Threads: the default main context's. Operations with an `error` wait for the extension's answer,
// at most 30 seconds the first time and 10 later; the others are answered by callbacks.
class ExtensionClient {
 public:
  // Everything that the extension says about itself.
  struct Properties {
    std::string version;
    bool agentConnected = false;
    std::vector<std::string> directories;
    std::vector<BadgeKind> badges;
  };

  struct Project {
    std::string kind;  // "synced", "external", "not-subscribed"
    std::string id;
    std::string name;
    std::string owner;
    std::string path;  // empty: no folder here
    std::string status;
    bool readOnly = false;
  };
  // The projects as the Agent has listed them for the extension.
  struct Projects {
    std::vector<Project> projects;
    bool initialized = false;  // the Agent has sent a list
    std::int64_t syncedFiles = 0;
    std::int64_t syncedBytes = 0;
    std::int64_t notSyncedFiles = 0;
    std::int64_t notSyncedBytes = 0;
  };

  // What the extension says of an item in words; a text is empty where it says nothing.
  struct Description {
    std::string state;
    std::string lockOwner;
    std::string permission;
  };
  // How the extension fares. What it does not tell is absent or empty; times are seconds since
  // 1970.
  struct Diagnosis {
    std::string agentSocket;  // path
    bool agentConnected = false;
    std::optional<std::int64_t> connectedSince;
    std::optional<std::int64_t> lastMessageTime;
    std::string lastMessage;
    std::string configurationFile;
    std::string configurationLabel;
    bool configurationRead = false;
    std::string logFile;
    bool started = false;
  };

  // Null, with the reason, when there is no session bus. The extension itself is started, if it
  // does not run, with the first call. `limit`: for each wait, instead of the usual ones.
  static std::unique_ptr<ExtensionClient> Connect(
      std::string* error, std::optional<std::chrono::milliseconds> limit = std::nullopt);
  ~ExtensionClient();
  ExtensionClient(const ExtensionClient&) = delete;
  ExtensionClient& operator=(const ExtensionClient&) = delete;

  std::optional<Properties> ReadProperties(std::string* error);
  // What an extension of another version leaves out is empty.
  std::optional<Projects> ListProjects(std::string* error);
  std::optional<Diagnosis> Diagnose(std::string* error);
  // One for each of the folder's names, in order, as known now.
  std::optional<std::vector<Description>> Describe(const std::string& folder,
                                                   const std::vector<std::string>& names,
                                                   std::string* error);
  bool BeginObserving(const std::string& folder, std::string* error);
  bool EndObserving(const std::string& folder, std::string* error);

  // For members that are asked elsewhere: the reply of the type, null with the reason. A floating
  // `parameters` is taken.
  GLibPtr<GVariant> Call(const char* member, GVariant* parameters, const char* replyType,
                         std::string* error, const char* interface = kBusInterface);
  GDBusConnection* Connection() const { return connection_.get(); }

  // Badges of the folder's items from now on, whoever asked for them.
  void OnBadges(const std::string& folder, std::function<void(const BadgeEntry& entry)> onBadge);
  // Asks for the names' badges; what is known now goes to OnBadges' function, in order with what is
  // signalled. `onFailure` gets the reason when the extension does not answer so.
  void RequestBadges(const std::vector<std::string>& names,
                     const std::function<void(const std::string& reason)>& onFailure);
  // The extension has left the bus, or has come. Called for the present state first.
  void OnPresence(std::function<void(bool present)> onPresence);
  // The bus itself is gone; nothing works any more.
  void OnBusLost(std::function<void()> onLost);

 private:
  struct BadgeRequest;

  ExtensionClient(GObjectPtr<GDBusConnection> connection,
                  std::optional<std::chrono::milliseconds> limit);
  bool CallWithFolder(const char* member, const std::string& folder, std::string* error);
  void TakeBadges(const BadgeRequest& request, GVariant* reply);

  static void OnBadgesChanged(GDBusConnection* connection, const char* sender, const char* path,
                              const char* interface, const char* signal, GVariant* parameters,
                              gpointer self);
  static void OnBadgesAnswered(GObject* connection, GAsyncResult* result, gpointer request);
  static void OnNameAppeared(GDBusConnection* connection, const char* name, const char* owner,
                             gpointer self);
  static void OnNameVanished(GDBusConnection* connection, const char* name, gpointer self);
  static void OnClosed(GDBusConnection* connection, gboolean vanished, GError* error,
                       gpointer self);

  const GObjectPtr<GDBusConnection> connection_;
  const GObjectPtr<GCancellable> cancel_;  // for what is still asked when the client goes
  const std::optional<std::chrono::milliseconds> limit_;
  bool called_ = false;
  std::string folder_;
  std::function<void(const BadgeEntry& entry)> onBadge_;
  std::function<void(bool present)> onPresence_;
  std::function<void()> onLost_;
  guint badgeSignal_ = 0;
  guint nameWatch_ = 0;
  gulong closedHandler_ = 0;
};

}  // namespace kelvo::finder
