#include "agent/notifications_bridge.h"

#include <functional>
#include <memory>
#include <utility>

#include "agent/keyed_archive.h"
#include "base/logger.h"
#include "base/notification_center.h"
#include "base/string_utils.h"

namespace kelvo {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr milliseconds kLookUpInterval = seconds{5};
constexpr milliseconds kDelayAfterSendException = seconds{3};
// An Agent that accepts and hangs up, over and over, must not keep the loop busy.
constexpr milliseconds kDelayAfterFruitlessConnections = seconds{1};
constexpr milliseconds kShortestFruitfulConnection = seconds{1};
constexpr int kMaxFruitlessConnections = 3;

constexpr std::size_t kMaxOutgoingBytes = std::size_t{8} << 20;
// What one turn of the loop hands to the port, so that a thread which never stops sending does not
// keep the loop from everything else.
constexpr int kMessagesPerTurn = 256;

// Decoding so much takes longer than a turn of the loop should.
constexpr std::size_t kLargeMessage = std::size_t{1} << 20;

constexpr std::size_t kMaxNotedName = 200;  // bytes of a message's name

constexpr std::uint64_t kFailuresPerLogLine = 1000;
constexpr milliseconds kQuietAfterRun = seconds{4};  // a run of failures is over after that

constexpr milliseconds kRecoveryInterval = seconds{1};
constexpr std::size_t kFewOutgoingBytes = std::size_t{64} << 10;  // of an Agent that takes messages

}  // namespace

NotificationsBridge::NotificationsBridge(NotificationsBridgeDelegate* delegate, std::string id,
                                         const CFinderConfiguration* config,
                                         AgentTransport& transport, RunLoop& runLoop,
                                         const Clock& clock, BackgroundQueue* worker)
    : delegate_(delegate),
      id_(std::move(id)),
      config_(config),
      transport_(transport),
      runLoop_(runLoop),
      clock_(clock),
      worker_(worker),
      alive_(std::make_shared<NotificationsBridge*>(this)) {
  startCommunication();
}

NotificationsBridge::~NotificationsBridge() {
  cancelPendingStart();
  *alive_ = nullptr;
}

void NotificationsBridge::startCommunication() {
  if (remotePort_ != nullptr) return;
  KELVO_LOG(kLogDebug, "start communication, ID " << id_);
  remotePort_ = transport_.portForName(id_, *this);
  if (remotePort_ == nullptr) {
    scheduleStart(kLookUpInterval);
    return;
  }
  if (holds_ > 0) remotePort_->Pause(true);
  cancelPendingStart();
  connectedAt_ = clock_.Monotonic();
  {
    CMutexLock lock(mutex_);
    sendFailures_ = 0;
    contact_.connectedSince = clock_.Now();
  }
  sendInitiation();
}

void NotificationsBridge::sendInitiation() {
  opening_ = Opening::kSpeaking;
  ++openings_;
  sendMessageWithName(kInitComName, EncodeKeyedArchive({}));
  if (delegate_ != nullptr) delegate_->communicationInitiatized();
  if (opening_ == Opening::kHeld) return;
  opening_ = Opening::kDone;
  drainOutgoing();
}

std::uint64_t NotificationsBridge::holdOpening() {
  if (opening_ == Opening::kSpeaking) opening_ = Opening::kHeld;
  return openings_;
}

void NotificationsBridge::finishOpening(std::uint64_t opening, const std::function<void()>& send) {
  if (opening_ != Opening::kHeld || opening != openings_) return;
  opening_ = Opening::kSpeaking;
  send();
  opening_ = Opening::kDone;
  drainOutgoing();
}

void NotificationsBridge::sendNotificationWithName(const std::string& name,
                                                   const PropertyList::Dictionary& info) {
  std::string archive = EncodeKeyedArchive(info);
  const bool onLoop = runLoop_.IsCurrent();
  if (onLoop && opening_ == Opening::kSpeaking) {
    sendMessageWithName(name, std::move(archive));
    return;
  }
  bool refused = false;
  {
    CMutexLock lock(mutex_);
    const std::size_t size = name.size() + archive.size();
    refused = size > kMaxOutgoingBytes - outgoingBytes_;
    if (!refused) {
      outgoingBytes_ += size;
      outgoing_.push_back({name, std::move(archive)});
    }
  }
  if (refused) noteSendFailure();
  if (onLoop) {
    drainOutgoing();
  } else if (!refused) {
    postDrain();
  }
}

