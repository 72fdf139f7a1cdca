#include "hosts/bus/bus_service.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <exception>
#include <utility>

#include "base/logger.h"
#include "core/diagnostics.h"
#include "core/overlays.h"
#include "deployment.h"
#include "hosts/bus/bus_interface.h"
#include "hosts/bus/bus_paths.h"
#include "hosts/bus/description_variant.h"
#include "hosts/bus/diagnostics_variant.h"
#include "hosts/bus/menu_variant.h"
#include "hosts/bus/projects_variant.h"
#include "ui/menu_context.h"

namespace kelvo {
namespace {

// A menu for more takes too long to be worth its answer.
constexpr gsize kMaxMenuItems = 100'000;
constexpr gsize kMaxMenuBytes = gsize{17} << 20;  // 16 MiB of paths, and where each ends

// One call about more would hold up others for too long, and its answer be too large for the bus.
constexpr std::ptrdiff_t kMaxNames = 1'000'000;  // in one call

// Longer than the path of any folder: what is kept of a client is counted by folders.
constexpr std::size_t kMaxFolderPath = std::size_t{64} << 10;

constexpr std::size_t kWeightOfCall = 4096;  // beside its arguments

// Installed icons of the badges 1 to 6.
constexpr std::array<const char*, kBadges.size()> kBadgeIcons = {
    "emblem-kelvo-in-sync", "emblem-kelvo-syncing", "emblem-kelvo-locked-red",
    "emblem-kelvo-locked",  "emblem-kelvo-syncing", "emblem-kelvo-permission-violation"};

using VariantPtr = GLibPtr<GVariant>;

std::string_view Bytes(GVariant* array) {
  gsize size = 0;
  const void* data = g_variant_get_fixed_array(array, &size, 1);
  return {static_cast<const char*>(data), size};
}

GVariant* ToVariant(std::string_view bytes) {
  return g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, bytes.data(), bytes.size(), 1);
}

GVariant* ToVariant(const std::vector<std::string>& paths) {
  GVariantBuilder builder;
  g_variant_builder_init(&builder, G_VARIANT_TYPE("aay"));
  for (const std::string& path : paths) g_variant_builder_add_value(&builder, ToVariant(path));
  return g_variant_builder_end(&builder);
}

GVariant* BadgeList() {
  GVariantBuilder builder;
  g_variant_builder_init(&builder, G_VARIANT_TYPE("a(yss)"));
  for (std::size_t i = 0; i < kBadges.size(); ++i) {
    const int digit = '0' + static_cast<int>(kBadges[i].status);
    g_variant_builder_add(&builder, "(yss)", digit, kBadges[i].label, kBadgeIcons[i]);
  }
  return g_variant_builder_end(&builder);
}

VariantPtr Argument(GDBusMethodInvocation* invocation, gsize index) {
  return VariantPtr(
      g_variant_get_child_value(g_dbus_method_invocation_get_parameters(invocation), index));
}

constexpr char kAnswered[] = "kelvo-answered";

// GDBus takes a reference of its own with every answer.
void BeginAnswer(GDBusMethodInvocation* invocation) {
  g_object_set_data(G_OBJECT(invocation), kAnswered, g_object_ref(invocation));
}

void Return(const std::shared_ptr<GDBusMethodInvocation>& invocation, GVariant* value) {
  BeginAnswer(invocation.get());
  g_dbus_method_invocation_return_value(invocation.get(), value);
}

void ReturnError(const std::shared_ptr<GDBusMethodInvocation>& invocation, const char* name,
                 const char* message) {
  BeginAnswer(invocation.get());
  g_dbus_method_invocation_return_dbus_error(invocation.get(), name, message);
}

void ReturnLimitsExceeded(const std::shared_ptr<GDBusMethodInvocation>& invocation,
                          const char* message) {
  ReturnError(invocation, "org.freedesktop.DBus.Error.LimitsExceeded", message);
}

bool IsFolderPath(std::string_view path) {
  return path.size() <= kMaxFolderPath && IsBusPath(path);
}

void ReturnInvalidPath(const std::shared_ptr<GDBusMethodInvocation>& invocation) {
  ReturnError(invocation, kErrorInvalidPath,
              "A path is absolute, without a zero byte and without a slash at its end");
}

// Without memory for a call its client gets an answer all the same.
template <typename Call>
void AnswerWhateverHappens(const std::shared_ptr<GDBusMethodInvocation>& invocation,
                           const Call& call) {
  try {
    call();
  } catch (const std::exception& error) {
    if (g_object_get_data(G_OBJECT(invocation.get()), kAnswered) == nullptr) {
      ReturnError(invocation, "org.freedesktop.DBus.Error.Failed", error.what());
    }
    throw;  // into the log
  }
}

}  // namespace

