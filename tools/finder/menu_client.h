#pragma once

#include <gio/gio.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "hosts/client/host_object.h"
#include "platform/linux/glib_run_loop.h"
#include "platform/posix/system_clock.h"
#include "tools/finder/extension_client.h"

namespace kelvo::finder {

// One line of a context menu as the extension describes it.
struct MenuLine {
  std::uint32_t index = 0;
  std::string title;
  std::string action;  // empty: it only tells something
  bool enabled = false;
  bool separator = false;
};

// Without lines when the extension has nothing to offer for the selection.
struct SelectionMenu {
  std::uint32_t serial = 0;
  std::vector<MenuLine> lines;
};

// The context menus of the extension, asked and chosen from as a file manager does.
//
// Threads: the default main context's, which is turned while something is waited for.
class MenuClient {
 public:
  // `extension` must outlive the client.
  explicit MenuClient(ExtensionClient& extension);
  ~MenuClient();
  MenuClient(const MenuClient&) = delete;
  MenuClient& operator=(const MenuClient&) = delete;

  // The menu for the items, absolute paths; until there is one it asks again, for as long as
  // `limit`. nullopt, with the reason, when the extension does not answer.
  std::optional<SelectionMenu> Ask(const std::vector<std::string>& items,
                                   std::chrono::milliseconds limit, std::string* error);
  // True when the extension has taken the choice; what comes of it shows elsewhere.
  bool Choose(const SelectionMenu& menu, const MenuLine& line, std::string* error);

  // From now on the extension, and nobody else, may hand over what it puts on the clipboard. To be
  // called before the choice. False, with the reason.
  bool TakeClipboard(std::string* error);
  // What it has put there; nullopt after `limit`.
  std::optional<std::string> WaitForClipboard(std::chrono::milliseconds limit);

 private:
  std::optional<SelectionMenu> AskOnce(GVariant* items, std::string* error);
  // Turns the main context until `isThere`, and no longer than `limit`.
  void WaitFor(const std::function<bool()>& isThere, std::chrono::milliseconds limit);

  static void OnMenusChanged(GDBusConnection* connection, const char* sender, const char* path,
                             const char* interface, const char* signal, GVariant* parameters,
                             gpointer self);

  ExtensionClient& extension_;
  GlibRunLoop runLoop_{nullptr};
  const SystemClock clock_;
  HostObject host_;
  guint changedSignal_ = 0;
  bool changed_ = false;
  std::optional<std::string> text_;  // put on the clipboard
};

}  // namespace kelvo::finder
