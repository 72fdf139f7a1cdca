#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>

#include "base/mutex.h"
#include "base/property_list.h"
#include "platform/agent_transport.h"
#include "platform/background_queue.h"
#include "platform/clock.h"
#include "platform/run_loop.h"
#include "settings/agent_observer.h"

namespace kelvo {

class CFinderConfiguration;

// Names of the channel, the same in both directions.
inline constexpr char kNotificationObject[] = "com.kelvo.vip";
inline constexpr char kExtensionName[] = "kelvoFinderSync";
inline constexpr char kAgentEventName[] = "com.kelvo.client.AgentEvent";
inline constexpr char kConnectionStatusName[] = "com.kelvo.client.ConnectionStatusChanged";
inline constexpr char kSettingsChangedName[] = "com.kelvo.client.SettingsChanged";
inline constexpr char kReportStatusName[] = "com.kelvo.client.ReportStatus";
inline constexpr char kInitComName[] = "init_com";
inline constexpr char kAgentInstance[] = "0";  // the agent identifier that is passed around

// Whoever wants to know how the channel fares. Main loop.
class NotificationsBridgeDelegate {
 public:
  // The channel has come up, and each time it comes back; "init_com" has been sent. What is sent
  // in here goes before everybody else's messages; see HoldBridgeOpening for what takes longer.
  virtual void communicationInitiatized() = 0;
  // The channel is gone.
  virtual void communicationEnded() = 0;
  // Messages were lost although the channel stayed up, since the Agent took none for too long, and
  // it can be sent more now. Should those be lost, too, it is told again.
  virtual void communicationRecovered() {}

 protected:
  ~NotificationsBridgeDelegate() = default;
};

// How the channel fares, for people who look into things. Times are seconds since 1970.
struct AgentContact {
  std::optional<std::int64_t> connectedSince = {};  // none while there is no connection
  std::optional<std::int64_t> lastMessageTime = {};
  // Of the Agent's last message, of an event its event name; cut to a few hundred bytes.
  std::string lastMessage = {};
};

// Gets a large message before the loop does, as a rule on a worker; only what it is given is safe
// to use.
using MessagePreparer =
    std::function<void(const std::string& name, const PropertyList::Dictionary& info)>;

// The channel to the Agent: finds the Agent's port, sends messages to it, and posts what arrives on
// the local notification center.
//
// Threads: main loop; sendNotificationWithName and contact from any thread.
class NotificationsBridge final : private AgentPortDelegate {
 public:
  // Looks for the Agent at once, so the delegate may be called before the constructor returns.
  // `worker` decodes large messages, while later ones wait in order; the loop does it when that is
  // null or has no thread.
  NotificationsBridge(NotificationsBridgeDelegate* delegate, std::string id,
                      const CFinderConfiguration* config, AgentTransport& transport,
                      RunLoop& runLoop, const Clock& clock, BackgroundQueue* worker);
  ~NotificationsBridge();

  // Looks the Agent up unless it is connected; tries again every 5 seconds.
  void startCommunication();
  // The archive is made on the calling thread; messages leave in the order of the calls. Looks the
  // Agent up when it is not connected, and drops the message silently when it is not there.
  void sendNotificationWithName(const std::string& name, const PropertyList::Dictionary& info);
  bool isConnected() const { return remotePort_ != nullptr; }
  std::size_t outgoingBytes();
  AgentContact contact() const;
  // See SetMessagePreparer and HoldAgentMessages.
  void setMessagePreparer(MessagePreparer preparer) { preparer_ = std::move(preparer); }
  void holdMessages();
  void releaseMessages();
  // See HoldBridgeOpening and FinishBridgeOpening.
  std::uint64_t holdOpening();
  void finishOpening(std::uint64_t opening, const std::function<void()>& send);

 private:
  enum class Opening {
    kDone,
    kSpeaking,  // the delegate sends now: what the loop's thread sends goes before what waits
    kHeld,      // the delegate will go on later: everything waits
  };

  struct Outgoing {
    std::string name;
    std::string archive;
  };

  void handlePortMessage(AgentPort& port, std::string name, std::string archive) override;
  void handleInvalidPort(AgentPort& port) override;
  void handleSendFailure(AgentPort& port) override;
  void handleSendException(AgentPort& port, const std::string& description) override;
  void deliver(const std::string& name, const std::optional<PropertyList::Dictionary>& info,
               const std::string& error);
  void sendMessageWithName(std::string name, std::string archive);
  void sendInitiation();
  void drainOutgoing();
  void postDrain();
  void noteMessage(const std::string& name, const PropertyList::Dictionary* info);
  void noteSendFailure() KELVO_EXCLUDES(mutex_);
  void awaitRecovery();
  void scheduleStart(std::chrono::milliseconds delay);
  void cancelPendingStart();
  void losePort();
  bool mayLookUpAtOnce();