const BusService::Method BusService::kMethods[] = {
    {"BeginObservingDirectory", &BusService::BeginObservingDirectory, false},
    {"EndObservingDirectory", &BusService::EndObservingDirectory, false},
    {"RequestBadges", &BusService::RequestBadges, false},
    {"DescribeItems", &BusService::DescribeItems, false},
    {"Diagnose", &BusService::Diagnose, true},
    {"MenuForItems", &BusService::MenuForItems, true},
    {"ChooseMenuItem", &BusService::ChooseMenuItem, false},
    {"ListProjects", &BusService::ListProjects, false},
};

// Whoever takes it, the menu's turn or a newer call, answers it.
struct BusService::MenuCall {
  explicit MenuCall(Invocation call) : invocation(std::move(call)) {}

  const Invocation invocation;
  std::atomic<bool> isTaken{false};
  std::atomic<bool> isSuperseded{false};
};

BusService::BusService(GDBusConnection* connection, std::size_t mostWaiting)
    : connection_(connection), mostWaiting_(mostWaiting) {}

BusService::~BusService() { (void)Stop(std::chrono::seconds(0)); }

bool BusService::Start(BusCalls& calls, std::string* error) {
  calls_ = &calls;
  static const GDBusInterfaceVTable vtable = {OnMethodCall, OnGetProperty, nullptr, {}};
  GErrorSlot failure;
  // GDBus calls back on the context that is the registering thread's default.
  g_main_context_push_thread_default(context_.get());
  registration_ = g_dbus_connection_register_object(connection_, kBusPath, BusInterfaceInfo(),
                                                    &vtable, this, nullptr, failure.out());
  g_main_context_pop_thread_default(context_.get());
  if (registration_ == 0) {
    *error = std::string("cannot export ") + kBusPath + ": " + failure.text();
    return false;
  }
  try {
    thread_ = std::thread([this] { Serve(); });
  } catch (const std::exception& refused) {
    g_dbus_connection_unregister_object(connection_, registration_);
    *error = std::string("no thread to serve ") + kBusPath + ": " + refused.what();
    return false;
  }
  return true;
}

bool BusService::Stop(std::chrono::milliseconds limit) {
  if (!thread_.joinable()) return true;
  g_dbus_connection_unregister_object(connection_, registration_);
  loop_.Quit();
  thread_.join();
  return lanes_.Finish(limit);
}

void BusService::Serve() {
  g_main_context_push_thread_default(context_.get());
  loop_.Run();
  for (const auto& [name, client] : clients_) g_bus_unwatch_name(client.watch);
  g_main_context_pop_thread_default(context_.get());
}

void BusService::OnMethodCall(GDBusConnection*, const gchar* sender, const gchar*, const gchar*,
                              const gchar* method, GVariant* parameters,
                              GDBusMethodInvocation* invocation, gpointer self) {
  auto* service = static_cast<BusService*>(self);
  const auto* entry =
      std::find_if(std::begin(kMethods), std::end(kMethods),
                   [&](const Method& known) { return method == std::string_view(known.name); });
  const std::string client = sender;
  const Weight waiting = service->WatchClient(client).waiting;
  const std::size_t weight = kWeightOfCall + g_variant_get_size(parameters);
  const std::size_t others = waiting->fetch_add(weight);
  const Invocation owned(invocation, InvocationRelease{waiting, weight});
  if (others > 0 && others + weight > service->mostWaiting_) {
    return ReturnLimitsExceeded(owned, "Too many calls wait: read the answers");
  }
  if (entry->atOnce) return (service->*entry->handler)(owned, client);
  service->lanes_.Run(client, [service, entry, owned, client] {
    AnswerWhateverHappens(owned, [&] { (service->*entry->handler)(owned, client); });
  });
}

// Only clients that have called are watched: the comings and goings of all others wake nobody.
BusService::Client& BusService::WatchClient(const std::string& client) {
  auto [known, isNew] = clients_.try_emplace(client);
  if (isNew) {
    known->second.watch =
        g_bus_watch_name_on_connection(connection_, client.c_str(), G_BUS_NAME_WATCHER_FLAGS_NONE,
                                       nullptr, OnClientVanished, this, nullptr);
  }
  return known->second;
}

// Goes by way of the menus, so that it comes after the last of them, too.
void BusService::OnClientVanished(GDBusConnection*, const gchar* name, gpointer self) {
  auto* service = static_cast<BusService*>(self);
  const std::string client = name;
  auto known = service->clients_.find(client);
  if (known == service->clients_.end()) return;
  Supersede(known->second.menuCall);
  g_bus_unwatch_name(known->second.watch);
  service->clients_.erase(known);
  service->lanes_.RunMenu(client, [service, client] { service->calls_->clientGone(client); });
}

