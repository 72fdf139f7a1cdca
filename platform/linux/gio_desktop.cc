#include "platform/linux/gio_desktop.h"

#include <fcntl.h>
#include <stdio.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstddef>
#include <optional>
#include <string_view>

#include "base/logger.h"
#include "base/string_utils.h"
#include "base/unique_fd.h"
#include "platform/linux/glib_ptr.h"
#include "platform/linux/user_unit.h"

namespace kelvo {
namespace {

constexpr char kTokenData[] = "kelvo-activation-token";
constexpr const char* kTokenVariables[] = {"XDG_ACTIVATION_TOKEN", "DESKTOP_STARTUP_ID"};

// GIO tells the bus what it starts. The bus's end is the front end's affair; GLib would end the
// process with a signal.
void OutliveSessionBus() {
  const GObjectPtr<GDBusConnection> bus(g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr));
  if (bus != nullptr) g_dbus_connection_set_exit_on_close(bus.get(), FALSE);
}

char* TokenOf(GAppLaunchContext* context, GAppInfo* /*info*/, GList* /*files*/) {
  return g_strdup(static_cast<const char*>(g_object_get_data(G_OBJECT(context), kTokenData)));
}

void InitializeClass(gpointer launchContextClass, gpointer /*data*/) {
  G_APP_LAUNCH_CONTEXT_CLASS(launchContextClass)->get_startup_notify_id = TokenOf;
}

// What GIO sends a program that is started over the bus is what a launch context answers, and that
// is nothing unless a subclass says it.
GType LaunchContextType() {
  static const GType type = g_type_register_static_simple(
      G_TYPE_APP_LAUNCH_CONTEXT, "KelvoLaunchContext", sizeof(GAppLaunchContextClass),
      InitializeClass, sizeof(GAppLaunchContext), nullptr, static_cast<GTypeFlags>(0));
  return type;
}

GObjectPtr<GAppLaunchContext> NewLaunchContext(const std::string& activationToken) {
  GObjectPtr<GAppLaunchContext> context(
      G_APP_LAUNCH_CONTEXT(g_object_new(LaunchContextType(), nullptr)));
  if (activationToken.empty()) {
    // The extension may itself have been started with a token, which is not the browser's to use.
    for (const char* const name : kTokenVariables) {
      g_app_launch_context_unsetenv(context.get(), name);
    }
    return context;
  }
  g_object_set_data_full(G_OBJECT(context.get()), kTokenData, g_strdup(activationToken.c_str()),
                         g_free);
  // Of itself GIO sets at most one of them, and only for programs that notify of their start.
  for (const char* const name : kTokenVariables) {
    g_app_launch_context_setenv(context.get(), name, activationToken.c_str());
  }
  return context;
}

// This and the next: empty when a browser was started, else why not.
std::string Launch(const std::string& url, const std::string& activationToken) {
  OutliveSessionBus();
  const GObjectPtr<GAppLaunchContext> context = NewLaunchContext(activationToken);
  GErrorSlot error;
  if (g_app_info_launch_default_for_uri(url.c_str(), context.get(), error.out())) return {};
  return EscapeControlCharacters(ToValidUtf8(error.text()));
}

// For a process that ends then: a browser that the bus starts must have been handed the URL, since
// the bus may drop what a client that is gone has sent. Main thread.
std::string LaunchAndWait(const std::string& url, const std::string& activationToken) {
  const GObjectPtr<GAppLaunchContext> context = NewLaunchContext(activationToken);
  std::optional<std::string> answer;
  const auto finish = [](GObject*, GAsyncResult* result, gpointer data) {
    GErrorSlot error;
    const bool started = g_app_info_launch_default_for_uri_finish(result, error.out());
    static_cast<std::optional<std::string>*>(data)->emplace(
        started ? "" : EscapeControlCharacters(ToValidUtf8(error.text())));
  };
  g_app_info_launch_default_for_uri_async(url.c_str(), context.get(), nullptr, finish, &answer);
  while (!answer) g_main_context_iteration(nullptr, TRUE);
  return *answer;
}

// What both ends say over their socket, which each closes for writing when all is said: the token
// and the URL with a NUL between them; a mark, and behind it why no browser was started. The URL
// may sign in whoever reads it, so it is no argument of a program.
constexpr char kDone[] = "done:";
constexpr guint kAnswerSeconds = 30;  // longer than the bus gives a program to start
constexpr std::size_t kMaxText = std::size_t{1} << 20;

class Channel {
 public:
  // Takes over the descriptor.
  explicit Channel(int descriptor) : socket_(g_socket_new_from_fd(descriptor, error_.out())) {
    if (socket_ == nullptr) {
      ::close(descriptor);
    } else {
      g_socket_set_timeout(socket_.get(), kAnswerSeconds);
    }
  }

