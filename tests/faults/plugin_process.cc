// A file manager's process without windows: what a plug-in holds and asks, and how long its calls
// and the turns of its main loop held the thread. Waits for a processor, which other load costs,
// are left out.
//
//   kelvo_plugin_process
//
// Commands on standard input:
//   show FOLDER   holds everything in the folder
//   hold PATH     holds an item, be it there or not
//   steady MS     asks for one held item after the other, every so often; 0: no more
//   tell NUMBER   prints NUMBER call=MS turn=MS FOLDER=BADGES...: the slowest of both, and for each
//                 folder, in whose path blanks are not provided for, the badges by order of names
#include <fcntl.h>
#include <glib.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <system_error>

#include "base/unique_fd.h"
#include "hosts/client/finder_client.h"
#include "tools/line_input.h"

namespace kelvo {
namespace {

class PluginProcess {
 public:
  PluginProcess()
      : client_([this](const std::string& folder, const std::string& name) {
          shown_[folder][name] = Ask(folder + '/' + name);
        }),
        input_(STDIN_FILENO, [this](const std::string& line) {
          const Moment begin = Now();
          Obey(line);
          commands_ += HeldSince(begin);
        }) {}

  // A poll of the main loop, which is between two turns.
  gint Poll(GPollFD* descriptors, guint count, gint timeout) {
    longestTurn_ = std::max(longestTurn_, HeldSince(turnBegin_) - commands_);
    const gint result = g_poll(descriptors, count, timeout);
    turnBegin_ = Now();
    commands_ = 0;
    return result;
  }

 private:
  struct Moment {
    std::int64_t waited;  // nanoseconds, as all below
    std::int64_t time;
  };

  void Obey(const std::string& line) {
    const std::string argument = line.substr(std::min<std::size_t>(5, line.size()));
    if (line.starts_with("show ")) Show(argument);
    if (line.starts_with("hold ")) Hold(argument);
    if (line.starts_with("tell ")) Tell(argument);
    if (line.starts_with("steady ")) AskSteadily(std::atoi(line.c_str() + 7));
  }

  void Show(const std::string& folder) {
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
      Hold(entry.path());
    }
  }

  void Hold(const std::filesystem::path& path) {
    shown_[path.parent_path()][path.filename()] = Ask(path);
    if (held_.insert(path).second)
      Timed([&] { client_.Retain(client_.Lookup(path.c_str()).item); });
  }

  char Ask(const std::string& path) {
    char badge = '0';
    Timed([&] { badge = client_.Lookup(path).badge; });
    return badge;
  }

  template <typename Call>
  void Timed(Call call) {
    const Moment begin = Now();
    call();
    slowestCall_ = std::max(slowestCall_, HeldSince(begin));
  }

  void AskSteadily(int milliseconds) {
    if (steady_ != 0) g_source_remove(steady_);
    steady_ = milliseconds == 0 ? 0 : g_timeout_add(milliseconds, OnSteady, this);
  }

  // The answer is not shown: what is shown must come true without it.
  static gboolean OnSteady(gpointer self) {
    auto* process = static_cast<PluginProcess*>(self);
    auto next = process->held_.upper_bound(process->lastAsked_);
    if (next == process->held_.end()) next = process->held_.begin();
    if (next == process->held_.end()) return G_SOURCE_CONTINUE;
    process->lastAsked_ = *next;
    process->Ask(*next);
    return G_SOURCE_CONTINUE;
  }

  // A wait between the two readings must not count as time held: it is in the second one here, ...
  Moment Now() const { return {.waited = Waited(), .time = Time()}; }

  // ... and here.
  std::int64_t HeldSince(const Moment& begin) const {
    const std::int64_t took = Time() - begin.time;
    return took - (Waited() - begin.waited);
  }

  static std::int64_t Time() {
    const std::chrono::nanoseconds now = std::chrono::steady_clock::now().time_since_epoch();
    return now.count();
  }

  std::int64_t Waited() const {
    char buffer[128];
    const char* const text = buffer;
    const ssize_t size = ::pread(schedule_.get(), buffer, sizeof buffer, 0);
    const char* const end = text + std::max<ssize_t>(size, 0);
    const char* const second = std::find(text, end, ' ');
    std::int64_t waited = 0;
    if (second != end) std::from_chars(second + 1, end, waited);
    return waited;
  }

  void Tell(const std::string& number) const {
    std::printf("%s call=%.3f turn=%.3f", number.c_str(), static_cast<double>(slowestCall_) / 1e6,
                static_cast<double>(longestTurn_) / 1e6);
    for (const auto& [folder, items] : shown_) {
      std::string badges;
      for (const auto& [name, badge] : items) badges += badge;
      std::printf(" %s=%s", folder.c_str(), badges.c_str());
    }
    std::printf("\n");
    std::fflush(stdout);
  }

  const UniqueFd schedule_{::open("/proc/thread-self/schedstat", O_RDONLY | O_CLOEXEC)};
  std::map<std::string, std::map<std::string, char>> shown_;
  std::set<std::string> held_;
  std::string lastAsked_;
  guint steady_ = 0;
  std::int64_t slowestCall_ = 0;
  std::int64_t longestTurn_ = 0;
  std::int64_t commands_ = 0;  // which no file manager obeys, of this turn
  Moment turnBegin_ = Now();
  FinderClient client_;
  tools::LineInput input_;
};

PluginProcess* theProcess = nullptr;

}  // namespace
}  // namespace kelvo

int main() {
  kelvo::PluginProcess process;
  kelvo::theProcess = &process;
  g_main_context_set_poll_func(nullptr, [](GPollFD* descriptors, guint count, gint timeout) {
    return kelvo::theProcess->Poll(descriptors, count, timeout);
  });
  GMainLoop* const loop = g_main_loop_new(nullptr, FALSE);
  g_main_loop_run(loop);
  g_main_loop_unref(loop);
  return 0;
}