  NotificationsBridgeDelegate* delegate_;
  const std::string id_;
  [[maybe_unused]] const CFinderConfiguration* config_;
  AgentTransport& transport_;
  RunLoop& runLoop_;
  const Clock& clock_;
  BackgroundQueue* const worker_;
  MessagePreparer preparer_;
  int holds_ = 0;                          // messages wait while there are any
  std::unique_ptr<AgentPort> remotePort_;  // null until found
  RunLoop::TimerId pendingStart_ = 0;
  std::chrono::milliseconds connectedAt_{0};
  int fruitlessConnections_ = 0;  // in a row that lasted less than a second
  Opening opening_ = Opening::kDone;
  std::uint64_t openings_ = 0;
  // Proof for tasks on the loop that the bridge is still there.
  std::shared_ptr<NotificationsBridge*> alive_;

  mutable CMutex mutex_{kMutexNormal};
  std::deque<Outgoing> outgoing_ KELVO_GUARDED_BY(mutex_);
  std::size_t outgoingBytes_ KELVO_GUARDED_BY(mutex_) = 0;
  bool drainPosted_ KELVO_GUARDED_BY(mutex_) = false;
  std::uint64_t sendFailures_ KELVO_GUARDED_BY(mutex_) = 0;  // in the present run of failures
  std::chrono::milliseconds lastSendFailure_ KELVO_GUARDED_BY(mutex_){0};
  bool recoveryAwaited_ KELVO_GUARDED_BY(mutex_) = false;
  AgentContact contact_ KELVO_GUARDED_BY(mutex_);
};

// Creates the process's one bridge. Main loop, once.
// Deliberate: an Agent that is found meanwhile makes the delegate send before the bridge can be
// reached; that is discarded, and the caller sends "configuration_init" right after.
void InitializeBridge(const std::string& name, const CFinderConfiguration* config,
                      NotificationsBridgeDelegate* delegate, AgentTransport& transport,
                      RunLoop& runLoop, const Clock& clock, BackgroundQueue* worker = nullptr);
// Main loop, once no other thread sends any more.
void DeallocBridge();
// Whether the bridge exists and has found the Agent. Main loop.
bool IsBridgeConnected();
// Nothing without a bridge. Any thread.
AgentContact BridgeContact();
// What was sent and has not been taken by the Agent's side yet. Main loop.
std::size_t AgentOutgoingBytes();

// Null for none. Main loop; nothing without a bridge.
void SetMessagePreparer(MessagePreparer preparer);
// For an observer that has not done with a message when it returns: the next one is posted only
// when every hold was released. Main loop; nothing without a bridge.
void HoldAgentMessages();
void ReleaseAgentMessages();

// For a delegate that must first find out what to open a connection with. Called in
// communicationInitiatized, makes all messages wait until FinishBridgeOpening is called with the
// number that is answered, which sends by `send` and lets the others follow; it does nothing when
// that connection is gone. Messages that wait are lost with the connection. 0, and nothing waits,
// while the bridge is being created. Main loop.
std::uint64_t HoldBridgeOpening();
void FinishBridgeOpening(std::uint64_t opening, const std::function<void()>& send);

// One pair of an event; a null value ends the list with a logged error.
struct EventArgument {
  const char* key;
  const char* value;
};

// Sends an event to the Agent; agentId is not used. Any thread; never blocks. Nothing is sent
// without a bridge, and an event with a text that is not UTF-8 is logged and dropped.
void NotifyAgentEvent(const char* agentId, const char* eventName,
                      std::initializer_list<EventArgument> arguments = {});
void NotifyAgentEventV(const char* eventName, const EventArgument* arguments, std::size_t count);
// Asks the Agent to report its status; always for instance "0".
void NotifyAgentReportStatus(const char* agentId);
// Main loop. The event name handed on is null when the message has none; an absent "timestamp" is
// the present time; a message without "status" is not handed on.
void RegisterAgentEventObserver(AgentObserver* observer, void* target, AgentEventFunction function);
void RegisterConnectionStatusObserver(AgentObserver* observer, void* target,
                                      ConnectionStatusFunction function);

// `target` is an AgentNotificationReceiver*.
void ForwardAgentEvent(void* target, const char* agentId, const std::string* eventName,
                       const PropertyList::Dictionary& userInfo);
void ForwardConnectionStatus(void* target, const char* agentId, int status, std::int64_t timestamp);

}  // namespace kelvo
