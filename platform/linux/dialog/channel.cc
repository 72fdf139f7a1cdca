#include "platform/linux/dialog/channel.h"

#include <errno.h>
#include <glib-unix.h>
#include <poll.h>
#include <sys/socket.h>

#include <optional>
#include <string_view>
#include <utility>

#include "agent/keyed_archive.h"
#include "platform/linux/dialog/complaint.h"

namespace kelvo::dialog {
namespace {

constexpr std::size_t kReadSize = 16384;

void WaitUntilWritable(int socket) {
  pollfd wanted = {socket, POLLOUT, 0};
  poll(&wanted, 1, -1);
}

}  // namespace

Channel::Channel(int socket, Received received, std::function<void()> ended)
    : socket_(socket), received_(std::move(received)), ended_(std::move(ended)) {
  source_ = g_unix_fd_add(socket_, static_cast<GIOCondition>(G_IO_IN | G_IO_HUP | G_IO_ERR),
                          OnReadable, this);
}

Channel::~Channel() {
  if (source_ != 0) g_source_remove(source_);
}

void Channel::Send(const char* name, const PropertyList::Dictionary& dictionary) {
  const std::string frame = EncodeMessageFrame(name, EncodeKeyedArchive(dictionary));
  std::string_view left = frame;
  while (!left.empty()) {
    const ssize_t written = send(socket_, left.data(), left.size(), MSG_NOSIGNAL);
    if (written > 0) {
      left.remove_prefix(static_cast<std::size_t>(written));
    } else if (errno == EAGAIN) {
      WaitUntilWritable(socket_);
    } else if (errno != EINTR) {
      return;  // the extension has gone
    }
  }
}

gboolean Channel::OnReadable(gint, GIOCondition, gpointer self) {
  auto* channel = static_cast<Channel*>(self);
  const bool more = channel->Read();
  channel->Deliver();
  if (more && channel->reader_.Error().empty()) return G_SOURCE_CONTINUE;
  if (!channel->reader_.Error().empty()) {
    Complain("the extension sent " + channel->reader_.Error());
  }
  channel->source_ = 0;
  channel->ended_();
  return G_SOURCE_REMOVE;
}

bool Channel::Read() {
  char bytes[kReadSize];
  const ssize_t count = recv(socket_, bytes, sizeof(bytes), MSG_DONTWAIT);
  if (count > 0) reader_.Append(std::string_view(bytes, static_cast<std::size_t>(count)));
  return count > 0 || (count < 0 && (errno == EAGAIN || errno == EINTR));
}

void Channel::Deliver() {
  while (const std::optional<MessageFrameReader::Message> message = reader_.Next()) {
    std::string error;
    const auto dictionary = DecodeKeyedArchive(message->archive, &error);
    if (dictionary) {
      received_(message->name, *dictionary);
    } else {
      Complain("message \"" + message->name + "\" ignored: " + error);
    }
  }
}

}  // namespace kelvo::dialog
