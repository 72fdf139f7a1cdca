#include "platform/linux/unix_agent_port.h"

#include <errno.h>
#include <glib-unix.h>
#include <sys/socket.h>

#include <deque>
#include <optional>
#include <string_view>
#include <utility>

#include "base/logger.h"
#include "platform/linux/glib_ptr.h"

namespace kelvo {
namespace {

constexpr std::size_t kMaxQueuedBytes = std::size_t{8} << 20;
// What one turn of the loop reads and how long it delivers, so that input starves nothing else.
constexpr std::size_t kReadPerTurn = 256 << 10;
constexpr std::size_t kReadAtOnce = 64 << 10;
constexpr gint64 kDeliveryPerTurn = 2000;  // microseconds

constexpr gint64 kNever = -1;  // as a ready time; 0 is at once

void Attach(GSource* source, GMainContext* context, GSourceFunc callback, gpointer data) {
  g_source_set_callback(source, callback, data, nullptr);
  g_source_set_can_recurse(source, TRUE);
  g_source_attach(source, context);
}

gboolean DispatchAlarm(GSource* /*source*/, GSourceFunc callback, gpointer data) {
  return callback(data);
}

// A source that fires at its ready time, and on until that is changed.
GSourcePtr NewAlarm(GMainContext* context, GSourceFunc callback, gpointer data) {
  static GSourceFuncs functions = {nullptr, nullptr, DispatchAlarm, nullptr, nullptr, nullptr};
  GSourcePtr source(g_source_new(&functions, sizeof(GSource)));
  g_source_set_ready_time(source.get(), kNever);
  Attach(source.get(), context, callback, data);
  return source;
}

}  // namespace

// What the port's sources work on. Each of their calls keeps it alive, since the delegate may
// destroy the port meanwhile; whatever follows a delegate's call asks Gone() first.
class UnixAgentPort::Connection : public std::enable_shared_from_this<Connection> {
 public:
  Connection(UnixAgentPort* port, GMainContext* context, UniqueFd fd, const Options& options,
             AgentPortDelegate& delegate)
      : port_(port),
        context_(context),
        fd_(std::move(fd)),
        sendLimit_(std::chrono::microseconds(options.sendLimit).count()),
        peer_(options.peer),
        delegate_(delegate),
        reader_(options.maxMessageSize),
        limit_(NewAlarm(context, Call<&Connection::OnLimit>, this)),
        wake_(NewAlarm(context, Call<&Connection::OnWake>, this)),
        readable_(NewInput(G_IO_IN, CallForInput<&Connection::OnReadable>)) {}

  void Send(std::string_view name, std::string_view archive);
  std::size_t QueuedBytes() const { return queuedBytes_; }
  void Pause(bool paused);
  // Nothing is told any more.
  void Close();

 private:
  struct Outgoing {
    std::string frame;
    std::size_t written = 0;
    gint64 deadline;  // of its first byte
  };

  template <void (Connection::*kMethod)()>
  static gboolean Call(gpointer data) {
    const auto connection = static_cast<Connection*>(data)->shared_from_this();
    (connection.get()->*kMethod)();
    return G_SOURCE_CONTINUE;
  }
  template <void (Connection::*kMethod)()>
  static gboolean CallForInput(gint /*fd*/, GIOCondition /*condition*/, gpointer data) {
    return Call<kMethod>(data);
  }

  GSourcePtr NewInput(GIOCondition condition, GUnixFDSourceFunc callback);
  bool Gone() const { return port_ == nullptr; }
  void OnReadable();
  void OnWritable();
  void OnLimit();
  void OnWake();
  bool Read();
  void Deliver();
  void Write();
  void EndOfInput();
  void TellFailures();
  void SetWake();
  void SetLimit();
  std::deque<Outgoing>::iterator FirstNotBegun();

