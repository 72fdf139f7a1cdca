#include "platform/linux/helper_pasteboard.h"

#include <errno.h>
#include <poll.h>
#include <sys/socket.h>

#include <cstddef>
#include <optional>
#include <string_view>
#include <utility>

#include "agent/keyed_archive.h"
#include "agent/message_frame.h"
#include "base/logger.h"
#include "base/string_utils.h"
#include "platform/linux/dialog/dialog_messages.h"
#include "platform/linux/dialog_process.h"

namespace kelvo {
namespace {

constexpr std::size_t kMaxMessageFromHelper = std::size_t{64} << 10;
constexpr std::size_t kMaxLoggedName = 40;

// A talk with the helper on a thread that may wait for it.
class Conversation {
 public:
  Conversation(UniqueFd channel, std::chrono::milliseconds limit)
      : channel_(std::move(channel)),
        deadline_(g_get_monotonic_time() + std::chrono::microseconds(limit).count()) {}

  bool Send(std::string_view frame);
  // nullopt, with the reason in Error(), when there is none.
  std::optional<MessageFrameReader::Message> Receive();
  const std::string& Error() const { return error_; }

 private:
  bool Wait(short events);
  // Whether a call that answered `count` is to be made again, after waiting where it must.
  bool Retry(ssize_t count, short events);

  const UniqueFd channel_;
  const gint64 deadline_;
  MessageFrameReader reader_{kMaxMessageFromHelper};
  std::string error_;
};

bool Conversation::Wait(short events) {
  while (true) {
    const gint64 left = (deadline_ - g_get_monotonic_time() + 999) / 1000;
    pollfd waiting{channel_.get(), events, 0};
    const int count = left <= 0 ? 0 : ::poll(&waiting, 1, static_cast<int>(left));
    if (count > 0) return true;
    if (count < 0 && errno == EINTR) continue;
    error_ = count == 0 ? "no answer in time" : g_strerror(errno);
    return false;
  }
}

bool Conversation::Retry(ssize_t count, short events) {
  if (count == 0) {
    error_ = "the helper has ended";
    return false;
  }
  if (errno == EINTR) return true;
  if (errno == EAGAIN || errno == EWOULDBLOCK) return Wait(events);
  error_ = g_strerror(errno);
  return false;
}

bool Conversation::Send(std::string_view frame) {
  while (!frame.empty()) {
    const ssize_t count = ::send(channel_.get(), frame.data(), frame.size(), MSG_NOSIGNAL);
    if (count <= 0) {
      if (!Retry(count, POLLOUT)) return false;
      continue;
    }
    frame.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

std::optional<MessageFrameReader::Message> Conversation::Receive() {
  char bytes[4096];
  while (true) {
    if (auto message = reader_.Next()) return message;
    if (!reader_.Error().empty()) {
      error_ = reader_.Error();
      return std::nullopt;
    }
    const ssize_t count = ::recv(channel_.get(), bytes, sizeof bytes, 0);
    if (count <= 0) {
      if (!Retry(count, POLLIN)) return std::nullopt;
      continue;
    }
    reader_.Append({bytes, static_cast<std::size_t>(count)});
  }
}

// Empty when the helper has written the text.
std::string Ask(Conversation& helper, const std::string& text) {
  const std::string archive = EncodeKeyedArchive({{dialog::kText, text}});
  if (!helper.Send(EncodeMessageFrame(dialog::kSetClipboard, archive))) return helper.Error();
  const auto answer = helper.Receive();
  if (!answer) return helper.Error();
  if (answer->name == dialog::kClipboardWritten) return {};
  const auto values = DecodeKeyedArchive(answer->archive, nullptr);
  if (answer->name == dialog::kFailed && values) {
    return "the helper failed: " + dialog::TextOf(*values, dialog::kReason);
  }
  return "an unexpected message: " + std::string(CutText(answer->name, kMaxLoggedName));
}

}  // namespace

HelperPasteboard::HelperPasteboard(std::string program, std::chrono::milliseconds limit)
    : program_(std::move(program)), limit_(limit) {}

bool HelperPasteboard::writeObjects(const std::string& text) {
  std::optional<DialogProcess> helper = StartDialogProcess(program_, "");
  if (!helper) return false;
  Conversation conversation(std::move(helper->channel), limit_);
  const std::string error = Ask(conversation, ToValidUtf8(text));
  if (error.empty()) return true;
  KELVO_LOG(kLogError, "the clipboard was not written: " << error);
  g_subprocess_force_exit(helper->process.get());
  return false;
}

}  // namespace kelvo
