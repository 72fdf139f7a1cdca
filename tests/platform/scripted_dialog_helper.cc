// Stands in for kelvo-finder-dialog. What it does is the title line that it is to show, or the text
// for the clipboard: words, one step each.
#include <dirent.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <set>
#include <sstream>
#include <string>
#include <utility>

#include "agent/keyed_archive.h"
#include "agent/message_frame.h"
#include "platform/linux/dialog/dialog_messages.h"

namespace kelvo::dialog {
namespace {

// Ends the process at the end of the stream.
std::pair<std::string, PropertyList::Dictionary> Receive() {
  static MessageFrameReader reader;
  while (true) {
    if (const auto message = reader.Next()) {
      return {message->name, *DecodeKeyedArchive(message->archive, nullptr)};
    }
    char bytes[4096];
    const ssize_t count = recv(kChannel, bytes, sizeof bytes, 0);
    if (count <= 0) _exit(0);
    reader.Append({bytes, static_cast<std::size_t>(count)});
  }
}

void SendBytes(const std::string& bytes) {
  if (send(kChannel, bytes.data(), bytes.size(), MSG_NOSIGNAL) < 0) _exit(0);
}

void Send(const char* name, const PropertyList::Dictionary& values = {}) {
  SendBytes(EncodeMessageFrame(name, EncodeKeyedArchive(values)));
}

// The tokens and descriptors that the process was given.
std::string Surroundings() {
  std::set<std::string> parts;
  DIR* folder = opendir("/proc/self/fd");
  while (const dirent* entry = readdir(folder)) {
    if (entry->d_name != std::to_string(dirfd(folder))) parts.insert(entry->d_name);
  }
  for (const char* name : {"XDG_ACTIVATION_TOKEN", "DESKTOP_STARTUP_ID"}) {
    if (const char* value = getenv(name)) parts.insert(std::string(name, 3) + "=" + value);
  }
  std::string text;
  for (const std::string& part : parts) text += part + " ";
  return text;
}

void Perform(const std::string& step) {
  if (step == "shown") Send(kShown);
  if (step == "close") Send(kClosed, ToDictionary(DialogAnswer{.ok = true, .dontShowAgain = true}));
  if (step == "failed") Send(kFailed, {{kReason, Surroundings()}});
  if (step == "written") Send(kClipboardWritten);
  if (step == "die") _exit(3);
  if (step == "garbage") SendBytes(std::string(100'000, '#'));
  if (step == "no-archive") SendBytes(EncodeMessageFrame(kClosed, "x"));
  if (step == "huge") SendBytes(EncodeMessageFrame("x", std::string(100'000, '#')));
  if (step == "stop") raise(SIGSTOP);
  while (step == "flood") Send(kShown);
  if (step == "front") {
    const auto [name, values] = Receive();
    Send(kFailed, {{kReason, name + " " + TextOf(values, kActivationToken)}});
  }
  int updates = 0;
  while (step == "updated") {
    const auto [name, values] = Receive();
    if (name == kFront) Send(kClosed);
    if (name == kUpdate && ++updates > 5) _exit(3);
    if (name == kUpdate && ContentsOf(values).fileName == "last") return;
  }
}

}  // namespace
}  // namespace kelvo::dialog

int main() {
  using namespace kelvo::dialog;
  // One that stands still must not outlive a test that ends before GLib's thread has killed it.
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  const auto [name, values] = Receive();
  const bool isWindow = name == kShow && TextOf(values, kInterfaceFile) == "/x.ui";
  std::istringstream steps(isWindow ? ContentsOf(values).informationText : TextOf(values, kText));
  std::string step;
  while (steps >> step) Perform(step);
  while (true) Receive();
}
