#include <glib-unix.h>
#include <signal.h>

#include "platform/linux/glib_run_loop.h"
#include "tools/finder/command.h"
#include "tools/finder/extension_client.h"
#include "tools/source_id.h"
#include "tools/terminal_text.h"

namespace kelvo::finder {
namespace {

// Observes one folder as a file manager's window does. Threads: the run loop's.
class FolderWatch {
 public:
  FolderWatch(ExtensionClient& client, GlibRunLoop& runLoop, std::string folder,
              const std::vector<BadgeKind>& kinds)
      : client_(client), runLoop_(runLoop), folder_(std::move(folder)), list_(kinds) {}
  ~FolderWatch();
  FolderWatch(const FolderWatch&) = delete;
  FolderWatch& operator=(const FolderWatch&) = delete;

  // Until the run loop is ended. The exit code.
  int Run(const std::vector<std::string>& names);

 private:
  static void OnFileEvent(GFileMonitor* monitor, GFile* file, GFile* other, GFileMonitorEvent event,
                          gpointer self);
  bool WatchFiles();
  void Ask(const std::vector<std::string>& names);
  void Take(const BadgeEntry& entry);
  void OnPresence(bool present);
  void OnFileAppeared(GFile* file);
  void OnFileGone(GFile* file);

  ExtensionClient& client_;
  GlibRunLoop& runLoop_;
  const std::string folder_;
  BadgeList list_;
  GObjectPtr<GFileMonitor> files_;
  bool present_ = true;
  std::string failure_;
};

FolderWatch::~FolderWatch() {
  if (files_ != nullptr) g_signal_handlers_disconnect_by_data(files_.get(), this);
}

int FolderWatch::Run(const std::vector<std::string>& names) {
  std::string error;
  if (!WatchFiles()) return kFailure;
  if (!client_.BeginObserving(folder_, &error)) return Fail(error);
  client_.OnBusLost([this] {
    failure_ = "the session bus is gone";
    runLoop_.Quit();
  });
  client_.OnBadges(folder_, [this](const BadgeEntry& entry) { Take(entry); });
  client_.OnPresence([this](bool present) { OnPresence(present); });
  Ask(names);
  runLoop_.Run();
  if (!failure_.empty()) return Fail(failure_);
  if (present_ && !client_.EndObserving(folder_, &error)) return Fail(error);
  return kSuccess;
}

bool FolderWatch::WatchFiles() {
  const GObjectPtr<GFile> folder(g_file_new_for_path(folder_.c_str()));
  GErrorSlot error;
  files_.reset(
      g_file_monitor_directory(folder.get(), G_FILE_MONITOR_WATCH_MOVES, nullptr, error.out()));
  if (files_ == nullptr) {
    tools::PrintError("cannot watch " + tools::PrintableText(folder_) + ": " + error.text());
    return false;
  }
  g_signal_connect(files_.get(), "changed", G_CALLBACK(OnFileEvent), this);
  return true;
}

void FolderWatch::Ask(const std::vector<std::string>& names) {
  for (const std::string& name : names) list_.Add(name);
  client_.RequestBadges(names, [](const std::string& reason) { tools::PrintError(reason); });
}

void FolderWatch::Take(const BadgeEntry& entry) {
  if (list_.Set(entry.name, entry.badge)) tools::PrintLine(list_.Line(entry.name, entry.badge));
}

void FolderWatch::OnPresence(bool present) {
  if (present == present_) return;
  present_ = present;
  if (!present) {
    tools::PrintError("the extension has left the bus; waiting for its return");
    return;
  }
  tools::PrintError("the extension is back");
  std::string error;
  if (!client_.BeginObserving(folder_, &error)) tools::PrintError(error);
  std::vector<std::string> names;
  for (const auto& [name, badge] : list_.Badges()) names.push_back(name);
  Ask(names);
}

void FolderWatch::OnFileEvent(GFileMonitor* /*monitor*/, GFile* file, GFile* other,
                              GFileMonitorEvent event, gpointer self) {
  auto* watch = static_cast<FolderWatch*>(self);
  switch (event) {
    case G_FILE_MONITOR_EVENT_CREATED:
    case G_FILE_MONITOR_EVENT_MOVED_IN:
      watch->OnFileAppeared(file);
      break;
    case G_FILE_MONITOR_EVENT_DELETED:
    case G_FILE_MONITOR_EVENT_MOVED_OUT:
      watch->OnFileGone(file);
      break;
    case G_FILE_MONITOR_EVENT_RENAMED:
      watch->OnFileGone(file);
      watch->OnFileAppeared(other);
      break;
    default:
      break;
  }
}

void FolderWatch::OnFileAppeared(GFile* file) {
  const GLibPtr<char> name(g_file_get_basename(file));
  Ask({name.get()});
}

void FolderWatch::OnFileGone(GFile* file) {
  const GLibPtr<char> name(g_file_get_basename(file));
  list_.Remove(name.get());
}

gboolean OnEndSignal(gpointer runLoop) {
  static_cast<GlibRunLoop*>(runLoop)->Quit();
  return G_SOURCE_CONTINUE;
}

}  // namespace

int RunWatch(const Command& command, const Arguments& arguments) {
  if (arguments.size() != 1 || arguments[0].empty()) return Complain(command);
  const std::string folder = AbsolutePath(arguments[0]);
  const auto names = ReadFolder(folder);
  if (!names.has_value()) return kFailure;

  std::string error;
  const auto client = ExtensionClient::Connect(&error);
  if (client == nullptr) return Fail(error);
  const auto properties = client->ReadProperties(&error);
  if (!properties.has_value()) return Fail(error);

  GlibRunLoop runLoop(nullptr);
  const tools::SourceId onTerminate(g_unix_signal_add(SIGTERM, OnEndSignal, &runLoop));
  const tools::SourceId onInterrupt(g_unix_signal_add(SIGINT, OnEndSignal, &runLoop));
  const tools::SourceId onHangUp(g_unix_signal_add(SIGHUP, OnEndSignal, &runLoop));
  return FolderWatch(*client, runLoop, folder, properties->badges).Run(*names);
}

}  // namespace kelvo::finder