void BusService::BeginObservingDirectory(const Invocation& invocation, const std::string& client) {
  const VariantPtr argument = Argument(invocation.get(), 0);
  const std::string path(Bytes(argument.get()));
  if (!IsFolderPath(path)) return ReturnInvalidPath(invocation);
  if (calls_->beginObservingDirectory(client, path)) return Return(invocation, nullptr);
  ReturnLimitsExceeded(invocation, "Observe fewer folders");
}

void BusService::EndObservingDirectory(const Invocation& invocation, const std::string& client) {
  const VariantPtr argument = Argument(invocation.get(), 0);
  const std::string path(Bytes(argument.get()));
  if (!IsBusPath(path)) return ReturnInvalidPath(invocation);
  calls_->endObservingDirectory(client, path);
  Return(invocation, nullptr);
}

// What calls about a folder's items are asked with.
struct BusService::NamesOfFolder {
  // False when the arguments are wrong, which is then answered.
  bool Read(const Invocation& invocation) {
    folder = Bytes(Argument(invocation.get(), 0).get());
    argument = Argument(invocation.get(), 1);
    if (!IsFolderPath(folder)) {
      ReturnInvalidPath(invocation);
      return false;
    }
    const std::string_view packed = Bytes(argument.get());
    if (std::count(packed.begin(), packed.end(), '\0') > kMaxNames) {
      ReturnLimitsExceeded(invocation, "Ask for at most 1,000,000 items at a time");
      return false;
    }
    if (SplitNames(packed, &names)) return true;
    ReturnError(invocation, kErrorInvalidPath, "Each name is ended by a zero byte");
    return false;
  }

  std::string folder;
  VariantPtr argument;  // what the names point into
  std::vector<std::string_view> names;
};

void BusService::RequestBadges(const Invocation& invocation, const std::string& client) {
  NamesOfFolder asked;
  if (!asked.Read(invocation)) return;
  const bool isAnswered =
      calls_->requestBadges(client, asked.folder, asked.names, [&](const std::string& badges) {
        Return(invocation, g_variant_new("(@ay)", ToVariant(badges)));
      });
  if (!isAnswered) ReturnLimitsExceeded(invocation, "Ask for the badges of fewer items in all");
}

void BusService::DescribeItems(const Invocation& invocation, const std::string& client) {
  NamesOfFolder asked;
  if (!asked.Read(invocation)) return;
  calls_->describeItems(client, asked.folder, asked.names, [&](const WordsOfItems& items) {
    Return(invocation, DescriptionsToVariant(items));
  });
}

// Answered beside all other calls: who asks wants to know what holds them.
void BusService::Diagnose(const Invocation& invocation, const std::string&) {
  Return(invocation, DiagnosticsToVariant(calls_->diagnostics()));
}

// A newer menu call ends the wait of an older one when it arrives: by its turn that would be over.
void BusService::MenuForItems(const Invocation& invocation, const std::string& client) {
  const auto call = std::make_shared<MenuCall>(invocation);
  Supersede(std::exchange(clients_[client].menuCall, call));
  lanes_.RunMenu(client, [this, call, client] {
    AnswerWhateverHappens(call->invocation, [&] { BuildMenu(*call, client); });
  });
}

void BusService::Supersede(const std::weak_ptr<MenuCall>& older) {
  const std::shared_ptr<MenuCall> call = older.lock();
  if (call == nullptr) return;
  call->isSuperseded = true;
  if (!call->isTaken.exchange(true)) Return(call->invocation, MenuToVariant(0, {}));
}

void BusService::BuildMenu(MenuCall& call, const std::string& client) {
  if (call.isTaken.exchange(true)) return;
  const VariantPtr kind = Argument(call.invocation.get(), 0);
  const VariantPtr argument = Argument(call.invocation.get(), 1);
  std::vector<std::string> items;
  const gsize count = g_variant_n_children(argument.get());
  if (count > kMaxMenuItems || g_variant_get_size(argument.get()) > kMaxMenuBytes) {
    KELVO_LOG(kLogWarning, "No menu for a selection of " << count << " items");
    return Return(call.invocation, MenuToVariant(0, {}));
  }
  items.reserve(count);
  for (gsize i = 0; i < count; ++i) {
    const VariantPtr item(g_variant_get_child_value(argument.get(), i));
    const std::string_view path = Bytes(item.get());
    if (!path.empty() && !IsBusPath(path)) return ReturnInvalidPath(call.invocation);
    items.emplace_back(path);
  }
  const KeptMenu kept =
      calls_->menuForItems(client, g_variant_get_uint32(kind.get()), items, call.isSuperseded);
  Return(call.invocation, MenuToVariant(kept.serial, kept.menu));
}

