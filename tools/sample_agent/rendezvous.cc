#include "tools/sample_agent/rendezvous.h"

#include <errno.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <utility>

#include "agent/notifications_bridge.h"
#include "tools/terminal_text.h"

namespace kelvo::sample_agent {
namespace {

constexpr int kBacklog = 16;

std::string Reason() { return strerror(errno); }

sockaddr_un AddressOf(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  memcpy(address.sun_path, path.data(), path.size());
  return address;
}

UniqueFd NewSocket() {
  return UniqueFd(::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
}

bool IsListening(const std::string& path) {
  const UniqueFd probe = NewSocket();
  const sockaddr_un address = AddressOf(path);
  const auto* plain = reinterpret_cast<const sockaddr*>(&address);
  // A full backlog is an Agent, too, though a slow one.
  return ::connect(probe.get(), plain, sizeof address) == 0 || errno == EAGAIN;
}

// Makes room for a new socket; false, with the reason, when there can be none.
bool RemoveStale(const std::string& path, std::string* error) {
  struct stat status {};
  if (::lstat(path.c_str(), &status) != 0) return true;
  if (!S_ISSOCK(status.st_mode) || status.st_uid != ::getuid()) {
    *error = "is not a socket of this user";
    return false;
  }
  if (IsListening(path)) {
    *error = "another Agent is listening";
    return false;
  }
  if (::unlink(path.c_str()) == 0) return true;
  *error = "a stale socket cannot be removed: " + Reason();
  return false;
}

}  // namespace

std::optional<std::string> RendezvousPath(std::string* error) {
  const char* folder = getenv("XDG_RUNTIME_DIR");
  if (folder == nullptr || folder[0] != '/') {
    *error = "XDG_RUNTIME_DIR does not name a folder";
    return std::nullopt;
  }
  struct stat status {};
  if (::stat(folder, &status) != 0 || !S_ISDIR(status.st_mode)) {
    *error = "XDG_RUNTIME_DIR is not a folder: " + tools::PrintableText(folder);
    return std::nullopt;
  }
  if (status.st_uid != ::getuid() || (status.st_mode & (S_IRWXG | S_IRWXO)) != 0) {
    *error = "XDG_RUNTIME_DIR must be the user's own, without access for others: " +
             tools::PrintableText(folder);
    return std::nullopt;
  }
  const std::string path = std::string(folder) + '/' + kNotificationObject + '.' + kExtensionName;
  if (path.size() >= sizeof(sockaddr_un::sun_path)) {
    *error = "the path is too long for a socket: " + tools::PrintableText(path);
    return std::nullopt;
  }
  return path;
}

std::optional<Rendezvous> Rendezvous::Claim(const std::string& path, std::string* error) {
  if (!RemoveStale(path, error)) return std::nullopt;
  UniqueFd fd = NewSocket();
  const sockaddr_un address = AddressOf(path);
  const auto* plain = reinterpret_cast<const sockaddr*>(&address);
  if (!fd || ::bind(fd.get(), plain, sizeof address) != 0) {
    *error = Reason();
    return std::nullopt;
  }
  Rendezvous rendezvous(std::move(fd), path);
  if (::chmod(path.c_str(), S_IRUSR | S_IWUSR) == 0) return rendezvous;
  *error = Reason();
  return std::nullopt;
}

bool Rendezvous::Listen(std::string* error) {
  if (::listen(fd_.get(), kBacklog) == 0) return true;
  *error = Reason();
  return false;
}

Rendezvous::Rendezvous(UniqueFd fd, std::string path) : fd_(std::move(fd)), path_(std::move(path)) {
  struct stat status {};
  if (::lstat(path_.c_str(), &status) != 0) return;
  device_ = status.st_dev;
  inode_ = status.st_ino;
}

Rendezvous::Rendezvous(Rendezvous&& other) noexcept
    : fd_(std::move(other.fd_)),
      path_(std::exchange(other.path_, {})),
      device_(other.device_),
      inode_(other.inode_) {}

Rendezvous::~Rendezvous() {
  if (path_.empty()) return;
  // Another Agent may have put its own socket there meanwhile.
  struct stat status {};
  const bool own =
      ::lstat(path_.c_str(), &status) == 0 && status.st_dev == device_ && status.st_ino == inode_;
  if (own) ::unlink(path_.c_str());
}

UniqueFd Rendezvous::Accept() const {
  return UniqueFd(::accept4(fd_.get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
}

std::optional<Peer> PeerOf(const UniqueFd& connection) {
  ucred credentials{};
  socklen_t size = sizeof credentials;
  if (::getsockopt(connection.get(), SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0) {
    return std::nullopt;
  }
  return Peer{credentials.pid, credentials.uid};
}

}  // namespace kelvo::sample_agent
