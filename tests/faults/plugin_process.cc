// A file manager's process without windows: what a plug-in holds and asks, and how long each of its
// calls held the thread.
//
//   kelvo_plugin_process
//
// Commands on standard input: "show FOLDER" holds everything in the folder, "tell NUMBER" prints
//   NUMBER calls=N slowest=MILLISECONDS FOLDER=BADGE:COUNT,...
// with one word for each folder shown, in which blanks are not provided for.
#include <fcntl.h>
#include <glib.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdint>
#include <cstdio>
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
      : schedule_(::open("/proc/thread-self/schedstat", O_RDONLY | O_CLOEXEC)),
        client_([this](const std::string& folder, const std::string& name) {
          shown_[folder][name] = Ask(folder, name);
        }),
        input_(STDIN_FILENO, [this](const std::string& line) { Obey(line); }) {}

 private:
  void Obey(const std::string& line) {
    if (line.starts_with("show ")) Show(line.substr(5));
    if (line.starts_with("tell ")) Tell(line.substr(5));
  }

  void Show(const std::string& folder) {
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
      const std::string name = entry.path().filename();
      char& badge = shown_[folder][name];
      badge = Ask(folder, name);
      if (held_.insert(folder + '/' + name).second) {
        client_.Retain(client_.Lookup(folder + '/' + name).item);
      }
    }
  }

  char Ask(const std::string& folder, const std::string& name) {
    const std::string path = folder + '/' + name;
    const auto waited = WaitedForProcessor();
    const auto begin = std::chrono::steady_clock::now();
    const char badge = client_.Lookup(path).badge;
    const std::chrono::nanoseconds took = std::chrono::steady_clock::now() - begin;
    slowest_ = std::max(slowest_, took.count() - (WaitedForProcessor() - waited));
    ++calls_;
    return badge;
  }

  // Nanoseconds that other load of the machine has cost this thread.
  std::int64_t WaitedForProcessor() const {
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
    std::printf("%s calls=%llu slowest=%.3f", number.c_str(),
                static_cast<unsigned long long>(calls_), static_cast<double>(slowest_) / 1e6);
    for (const auto& [folder, items] : shown_) {
      std::map<char, int> counts;
      for (const auto& [name, badge] : items) ++counts[badge];
      char before = '=';
      std::printf(" %s", folder.c_str());
      for (const auto& [badge, count] : counts) {
        std::printf("%c%c:%d", before, badge, count);
        before = ',';
      }
    }
    std::printf("\n");
    std::fflush(stdout);
  }

  const UniqueFd schedule_;
  std::map<std::string, std::map<std::string, char>> shown_;
  std::set<std::string> held_;
  std::int64_t slowest_ = 0;  // nanoseconds
  std::uint64_t calls_ = 0;
  FinderClient client_;
  tools::LineInput input_;
};

}  // namespace
}  // namespace kelvo

int main() {
  const kelvo::PluginProcess process;
  GMainLoop* const loop = g_main_loop_new(nullptr, FALSE);
  g_main_loop_run(loop);
  g_main_loop_unref(loop);
  return 0;
}