void BusService::ChooseMenuItem(const Invocation& invocation, const std::string& client) {
  const VariantPtr serial = Argument(invocation.get(), 0);
  const VariantPtr index = Argument(invocation.get(), 1);
  const VariantPtr platformData = Argument(invocation.get(), 2);
  const ChosenLine line = calls_->lineOfMenu(client, g_variant_get_uint32(serial.get()),
                                             g_variant_get_uint32(index.get()));
  switch (line.state) {
    case ChosenLine::State::kReady:
      break;
    case ChosenLine::State::kNotStarted:
      return ReturnError(invocation, kErrorNotStarted,
                         "The Agent has not sent a configuration yet");
    case ChosenLine::State::kDisabled:
      return ReturnError(invocation, kErrorDisabled, "The line does nothing, or nothing now");
    case ChosenLine::State::kStale:
    default:
      return ReturnError(invocation, kErrorStaleMenu, "There is no such menu or line any more");
  }
  Return(invocation, nullptr);
  const std::string token = ActivationTokenIn(platformData.get());
  const bool needsClient = line.action == menu_action::kCopyLink;
  // With the call, which weighs until this is done.
  lanes_.RunAction(client, needsClient, [this, invocation, client, line, token] {
    calls_->perform(client, line, token);
  });
}

void BusService::ListProjects(const Invocation& invocation, const std::string&) {
  calls_->withProjects([invocation](const ProjectsList& projects) {
    Return(invocation, ProjectsToVariant(projects));
  });
}

GVariant* BusService::OnGetProperty(GDBusConnection*, const gchar*, const gchar*, const gchar*,
                                    const gchar* name, GError** error, gpointer self) {
  auto* service = static_cast<BusService*>(self);
  const std::string_view property = name;
  if (property == "Version") return g_variant_new_string(deployment::kVersion);
  if (property == "Badges") return BadgeList();
  CMutexLock lock(service->mutex_);
  if (property == "DirectoryURLs") return ToVariant(service->directoryURLs_);
  if (property == "AgentConnected") return g_variant_new_boolean(service->agentConnected_);
  g_set_error(error, G_DBUS_ERROR, G_DBUS_ERROR_UNKNOWN_PROPERTY, "No property %s", name);
  return nullptr;
}

void BusService::SetDirectoryURLs(std::vector<std::string> paths) {
  CMutexLock lock(mutex_);
  if (paths == directoryURLs_) return;
  directoryURLs_ = std::move(paths);
  EmitPropertyChanged("DirectoryURLs", ToVariant(directoryURLs_));
}

void BusService::SetAgentConnected(bool connected) {
  CMutexLock lock(mutex_);
  if (connected == agentConnected_) return;
  agentConnected_ = connected;
  EmitPropertyChanged("AgentConnected", g_variant_new_boolean(connected));
}

void BusService::EmitBadgesChanged(const std::string& folder, const std::string& entries) {
  Emit(kBusInterface, "BadgesChanged",
       g_variant_new("(@ay@ay)", ToVariant(folder), ToVariant(entries)));
}

void BusService::EmitDescriptionsChanged(const std::string& folder, const std::string& names) {
  Emit(kBusInterface, "DescriptionsChanged",
       g_variant_new("(@ay@ay)", ToVariant(folder), ToVariant(names)));
}

void BusService::EmitMenusChanged() { Emit(kBusInterface, "MenusChanged", nullptr); }

// On the thread that answers for properties: a signal that came between the reading of a property
// and its answer would be followed by the older value.
void BusService::EmitPropertyChanged(const char* name, GVariant* value) {
  GVariantBuilder changed;
  g_variant_builder_init(&changed, G_VARIANT_TYPE_VARDICT);
  g_variant_builder_add(&changed, "{sv}", name, value);
  const std::shared_ptr<GVariant> parameters(
      g_variant_ref_sink(g_variant_new("(sa{sv}as)", kBusInterface, &changed, nullptr)),
      g_variant_unref);
  loop_.Post([this, parameters] {
    Emit("org.freedesktop.DBus.Properties", "PropertiesChanged", parameters.get());
  });
}

// Queued in the order of the calls; a bus that is gone ends the process elsewhere.
void BusService::Emit(const char* interface, const char* signal, GVariant* parameters) {
  g_dbus_connection_emit_signal(connection_, nullptr, kBusPath, interface, signal, parameters,
                                nullptr);
}

}  // namespace kelvo
