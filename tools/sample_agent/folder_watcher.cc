#include "tools/sample_agent/folder_watcher.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "platform/linux/glib_ptr.h"
#include "tools/sample_agent/path_map.h"
#include "tools/terminal_text.h"

namespace kelvo::sample_agent {
namespace {

constexpr std::size_t kMaxWatchedFolders = 8192;
constexpr int kEventRateLimit = 100;  // milliseconds between two "is being written" of one file
constexpr std::chrono::milliseconds kTickInterval{100};
constexpr std::chrono::milliseconds kGatherGoneTime{100};

std::string PathOf(GFile* file) {
  if (file == nullptr) return {};
  const GLibPtr<char> path(g_file_get_path(file));
  return path == nullptr ? std::string() : path.get();
}

}  // namespace

void FileMonitorRelease::operator()(GFileMonitor* monitor) const {
  g_file_monitor_cancel(monitor);
  g_object_unref(monitor);
}

FolderWatcher::FolderWatcher(FolderModel& model, RunLoop& runLoop, const Clock& clock,
                             std::chrono::milliseconds settleTime, Listener& listener)
    : model_(model),
      runLoop_(runLoop),
      clock_(clock),
      settleTime_(settleTime),
      listener_(listener) {}

FolderWatcher::~FolderWatcher() {
  runLoop_.Cancel(tick_);
  runLoop_.Cancel(announceGone_);
}

void FolderWatcher::Watch(const std::string& folder) {
  if (monitors_.contains(folder)) return;
  if (monitors_.size() >= kMaxWatchedFolders) {
    tools::PrintError("too many folders, not watched: " + tools::PrintableText(folder));
    return;
  }
  const GObjectPtr<GFile> file(g_file_new_for_path(folder.c_str()));
  GErrorSlot error;
  FileMonitorPtr monitor(
      g_file_monitor_directory(file.get(), G_FILE_MONITOR_WATCH_MOVES, nullptr, error.out()));
  if (monitor == nullptr) {
    tools::PrintError("cannot watch " + tools::PrintableText(folder) + ": " + error.text());
    return;
  }
  g_file_monitor_set_rate_limit(monitor.get(), kEventRateLimit);
  g_signal_connect(monitor.get(), "changed", G_CALLBACK(OnMonitorEvent), this);
  monitors_.emplace(folder, std::move(monitor));
}

void FolderWatcher::Leave(const std::string& folder) {
  model_.Forget(folder);
  ErasePaths(settlesAt_, folder);
  ErasePaths(monitors_, folder);
}

void FolderWatcher::OnMonitorEvent(GFileMonitor* /*monitor*/, GFile* file, GFile* other,
                                   GFileMonitorEvent event, gpointer watcher) {
  static_cast<FolderWatcher*>(watcher)->HandleEvent(event, PathOf(file), PathOf(other));
}

void FolderWatcher::HandleEvent(GFileMonitorEvent event, const std::string& path,
                                const std::string& other) {
  const bool served = model_.Resolve(path).has_value() && !model_.IsServedFolderItself(path);
  const bool otherServed = !other.empty() && model_.Resolve(other).has_value();
  switch (event) {
    case G_FILE_MONITOR_EVENT_CHANGED:
    case G_FILE_MONITOR_EVENT_CHANGES_DONE_HINT:
    case G_FILE_MONITOR_EVENT_CREATED:
      if (served) Touch(path);
      break;
    case G_FILE_MONITOR_EVENT_MOVED_IN:
      if (served && otherServed) Follow(other, path);
      if (served) Touch(path);
      break;
    case G_FILE_MONITOR_EVENT_MOVED_OUT:
      if (served && otherServed) Follow(path, other);
      if (served) Vanish(path);
      break;
    case G_FILE_MONITOR_EVENT_DELETED:
      if (served) Vanish(path);
      break;
    case G_FILE_MONITOR_EVENT_RENAMED:
      if (served && otherServed) Follow(path, other);
      if (served) Vanish(path);
      if (otherServed) Touch(other);
      break;
    default:
      break;
  }
}

void FolderWatcher::Touch(const std::string& path) {
  Item* item = model_.Find(path);
  if (item == nullptr) return;
  settlesAt_[path] = clock_.Monotonic() + settleTime_;
  if (tick_ == 0) tick_ = runLoop_.Every(kTickInterval, kTickInterval, [this] { Settle(); });
  if (std::exchange(item->changing, true)) return;
  listener_.OnItemChanged(path);
}

void FolderWatcher::Vanish(const std::string& path) {
  Leave(path);
  foldersWithGoneItems_.insert(ParentOfPath(path));
  if (announceGone_ == 0) {
    announceGone_ = runLoop_.After(kGatherGoneTime, [this] { AnnounceGone(); });
  }
}

void FolderWatcher::Follow(const std::string& from, const std::string& to) {
  model_.Move(from, to);
  MovePaths(settlesAt_, from, to);
}

void FolderWatcher::Settle() {
  const std::chrono::milliseconds now = clock_.Monotonic();
  std::vector<std::string> settled;
  for (const auto& [path, at] : settlesAt_) {
    if (at <= now) settled.push_back(path);
  }
  for (const std::string& path : settled) {
    settlesAt_.erase(path);
    Item* item = model_.FindKnown(path);
    if (item == nullptr) continue;
    item->changing = false;
    listener_.OnItemChanged(path);
  }
  if (settlesAt_.empty()) runLoop_.Cancel(std::exchange(tick_, 0));
}

void FolderWatcher::AnnounceGone() {
  announceGone_ = 0;
  for (const std::string& folder : std::exchange(foldersWithGoneItems_, {})) {
    if (monitors_.contains(folder)) listener_.OnItemsGone(folder);
  }
}

}  // namespace kelvo::sample_agent
