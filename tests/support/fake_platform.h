// Fakes of the platform seams. Nothing here imitates a class of the system itself.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/property_list.h"
#include "platform/agent_transport.h"
#include "platform/background_queue.h"
#include "platform/clock.h"
#include "platform/desktop.h"
#include "platform/dialogs.h"
#include "platform/finder_controller.h"
#include "platform/http_client.h"
#include "platform/platform.h"
#include "platform/run_loop.h"
#include "platform/secret_store.h"
#include "platform/system_log.h"
#include "platform/threads.h"
#include "platform/user_defaults.h"

namespace kelvo::test {

// A clock that a test turns by hand, on one thread, and reads on any. SetWallClock moves only the
// wall clock, as a user would.
class FakeClock : public Clock {
 public:
  std::int64_t Now() const override { return wallBase_ + monotonic_ / 1000; }
  std::chrono::milliseconds Monotonic() const override {
    return std::chrono::milliseconds(monotonic_);
  }
  void Turn(std::chrono::milliseconds step) { monotonic_ += step.count(); }
  void SetWallClock(std::int64_t now) { wallBase_ = now - monotonic_ / 1000; }

 private:
  std::atomic<std::int64_t> wallBase_{1'700'000'000};
  std::atomic<std::int64_t> monotonic_{0};  // milliseconds
};

// Runs posted tasks and due timers when the test says so.
class FakeRunLoop : public RunLoop {
 public:
  explicit FakeRunLoop(FakeClock& clock) : clock_(clock) {}

  void Post(std::function<void()> task) override;
  TimerId After(std::chrono::milliseconds delay, std::function<void()> task) override;
  TimerId Every(std::chrono::milliseconds first, std::chrono::milliseconds interval,
                std::function<void()> task) override;
  void Cancel(TimerId id) override;
  // False when nothing is posted any more and it is not over.
  bool RunModal(const std::function<bool()>& isOver) override;
  // The thread that made the loop is its thread.
  bool IsCurrent() const override;

  // Everything posted, and what that posts.
  void RunPosted();
  // Turns the clock step by step, running posted tasks and timers as they fall due.
  void Advance(std::chrono::milliseconds step);

 private:
  struct Timer {
    TimerId id;
    std::chrono::milliseconds due;
    std::chrono::milliseconds interval;  // 0: once
    std::function<void()> task;
  };
  std::optional<Timer> TakeDue(std::chrono::milliseconds until);

  FakeClock& clock_;
  std::mutex mutex_;
  std::deque<std::function<void()>> posted_;
  std::vector<Timer> timers_;
  TimerId nextId_ = 1;
  std::uintptr_t thread_ = ThreadMark();
  static std::uintptr_t ThreadMark();
};

// Runs work when the test says so, on the thread that says so, or at once.
class FakeBackgroundQueue : public BackgroundQueue {
 public:
  void Async(std::function<void()> work) override;
  bool TryAsync(std::function<void()>& work) override;
  // With `hold`, work waits until RunAll.
  void Hold(bool hold) { hold_ = hold; }
  void RunAll();
  std::size_t Waiting();
  // As when the system makes no thread any more.
  void Refuse(bool refuse) { refuse_ = refuse; }

 private:
  std::atomic<bool> hold_{false};
  std::atomic<bool> refuse_{false};
  std::mutex mutex_;
  std::deque<std::function<void()>> work_;
};

class FakeSystemLog : public SystemLog {
 public:
  struct Line {
    std::string identity;
    int level;
    std::string text;
  };
  void Write(const std::string& identity, int level, const std::string& text) override;
  std::vector<Line> Lines() const;
  // How many lines hold the text.
  int Count(const std::string& text) const;

 private:
  mutable std::mutex mutex_;
  std::vector<Line> lines_;
};

// An Agent that is there or not, and records what it is sent.
class FakeTransport : public AgentTransport {
 public:
  struct Sent {
    std::string name;
    PropertyList::Dictionary info;
  };

  std::unique_ptr<AgentPort> portForName(const std::string& name,
                                         AgentPortDelegate& delegate) override;

  bool present = false;
  int lookups = 0;
  std::string lookedUpName;
  std::size_t outgoingBytes = 0;  // said to wait for the Agent
  bool deaf = false;              // what is sent is lost, which FailSend tells
  std::vector<Sent> sent;

  bool Connected() const { return port_ != nullptr; }
  bool paused = false;  // what is delivered then comes as if the Agent did not wait
  // To the extension.
  void Deliver(const std::string& name, const PropertyList::Dictionary& info);
  void DeliverEvent(const std::string& eventName, PropertyList::Dictionary info = {});
  void DeliverRaw(const std::string& name, const std::string& archive);
  void Invalidate();
  void FailSend();
  void RaiseOnSend(const std::string& description);
  // The events sent under the name, or with that "command".
  std::vector<PropertyList::Dictionary> Events(const std::string& nameOrCommand) const;
  // The paths of the status lists asked for, in order.
  std::vector<std::string> ListRequests() const;

 private:
  class Port;
  Port* port_ = nullptr;
  AgentPortDelegate* delegate_ = nullptr;
};

class FakeFinderController : public FinderController {
 public:
  struct Badge {
    std::string identifier;
    std::string path;
    std::optional<bool> isDirectory;
  };
  struct Registration {
    std::optional<BadgeImage> image;
    std::string label;
    std::string identifier;
  };
  void setDirectoryURLs(const std::vector<std::string>& paths) override;
  void setBadgeImage(const std::optional<BadgeImage>& image, const std::string& label,
                     const std::string& badgeIdentifier) override;
  void setBadgeIdentifier(const std::string& badgeIdentifier, const std::string& path,
                          std::optional<bool> isDirectory) override;