  UnixAgentPort* port_;  // null once nothing is to be told any more
  GMainContext* const context_;
  UniqueFd fd_;
  const gint64 sendLimit_;  // microseconds
  const char* const peer_;
  AgentPortDelegate& delegate_;

  MessageFrameReader reader_;
  bool undelivered_ = false;  // the reader may hold whole messages
  bool inputEnded_ = false;
  bool paused_ = false;

  std::deque<Outgoing> queue_;
  std::size_t queuedBytes_ = 0;  // not yet written
  std::size_t failures_ = 0;     // messages lost, to be told
  std::string writeError_;       // to be told when not empty

  GSourcePtr limit_;  // the first deadline
  GSourcePtr wake_;   // something is to be told or delivered
  GSourcePtr readable_;
  GSourcePtr writable_;  // while something is queued
};

GSourcePtr UnixAgentPort::Connection::NewInput(GIOCondition condition, GUnixFDSourceFunc callback) {
  GSourcePtr source(g_unix_fd_source_new(fd_.get(), condition));
  Attach(source.get(), context_, G_SOURCE_FUNC(callback), this);
  return source;
}

void UnixAgentPort::Connection::Close() {
  port_ = nullptr;
  readable_.reset();
  writable_.reset();
  limit_.reset();
  wake_.reset();
  fd_.Reset();
}

void UnixAgentPort::Connection::OnReadable() {
  // What was read before goes first: memory stays within one turn's input and one message.
  if (undelivered_) return;
  Read();
  undelivered_ = true;
  Deliver();
}

// Whether there was anything to read.
bool UnixAgentPort::Connection::Read() {
  char bytes[kReadAtOnce];
  std::size_t taken = 0;
  while (taken < kReadPerTurn) {
    const ssize_t count = ::recv(fd_.get(), bytes, sizeof bytes, 0);
    if (count > 0) {
      reader_.Append({bytes, static_cast<std::size_t>(count)});
      taken += static_cast<std::size_t>(count);
      continue;
    }
    if (count < 0 && errno == EINTR) continue;
    if (count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) break;
    if (count < 0) KELVO_LOG(kLogDebug, "reading from " << peer_ << ": " << g_strerror(errno));
    inputEnded_ = true;
    readable_.reset();
    break;
  }
  return taken > 0;
}

void UnixAgentPort::Connection::Deliver() {
  const gint64 end = g_get_monotonic_time() + kDeliveryPerTurn;
  SetWake();  // for a loop that the delegate turns, and for the next turn of this one
  do {
    std::optional<MessageFrameReader::Message> message = reader_.Next();
    if (!message) {
      // An Agent that nothing can be written to any more may have said something before it went.
      undelivered_ = !writeError_.empty() && !inputEnded_ && reader_.Error().empty() && Read();
      SetWake();
      if (!undelivered_) EndOfInput();
      return;
    }
    delegate_.handlePortMessage(*port_, std::move(message->name), std::move(message->archive));
    if (Gone() || paused_) return;
  } while (g_get_monotonic_time() < end);
}

// All that can be had was delivered. Goes on, unless the connection is of no more use.
void UnixAgentPort::Connection::EndOfInput() {
  if (!writeError_.empty()) {
    UnixAgentPort& port = *port_;
    Close();
    delegate_.handleSendException(port, writeError_);
    return;
  }
  if (!inputEnded_ && reader_.Error().empty()) return;
  if (!reader_.Error().empty()) {
    KELVO_LOG(kLogError, peer_ << " broke the framing: " << reader_.Error());
  } else if (reader_.Pending() > 0) {
    KELVO_LOG(kLogError, peer_ << " ended the connection within a message; " << reader_.Pending()
                               << " bytes dropped");
  }
  UnixAgentPort& port = *port_;
  Close();
  delegate_.handleInvalidPort(port);
}

void UnixAgentPort::Connection::Send(std::string_view name, std::string_view archive) {
  if (Gone() || !writeError_.empty()) return;
  std::string frame = EncodeMessageFrame(name, archive);
  if (frame.size() > kMaxQueuedBytes - queuedBytes_) {
    ++failures_;
    SetWake();
    return;
  }
  queuedBytes_ += frame.size();
  queue_.push_back({std::move(frame), 0, g_get_monotonic_time() + sendLimit_});
  if (queue_.size() == 1) {
    Write();
  } else {
    SetLimit();
  }
}

void UnixAgentPort::Connection::OnWritable() { Write(); }

void UnixAgentPort::Connection::Write() {
  while (!queue_.empty()) {
    Outgoing& message = queue_.front();
    const std::string_view rest = std::string_view(message.frame).substr(message.written);
    const ssize_t count = ::send(fd_.get(), rest.data(), rest.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) break;
    if (count < 0) {
      writeError_ = g_strerror(errno);
      queue_.clear();
      SetWake();
      break;
    }
    message.written += static_cast<std::size_t>(count);
    queuedBytes_ -= static_cast<std::size_t>(count);
    if (message.written == message.frame.size()) queue_.pop_front();
  }
  if (queue_.empty()) {
    writable_.reset();
  } else if (writable_ == nullptr) {
    writable_ = NewInput(G_IO_OUT, CallForInput<&Connection::OnWritable>);
  }
  SetLimit();
}

// Only the first message can be begun; it is finished however long it takes, or the framing would
// be lost.
std::deque<UnixAgentPort::Connection::Outgoing>::iterator
UnixAgentPort::Connection::FirstNotBegun() {
  const bool begun = !queue_.empty() && queue_.front().written > 0;
  return queue_.begin() + (begun ? 1 : 0);
}

void UnixAgentPort::Connection::OnLimit() {
  Write();  // a loop that was held up has not yet seen the room that there is
  const gint64 now = g_get_monotonic_time();
  const auto first = FirstNotBegun();
  auto last = first;
  for (; last != queue_.end() && last->deadline <= now; ++last) {
    queuedBytes_ -= last->frame.size();
    ++failures_;
  }
  queue_.erase(first, last);
  if (queue_.empty()) writable_.reset();
  SetLimit();
  SetWake();
}

void UnixAgentPort::Connection::OnWake() {
  while (failures_ > 0) {
    --failures_;
    delegate_.handleSendFailure(*port_);
    if (Gone()) return;
  }
  if (!paused_ && (undelivered_ || !writeError_.empty())) {
    Deliver();
  } else {
    SetWake();
  }
}

void UnixAgentPort::Connection::Pause(bool paused) {
  if (Gone() || paused == paused_) return;
  paused_ = paused;
  if (paused) {
    readable_.reset();
  } else if (!inputEnded_) {
    readable_ = NewInput(G_IO_IN, CallForInput<&Connection::OnReadable>);
  }
  SetWake();
}

void UnixAgentPort::Connection::SetWake() {
  const bool due = failures_ > 0 || (!paused_ && (undelivered_ || !writeError_.empty()));
  g_source_set_ready_time(wake_.get(), due ? 0 : kNever);
}

void UnixAgentPort::Connection::SetLimit() {
  const auto first = FirstNotBegun();
  g_source_set_ready_time(limit_.get(), first == queue_.end() ? kNever : first->deadline);
}

UnixAgentPort::UnixAgentPort(GMainContext* context, UniqueFd fd, std::string description,
                             const Options& options, AgentPortDelegate& delegate)
    : description_(std::move(description)),
      connection_(std::make_shared<Connection>(this, context, std::move(fd), options, delegate)) {}

UnixAgentPort::~UnixAgentPort() { connection_->Close(); }

void UnixAgentPort::Pause(bool paused) { connection_->Pause(paused); }

std::size_t UnixAgentPort::OutgoingBytes() const { return connection_->QueuedBytes(); }

void UnixAgentPort::Send(std::string name, std::string archive) {
  connection_->Send(name, archive);
}

}  // namespace kelvo
