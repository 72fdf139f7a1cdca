#include "tools/finder/extension_client.h"

#include <utility>

#include "hosts/bus/bus_interface.h"
#include "hosts/client/bus_values.h"
#include "platform/linux/session_bus.h"
#include "tools/terminal_text.h"

namespace kelvo::finder {
namespace {

constexpr char kProperties[] = "org.freedesktop.DBus.Properties";
constexpr int kStartTimeout = 30'000;  // milliseconds; the bus itself gives up after 25 seconds
constexpr int kCallTimeout = 10'000;
constexpr std::size_t kNamesPerRequest = std::size_t{1} << 20;  // bytes

// What the extension's own errors mean to somebody at a terminal.
constexpr std::pair<std::string_view, const char*> kReasons[] = {
    {kErrorNotStarted, "the extension has not started yet: it waits for the Agent"},
    {kErrorStaleMenu, "the menu has been replaced meanwhile; try again"},
    {kErrorDisabled, "this line cannot be chosen now"},
};

GLibPtr<GVariant> Lookup(GVariant* properties, const char* name, const char* type) {
  return GLibPtr<GVariant>(g_variant_lookup_value(properties, name, G_VARIANT_TYPE(type)));
}

std::string ReasonOf(const GErrorSlot& error) {
  if (g_error_matches(error.get(), G_DBUS_ERROR, G_DBUS_ERROR_SERVICE_UNKNOWN)) {
    return std::string("the extension is not installed: nothing provides ") + kBusName;
  }
  const GLibPtr<char> name(g_dbus_error_get_remote_error(error.get()));
  for (const auto& [known, reason] : kReasons) {
    if (name != nullptr && known == name.get()) return reason;
  }
  const GLibPtr<GError> plain(g_error_copy(error.get()));
  g_dbus_error_strip_remote_error(plain.get());
  return "the extension does not answer: " + tools::PrintableText(plain->message);
}

std::vector<BadgeKind> BadgeKindsOf(GVariant* badges) {
  std::vector<BadgeKind> kinds;
  for (gsize i = 0; i < g_variant_n_children(badges); ++i) {
    guchar badge = 0;
    const char* label = nullptr;
    const char* icon = nullptr;
    const GLibPtr<GVariant> kind = Child(badges, i);
    g_variant_get(kind.get(), "(y&s&s)", &badge, &label, &icon);
    kinds.push_back({static_cast<Badge>(badge), label, icon});
  }
  return kinds;
}

std::string TextOf(GVariant* properties, const char* name) {
  const GLibPtr<GVariant> text = Lookup(properties, name, "s");
  return text == nullptr ? std::string() : g_variant_get_string(text.get(), nullptr);
}

bool FlagOf(GVariant* properties, const char* name) {
  const GLibPtr<GVariant> flag = Lookup(properties, name, "b");
  return flag != nullptr && g_variant_get_boolean(flag.get()) == TRUE;
}

std::optional<std::int64_t> NumberIn(GVariant* properties, const char* name) {
  const GLibPtr<GVariant> number = Lookup(properties, name, "x");
  if (number == nullptr) return std::nullopt;
  return g_variant_get_int64(number.get());
}

std::int64_t NumberOf(GVariant* properties, const char* name) {
  return NumberIn(properties, name).value_or(0);
}

std::string PathOf(GVariant* properties, const char* name) {
  const GLibPtr<GVariant> path = Lookup(properties, name, "ay");
  return path == nullptr ? std::string() : std::string(BytesOf(path.get()));
}

ExtensionClient::Project ProjectOf(GVariant* properties) {
  ExtensionClient::Project project;
  project.kind = TextOf(properties, "kind");
  project.id = TextOf(properties, "id");
  project.name = TextOf(properties, "name");
  project.owner = TextOf(properties, "owner");
  project.path = PathOf(properties, "path");
  project.status = TextOf(properties, "status");
  project.readOnly = FlagOf(properties, "read-only");
  return project;
}

// False when the reply does not say one of its descriptions for each name.
bool AddDescriptions(GVariant* reply, std::size_t names,
                     std::vector<ExtensionClient::Description>* descriptions) {
  const GLibPtr<GVariant> all = Child(reply, 0);
  const GLibPtr<GVariant> which = Child(reply, 1);
  gsize count = 0;
  const auto* places =
      static_cast<const guint32*>(g_variant_get_fixed_array(which.get(), &count, sizeof(guint32)));
  if (count != names) return false;
  std::vector<ExtensionClient::Description> kinds;
  for (gsize i = 0; i < g_variant_n_children(all.get()); ++i) {
    const char* state = nullptr;
    const char* lockOwner = nullptr;
    const char* permission = nullptr;
    const GLibPtr<GVariant> kind = Child(all.get(), i);
    g_variant_get(kind.get(), "(&s&s&s)", &state, &lockOwner, &permission);
    kinds.push_back({state, lockOwner, permission});
  }
  for (gsize i = 0; i < count; ++i) {
    if (places[i] >= kinds.size()) return false;
    descriptions->push_back(kinds[places[i]]);
  }
  return true;
}

}  // namespace

struct ExtensionClient::BadgeRequest {
  ExtensionClient* client;
  std::vector<std::string> names;
  std::function<void(const std::string& reason)> onFailure;
};

std::unique_ptr<ExtensionClient> ExtensionClient::Connect(
    std::string* error, std::optional<std::chrono::milliseconds> limit) {
  GObjectPtr<GDBusConnection> connection =
      limit.has_value() ? OpenSessionBus(error, *limit) : OpenSessionBus(error);
  if (connection == nullptr) return nullptr;
  return std::unique_ptr<ExtensionClient>(new ExtensionClient(std::move(connection), limit));
}

ExtensionClient::ExtensionClient(GObjectPtr<GDBusConnection> connection,
                                 std::optional<std::chrono::milliseconds> limit)
    : connection_(std::move(connection)), cancel_(g_cancellable_new()), limit_(limit) {}

ExtensionClient::~ExtensionClient() {
  g_cancellable_cancel(cancel_.get());
  if (badgeSignal_ != 0) g_dbus_connection_signal_unsubscribe(connection_.get(), badgeSignal_);
  if (nameWatch_ != 0) g_bus_unwatch_name(nameWatch_);
  if (closedHandler_ != 0) g_signal_handler_disconnect(connection_.get(), closedHandler_);
  g_dbus_connection_close_sync(connection_.get(), nullptr, nullptr);
}

GLibPtr<GVariant> ExtensionClient::Call(const char* member, GVariant* parameters,
                                        const char* replyType, std::string* error,
                                        const char* interface) {
  const int usual = std::exchange(called_, true) ? kCallTimeout : kStartTimeout;
  GErrorSlot failure;
  GLibPtr<GVariant> reply(g_dbus_connection_call_sync(
      connection_.get(), kBusName, kBusPath, interface, member, parameters,
      G_VARIANT_TYPE(replyType), G_DBUS_CALL_FLAGS_NONE,
      limit_.has_value() ? static_cast<int>(limit_->count()) : usual, nullptr, failure.out()));
  if (reply == nullptr) *error = ReasonOf(failure);
  return reply;
}

std::optional<ExtensionClient::Properties> ExtensionClient::ReadProperties(std::string* error) {
  const GLibPtr<GVariant> reply =
      Call("GetAll", g_variant_new("(s)", kBusInterface), "(a{sv})", error, kProperties);
  if (reply == nullptr) return std::nullopt;
  const GLibPtr<GVariant> all = Child(reply.get(), 0);
  const GLibPtr<GVariant> version = Lookup(all.get(), "Version", "s");
  const GLibPtr<GVariant> connected = Lookup(all.get(), "AgentConnected", "b");
  const GLibPtr<GVariant> directories = Lookup(all.get(), "DirectoryURLs", "aay");
  const GLibPtr<GVariant> badges = Lookup(all.get(), "Badges", "a(yss)");
  if (version == nullptr || connected == nullptr || directories == nullptr || badges == nullptr) {
    *error = "the extension does not have the properties of this version";
    return std::nullopt;
  }
  Properties properties;
  properties.version = g_variant_get_string(version.get(), nullptr);
  properties.agentConnected = g_variant_get_boolean(connected.get()) == TRUE;
  for (gsize i = 0; i < g_variant_n_children(directories.get()); ++i) {
    properties.directories.emplace_back(BytesOf(Child(directories.get(), i).get()));
  }
  properties.badges = BadgeKindsOf(badges.get());
  return properties;
}

std::optional<ExtensionClient::Projects> ExtensionClient::ListProjects(std::string* error) {
  const GLibPtr<GVariant> reply = Call("ListProjects", nullptr, "(aa{sv}a{sv})", error);
  if (reply == nullptr) return std::nullopt;
  const GLibPtr<GVariant> all = Child(reply.get(), 0);
  const GLibPtr<GVariant> totals = Child(reply.get(), 1);
  Projects projects;
  for (gsize i = 0; i < g_variant_n_children(all.get()); ++i) {
    projects.projects.push_back(ProjectOf(Child(all.get(), i).get()));
  }
  projects.initialized = FlagOf(totals.get(), "initialized");
  projects.syncedFiles = NumberOf(totals.get(), "synced-files");
  projects.syncedBytes = NumberOf(totals.get(), "synced-bytes");
  projects.notSyncedFiles = NumberOf(totals.get(), "not-synced-files");
  projects.notSyncedBytes = NumberOf(totals.get(), "not-synced-bytes");
  return projects;
}

std::optional<ExtensionClient::Diagnosis> ExtensionClient::Diagnose(std::string* error) {
  const GLibPtr<GVariant> reply = Call("Diagnose", nullptr, "(a{sv})", error);
  if (reply == nullptr) return std::nullopt;
  const GLibPtr<GVariant> facts = Child(reply.get(), 0);
  Diagnosis diagnosis;
  diagnosis.agentSocket = PathOf(facts.get(), "agent-socket");
  diagnosis.agentConnected = FlagOf(facts.get(), "agent-connected");
  diagnosis.connectedSince = NumberIn(facts.get(), "connected-since");
  diagnosis.lastMessageTime = NumberIn(facts.get(), "last-message-time");
  diagnosis.lastMessage = TextOf(facts.get(), "last-message");
  diagnosis.configurationFile = PathOf(facts.get(), "configuration-file");
  diagnosis.configurationLabel = TextOf(facts.get(), "configuration-label");
  diagnosis.configurationRead = FlagOf(facts.get(), "configuration-read");
  diagnosis.logFile = PathOf(facts.get(), "log-file");
  diagnosis.started = FlagOf(facts.get(), "started");
  return diagnosis;
}

std::optional<std::vector<ExtensionClient::Description>> ExtensionClient::Describe(
    const std::string& folder, const std::vector<std::string>& names, std::string* error) {
  std::vector<Description> descriptions;
  for (const PackedNames& some : PackNames(names, kNamesPerRequest)) {
    const GLibPtr<GVariant> reply =
        Call("DescribeItems", g_variant_new("(@ay@ay)", Bytes(folder), Bytes(some.packed)),
             "(a(sss)au)", error);
    if (reply == nullptr) return std::nullopt;
    if (!AddDescriptions(reply.get(), some.names.size(), &descriptions)) {
      *error = "the extension does not describe each name that it was asked for";
      return std::nullopt;
    }
  }
  return descriptions;
}

bool ExtensionClient::CallWithFolder(const char* member, const std::string& folder,
                                     std::string* error) {
  return Call(member, g_variant_new("(@ay)", Bytes(folder)), "()", error) != nullptr;
}

bool ExtensionClient::BeginObserving(const std::string& folder, std::string* error) {
  return CallWithFolder("BeginObservingDirectory", folder, error);
}

bool ExtensionClient::EndObserving(const std::string& folder, std::string* error) {
  return CallWithFolder("EndObservingDirectory", folder, error);
}

void ExtensionClient::OnBadges(const std::string& folder,
                               std::function<void(const BadgeEntry& entry)> onBadge) {
  folder_ = folder;
  onBadge_ = std::move(onBadge);
  badgeSignal_ = g_dbus_connection_signal_subscribe(
      connection_.get(), kBusName, kBusInterface, "BadgesChanged", kBusPath, nullptr,
      G_DBUS_SIGNAL_FLAGS_NONE, OnBadgesChanged, this, nullptr);
}

void ExtensionClient::OnBadgesChanged(GDBusConnection* /*connection*/, const char* /*sender*/,
                                      const char* /*path*/, const char* /*interface*/,
                                      const char* /*signal*/, GVariant* parameters, gpointer self) {
  auto* client = static_cast<ExtensionClient*>(self);
  if (g_variant_is_of_type(parameters, G_VARIANT_TYPE("(ayay)")) == FALSE) return;
  if (BytesOf(Child(parameters, 0).get()) != client->folder_) return;
  const GLibPtr<GVariant> packed = Child(parameters, 1);
  const auto entries = UnpackEntries(BytesOf(packed.get()));
  if (!entries.has_value()) {
    tools::PrintError("a signal of the extension is cut off and was ignored");
    return;
  }
  for (const BadgeEntry& entry : *entries) client->onBadge_(entry);
}

void ExtensionClient::RequestBadges(
    const std::vector<std::string>& names,
    const std::function<void(const std::string& reason)>& onFailure) {
  for (PackedNames& some : PackNames(names, kNamesPerRequest)) {
    auto* request = new BadgeRequest{this, std::move(some.names), onFailure};
    g_dbus_connection_call(connection_.get(), kBusName, kBusPath, kBusInterface, "RequestBadges",
                           g_variant_new("(@ay@ay)", Bytes(folder_), Bytes(some.packed)),
                           G_VARIANT_TYPE("(ay)"), G_DBUS_CALL_FLAGS_NONE, kCallTimeout,
                           cancel_.get(), OnBadgesAnswered, request);
  }
}

void ExtensionClient::OnBadgesAnswered(GObject* connection, GAsyncResult* result,
                                       gpointer request) {
  const std::unique_ptr<BadgeRequest> owned(static_cast<BadgeRequest*>(request));
  GErrorSlot failure;
  const GLibPtr<GVariant> reply(g_dbus_connection_call_finish(
      reinterpret_cast<GDBusConnection*>(connection), result, failure.out()));
  if (reply != nullptr) {
    owned->client->TakeBadges(*owned, reply.get());
  } else if (!g_error_matches(failure.get(), G_IO_ERROR, G_IO_ERROR_CANCELLED)) {
    owned->onFailure(ReasonOf(failure));
  }
}

void ExtensionClient::TakeBadges(const BadgeRequest& request, GVariant* reply) {
  const GLibPtr<GVariant> packed = Child(reply, 0);
  const std::string_view badges = BytesOf(packed.get());
  if (badges.size() != request.names.size()) {
    request.onFailure("the extension answered " + std::to_string(badges.size()) + " badges for " +
                      std::to_string(request.names.size()) + " names");
    return;
  }
  for (std::size_t i = 0; i < badges.size(); ++i) onBadge_({badges[i], request.names[i]});
}

void ExtensionClient::OnPresence(std::function<void(bool present)> onPresence) {
  onPresence_ = std::move(onPresence);
  nameWatch_ =
      g_bus_watch_name_on_connection(connection_.get(), kBusName, G_BUS_NAME_WATCHER_FLAGS_NONE,
                                     OnNameAppeared, OnNameVanished, this, nullptr);
}

void ExtensionClient::OnNameAppeared(GDBusConnection* /*connection*/, const char* /*name*/,
                                     const char* /*owner*/, gpointer self) {
  static_cast<ExtensionClient*>(self)->onPresence_(true);
}

void ExtensionClient::OnNameVanished(GDBusConnection* /*connection*/, const char* /*name*/,
                                     gpointer self) {
  static_cast<ExtensionClient*>(self)->onPresence_(false);
}

void ExtensionClient::OnBusLost(std::function<void()> onLost) {
  onLost_ = std::move(onLost);
  closedHandler_ = g_signal_connect(connection_.get(), "closed", G_CALLBACK(OnClosed), this);
}

void ExtensionClient::OnClosed(GDBusConnection* /*connection*/, gboolean /*vanished*/,
                               GError* /*error*/, gpointer self) {
  static_cast<ExtensionClient*>(self)->onLost_();
}

}  // namespace kelvo::finder