std::size_t NotificationsBridge::outgoingBytes() {
  const std::size_t atPort = remotePort_ == nullptr ? 0 : remotePort_->OutgoingBytes();
  CMutexLock lock(mutex_);
  return atPort + outgoingBytes_;
}

AgentContact NotificationsBridge::contact() const {
  CMutexLock lock(mutex_);
  return contact_;
}

void NotificationsBridge::noteMessage(const std::string& name,
                                      const PropertyList::Dictionary* info) {
  const bool isEvent = info != nullptr && name == kAgentEventName;
  const PropertyList* event = isEvent ? FindValue(*info, "event_name") : nullptr;
  const std::string* eventName = event == nullptr ? nullptr : event->AsString();
  CMutexLock lock(mutex_);
  contact_.lastMessageTime = clock_.Now();
  contact_.lastMessage = CutText(eventName == nullptr ? name : *eventName, kMaxNotedName);
}

void NotificationsBridge::postDrain() {
  {
    CMutexLock lock(mutex_);
    if (drainPosted_) return;
    drainPosted_ = true;
  }
  runLoop_.Post([alive = alive_] {
    if (*alive == nullptr) return;
    NotificationsBridge& bridge = **alive;
    {
      CMutexLock lock(bridge.mutex_);
      bridge.drainPosted_ = false;
    }
    bridge.drainOutgoing();
  });
}

// Each message is taken out only when its turn has come: a look-up on the way sends the opening
// first, and whatever runs meanwhile finds the rest of the queue in order.
void NotificationsBridge::drainOutgoing() {
  if (opening_ != Opening::kDone) return;  // the opening drains the queue when it is done
  for (int i = 0; i < kMessagesPerTurn; ++i) {
    {
      CMutexLock lock(mutex_);
      if (outgoing_.empty()) return;
    }
    startCommunication();
    if (opening_ != Opening::kDone) return;
    Outgoing message;
    {
      CMutexLock lock(mutex_);
      if (outgoing_.empty()) return;
      message = std::move(outgoing_.front());
      outgoing_.pop_front();
      outgoingBytes_ -= message.name.size() + message.archive.size();
    }
    sendMessageWithName(std::move(message.name), std::move(message.archive));
  }
  postDrain();
}

// Silently drops the message when there is no Agent.
void NotificationsBridge::sendMessageWithName(std::string name, std::string archive) {
  if (remotePort_ != nullptr) remotePort_->Send(std::move(name), std::move(archive));
}

void NotificationsBridge::handlePortMessage(AgentPort& port, std::string name,
                                            std::string archive) {
  if (&port != remotePort_.get()) return;
  if (!IsValidUtf8(name)) {
    KELVO_LOG(kLogError, "message of the Agent skipped: its name is not UTF-8");
    return;
  }
  std::string error;
  if (worker_ == nullptr || archive.size() < kLargeMessage) {
    const auto info = DecodeKeyedArchive(std::move(archive), &error);
    archive = std::string();  // a large one must not wait for what is done with the message
    return deliver(name, info, error);
  }
  holdMessages();
  std::function<void()> prepare = [alive = alive_, &runLoop = runLoop_, prepare = preparer_,
                                   name = std::move(name),
                                   archive = std::make_shared<std::string>(std::move(archive))] {
    std::string fault;
    auto info = std::make_shared<const std::optional<PropertyList::Dictionary>>(
        DecodeKeyedArchive(std::move(*archive), &fault));
    if (*info && prepare) prepare(name, **info);
    runLoop.Post([alive, name, info = std::move(info), fault] {
      if (*alive == nullptr) return;
      // First, since an observer may turn the loop, which then brings the next messages.
      (*alive)->releaseMessages();
      (*alive)->deliver(name, *info, fault);
    });
  };
  if (worker_->TryAsync(prepare)) return;
  KELVO_LOG(kLogWarning, "no thread for a large message of the Agent: the main loop unpacks it");
  prepare();
}

