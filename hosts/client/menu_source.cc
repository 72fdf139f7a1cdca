#include "hosts/client/menu_source.h"

#include <algorithm>
#include <utility>

#include "hosts/client/bus_values.h"
#include "hosts/client/quietly.h"

namespace kelvo {

namespace {

constexpr guint kItemsKind = 0;  // the menu of selected items
constexpr char kMenuType[] = "(ua(ussbsb))";
constexpr char kStaleMenu[] = "com.kelvo.FinderSync1.Error.StaleMenu";

using ItemsPtr = std::shared_ptr<const std::vector<std::string>>;

std::size_t HashOf(const std::vector<std::string>& items) {
  std::size_t hash = items.size();
  for (const std::string& item : items) hash = hash * 31 + std::hash<std::string>{}(item);
  return hash;
}

std::size_t SizeOf(const std::vector<std::string>& items) {
  std::size_t size = 0;
  for (const std::string& item : items) size += item.size() + sizeof(std::string);
  return size;
}

bool SameLines(const FileMenuPtr& a, const FileMenuPtr& b) {
  const bool aEmpty = a == nullptr || a->lines.empty();
  const bool bEmpty = b == nullptr || b->lines.empty();
  return aEmpty || bEmpty ? aEmpty == bEmpty : a->lines == b->lines;
}

FileMenu MenuOf(GVariant* reply, const std::string& extension, ItemsPtr items) {
  FileMenu menu{extension, g_variant_get_uint32(Child(reply, 0).get()), std::move(items), {}};
  const GLibPtr<GVariant> lines = Child(reply, 1);
  for (gsize i = 0; i < g_variant_n_children(lines.get()); ++i) {
    const GLibPtr<GVariant> value = Child(lines.get(), i);
    guint index = 0;
    const char* title = nullptr;
    const char* icon = nullptr;
    gboolean enabled = FALSE;
    const char* action = nullptr;
    gboolean separator = FALSE;
    g_variant_get(value.get(), "(u&s&sb&sb)", &index, &title, &icon, &enabled, &action, &separator);
    menu.lines.push_back({index, title, icon, enabled != FALSE, action, separator != FALSE});
  }
  return menu;
}

}  // namespace

struct MenuSource::Selection {
  ItemsPtr items;
  std::size_t hash = 0;
  std::size_t size = 0;            // bytes
  std::shared_ptr<FileMenu> menu;  // the last answer; null before the first
  FileMenuPtr told;                // what the file manager has
  std::uint64_t question = 0;      // that the menu answers
  std::chrono::milliseconds answeredAt{};
  bool outdated = false;  // something has changed since it was last asked about
  bool wanted = false;    // to be asked about as soon as may be
  bool underWay = false;
};

struct MenuSource::Question {
  MenuSource* source;
  SelectionPtr selection;
  std::uint64_t number;
};

struct MenuSource::Choice {
  MenuSource* source;
  ItemsPtr items;
  std::string action;
  std::string activationToken;
  bool first;  // not yet asked anew
};

bool MenuSource::HasLines(const SelectionPtr& selection) {
  return selection->told && !selection->told->lines.empty();
}

MenuSource::MenuSource(const Clock& clock, MenuWaiting waiting, std::function<void()> changed)
    : clock_(clock), waiting_(waiting), changed_(std::move(changed)) {}

MenuSource::~MenuSource() {
  if (cancel_) g_cancellable_cancel(cancel_.get());
  if (renewal_ != 0) g_source_remove(renewal_);
}

void MenuSource::ExtensionUp(GDBusConnection* connection, const std::string& extension) {
  connection_.reset(static_cast<GDBusConnection*>(g_object_ref(connection)));
  cancel_.reset(g_cancellable_new());
  extension_ = extension;
}

void MenuSource::ExtensionDown() {
  if (!connection_) return;
  g_cancellable_cancel(cancel_.get());
  connection_.reset();
  const bool shown = std::any_of(selections_.begin(), selections_.end(), HasLines);
  refused_ = refused_ || !selections_.empty();
  selections_.clear();
  directories_ = WatchedDirectories();
  lastFolder_.clear();
  underWay_ = 0;
  hung_ = false;
  if (shown) Announce();
}

void MenuSource::SetDirectories(const std::vector<std::string>& directories) {
  WatchedDirectories fresh(directories);
  if (fresh == directories_) return;
  directories_ = std::move(fresh);
  lastFolder_.clear();
  if (std::exchange(refused_, false) || !selections_.empty()) Announce();
}

void MenuSource::MenusChanged() {
  for (const SelectionPtr& selection : selections_) selection->outdated = true;
  WantShown();
}

bool MenuSource::Covers(std::string_view path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string_view::npos) return false;
  const std::string_view folder = path.substr(0, slash);
  if (!lastFolder_.empty() && folder == lastFolder_) return true;
  const bool covered = directories_.RelationOf(path) == WatchedDirectories::Relation::kInside;
  if (!covered) {
    refused_ = true;
  } else if (!directories_.IsWatched(path)) {  // its neighbours need not be
    lastFolder_ = folder;
  }
  return covered;
}

