#include "tools/finder/menu_client.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "hosts/bus/bus_interface.h"
#include "hosts/client/bus_values.h"

namespace kelvo::finder {
namespace {

using std::chrono::milliseconds;

constexpr std::uint32_t kMenuForItems = 0;  // the kind of the selection's context menu
constexpr milliseconds kAskAgain{1000};
constexpr int kBusTimeout = 5'000;  // milliseconds

SelectionMenu MenuOf(GVariant* reply) {
  SelectionMenu menu;
  const GLibPtr<GVariant> lines = Child(reply, 1);
  g_variant_get_child(reply, 0, "u", &menu.serial);
  for (gsize i = 0; i < g_variant_n_children(lines.get()); ++i) {
    MenuLine line;
    const char* title = nullptr;
    const char* icon = nullptr;
    const char* action = nullptr;
    gboolean enabled = FALSE;
    gboolean separator = FALSE;
    const GLibPtr<GVariant> fields = Child(lines.get(), i);
    g_variant_get(fields.get(), "(u&s&sb&sb)", &line.index, &title, &icon, &enabled, &action,
                  &separator);
    line.title = title;
    line.action = action;
    line.enabled = enabled == TRUE;
    line.separator = separator == TRUE;
    menu.lines.push_back(std::move(line));
  }
  return menu;
}

// What the desktop gave this program, for the window or browser that the choice leads to.
GVariant* PlatformData() {
  GVariantDict data;
  g_variant_dict_init(&data, nullptr);
  for (const char* name : {"XDG_ACTIVATION_TOKEN", "DESKTOP_STARTUP_ID"}) {
    const char* token = std::getenv(name);
    if (token == nullptr || *token == '\0' || g_utf8_validate(token, -1, nullptr) == FALSE) {
      continue;
    }
    g_variant_dict_insert(&data, "activation-token", "s", token);
    break;
  }
  return g_variant_dict_end(&data);
}

}  // namespace

MenuClient::MenuClient(ExtensionClient& extension)
    : extension_(extension),
      host_([this](const std::string& text) {
        text_ = text;
        return true;
      }),
      changedSignal_(g_dbus_connection_signal_subscribe(
          extension.Connection(), kBusName, kBusInterface, "MenusChanged", kBusPath, nullptr,
          G_DBUS_SIGNAL_FLAGS_NONE, OnMenusChanged, this, nullptr)) {}

MenuClient::~MenuClient() {
  g_dbus_connection_signal_unsubscribe(extension_.Connection(), changedSignal_);
}

std::optional<SelectionMenu> MenuClient::Ask(const std::vector<std::string>& items,
                                             milliseconds limit, std::string* error) {
  const GLibPtr<GVariant> paths(g_variant_ref_sink(Paths(items)));
  const milliseconds end = clock_.Monotonic() + limit;
  for (;;) {
    changed_ = false;
    std::optional<SelectionMenu> menu = AskOnce(paths.get(), error);
    const milliseconds left = end - clock_.Monotonic();
    if (!menu.has_value() || !menu->lines.empty() || left <= milliseconds(0)) return menu;
    WaitFor([this] { return changed_; }, std::min(left, kAskAgain));
  }
}

std::optional<SelectionMenu> MenuClient::AskOnce(GVariant* items, std::string* error) {
  const GLibPtr<GVariant> reply = extension_.Call(
      "MenuForItems", g_variant_new("(u@aay)", kMenuForItems, items), "(ua(ussbsb))", error);
  if (reply == nullptr) return std::nullopt;
  return MenuOf(reply.get());
}

bool MenuClient::Choose(const SelectionMenu& menu, const MenuLine& line, std::string* error) {
  return extension_.Call("ChooseMenuItem",
                         g_variant_new("(uu@a{sv})", menu.serial, line.index, PlatformData()), "()",
                         error) != nullptr;
}

bool MenuClient::TakeClipboard(std::string* error) {
  GErrorSlot failure;
  const GLibPtr<GVariant> owner(g_dbus_connection_call_sync(
      extension_.Connection(), "org.freedesktop.DBus", "/org/freedesktop/DBus",
      "org.freedesktop.DBus", "GetNameOwner", g_variant_new("(s)", kBusName), G_VARIANT_TYPE("(s)"),
      G_DBUS_CALL_FLAGS_NONE, kBusTimeout, nullptr, failure.out()));
  if (owner == nullptr) {
    *error = std::string("the extension is gone: ") + failure.text();
    return false;
  }
  const char* name = nullptr;
  g_variant_get(owner.get(), "(&s)", &name);
  if (host_.Export(extension_.Connection(), name)) return true;
  *error = "the bus connection does not take the object that receives the clipboard's text";
  return false;
}

std::optional<std::string> MenuClient::WaitForClipboard(milliseconds limit) {
  WaitFor([&] { return text_.has_value(); }, limit);
  // The extension is to hear that the text has arrived, however soon this program ends.
  g_dbus_connection_flush_sync(extension_.Connection(), nullptr, nullptr);
  return text_;
}

void MenuClient::WaitFor(const std::function<bool()>& isThere, milliseconds limit) {
  bool over = false;
  const RunLoop::TimerId timer = runLoop_.After(limit, [&over] { over = true; });
  runLoop_.RunModal([&] { return over || isThere(); });
  runLoop_.Cancel(timer);
}

void MenuClient::OnMenusChanged(GDBusConnection* /*connection*/, const char* /*sender*/,
                                const char* /*path*/, const char* /*interface*/,
                                const char* /*signal*/, GVariant* /*parameters*/, gpointer self) {
  static_cast<MenuClient*>(self)->changed_ = true;
}

}  // namespace kelvo::finder
