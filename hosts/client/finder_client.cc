#include "hosts/client/finder_client.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "hosts/client/bus_values.h"
#include "hosts/client/quietly.h"

namespace kelvo {

namespace {

constexpr char kProperties[] = "org.freedesktop.DBus.Properties";
constexpr guint kPropertiesRetry = 7;  // seconds

// Behind a redraw that is due, before the file manager's own idle work.
constexpr int kPriority = G_PRIORITY_HIGH_IDLE + 30;

GLibPtr<GVariant> Property(GVariant* dictionary, const char* name, const char* type) {
  return GLibPtr<GVariant>(g_variant_lookup_value(dictionary, name, G_VARIANT_TYPE(type)));
}

// File managers copy a text for each item that has it; no column shows as much.
constexpr std::size_t kMaxText = 1024;

std::string ShortText(std::string_view text) {
  std::size_t size = std::min(text.size(), kMaxText);
  while (size > 0 && size < text.size() && (text[size] & 0xC0) == 0x80) --size;  // inside a letter
  return std::string(text.substr(0, size));
}

std::vector<ItemDescription> DescriptionsOf(GVariant* array) {
  std::vector<ItemDescription> descriptions(g_variant_n_children(array));
  for (gsize i = 0; i < descriptions.size(); ++i) {
    const char* texts[3] = {};
    g_variant_get_child(array, i, "(&s&s&s)", &texts[0], &texts[1], &texts[2]);
    descriptions[i] = {ShortText(texts[0]), ShortText(texts[1]), ShortText(texts[2])};
  }
  return descriptions;
}

// Whether what DescribeItems answered can be that for so many names. Whoever sends more wants
// memory of the file manager: not even a copy is made of it.
bool CanAnswer(GVariant* descriptions, std::span<const std::uint32_t> which, std::size_t names) {
  return which.size() == names && g_variant_n_children(descriptions) <= names + 1;
}

}  // namespace

struct FinderClient::Request {
  FinderClient* client;
  std::string folder;
  std::uint64_t ticket;
  std::size_t names = 0;
};

FinderClient::FinderClient(Listener listener, MenuHost menuHost)
    : listener_(std::move(listener)),
      store_(clock_, *this),
      menus_(clock_, menuHost.waiting, std::move(menuHost.menusChanged)),
      hostObject_(std::move(menuHost.setClipboard)),
      link_(*this) {}

FinderClient::~FinderClient() {
  ExtensionDown();
  if (idleSource_ != 0) g_source_remove(idleSource_);
  if (timerSource_ != 0) g_source_remove(timerSource_);
}

BadgeStore::Answer FinderClient::Lookup(std::string_view path) noexcept {
  BadgeStore::Answer answer;
  Quietly([&] { answer = store_.Lookup(path); });
  return answer;
}

void FinderClient::Release(BadgeStore::Item* item) noexcept {
  Quietly([&] { store_.Release(item); });
}

const std::string& FinderClient::IconName(BadgeByte badge) const noexcept {
  const bool known = badge > kNoBadge && badge <= '9';
  return iconNames_[known ? static_cast<std::size_t>(badge - '0') : 0];
}

bool FinderClient::HasMenus(std::string_view path) noexcept {
  bool covered = false;
  Quietly([&] { covered = menus_.Covers(path); });
  return covered;
}

FileMenuPtr FinderClient::MenuFor(std::vector<std::string> items) noexcept {
  FileMenuPtr menu;
  Quietly([&] { menu = menus_.MenuFor(std::move(items)); });
  return menu;
}

void FinderClient::Choose(const FileMenu& menu, const FileMenuLine& line,
                          const std::string& activationToken) noexcept {
  Quietly([&] { menus_.Choose(menu, line, activationToken); });
}

void FinderClient::BeginObserving(const std::string& folder) {
  Call(kExtensionInterface, "BeginObservingDirectory", g_variant_new("(@ay)", Bytes(folder)),
       nullptr, nullptr, nullptr);
}

void FinderClient::EndObserving(const std::string& folder) {
  Call(kExtensionInterface, "EndObservingDirectory", g_variant_new("(@ay)", Bytes(folder)), nullptr,
       nullptr, nullptr);
}

void FinderClient::RequestBadges(const std::string& folder, const std::string& names,
                                 std::uint64_t ticket) {
  auto request = std::make_unique<Request>(Request{this, folder, ticket});
  Call(kExtensionInterface, "RequestBadges", g_variant_new("(@ay@ay)", Bytes(folder), Bytes(names)),
       "(ay)", OnBadgesAnswered, request.release());
}

void FinderClient::OnBadgesAnswered(GObject* source, GAsyncResult* result, gpointer data) {
  const std::unique_ptr<Request> request(static_cast<Request*>(data));
  GErrorSlot error;
  const GLibPtr<GVariant> reply(
      g_dbus_connection_call_finish(G_DBUS_CONNECTION(source), result, error.out()));
  if (g_error_matches(error.get(), G_IO_ERROR, G_IO_ERROR_CANCELLED))
    return;  // the client may be gone
  Quietly([&] {
    GLibPtr<GVariant> bytes;
    std::optional<std::string_view> badges;
    if (reply) {
      bytes = Child(reply.get(), 0);
      badges = BytesOf(bytes.get());
    }
    request->client->store_.OnAnswer(request->folder, request->ticket, badges);
  });
}

void FinderClient::DescribeItems(const std::string& folder, const std::string& names,
                                 std::uint64_t ticket) {
  const auto count = static_cast<std::size_t>(std::count(names.begin(), names.end(), '\0'));
  auto request = std::make_unique<Request>(Request{this, folder, ticket, count});
  Call(kExtensionInterface, "DescribeItems", g_variant_new("(@ay@ay)", Bytes(folder), Bytes(names)),
       "(a(sss)au)", OnDescribed, request.release());
}

void FinderClient::OnDescribed(GObject* source, GAsyncResult* result, gpointer data) {
  const std::unique_ptr<Request> request(static_cast<Request*>(data));
  GErrorSlot error;
  const GLibPtr<GVariant> reply(
      g_dbus_connection_call_finish(G_DBUS_CONNECTION(source), result, error.out()));
  if (g_error_matches(error.get(), G_IO_ERROR, G_IO_ERROR_CANCELLED))
    return;  // the client may be gone
  BadgeStore& store = request->client->store_;
  if (g_error_matches(error.get(), G_DBUS_ERROR, G_DBUS_ERROR_UNKNOWN_METHOD)) {
    Quietly([&] { store.CannotDescribe(); });
    return;
  }
  GLibPtr<GVariant> places;  // which the answer points into
  std::optional<DescribedItems> answer;
  Quietly([&] {
    if (!reply) return;
    const GLibPtr<GVariant> descriptions = Child(reply.get(), 0);
    places = Child(reply.get(), 1);
    const auto which = NumbersOf(places.get());
    if (!CanAnswer(descriptions.get(), which, request->names)) return;
    answer = DescribedItems{DescriptionsOf(descriptions.get()), which};
  });
  // Whatever went wrong, the store must learn that the call is over.
  Quietly(
      [&] { store.OnDescribed(request->folder, request->ticket, answer ? &*answer : nullptr); });
}

void FinderClient::BadgeChanged(const std::string& folder, const std::string& name) {
  if (listener_) listener_(folder, name);
}

void FinderClient::WorkSoon() {
  if (idleSource_ == 0) idleSource_ = g_idle_add_full(kPriority, OnIdle, this, nullptr);
}

void FinderClient::WorkAfter(std::chrono::milliseconds delay) {
  if (timerSource_ != 0) g_source_remove(timerSource_);
  timerSource_ =
      g_timeout_add_full(kPriority, static_cast<guint>(delay.count()) + 1, OnTimer, this, nullptr);
}

gboolean FinderClient::OnIdle(gpointer self) {
  auto* client = static_cast<FinderClient*>(self);
  client->idleSource_ = 0;
  Quietly([client] { client->Work(); });
  return G_SOURCE_REMOVE;
}

gboolean FinderClient::OnTimer(gpointer self) {
  auto* client = static_cast<FinderClient*>(self);
  client->timerSource_ = 0;
  Quietly([client] { client->Work(); });
  return G_SOURCE_REMOVE;
}

void FinderClient::Work() {
  store_.Work();
  if (store_.HasFolders()) link_.Want();
}

void FinderClient::Call(const char* interface, const char* method, GVariant* parameters,
                        const char* replyType, GAsyncReadyCallback done, gpointer data) {
  // To this very process: a call to the name could start another one, unasked.
  g_dbus_connection_call(connection_.get(), extension_.c_str(), kExtensionPath, interface, method,
                         parameters, replyType != nullptr ? G_VARIANT_TYPE(replyType) : nullptr,
                         G_DBUS_CALL_FLAGS_NO_AUTO_START, -1, cancel_.get(), done, data);
}

void FinderClient::ExtensionUp(GDBusConnection* connection, const char* owner) {
  ExtensionDown();
  connection_.reset(static_cast<GDBusConnection*>(g_object_ref(connection)));
  cancel_.reset(g_cancellable_new());
  extension_ = owner;
  // Subscribed before anything is asked, so that no change falls between.
  signals_ = g_dbus_connection_signal_subscribe(connection, owner, kExtensionInterface, nullptr,
                                                kExtensionPath, nullptr, G_DBUS_SIGNAL_FLAGS_NONE,
                                                OnSignal, this, nullptr);
  propertyChanges_ = g_dbus_connection_signal_subscribe(
      connection, owner, kProperties, "PropertiesChanged", kExtensionPath, kExtensionInterface,
      G_DBUS_SIGNAL_FLAGS_NONE, OnSignal, this, nullptr);
  menus_.ExtensionUp(connection, extension_);
  if (!hostObject_.Export(connection, extension_)) g_debug("the clipboard is not offered");
  AskProperties();
}

void FinderClient::ExtensionDown() {
  if (!connection_) return;
  g_cancellable_cancel(cancel_.get());
  g_dbus_connection_signal_unsubscribe(connection_.get(), signals_);
  g_dbus_connection_signal_unsubscribe(connection_.get(), propertyChanges_);
  if (propertiesTimer_ != 0) g_source_remove(propertiesTimer_);
  propertiesTimer_ = 0;
  connection_.reset();
  known_ = false;
  propertiesAsked_ = false;
  agentConnected_ = false;
  store_.ExtensionVanished();
  hostObject_.Withdraw();
  menus_.ExtensionDown();
}

void FinderClient::AskProperties() {
  propertiesAsked_ = true;
  propertiesOutdated_ = false;
  Call(kProperties, "GetAll", g_variant_new("(s)", kExtensionInterface), "(a{sv})", OnProperties,
       this);
}

gboolean FinderClient::OnAskProperties(gpointer self) {
  auto* client = static_cast<FinderClient*>(self);
  client->propertiesTimer_ = 0;
  client->AskProperties();
  return G_SOURCE_REMOVE;
}

void FinderClient::OnProperties(GObject* source, GAsyncResult* result, gpointer self) {
  GErrorSlot error;
  const GLibPtr<GVariant> reply(
      g_dbus_connection_call_finish(G_DBUS_CONNECTION(source), result, error.out()));
  if (g_error_matches(error.get(), G_IO_ERROR, G_IO_ERROR_CANCELLED))
    return;  // the client may be gone
  Quietly([&] {
    auto* client = static_cast<FinderClient*>(self);
    client->propertiesAsked_ = false;
    if (reply && client->propertiesOutdated_) {
      client->AskProperties();
    } else if (reply) {
      client->TakeProperties(Child(reply.get(), 0).get());
    } else if (client->propertiesTimer_ == 0) {
      client->propertiesTimer_ = g_timeout_add_seconds(kPropertiesRetry, OnAskProperties, client);
    }
  });
}

// Those that came, of a full set or of a change.
void FinderClient::TakeProperties(GVariant* all) {
  if (const GLibPtr<GVariant> badges = Property(all, "Badges", "a(yss)"))
    TakeIconNames(badges.get());
  const GLibPtr<GVariant> connected = Property(all, "AgentConnected", "b");
  const GLibPtr<GVariant> directories = Property(all, "DirectoryURLs", "aay");
  const bool first = !std::exchange(known_, true);
  if (first) {
    agentConnected_ = connected && g_variant_get_boolean(connected.get());
    const auto paths = directories ? PathsOf(directories.get()) : std::vector<std::string>();
    store_.ExtensionAppeared(paths);
    menus_.SetDirectories(paths);
    return;
  }
  if (directories) {
    store_.SetDirectories(PathsOf(directories.get()));
    menus_.SetDirectories(PathsOf(directories.get()));
  }
  if (connected) TakeAgentConnected(g_variant_get_boolean(connected.get()) != FALSE);
}

void FinderClient::TakeAgentConnected(bool connected) {
  const bool former = std::exchange(agentConnected_, connected);
  if (connected && !former) store_.AgentConnected();
}

void FinderClient::TakeIconNames(GVariant* badges) {
  IconNames names;
  for (gsize i = 0; i < g_variant_n_children(badges); ++i) {
    const GLibPtr<GVariant> badge = Child(badges, i);
    const guchar byte = g_variant_get_byte(Child(badge.get(), 0).get());
    if (byte <= '0' || byte > '9') continue;
    const GLibPtr<GVariant> icon = Child(badge.get(), 2);
    names[byte - '0'] = g_variant_get_string(icon.get(), nullptr);
  }
  if (names == iconNames_) return;
  iconNames_ = std::move(names);
  store_.TellAll();
}

void FinderClient::TakeChanges(GVariant* parameters) {
  // What was read for the answer that is under way may be older than this.
  if (propertiesAsked_) propertiesOutdated_ = true;
  if (!known_) return;
  TakeProperties(Child(parameters, 1).get());
  if (g_variant_n_children(Child(parameters, 2).get()) > 0) AskProperties();
}

void FinderClient::OnSignal(GDBusConnection*, const char*, const char*, const char*,
                            const char* signal, GVariant* parameters, gpointer self) {
  Quietly([&] {
    auto* client = static_cast<FinderClient*>(self);
    if (std::strcmp(signal, "BadgesChanged") == 0) {
      if (!g_variant_is_of_type(parameters, G_VARIANT_TYPE("(ayay)"))) return;
      const GLibPtr<GVariant> folder = Child(parameters, 0);
      const GLibPtr<GVariant> entries = Child(parameters, 1);
      client->store_.OnBadgesChanged(BytesOf(folder.get()), BytesOf(entries.get()));
    } else if (std::strcmp(signal, "DescriptionsChanged") == 0) {
      if (!g_variant_is_of_type(parameters, G_VARIANT_TYPE("(ayay)"))) return;
      const GLibPtr<GVariant> folder = Child(parameters, 0);
      const GLibPtr<GVariant> names = Child(parameters, 1);
      client->store_.OnDescriptionsChanged(BytesOf(folder.get()), BytesOf(names.get()));
    } else if (std::strcmp(signal, "MenusChanged") == 0) {
      client->menus_.MenusChanged();
    } else if (g_variant_is_of_type(parameters, G_VARIANT_TYPE("(sa{sv}as)"))) {
      client->TakeChanges(parameters);
    }
  });
}

}  // namespace kelvo