FileMenuPtr MenuSource::MenuFor(std::vector<std::string> items) {
  if (items.empty() || !connection_) return nullptr;
  const SelectionPtr selection = FindOrAdd(std::move(items));
  if (!selection) return nullptr;
  if (!IsFresh(*selection)) {
    selection->wanted = true;
    if (waiting_ == MenuWaiting::kShortly && !hung_) AskAndWait(*selection);
    AskWanted();
  }
  selection->told = IsUsable(*selection) ? selection->menu : nullptr;
  return selection->told && selection->told->lines.empty() ? nullptr : selection->told;
}

MenuSource::SelectionPtr MenuSource::FindOrAdd(std::vector<std::string> items) {
  const std::size_t hash = HashOf(items);
  const auto found =
      std::find_if(selections_.begin(), selections_.end(), [&](const SelectionPtr& selection) {
        return selection->hash == hash && *selection->items == items;
      });
  if (found != selections_.end()) {
    std::rotate(selections_.begin(), found, found + 1);
    return selections_.front();
  }
  const std::size_t size = SizeOf(items);
  if (size > kMaxSelectionBytes) {
    g_debug("no menu for a selection of %zu items", items.size());
    return nullptr;
  }
  auto selection = std::make_shared<Selection>();
  selection->items = std::make_shared<const std::vector<std::string>>(std::move(items));
  selection->hash = hash;
  selection->size = size;
  selections_.insert(selections_.begin(), selection);
  DropSurplus();
  return selection;
}

void MenuSource::DropSurplus() {
  std::size_t bytes = 0;
  std::size_t count = 0;
  for (auto it = selections_.begin(); it != selections_.end(); ++it, ++count) {
    bytes += (*it)->size;
    if (count == 0 || (count < kMaxSelections && bytes <= kMaxSelectionBytes)) continue;
    selections_.erase(it, selections_.end());
    return;
  }
}

bool MenuSource::IsUsable(const Selection& selection) const {
  return selection.menu && clock_.Monotonic() - selection.answeredAt < kValid &&
         lastQuestion_ - selection.question < kKeptMenus;
}

bool MenuSource::IsFresh(const Selection& selection) const {
  return IsUsable(selection) && !selection.outdated &&
         clock_.Monotonic() - selection.answeredAt < kFresh;
}

std::size_t MenuSource::ShownCount() const {
  return waiting_ == MenuWaiting::kNever ? std::min(selections_.size(), kShown)
                                         : std::min<std::size_t>(selections_.size(), 1);
}

void MenuSource::WantShown() {
  if (waiting_ != MenuWaiting::kNever) return;
  for (std::size_t i = 0; i < ShownCount(); ++i) selections_[i]->wanted = true;
  AskWanted();
}

// The newest at once. The others one after another, since a newer question ends the work on an
// older one: two would end each other's for ever.
void MenuSource::AskWanted() {
  for (std::size_t i = 0; i < ShownCount(); ++i) {
    const SelectionPtr& selection = selections_[i];
    if (underWay_ >= (i == 0 ? kMaxUnderWay : 1)) return;
    if (selection->wanted && !selection->underWay) Ask(selection);
  }
}

