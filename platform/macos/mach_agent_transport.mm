#include "platform/macos/mach_agent_transport.h"

#import <Foundation/Foundation.h>

#include <functional>
#include <optional>
#include <string>
#include <utility>

#include "base/guarded_call.h"
#include "platform/macos/objc_support.h"
#include "platform/macos/port_sender.h"
#include "platform/macos/run_loop_modes.h"
#include "platform/run_loop.h"

// What came after the name server of ports has no names that an Agent could register.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

namespace {

// What a port's listener calls. It may outlive whom it calls, so neither knows the port itself.
struct PortEvents {
  std::function<void(std::string name, std::string archive)> messageArrived;  // main loop
  std::function<void()> peerGone;                                             // any thread
};

std::string BytesOf(id component) {
  if (![component isKindOfClass:[NSData class]]) return {};
  return std::string(static_cast<const char*>([component bytes]), [component length]);
}

NSData* DataOf(const std::string& bytes) {
  return [NSData dataWithBytes:bytes.data() length:bytes.size()];
}

}  // namespace

@interface KelvoPortListener : NSObject <NSPortDelegate> {
 @public
  const PortEvents* events_;  // its own
}
@end

@implementation KelvoPortListener

- (void)dealloc {
  delete events_;
  KELVO_OBJC_SUPER_DEALLOC();
}

- (void)handlePortMessage:(NSPortMessage*)message {
  @autoreleasepool {
    @try {
      NSArray* components = [message components];
      if ([components count] != 2) return;
      events_->messageArrived(BytesOf([components objectAtIndex:0]),
                              BytesOf([components objectAtIndex:1]));
    } @catch (NSException* exception) {
      kelvo::LogException("message of the Agent", exception);
    }
  }
}

- (void)handleInvalidPort:(NSNotification*)notification {
  (void)notification;
  events_->peerGone();
}

@end

namespace kelvo {
namespace {

constexpr std::chrono::milliseconds kTimeToTakeMessages(50);

// The two ends of a connection, for as long as a message is on its way between them. The local one
// stays in the main loop until then, so that nothing of it changes under who is sending.
struct Ports {
  explicit Ports(NSPort* peer)
      : local(KELVO_OBJC_RETAIN([NSPort port])), remote(KELVO_OBJC_RETAIN(peer)) {}
  ~Ports() {
    @autoreleasepool {
      for (NSString* mode in ExtensionRunLoopModes()) {
        [[NSRunLoop mainRunLoop] removePort:local forMode:mode];
      }
      [local invalidate];
      KELVO_OBJC_RELEASE(local);
      KELVO_OBJC_RELEASE(remote);
    }
  }
  Ports(const Ports&) = delete;
  Ports& operator=(const Ports&) = delete;

  NSPort* local;
  NSPort* remote;
};

PortSender::Outcome SendMessage(const Ports& ports, const PortSender::Message& message,
                                std::chrono::milliseconds limit, std::string* error) {
  @autoreleasepool {
    @try {
      NSArray* components =
          [NSArray arrayWithObjects:DataOf(message.name), DataOf(message.archive), nil];
      NSPortMessage* portMessage =
          KELVO_OBJC_AUTORELEASE([[NSPortMessage alloc] initWithSendPort:ports.remote
                                                             receivePort:ports.local
                                                              components:components]);
      const std::chrono::duration<NSTimeInterval> seconds = limit;
      NSDate* date = [NSDate dateWithTimeIntervalSinceNow:seconds.count()];
      return [portMessage sendBeforeDate:date] ? PortSender::Outcome::kSent
                                               : PortSender::Outcome::kRefused;
    } @catch (NSException* exception) {
      *error = Utf8FromString([exception description]);
      return PortSender::Outcome::kRaised;
    }
  }
}

// Ended on the main loop, whoever has used them last.
std::shared_ptr<Ports> MakePorts(NSPort* remote, RunLoop& runLoop) {
  return std::shared_ptr<Ports>(new Ports(remote), [&runLoop](Ports* ports) {
    runLoop.Post([owner = std::shared_ptr<Ports>(ports)] {});
  });
}

class MachAgentPort final : public AgentPort {
 public:
  MachAgentPort(NSPort* remote, AgentPortDelegate& delegate, RunLoop& runLoop)
      : delegate_(delegate),
        runLoop_(runLoop),
        ports_(MakePorts(remote, runLoop)),
        alive_(std::make_shared<MachAgentPort*>(this)),
        listener_([[KelvoPortListener alloc] init]),
        sender_(
            runLoop,
            [ports = ports_](const PortSender::Message& message, std::chrono::milliseconds limit,
                             std::string* error) {
              return SendMessage(*ports, message, limit, error);
            },
            FailureTeller()) {
    listener_->events_ = MakeEvents();
    [ports_->local setDelegate:listener_];
    for (NSString* mode in ExtensionRunLoopModes()) {
      [[NSRunLoop mainRunLoop] addPort:ports_->local forMode:mode];
    }
    [[NSNotificationCenter defaultCenter] addObserver:listener_
                                             selector:@selector(handleInvalidPort:)
                                                 name:NSPortDidBecomeInvalidNotification
                                               object:ports_->remote];
    // It may have ended before anybody was told of its end.
    if (![ports_->remote isValid]) listener_->events_->peerGone();
  }

