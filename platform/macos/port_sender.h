#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>

#include "platform/posix/worker_threads.h"

namespace kelvo {

// Hands messages to a port that may hold up whoever sends, on a thread of its own and in order. A
// message that was not taken 3 seconds after it was handed over here, or that comes while 8 MiB are
// waiting, is refused and lost; once sending has raised an error, everything behind it is dropped.
//
// Threads: one's, but OutgoingBytes from any. Lifetime: the run loop outlives it; once this is
// destroyed nothing more is sent, and nothing more is told but of a message whose sending is under
// way.
class PortSender {
 public:
  enum class Outcome { kSent, kRefused, kRaised };
  struct Message {
    std::string name;
    std::string archive;
  };
  // On the sender's thread; may block for as long as `limit`. `error`: for kRaised.
  using SendFunction = std::function<Outcome(const Message& message,
                                             std::chrono::milliseconds limit, std::string* error)>;
  // Not told of kSent. On the sender's thread, or inside Send.
  using Failed = std::function<void(Outcome outcome, const std::string& error)>;

  PortSender(RunLoop& runLoop, SendFunction send, Failed failed);
  ~PortSender();
  PortSender(const PortSender&) = delete;
  PortSender& operator=(const PortSender&) = delete;

  void Send(Message message);
  // Handed over and not taken yet.
  std::size_t OutgoingBytes() const;

 private:
  struct State;

  const std::shared_ptr<State> state_;  // shared with the thread, which may outlive this
  WorkerThreads thread_;
};

}  // namespace kelvo