void MenuSource::Ask(const SelectionPtr& selection) {
  selection->wanted = false;
  selection->outdated = false;
  selection->underWay = true;
  ++underWay_;
  auto question = std::make_unique<Question>(Question{this, selection, ++lastQuestion_});
  // Without a limit: a hung extension that goes on answers everything, one that ends fails it.
  g_dbus_connection_call(
      connection_.get(), extension_.c_str(), kExtensionPath, kExtensionInterface, "MenuForItems",
      g_variant_new("(u@aay)", kItemsKind, Paths(*selection->items)), G_VARIANT_TYPE(kMenuType),
      G_DBUS_CALL_FLAGS_NO_AUTO_START, G_MAXINT, cancel_.get(), OnAnswer, question.release());
}

void MenuSource::OnAnswer(GObject* source, GAsyncResult* result, gpointer data) {
  const std::unique_ptr<Question> question(static_cast<Question*>(data));
  GErrorSlot error;
  const GLibPtr<GVariant> reply(
      g_dbus_connection_call_finish(G_DBUS_CONNECTION(source), result, error.out()));
  if (g_error_matches(error.get(), G_IO_ERROR, G_IO_ERROR_CANCELLED)) return;  // nobody is there
  if (!reply) g_debug("no menu: %s", error.text());
  Quietly([&] {
    MenuSource* const self = question->source;
    Selection& selection = *question->selection;
    --self->underWay_;
    selection.underWay = false;
    self->TakeAnswer(selection, question->number, reply.get());
    const bool news = self->IsUsable(selection) && !SameLines(selection.told, selection.menu);
    self->AskWanted();
    if (news) self->Announce();
  });
}

// Turns no main loop but one of its own, with nothing of the file manager's in it.
void MenuSource::AskAndWait(Selection& selection) {
  selection.outdated = false;
  const std::uint64_t number = ++lastQuestion_;
  GErrorSlot error;
  const GLibPtr<GVariant> reply(g_dbus_connection_call_sync(
      connection_.get(), extension_.c_str(), kExtensionPath, kExtensionInterface, "MenuForItems",
      g_variant_new("(u@aay)", kItemsKind, Paths(*selection.items)), G_VARIANT_TYPE(kMenuType),
      G_DBUS_CALL_FLAGS_NO_AUTO_START, static_cast<int>(kWait.count()), cancel_.get(),
      error.out()));
  if (!reply) g_debug("no menu: %s", error.text());
  // What comes after the limit is lost. Hence it stays wanted, and the answer to another question
  // tells when the extension is back.
  hung_ = g_error_matches(error.get(), G_IO_ERROR, G_IO_ERROR_TIMED_OUT);
  if (hung_) return;
  selection.wanted = false;
  TakeAnswer(selection, number, reply.get());
}

// `reply`: null for a call that failed.
void MenuSource::TakeAnswer(Selection& selection, std::uint64_t number, GVariant* reply) {
  hung_ = false;
  if (reply == nullptr) {
    selection.outdated = true;
    return;
  }
  FileMenu menu = MenuOf(reply, extension_, selection.items);
  // A newer question ends the work on an older one, which is answered with nothing then.
  if (menu.lines.empty() && number != lastQuestion_) {
    selection.outdated = true;
    selection.wanted = true;
    return;
  }
  TakeMenu(selection, number, std::move(menu));
}

void MenuSource::TakeMenu(Selection& selection, std::uint64_t number, FileMenu menu) {
  if (selection.menu && selection.menu->lines == menu.lines) {
    selection.menu->serial = menu.serial;
  } else {
    selection.menu = std::make_shared<FileMenu>(std::move(menu));
  }
  selection.question = number;
  selection.answeredAt = clock_.Monotonic();
  if (waiting_ != MenuWaiting::kNever || renewal_ != 0) return;
  renewal_ = g_timeout_add_seconds(static_cast<guint>(kRenewal.count()), OnRenewal, this);
}

// A menu that a file manager holds must not grow too old to be chosen from.
gboolean MenuSource::OnRenewal(gpointer self) {
  auto* source = static_cast<MenuSource*>(self);
  source->renewal_ = 0;
  Quietly([source] { source->WantShown(); });
  return G_SOURCE_REMOVE;
}

