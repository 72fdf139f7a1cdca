#include "tools/finder/doctor/agent_checks.h"

#include <errno.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <system_error>

#include "base/unique_fd.h"

namespace kelvo::finder {
namespace {

constexpr char kSocketName[] = "com.kelvo.vip.kelvoFinderSync";
constexpr std::size_t kMaxSocketPath = sizeof(sockaddr_un::sun_path) - 1;
constexpr char kStartAgent[] = "Start the Kelvo Agent, and sign in if it asks.";

std::string Reason(int error) { return std::generic_category().message(error); }

// What lies there, as far as it can be seen without touching it. False when it is no socket of the
// user's.
bool LooksRight(const std::string& path, uid_t user, Check* check) {
  const std::string remove = "Remove it (rm " + Shown(path) + ") and start the Agent again.";
  struct stat status;
  if (::lstat(path.c_str(), &status) != 0) {
    const int error = errno;
    if (error != ENOENT) {
      check->Fail(Shown(path) + " cannot be looked at: " + Reason(error) + ".");
    } else {
      check->Fail("There is no " + Shown(path) + ": the Agent does not run.", kStartAgent);
      check->Advise(
          "If it runs from a Flatpak or snap, its sandbox must let it make that socket: see \"An "
          "Agent in a sandbox\" in agent.md of the documentation.");
    }
    return false;
  }
  if (S_ISLNK(status.st_mode)) {
    check->Fail(Shown(path) + " is a link; for safety links are not followed.", remove);
  } else if (!S_ISSOCK(status.st_mode)) {
    check->Fail(Shown(path) + " is no socket.", remove);
  } else if (status.st_uid != user) {
    check->Fail(Shown(path) + " belongs to another user (id " + std::to_string(status.st_uid) +
                    "); the extension does not connect to it.",
                "Start the Agent as yourself, not as root.");
  } else {
    return true;
  }
  return false;
}

void SeeWhoListens(const std::string& path, uid_t user, Check* check) {
  const UniqueFd fd(::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  struct sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  ::memcpy(address.sun_path, path.c_str(), path.size());
  if (::connect(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    const int error = errno;
    if (error == ECONNREFUSED) {
      check->Fail(Shown(path) + " is left over: no program listens there any more.", kStartAgent);
    } else if (error == EAGAIN) {
      check->Fail("The Agent takes no connections at " + Shown(path) + ": it hangs.",
                  "End the Agent and start it again.");
    } else {
      check->Fail("Nobody can connect to " + Shown(path) + ": " + Reason(error) + ".", kStartAgent);
    }
    return;
  }
  struct ucred peer = {};
  socklen_t size = sizeof peer;
  if (::getsockopt(fd.get(), SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0) {
    check->Warn("Who listens at " + Shown(path) + " cannot be told: " + Reason(errno) + ".");
  } else if (peer.uid != user) {
    check->Fail("Another user's process (" + std::to_string(peer.pid) + ") listens at " +
                    Shown(path) + "; the extension does not talk to it.",
                "Start the Agent as yourself, not as root.");
  } else {
    check->Pass("Process " + std::to_string(peer.pid) + " listens at " + Shown(path) + ".");
  }
}

void TellLastMessage(const ExtensionClient::Diagnosis& diagnosis, std::int64_t now, Check* check) {
  if (!diagnosis.lastMessageTime) {
    check->Warn("The Agent has not said anything yet.",
                "Wait half a minute and try again; then start the Agent anew.");
    return;
  }
  check->Note("Its last message was \"" + Shown(diagnosis.lastMessage) + "\", " +
              ShownTime(*diagnosis.lastMessageTime, now) + ".");
}

}  // namespace

Check CheckRuntimeFolder(const std::string& folder, uid_t user) {
  Check check{"runtime-folder", "Runtime folder"};
  const std::string logIn =
      "Log in at the desktop's own login screen: it makes the folder; su and sudo do not.";
  struct stat status;
  if (folder.empty()) {
    check.Fail("XDG_RUNTIME_DIR is not set, so extension and Agent cannot meet.", logIn);
  } else if (folder.front() != '/') {
    check.Fail("XDG_RUNTIME_DIR is no absolute path: " + Shown(folder) + ".", logIn);
  } else if (::stat(folder.c_str(), &status) != 0) {
    check.Fail(Shown(folder) + " (XDG_RUNTIME_DIR): " + Reason(errno) + ".", logIn);
  } else if (!S_ISDIR(status.st_mode)) {
    check.Fail(Shown(folder) + " (XDG_RUNTIME_DIR) is no folder.", logIn);
  } else if (status.st_uid != user) {
    check.Fail(Shown(folder) + " (XDG_RUNTIME_DIR) belongs to another user (id " +
                   std::to_string(status.st_uid) + ").",
               logIn);
  } else if ((status.st_mode & (S_IRWXG | S_IRWXO)) != 0) {
    check.Fail(Shown(folder) + " (XDG_RUNTIME_DIR) is open to other users.",
               "Close it: chmod 700 " + Shown(folder));
  } else {
    check.Pass(Shown(folder) + " is yours alone.");
  }
  return check;
}

Check CheckAgentSocket(const std::string& runtimeFolder, uid_t user, const ExtensionFacts& facts) {
  Check check{"agent-socket", "Agent socket"};
  const std::string expected = runtimeFolder + '/' + kSocketName;
  std::string path = facts.diagnosis ? facts.diagnosis->agentSocket : std::string();
  if (path.empty()) path = expected;
  if (path.front() != '/' || runtimeFolder.empty()) {
    check.Note("Not examined: there is no runtime folder.");
    return check;
  }
  if (path != expected) {
    check.Warn("The extension looks for it in another folder than this terminal: " + Shown(path) +
                   " instead of " + Shown(expected) + ".",
               "Call the doctor in a terminal of the desktop that the file manager is on.");
  }
  if (path.size() > kMaxSocketPath) {
    check.Fail("The path " + Shown(path) + " is too long for a socket (" +
                   std::to_string(path.size()) + " bytes; at most " +
                   std::to_string(kMaxSocketPath) + ").",
               "Use a shorter XDG_RUNTIME_DIR, such as /run/user/" + std::to_string(user) + ".");
    return check;
  }
  const bool connected = facts.diagnosis && facts.diagnosis->agentConnected;
  struct stat status;
  if (connected && ::lstat(path.c_str(), &status) != 0) {
    check.Warn(Shown(path) +
                   " has been removed; the extension is still connected, but will not "
                   "find the Agent again after a break.",
               "Start the Agent anew when it suits you.");
  } else if (LooksRight(path, user, &check)) {
    if (connected) {
      check.Pass(Shown(path) + " is the Agent's; the extension is connected to it.");
    } else {
      SeeWhoListens(path, user, &check);
    }
  }
  return check;
}

Check CheckAgentConnection(const ExtensionFacts& facts, std::int64_t now) {
  Check check{"agent-connection", "Connection to the Agent"};
  if (!facts.properties) {
    check.Note("Not examined: the extension does not answer.");
    return check;
  }
  if (!facts.properties->agentConnected) {
    check.Fail("The extension has no connection to the Agent: there are no badges and no menus.",
               "See to the Agent socket above; the extension looks for the Agent every 5 seconds.");
    check.Advise(
        "If the socket is well, look again in ten seconds; after that log out and in again.");
    return check;
  }
  if (!facts.diagnosis) {
    check.Pass("The extension is connected to the Agent.");
    return check;
  }
  const auto& since = facts.diagnosis->connectedSince;
  check.Pass("The extension is connected to the Agent" +
             (since ? " since " + ShownTime(*since, now) : std::string()) + ".");
  TellLastMessage(*facts.diagnosis, now, &check);
  if (!facts.diagnosis->started) {
    check.Warn("The Agent has not sent its configuration: badges and menus wait for it.",
               "Open the Agent's window and sign in; then start the Agent anew if need be.");
  }
  return check;
}

}  // namespace kelvo::finder