void NotificationsBridge::deliver(const std::string& name,
                                  const std::optional<PropertyList::Dictionary>& info,
                                  const std::string& error) {
  noteMessage(name, info ? &*info : nullptr);
  if (!info) {
    KELVO_LOG(kLogError,
              "message \"" << CutText(name, kMaxNotedName) << "\" of the Agent skipped: " << error);
    return;
  }
  NotificationCenter::LocalCenter().Post(name, kNotificationObject, *info);
}

void NotificationsBridge::holdMessages() {
  if (holds_++ == 0 && remotePort_ != nullptr) remotePort_->Pause(true);
}

void NotificationsBridge::releaseMessages() {
  if (holds_ == 0) return;  // the hold was another bridge's
  if (--holds_ == 0 && remotePort_ != nullptr) remotePort_->Pause(false);
}

void NotificationsBridge::handleInvalidPort(AgentPort& port) {
  if (&port != remotePort_.get()) return;
  KELVO_LOG(kLogWarning, "port is invalid: " << port.Description());
  losePort();
  if (mayLookUpAtOnce()) {
    startCommunication();
  } else if (remotePort_ == nullptr) {
    scheduleStart(kDelayAfterFruitlessConnections);
  }
}

void NotificationsBridge::handleSendFailure(AgentPort& port) {
  if (&port == remotePort_.get()) noteSendFailure();
}

void NotificationsBridge::handleSendException(AgentPort& port, const std::string& description) {
  if (&port != remotePort_.get()) return;
  KELVO_LOG(kLogError, "message port send exception: " << description);
  losePort();
  if (remotePort_ == nullptr) scheduleStart(kDelayAfterSendException);
}

void NotificationsBridge::scheduleStart(milliseconds delay) {
  cancelPendingStart();
  pendingStart_ = runLoop_.After(delay, [this] {
    pendingStart_ = 0;
    startCommunication();
  });
}

void NotificationsBridge::cancelPendingStart() {
  if (pendingStart_ != 0) runLoop_.Cancel(std::exchange(pendingStart_, 0));
}

void NotificationsBridge::losePort() {
  remotePort_.reset();
  {
    CMutexLock lock(mutex_);
    contact_.connectedSince.reset();
  }
  if (opening_ == Opening::kHeld) {
    opening_ = Opening::kDone;
    CMutexLock lock(mutex_);
    outgoing_.clear();
    outgoingBytes_ = 0;
  }
  const bool fruitless = clock_.Monotonic() - connectedAt_ < kShortestFruitfulConnection;
  fruitlessConnections_ = fruitless ? fruitlessConnections_ + 1 : 0;
  if (delegate_ != nullptr) delegate_->communicationEnded();
}

bool NotificationsBridge::mayLookUpAtOnce() {
  return fruitlessConnections_ < kMaxFruitlessConnections;
}

// Logs the first of a run, then one line for every thousand: a flood must not fill the log.
void NotificationsBridge::noteSendFailure() {
  std::uint64_t failures;
  bool isAwaited;
  {
    CMutexLock lock(mutex_);
    const milliseconds now = clock_.Monotonic();
    if (now - lastSendFailure_ > kQuietAfterRun) sendFailures_ = 0;
    lastSendFailure_ = now;
    failures = ++sendFailures_;
    isAwaited = std::exchange(recoveryAwaited_, true);
  }
  if (!isAwaited) {
    runLoop_.Post([alive = alive_] {
      if (*alive != nullptr) (*alive)->awaitRecovery();
    });
  }
  if (failures == 1) {
    KELVO_LOG(kLogError, "message port send failed");
  } else if (failures % kFailuresPerLogLine == 0) {
    KELVO_LOG(kLogError, "message port send failed (" << failures << " messages in a row)");
  }
}

// An Agent that has gone ends the wait: whoever comes next hears from the delegate anyway.
void NotificationsBridge::awaitRecovery() {
  runLoop_.After(kRecoveryInterval, [alive = alive_] {
    if (*alive == nullptr) return;
    NotificationsBridge& bridge = **alive;
    const bool isConnected = bridge.isConnected();
    if (isConnected && bridge.outgoingBytes() > kFewOutgoingBytes) return bridge.awaitRecovery();
    {
      CMutexLock lock(bridge.mutex_);
      bridge.recoveryAwaited_ = false;
    }
    if (isConnected && bridge.delegate_ != nullptr) bridge.delegate_->communicationRecovered();
  });
}

}  // namespace kelvo
