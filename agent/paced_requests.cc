#include "agent/paced_requests.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <memory>
#include <utility>

#include "agent/notifications_bridge.h"
#include "base/logger.h"

namespace kelvo {
namespace {

constexpr std::size_t kAtOnce = 256;
constexpr std::size_t kPerTurn = 64;
constexpr std::size_t kMostWaiting = std::size_t{64} << 10;  // bytes that the Agent has not read
constexpr std::chrono::milliseconds kPause{20};
constexpr int kMostPauses = 150;  // in a row: 3 seconds

class Sequence : public std::enable_shared_from_this<Sequence> {
 public:
  Sequence(RunLoop& runLoop, std::vector<std::string> paths,
           std::function<void(const std::string&)> send, std::function<void()> ended)
      : runLoop_(runLoop),
        paths_(std::move(paths)),
        send_(std::move(send)),
        ended_(std::move(ended)) {}

  void SendSome(std::size_t count) {
    const std::size_t end = std::min(paths_.size(), next_ + count);
    for (; next_ < end; ++next_) send_(paths_[next_]);
    if (next_ == paths_.size()) return End();
    runLoop_.Post([self = shared_from_this()] { self->Turn(); });
  }

 private:
  void Turn() {
    const std::size_t waiting = AgentOutgoingBytes();
    if (!IsBridgeConnected()) return GiveUp("the Agent has gone");
    if (waiting <= kMostWaiting) {
      pauses_ = 0;
      return SendSome(kPerTurn);
    }
    pauses_ = waiting < lastWaiting_ ? 0 : pauses_ + 1;
    lastWaiting_ = waiting;
    if (pauses_ > kMostPauses) return GiveUp("the Agent does not read");
    runLoop_.After(kPause, [self = shared_from_this()] { self->Turn(); });
  }

  void GiveUp(const char* reason) {
    KELVO_LOG(kLogError, paths_.size() - next_ << " of " << paths_.size()
                                               << " requests are not sent: " << reason);
    End();
  }
  void End() {
    if (ended_) ended_();
  }

  RunLoop& runLoop_;
  const std::vector<std::string> paths_;
  const std::function<void(const std::string&)> send_;
  const std::function<void()> ended_;
  std::size_t next_ = 0;
  std::size_t lastWaiting_ = 0;
  int pauses_ = 0;
};

}  // namespace

void SendPaced(RunLoop& runLoop, std::vector<std::string> paths,
               std::function<void(const std::string& path)> send, std::function<void()> ended) {
  std::make_shared<Sequence>(runLoop, std::move(paths), std::move(send), std::move(ended))
      ->SendSome(kAtOnce);
}

}  // namespace kelvo
