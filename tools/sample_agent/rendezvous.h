// The place where an extension finds its Agent: a Unix stream socket of the user's own.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

#include "base/unique_fd.h"

namespace kelvo::sample_agent {

// The socket's path under $XDG_RUNTIME_DIR. nullopt, with the reason, when that folder is not the
// user's own with no access for others, or when the path is longer than a socket's may be.
std::optional<std::string> RendezvousPath(std::string* error);

// The socket to listen at; its file is removed with it.
class Rendezvous {
 public:
  // Takes the place, where an extension finds nobody yet. Removes a socket that an ended Agent has
  // left. Fails, with the reason, when another Agent is listening, and rather than touch anything
  // that is not a socket of the user's.
  static std::optional<Rendezvous> Claim(const std::string& path, std::string* error);

  Rendezvous(Rendezvous&& other) noexcept;
  Rendezvous& operator=(Rendezvous&&) = delete;
  ~Rendezvous();

  // From now on extensions may connect.
  [[nodiscard]] bool Listen(std::string* error);

  int Fd() const { return fd_.get(); }
  // The next waiting connection, non-blocking; none when nobody waits, with errno set.
  UniqueFd Accept() const;

 private:
  Rendezvous(UniqueFd fd, std::string path);

  UniqueFd fd_;
  std::string path_;  // empty once moved from
  dev_t device_ = 0;
  ino_t inode_ = 0;
};

// Who has connected.
struct Peer {
  pid_t process = 0;
  uid_t user = 0;
};
std::optional<Peer> PeerOf(const UniqueFd& connection);

}  // namespace kelvo::sample_agent