  bool Write(std::string_view text) {
    while (socket_ != nullptr && !text.empty()) {
      const gssize count =
          g_socket_send(socket_.get(), text.data(), text.size(), nullptr, error_.out());
      if (count <= 0) return false;
      text.remove_prefix(static_cast<std::size_t>(count));
    }
    return socket_ != nullptr && g_socket_shutdown(socket_.get(), FALSE, TRUE, error_.out());
  }

  bool Read(std::string& text) {
    char bytes[4096];
    while (socket_ != nullptr && text.size() <= kMaxText) {
      const gssize count =
          g_socket_receive(socket_.get(), bytes, sizeof bytes, nullptr, error_.out());
      if (count <= 0) return count == 0;
      text.append(bytes, static_cast<std::size_t>(count));
    }
    return false;
  }

  const char* Error() const { return error_.text(); }

 private:
  GErrorSlot error_;
  const GObjectPtr<GSocket> socket_;
};

}  // namespace

bool GioDesktop::OpenByManager(const std::string& url, const std::string& activationToken,
                               std::string& error) const {
  int ends[2];
  if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) return false;
  Channel channel(ends[0]);
  UniqueFd theirs(ends[1]);
  OutliveSessionBus();
  std::string answer;
  if (!StartInUserUnit("What a Kelvo menu opens", opener_, theirs.get(), error)) {
    KELVO_LOG(kLogWarning, "The service manager starts no browser: "
                               << EscapeControlCharacters(ToValidUtf8(error)));
    return false;
  }
  theirs.Reset();  // so that its end is seen
  if (!channel.Write(activationToken + '\0' + url) || !channel.Read(answer)) {
    // Perhaps it is slow: to start one from here, too, might open the page twice.
    error = std::string("no word from the service manager's browser: ") + channel.Error();
    return true;
  }
  if (!answer.starts_with(kDone)) {
    KELVO_LOG(kLogWarning, "The program that the service manager started has failed");
    return false;
  }
  error = answer.substr(sizeof kDone - 1);
  return true;
}

bool GioDesktop::openURL(const std::string& url, const std::string& activationToken) {
  std::string error;
  const bool mayGainNone = ::prctl(PR_GET_NO_NEW_PRIVS, 0, 0, 0, 0) == 1;
  if (!mayGainNone || !OpenByManager(url, activationToken, error)) {
    error = Launch(url, activationToken);
  }
  if (error.empty()) return true;
  // Without its query, which may sign in whoever reads it.
  const std::string address = ToValidUtf8(url.substr(0, url.find('?')));
  KELVO_LOG(kLogError, "Cannot open " << EscapeControlCharacters(address) << ": " << error);
  return false;
}

int OpenForAnother() {
  const int descriptor = ::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  // The browser inherits these.
  if (::freopen("/dev/null", "r", stdin) == nullptr) return 1;
  if (::freopen("/dev/null", "w", stdout) == nullptr) return 1;
  Channel channel(descriptor);
  std::string text;
  const std::size_t end = channel.Read(text) ? text.find('\0') : std::string::npos;
  if (end == std::string::npos) {
    fprintf(stderr, "kelvo-finder-sync: the extension says no URL on standard input: %s\n",
            channel.Error());
    return 1;
  }
  const std::string error = LaunchAndWait(text.substr(end + 1), text.substr(0, end));
  return channel.Write(kDone + error) && error.empty() ? 0 : 1;
}

}  // namespace kelvo
