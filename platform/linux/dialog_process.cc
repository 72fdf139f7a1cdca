#include "platform/linux/dialog_process.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/socket.h>

#include <utility>

#include "base/logger.h"
#include "platform/linux/dialog/dialog_messages.h"

namespace kelvo {
namespace {

// The extension may itself have been started with a token, which is not the helper's to use.
constexpr const char* kTokenVariables[] = {"XDG_ACTIVATION_TOKEN", "DESKTOP_STARTUP_ID"};

}  // namespace

std::optional<DialogProcess> StartDialogProcess(const std::string& program,
                                                const std::string& activationToken) {
  int ends[2];
  if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
    KELVO_LOG(kLogError, "no socket pair for " << program << ": " << g_strerror(errno));
    return std::nullopt;
  }
  UniqueFd ours(ends[0]);
  UniqueFd theirs(ends[1]);
  ::fcntl(ours.get(), F_SETFL, O_NONBLOCK);

  // Without G_SUBPROCESS_FLAGS_INHERIT_FDS the process gets nothing else of what is open here.
  const GObjectPtr<GSubprocessLauncher> launcher(
      g_subprocess_launcher_new(G_SUBPROCESS_FLAGS_NONE));
  g_subprocess_launcher_take_fd(launcher.get(), theirs.Release(), dialog::kChannel);
  for (const char* variable : kTokenVariables) {
    if (activationToken.empty()) {
      g_subprocess_launcher_unsetenv(launcher.get(), variable);
    } else {
      g_subprocess_launcher_setenv(launcher.get(), variable, activationToken.c_str(), TRUE);
    }
  }
  const char* const arguments[] = {program.c_str(), nullptr};
  GErrorSlot error;
  GObjectPtr<GSubprocess> process(
      g_subprocess_launcher_spawnv(launcher.get(), arguments, error.out()));
  if (process == nullptr) {
    KELVO_LOG(kLogError, "cannot start " << program << ": " << error.text());
    return std::nullopt;
  }
  // The launcher still holds the other end, and its end of file must be seen here.
  g_subprocess_launcher_close(launcher.get());
  return DialogProcess{std::move(process), std::move(ours)};
}

}  // namespace kelvo
