#include "tests/support/fake_platform.h"

#include <algorithm>

#include "agent/keyed_archive.h"
#include "agent/notifications_bridge.h"

namespace kelvo::test {

using std::chrono::milliseconds;

std::uintptr_t FakeRunLoop::ThreadMark() {
  thread_local char mark;
  return reinterpret_cast<std::uintptr_t>(&mark);
}

bool FakeRunLoop::IsCurrent() const { return ThreadMark() == thread_; }

void FakeRunLoop::Post(std::function<void()> task) {
  std::lock_guard lock(mutex_);
  posted_.push_back(std::move(task));
}

RunLoop::TimerId FakeRunLoop::After(milliseconds delay, std::function<void()> task) {
  timers_.push_back({nextId_, clock_.Monotonic() + delay, milliseconds{0}, std::move(task)});
  return nextId_++;
}

RunLoop::TimerId FakeRunLoop::Every(milliseconds first, milliseconds interval,
                                    std::function<void()> task) {
  timers_.push_back({nextId_, clock_.Monotonic() + first, interval, std::move(task)});
  return nextId_++;
}

void FakeRunLoop::Cancel(TimerId id) {
  std::erase_if(timers_, [id](const Timer& timer) { return timer.id == id; });
}

void FakeRunLoop::RunPosted() {
  while (true) {
    std::function<void()> task;
    {
      std::lock_guard lock(mutex_);
      if (posted_.empty()) return;
      task = std::move(posted_.front());
      posted_.pop_front();
    }
    task();
  }
}

std::optional<FakeRunLoop::Timer> FakeRunLoop::TakeDue(milliseconds until) {
  auto next = std::min_element(timers_.begin(), timers_.end(),
                               [](const Timer& a, const Timer& b) { return a.due < b.due; });
  if (next == timers_.end() || next->due > until) return std::nullopt;
  Timer timer = *next;
  if (timer.interval.count() > 0) {
    next->due += timer.interval;
  } else {
    timers_.erase(next);
  }
  return timer;
}

void FakeRunLoop::Advance(milliseconds step) {
  const milliseconds end = clock_.Monotonic() + step;
  RunPosted();
  while (std::optional<Timer> timer = TakeDue(end)) {
    clock_.Turn(std::max(milliseconds{0}, timer->due - clock_.Monotonic()));
    timer->task();
    RunPosted();
  }
  clock_.Turn(end - clock_.Monotonic());
}

void FakeBackgroundQueue::Async(std::function<void()> work) {
  {
    std::lock_guard lock(mutex_);
    work_.push_back(std::move(work));
  }
  if (!hold_) RunAll();
}

bool FakeBackgroundQueue::TryAsync(std::function<void()>& work) {
  if (!refuse_) Async(std::move(work));
  return !refuse_;
}

void FakeBackgroundQueue::RunAll() {
  while (true) {
    std::function<void()> work;
    {
      std::lock_guard lock(mutex_);
      if (work_.empty()) return;
      work = std::move(work_.front());
      work_.pop_front();
    }
    work();
  }
}

std::size_t FakeBackgroundQueue::Waiting() {
  std::lock_guard lock(mutex_);
  return work_.size();
}

void FakeSystemLog::Write(const std::string& identity, int level, const std::string& text) {
  std::lock_guard lock(mutex_);
  lines_.push_back({identity, level, text});
}

std::vector<FakeSystemLog::Line> FakeSystemLog::Lines() const {
  std::lock_guard lock(mutex_);
  return lines_;
}

int FakeSystemLog::Count(const std::string& text) const {
  std::lock_guard lock(mutex_);
  return static_cast<int>(std::count_if(lines_.begin(), lines_.end(), [&](const Line& line) {
    return line.text.find(text) != std::string::npos;
  }));
}

class FakeTransport::Port : public AgentPort {
 public:
  explicit Port(FakeTransport& owner) : owner_(owner) {}
  ~Port() override { owner_.port_ = nullptr; }
  void Send(std::string name, std::string archive) override {
    if (owner_.deaf) return;
    auto info = DecodeKeyedArchive(archive, nullptr);
    owner_.sent.push_back({std::move(name), info.value_or(PropertyList::Dictionary{
                                                {"undecodable", PropertyList(true)}})});
  }
  std::size_t OutgoingBytes() const override { return owner_.outgoingBytes; }
  void Pause(bool paused) override { owner_.paused = paused; }
  std::string Description() const override { return "fake port"; }