void MenuSource::Announce() {
  if (waiting_ == MenuWaiting::kNever && changed_) changed_();
}

void MenuSource::Choose(const FileMenu& menu, const FileMenuLine& line,
                        const std::string& activationToken) {
  for (const SelectionPtr& selection : selections_) {
    if (selection->menu.get() == &menu) selection->outdated = true;
  }
  auto choice =
      std::make_unique<Choice>(Choice{this, menu.items, line.action, activationToken, true});
  if (connection_ && menu.extension == extension_) {
    Perform(std::move(choice), menu.serial, line.index);
  } else {
    AskAnew(std::move(choice));
  }
}

void MenuSource::Perform(std::unique_ptr<Choice> choice, std::uint32_t serial,
                         std::uint32_t index) {
  GVariantBuilder data;
  g_variant_builder_init(&data, G_VARIANT_TYPE_VARDICT);
  if (!choice->activationToken.empty()) {
    g_variant_builder_add(&data, "{sv}", "activation-token",
                          g_variant_new_string(choice->activationToken.c_str()));
  }
  g_dbus_connection_call(connection_.get(), extension_.c_str(), kExtensionPath, kExtensionInterface,
                         "ChooseMenuItem", g_variant_new("(uua{sv})", serial, index, &data),
                         nullptr, G_DBUS_CALL_FLAGS_NO_AUTO_START, -1, cancel_.get(), OnChosen,
                         choice.release());
}

void MenuSource::OnChosen(GObject* source, GAsyncResult* result, gpointer data) {
  std::unique_ptr<Choice> choice(static_cast<Choice*>(data));
  GErrorSlot error;
  const GLibPtr<GVariant> reply(
      g_dbus_connection_call_finish(G_DBUS_CONNECTION(source), result, error.out()));
  if (reply) return;
  g_debug("a menu's line was not performed: %s", error.text());
  if (g_error_matches(error.get(), G_IO_ERROR, G_IO_ERROR_CANCELLED)) return;  // nobody is there
  const GLibPtr<char> name(g_dbus_error_get_remote_error(error.get()));
  if (!choice->first || g_strcmp0(name.get(), kStaleMenu) != 0) return;
  Quietly([&] { choice->source->AskAnew(std::move(choice)); });
}

// A file manager may show a menu for longer than the extension keeps it.
void MenuSource::AskAnew(std::unique_ptr<Choice> choice) {
  const auto covered = [this](const std::string& item) { return Covers(item); };
  if (!connection_ || !std::all_of(choice->items->begin(), choice->items->end(), covered)) {
    g_debug("there is no menu for the items any more");
    return;
  }
  choice->first = false;
  ++lastQuestion_;
  GVariant* const question = g_variant_new("(u@aay)", kItemsKind, Paths(*choice->items));
  g_dbus_connection_call(connection_.get(), extension_.c_str(), kExtensionPath, kExtensionInterface,
                         "MenuForItems", question, G_VARIANT_TYPE(kMenuType),
                         G_DBUS_CALL_FLAGS_NO_AUTO_START, -1, cancel_.get(), OnAskedAnew,
                         choice.release());
}

void MenuSource::OnAskedAnew(GObject* source, GAsyncResult* result, gpointer data) {
  std::unique_ptr<Choice> choice(static_cast<Choice*>(data));
  GErrorSlot error;
  const GLibPtr<GVariant> reply(
      g_dbus_connection_call_finish(G_DBUS_CONNECTION(source), result, error.out()));
  if (!reply) {
    g_debug("no new menu to choose from: %s", error.text());
    return;
  }
  Quietly([&] {
    MenuSource* const self = choice->source;
    const FileMenu menu = MenuOf(reply.get(), self->extension_, choice->items);
    const auto line =
        std::find_if(menu.lines.begin(), menu.lines.end(), [&](const FileMenuLine& candidate) {
          return candidate.enabled && candidate.action == choice->action;
        });
    if (line != menu.lines.end()) self->Perform(std::move(choice), menu.serial, line->index);
  });
}

}  // namespace kelvo
