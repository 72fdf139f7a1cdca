#include "tools/finder/doctor/limits.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>

#include "base/unique_fd.h"

namespace kelvo::finder {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kMostOutput = std::size_t{64} * 1024;

class SpawnActions {
 public:
  SpawnActions() { ::posix_spawn_file_actions_init(&actions_); }
  ~SpawnActions() { ::posix_spawn_file_actions_destroy(&actions_); }
  SpawnActions(const SpawnActions&) = delete;
  SpawnActions& operator=(const SpawnActions&) = delete;

  posix_spawn_file_actions_t* get() { return &actions_; }

 private:
  posix_spawn_file_actions_t actions_;
};

// The process, or 0. Its standard output goes to the descriptor.
pid_t Start(const std::vector<std::string>& command, int output) {
  std::vector<char*> arguments;
  arguments.reserve(command.size() + 1);
  for (const std::string& word : command) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  SpawnActions actions;
  ::posix_spawn_file_actions_addopen(actions.get(), STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  ::posix_spawn_file_actions_adddup2(actions.get(), output, STDOUT_FILENO);
  ::posix_spawn_file_actions_addopen(actions.get(), STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  pid_t process = 0;
  const int error =
      ::posix_spawnp(&process, arguments[0], actions.get(), nullptr, arguments.data(), environ);
  return error == 0 ? process : 0;
}

// Until the program closes its output, which is at its end at the latest. False at the limit.
bool ReadUntilEnd(int fd, Clock::time_point end, std::string* output) {
  while (true) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
    if (left.count() <= 0) return false;
    pollfd descriptor{fd, POLLIN, 0};
    const int ready = ::poll(&descriptor, 1, static_cast<int>(left.count()));
    if (ready < 0 && errno != EINTR) return false;
    if (ready <= 0) continue;
    char chunk[4096];
    const ssize_t size = ::read(fd, chunk, sizeof chunk);
    if (size < 0 && errno != EINTR) return false;
    if (size == 0) return true;
    if (size < 0) continue;
    output->append(chunk, std::min(static_cast<std::size_t>(size), kMostOutput - output->size()));
  }
}

}  // namespace

bool CanHaveThreads() {
  constexpr int kEnough = 8;
  std::promise<void> go;
  const std::shared_future<void> gone = go.get_future().share();
  std::vector<std::future<bool>> threads;  // all at the same time
  threads.reserve(kEnough);
  for (int i = 0; i < kEnough; ++i) {
    threads.push_back(Begin([gone] { return gone.wait(), true; }));
  }
  go.set_value();
  const Clock::time_point end = Clock::now() + kPatience;
  return std::all_of(threads.begin(), threads.end(),
                     [end](auto& thread) { return ResultBy(thread, end).has_value(); });
}

std::optional<ProgramEnd> RunProgram(const std::vector<std::string>& command,
                                     std::chrono::milliseconds limit) {
  const Clock::time_point end = Clock::now() + limit;
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) return std::nullopt;
  const UniqueFd reading(ends[0]);
  UniqueFd writing(ends[1]);
  const pid_t process = Start(command, writing.get());
  writing.Reset();
  if (process == 0) return std::nullopt;

  ProgramEnd program;
  const bool inTime = ReadUntilEnd(reading.get(), end, &program.output);
  if (!inTime) ::kill(process, SIGKILL);
  // One that the kernel holds, as for a dead network folder, cannot be waited for.
  const auto status = Within(inTime ? limit : std::chrono::milliseconds{200}, [process] {
    int code = 0;
    while (::waitpid(process, &code, 0) < 0 && errno == EINTR) {
    }
    return code;
  });
  if (!status) ::kill(process, SIGKILL);  // it closed its output, and goes on
  if (!inTime || !status) return std::nullopt;
  program.exitCode = WIFEXITED(*status) ? WEXITSTATUS(*status) : -1;
  return program;
}

}  // namespace kelvo::finder