  ~MachAgentPort() override {
    @autoreleasepool {
      *alive_ = nullptr;
      [[NSNotificationCenter defaultCenter] removeObserver:listener_];
      [ports_->local setDelegate:nil];
    }
    // Later, since it may be the one that is called at this moment, here or on another thread.
    runLoop_.After(kTimeToTakeMessages,
                   [listener = listener_]() mutable { KELVO_OBJC_RELEASE(listener); });
    listener_ = nil;
  }

  void Send(std::string name, std::string archive) override {
    sender_.Send({std::move(name), std::move(archive)});
  }

  std::size_t OutgoingBytes() const override { return sender_.OutgoingBytes(); }

  void Pause(bool paused) override {
    @autoreleasepool {
      for (NSString* mode in ExtensionRunLoopModes()) {
        if (paused) {
          [[NSRunLoop mainRunLoop] removePort:ports_->local forMode:mode];
        } else {
          [[NSRunLoop mainRunLoop] addPort:ports_->local forMode:mode];
        }
      }
      isPaused_ = paused;
      if (paused) return;
      // Whoever hears of either has done with the port, and does not hear of the other.
      if (untoldException_) TellOfException(alive_, runLoop_, *std::exchange(untoldException_, {}));
      if (std::exchange(endIsUntold_, false)) TellOfEnd(alive_, runLoop_);
    }
  }

  std::string Description() const override {
    @autoreleasepool {
      return Utf8FromString([ports_->remote description]);
    }
  }

 private:
  const PortEvents* MakeEvents() {
    return new PortEvents{
        [alive = alive_](std::string name, std::string archive) {
          CallGuarded("message of the Agent", [&] {
            if (*alive == nullptr) return;
            (*alive)->delegate_.handlePortMessage(**alive, std::move(name), std::move(archive));
          });
        },
        // Later, since the notice may come from inside a sending, and from any thread.
        [alive = alive_, &runLoop = runLoop_] {
          runLoop.Post([alive, &runLoop] { TellOfEnd(alive, runLoop); });
        }};
  }

  // What the Agent had sent comes before the news of its end: it waits in the local port, of which
  // the loop takes one message a turn.
  static void TellOfEnd(const std::shared_ptr<MachAgentPort*>& alive, RunLoop& runLoop) {
    if (*alive == nullptr) return;
    runLoop.After(kTimeToTakeMessages, [alive] {
      if (*alive == nullptr) return;
      MachAgentPort& port = **alive;
      port.endIsUntold_ = port.isPaused_;
      if (!port.isPaused_) port.delegate_.handleInvalidPort(port);
    });
  }

  // As the end: what the Agent had sent while the port was paused comes first.
  static void TellOfException(const std::shared_ptr<MachAgentPort*>& alive, RunLoop& runLoop,
                              const std::string& error) {
    runLoop.After(kTimeToTakeMessages, [alive, error] {
      if (*alive != nullptr) (*alive)->TellOfException(error);
    });
  }

  void TellOfException(const std::string& error) {
    if (isPaused_) {
      untoldException_ = error;
    } else {
      delegate_.handleSendException(*this, error);
    }
  }

  // Holds nothing of the port but its ends, since a message may be on its way after it.
  PortSender::Failed FailureTeller() {
    return [alive = alive_, ports = ports_, &runLoop = runLoop_](PortSender::Outcome outcome,
                                                                 const std::string& error) {
      runLoop.Post([alive, ports, outcome, error] {
        if (*alive == nullptr) return;
        MachAgentPort& port = **alive;
        if (outcome != PortSender::Outcome::kRaised) return port.delegate_.handleSendFailure(port);
        // Not as news of the peer: this connection is over by our own decision.
        [[NSNotificationCenter defaultCenter] removeObserver:port.listener_];
        [ports->remote invalidate];
        port.TellOfException(error);
      });
    };
  }

  AgentPortDelegate& delegate_;
  RunLoop& runLoop_;
  const std::shared_ptr<Ports> ports_;
  const std::shared_ptr<MachAgentPort*> alive_;
  KelvoPortListener* listener_;
  bool isPaused_ = false;
  // What was learned while it was paused.
  bool endIsUntold_ = false;
  std::optional<std::string> untoldException_;
  PortSender sender_;
};

}  // namespace

std::unique_ptr<AgentPort> MachAgentTransport::portForName(const std::string& name,
                                                           AgentPortDelegate& delegate) {
  @autoreleasepool {
    @try {
      NSPort* port = [[NSMachBootstrapServer sharedInstance] portForName:StringFromUtf8(name)];
      if (port == nil || ![port isValid]) return nullptr;
      return std::make_unique<MachAgentPort>(port, delegate, runLoop_);
    } @catch (NSException* exception) {
      LogException("looking up the Agent", exception);
      return nullptr;
    }
  }
}

}  // namespace kelvo