 private:
  FakeTransport& owner_;
};

std::unique_ptr<AgentPort> FakeTransport::portForName(const std::string& name,
                                                      AgentPortDelegate& delegate) {
  ++lookups;
  lookedUpName = name;
  paused = false;
  if (!present) return nullptr;
  auto port = std::make_unique<Port>(*this);
  port_ = port.get();
  delegate_ = &delegate;
  return port;
}

void FakeTransport::Deliver(const std::string& name, const PropertyList::Dictionary& info) {
  DeliverRaw(name, EncodeKeyedArchive(info));
}

void FakeTransport::DeliverEvent(const std::string& eventName, PropertyList::Dictionary info) {
  info.insert_or_assign("event_name", PropertyList(eventName));
  Deliver(kAgentEventName, info);
}

void FakeTransport::DeliverRaw(const std::string& name, const std::string& archive) {
  delegate_->handlePortMessage(*port_, name, archive);
}

void FakeTransport::Invalidate() { delegate_->handleInvalidPort(*port_); }
void FakeTransport::FailSend() { delegate_->handleSendFailure(*port_); }
void FakeTransport::RaiseOnSend(const std::string& description) {
  delegate_->handleSendException(*port_, description);
}

std::vector<PropertyList::Dictionary> FakeTransport::Events(
    const std::string& nameOrCommand) const {
  std::vector<PropertyList::Dictionary> found;
  for (const Sent& message : sent) {
    if (message.name != kAgentEventName) continue;
    for (const char* key : {"event_name", "command"}) {
      const PropertyList* value = FindValue(message.info, key);
      if (value != nullptr && value->ToText() == nameOrCommand) found.push_back(message.info);
    }
  }
  return found;
}

std::vector<std::string> FakeTransport::ListRequests() const {
  std::vector<std::string> paths;
  for (const auto& event : Events("status-list")) {
    paths.push_back(FindValue(event, "path")->ToText().value_or(""));
  }
  return paths;
}

void FakeFinderController::setDirectoryURLs(const std::vector<std::string>& paths) {
  std::lock_guard lock(mutex);
  directories.push_back(paths);
}

void FakeFinderController::setBadgeImage(const std::optional<BadgeImage>& image,
                                         const std::string& label,
                                         const std::string& badgeIdentifier) {
  registrations.push_back({image, label, badgeIdentifier});
}

void FakeFinderController::setBadgeIdentifier(const std::string& badgeIdentifier,
                                              const std::string& path,
                                              std::optional<bool> isDirectory) {
  std::unique_lock lock(mutex);
  if (const auto quicker = std::exchange(before, nullptr)) {
    lock.unlock();
    quicker();
    lock.lock();
  }
  badges.push_back({badgeIdentifier, path, isDirectory});
  current[path] = badgeIdentifier;
}

SecretStatus FakeSecretStore::Read(const std::string& service, const std::string& account,
                                   std::string* secret) {
  calls.push_back("read " + service + " " + account);
  if (failure != SecretStatus::kOk) return failure;
  auto item = items.find({service, account});
  if (item == items.end()) return SecretStatus::kNotFound;
  if (!interactionAllowed && silentFailure != SecretStatus::kOk) return silentFailure;
  *secret = item->second;
  return SecretStatus::kOk;
}

SecretStatus FakeSecretStore::Find(const std::string& service, const std::string& account) {
  if (failure != SecretStatus::kOk) return failure;
  return items.count({service, account}) ? SecretStatus::kOk : SecretStatus::kNotFound;
}

SecretStatus FakeSecretStore::Modify(const std::string& service, const std::string& account,
                                     const std::string& secret) {
  calls.push_back("modify " + service + " " + account);
  if (failure != SecretStatus::kOk) return failure;
  if (!interactionAllowed && silentFailure != SecretStatus::kOk) return silentFailure;
  items[{service, account}] = secret;
  return SecretStatus::kOk;
}

SecretStatus FakeSecretStore::Create(const std::string& service, const std::string& account,
                                     const std::string& secret, const SecretAccess& access) {
  calls.push_back("create " + service + " " + account);
  if (failure != SecretStatus::kOk) return failure;
  items[{service, account}] = secret;
  lastAccess = access;
  return SecretStatus::kOk;
}

SecretStatus FakeSecretStore::Delete(const std::string& service, const std::string& account) {
  calls.push_back("delete " + service + " " + account);
  if (failure != SecretStatus::kOk) return failure;
  return items.erase({service, account}) ? SecretStatus::kOk : SecretStatus::kNotFound;
}

bool FakeUserDefaults::GetBool(const std::string& key) const {
  auto found = values.find(key);
  return found != values.end() && found->second;
}

void FakeUserDefaults::SetBool(const std::string& key, bool value) { values[key] = value; }

}  // namespace kelvo::test
