#pragma once

#include <gio/gio.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "hosts/client/file_menu.h"
#include "hosts/client/watched_directories.h"
#include "platform/clock.h"
#include "platform/linux/glib_ptr.h"

namespace kelvo {

// How a file manager asks for menus.
enum class MenuWaiting {
  kNever,    // on every change of the selection: what is known is said, news are announced
  kShortly,  // when the menu pops up: worth a wait that is hardly felt
};

// The extension's menus for what is selected in a file manager.
//
// Asked twice for one selection it says the same, and asks the extension anew when its answer is
// not quite fresh. Of calls that a hung extension does not answer there are never more than a few.
//
// Threads: the main thread with the default main context.
class MenuSource {
 public:
  static constexpr std::chrono::milliseconds kWait{200};  // kShortly's, at most
  // An answer that young is not asked for again, so that the popup and the click that follows, or
  // a file manager that asks several times, cost one call.
  static constexpr std::chrono::milliseconds kFresh{2'000};
  // The extension keeps a menu for ten minutes, and the last sixteen of a client.
  static constexpr std::chrono::milliseconds kValid{540'000};
  static constexpr std::chrono::seconds kRenewal{480};
  static constexpr std::uint64_t kKeptMenus = 16;
  static constexpr std::size_t kMaxSelections = 8;
  // A file manager may have several windows, each with a selection, and does not say which are
  // left: so many of the last ones are kept true.
  static constexpr std::size_t kShown = 3;
  static constexpr std::size_t kMaxSelectionBytes = std::size_t{16} << 20;
  static constexpr std::size_t kMaxUnderWay = 2;

  // `changed`: the file manager is to ask again, for kNever. Never called from inside a call of
  // the file manager.
  MenuSource(const Clock& clock, MenuWaiting waiting, std::function<void()> changed);
  ~MenuSource();
  MenuSource(const MenuSource&) = delete;
  MenuSource& operator=(const MenuSource&) = delete;

  // From the file manager.

  // Whether the extension has menus for the item at all. Cheap, and not to be asked about what has
  // no path.
  bool Covers(std::string_view path);
  // For items that are all covered; null when there are no lines, or none that are known yet.
  FileMenuPtr MenuFor(std::vector<std::string> items);
  // `line`: of the menu. Where the extension has it no longer, the line of the same action in a new
  // one for the same items is chosen. `activationToken`: what the desktop gave the user's click;
  // may be empty.
  void Choose(const FileMenu& menu, const FileMenuLine& line, const std::string& activationToken);

  // From the extension.
  void ExtensionUp(GDBusConnection* connection, const std::string& extension);
  void ExtensionDown();
  void SetDirectories(const std::vector<std::string>& directories);
  void MenusChanged();

 private:
  struct Selection;
  struct Question;
  struct Choice;
  using SelectionPtr = std::shared_ptr<Selection>;

  static void OnAnswer(GObject* source, GAsyncResult* result, gpointer question);
  static void OnChosen(GObject* source, GAsyncResult* result, gpointer choice);
  static void OnAskedAnew(GObject* source, GAsyncResult* result, gpointer choice);
  static gboolean OnRenewal(gpointer self);

  static bool HasLines(const SelectionPtr& selection);
  SelectionPtr FindOrAdd(std::vector<std::string> items);
  void DropSurplus();
  bool IsUsable(const Selection& selection) const;
  bool IsFresh(const Selection& selection) const;
  std::size_t ShownCount() const;
  void WantShown();
  void AskWanted();
  void Ask(const SelectionPtr& selection);
  void AskAndWait(Selection& selection);
  void TakeAnswer(Selection& selection, std::uint64_t number, GVariant* reply);
  void TakeMenu(Selection& selection, std::uint64_t number, FileMenu menu);
  void Announce();
  void Perform(std::unique_ptr<Choice> choice, std::uint32_t serial, std::uint32_t index);
  void AskAnew(std::unique_ptr<Choice> choice);

  const Clock& clock_;
  const MenuWaiting waiting_;
  const std::function<void()> changed_;

  WatchedDirectories directories_;
  std::string lastFolder_;  // whose items are covered; most look-ups repeat it
  bool refused_ = false;    // something was not covered

  std::vector<SelectionPtr> selections_;  // the last that were asked about, newest first
  std::uint64_t lastQuestion_ = 0;
  std::size_t underWay_ = 0;
  bool hung_ = false;  // a wait was in vain, and nothing was answered since
  guint renewal_ = 0;

  // Of the extension that is there now.
  GObjectPtr<GDBusConnection> connection_;
  GObjectPtr<GCancellable> cancel_;
  std::string extension_;
};

}  // namespace kelvo
