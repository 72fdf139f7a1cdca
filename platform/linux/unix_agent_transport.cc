#include "platform/linux/unix_agent_transport.h"

#include <errno.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <utility>

#include "base/logger.h"
#include "platform/linux/unix_agent_port.h"

namespace kelvo {
namespace {

constexpr std::size_t kMaxSocketPath = sizeof(sockaddr_un::sun_path) - 1;
constexpr mode_t kForeignAccess = S_IRWXG | S_IRWXO;

// Each check answers what is wrong; empty when nothing is.

std::string CheckFolder(const std::string& folder, uid_t user) {
  if (folder.empty()) return "XDG_RUNTIME_DIR is not set";
  if (folder.front() != '/') return "XDG_RUNTIME_DIR is no absolute path: " + folder;
  struct stat status;
  if (::stat(folder.c_str(), &status) != 0) {
    return "the runtime folder " + folder + " is out of reach: " + g_strerror(errno);
  }
  if (!S_ISDIR(status.st_mode)) return "the runtime folder " + folder + " is no folder";
  if (status.st_uid != user) return "the runtime folder " + folder + " is another user's";
  if ((status.st_mode & kForeignAccess) != 0) {
    return "the runtime folder " + folder + " is open to other users";
  }
  return {};
}

// Links are not followed: a rendezvous is a socket, or nothing to connect to.
std::string CheckSocket(const std::string& path, const struct stat& status, uid_t user) {
  if (S_ISLNK(status.st_mode)) return path + " is a link, which is not followed";
  if (!S_ISSOCK(status.st_mode)) return path + " is no socket";
  if (status.st_uid != user) return path + " is another user's socket";
  return {};
}

std::string CheckPeer(int fd, const std::string& path, uid_t user, pid_t* process) {
  struct ucred peer;
  socklen_t size = sizeof peer;
  if (::getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0) {
    return "who listens on " + path + " cannot be told: " + g_strerror(errno);
  }
  if (peer.uid != user) return "another user's process listens on " + path;
  *process = peer.pid;
  return {};
}

bool MeansAbsence(int error) {
  // A full backlog is an Agent that is not there yet, a refusal one that left its socket behind.
  return error == ENOENT || error == ECONNREFUSED || error == EAGAIN;
}

}  // namespace

UnixAgentTransport::Settings UnixAgentTransport::DefaultSettings() {
  const char* folder = ::getenv("XDG_RUNTIME_DIR");
  return {folder == nullptr ? "" : folder, ::geteuid(), std::chrono::seconds{3}};
}

UnixAgentTransport::UnixAgentTransport(GMainContext* context, Settings settings)
    : context_(g_main_context_ref(context == nullptr ? g_main_context_default() : context)),
      settings_(std::move(settings)) {}

std::unique_ptr<AgentPort> UnixAgentTransport::portForName(const std::string& name,
                                                           AgentPortDelegate& delegate) {
  std::string description;
  std::string refusal;
  UniqueFd fd = Connect(name, &description, &refusal);
  if (refusal != lastRefusal_ && !refusal.empty()) {
    KELVO_LOG(kLogError, "no connection to the Agent: " << refusal);
  }
  lastRefusal_ = std::move(refusal);
  if (!fd) return nullptr;
  return std::make_unique<UnixAgentPort>(context_.get(), std::move(fd), std::move(description),
                                         UnixAgentPort::Options{settings_.sendLimit}, delegate);
}

std::string UnixAgentTransport::addressOf(const std::string& name) const {
  return settings_.runtimeFolder.empty() ? "" : settings_.runtimeFolder + "/" + name;
}

// No descriptor and no refusal: there is no Agent.
UniqueFd UnixAgentTransport::Connect(const std::string& name, std::string* description,
                                     std::string* refusal) const {
  *refusal = CheckFolder(settings_.runtimeFolder, settings_.user);
  if (!refusal->empty()) return {};
  const std::string path = addressOf(name);
  if (path.size() > kMaxSocketPath) {
    *refusal = "the path " + path + " is too long for a socket";
    return {};
  }
  struct stat status;
  if (::lstat(path.c_str(), &status) != 0) {
    if (errno != ENOENT) *refusal = path + " is out of reach: " + g_strerror(errno);
    return {};
  }
  *refusal = CheckSocket(path, status, settings_.user);
  if (!refusal->empty()) return {};

  UniqueFd fd(::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  struct sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  ::memcpy(address.sun_path, path.c_str(), path.size());
  if (!fd ||
      ::connect(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    if (!fd || !MeansAbsence(errno)) {
      *refusal = "cannot connect to " + path + ": " + g_strerror(errno);
    }
    return {};
  }
  pid_t process = 0;
  *refusal = CheckPeer(fd.get(), path, settings_.user, &process);
  if (!refusal->empty()) return {};
  *description = path + ", process " + std::to_string(process);
  return fd;
}

}  // namespace kelvo