  // Called once, before a badge is set, as if another thread were quicker.
  std::function<void()> before;
  std::mutex mutex;
  std::vector<std::vector<std::string>> directories;  // every call
  std::vector<Registration> registrations;
  std::vector<Badge> badges;                   // every call
  std::map<std::string, std::string> current;  // path to identifier
};

class FakeSecretStore : public SecretStore {
 public:
  using Key = std::pair<std::string, std::string>;  // service, account

  SecretStatus Read(const std::string& service, const std::string& account,
                    std::string* secret) override;
  SecretStatus Find(const std::string& service, const std::string& account) override;
  SecretStatus Modify(const std::string& service, const std::string& account,
                      const std::string& secret) override;
  SecretStatus Create(const std::string& service, const std::string& account,
                      const std::string& secret, const SecretAccess& access) override;
  SecretStatus Delete(const std::string& service, const std::string& account) override;
  void SetUserInteractionAllowed(bool allowed) override { interactionAllowed = allowed; }

  std::map<Key, std::string> items;
  SecretStatus failure = SecretStatus::kOk;  // anything else is every call's answer
  // The answer when a secret is read or changed while the user may not be asked.
  SecretStatus silentFailure = SecretStatus::kOk;
  bool interactionAllowed = true;
  std::vector<std::string> calls;  // "read SERVICE ACCOUNT" and so on
  SecretAccess lastAccess;
};

class FakeUserDefaults : public UserDefaults {
 public:
  bool GetBool(const std::string& key) const override;
  void SetBool(const std::string& key, bool value) override;
  std::map<std::string, bool> values;
};

// Runs work when the test says so, on the test's thread.
class FakeThreads : public Threads {
 public:
  void detachNewThread(std::function<void()> work) override { work_.push_back(std::move(work)); }
  std::size_t Waiting() const { return work_.size(); }
  void RunAll();

 private:
  std::deque<std::function<void()>> work_;
};

// A web server's answers. Asynchronous requests wait for Answer; synchronous ones take the next of
// `answers`.
class FakeHttpClient : public HttpClient {
 public:
  struct Reply {
    std::string body = {};
    int statusCode = 200;
    std::optional<HttpError> error = {};       // then nothing else counts
    std::optional<std::string> redirect = {};  // where to, before the answer
  };

  std::unique_ptr<HttpTransfer> start(const HttpRequest& request,
                                      HttpTransferDelegate& delegate) override;
  void sendSynchronously(const HttpRequest& request, HttpTransferDelegate& delegate) override;
  // Answers the asynchronous request under way.
  void Answer(const Reply& reply);
  bool IsBusy() const { return delegate_ != nullptr; }

  bool refuses = false;               // no transfer can be made
  std::vector<HttpRequest> requests;  // every one, with what follows redirects
  std::deque<Reply> answers;          // an error when there is none

 private:
  class Transfer;
  void Deliver(const Reply& reply, HttpTransferDelegate& delegate);

  HttpTransferDelegate* delegate_ = nullptr;
};

class FakeDesktop : public Desktop {
 public:
  bool openURL(const std::string& url, const std::string& activationToken) override;
  std::vector<std::string> opened;  // URL, a blank, the token
};

class FakePasteboard : public Pasteboard {
 public:
  void clearContents() override { text.reset(); }
  bool writeObjects(const std::string& written) override;
  std::optional<std::string> text;
  bool fails = false;
};

// Dialogs that the test looks at and closes.
class FakeDialogs : public Dialogs {
 public:
  std::unique_ptr<DialogWindow> open(const DialogContents& contents, Closed closed) override;
  void setActivationToken(const std::string& token) override { activationToken = token; }
  // The open ones' contents, oldest first.
  std::vector<DialogContents> Open() const;
  // Closes the open dialog of that position.
  void Close(std::size_t index, const DialogAnswer& answer);
  // Ends it without an answer.
  void Lose(std::size_t index);

  std::string activationToken;
  int opened = 0;
  int raised = 0;

 private:
  class Window;
  void Finish(std::size_t index, const std::optional<DialogAnswer>& answer);
  std::vector<Window*> windows_;
};

// All of them together.
struct FakePlatform {
  FakeClock clock;
  FakeRunLoop runLoop{clock};
  FakeBackgroundQueue settingsQueue;
  FakeBackgroundQueue accountsQueue;
  FakeBackgroundQueue messageQueue;
  FakeTransport transport;
  FakeFinderController finder;
  FakeSecretStore secrets;
  FakeUserDefaults defaults;
  FakeSystemLog systemLog;
  FakeThreads threads;
  FakeHttpClient http;
  FakeDesktop desktop;
  FakeDialogs dialogs;
  Platform platform = With(settingsQueue, finder);

  Platform With(BackgroundQueue& settings, FinderController& finderController) {
    return {clock,   runLoop,  settings,  accountsQueue, messageQueue, transport, finderController,
            secrets, defaults, systemLog, threads,       http,         desktop,   dialogs};
  }
};

}  // namespace kelvo::test
