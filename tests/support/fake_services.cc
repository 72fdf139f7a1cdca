// Fakes of what lies beyond the extension: web server, desktop, windows.
#include <algorithm>

#include "tests/support/fake_platform.h"

namespace kelvo::test {

bool FakeRunLoop::RunModal(const std::function<bool()>& isOver) {
  while (!isOver()) {
    std::function<void()> task;
    {
      std::lock_guard lock(mutex_);
      if (posted_.empty()) return false;
      task = std::move(posted_.front());
      posted_.pop_front();
    }
    task();
  }
  return true;
}

void FakeThreads::RunAll() {
  while (!work_.empty()) {
    const std::function<void()> work = std::move(work_.front());
    work_.pop_front();
    work();
  }
}

class FakeHttpClient::Transfer : public HttpTransfer {
 public:
  explicit Transfer(FakeHttpClient& client) : client_(client) {}
  ~Transfer() override { client_.delegate_ = nullptr; }

 private:
  FakeHttpClient& client_;
};

std::unique_ptr<HttpTransfer> FakeHttpClient::start(const HttpRequest& request,
                                                    HttpTransferDelegate& delegate) {
  requests.push_back(request);
  if (refuses) return nullptr;
  delegate_ = &delegate;
  return std::make_unique<Transfer>(*this);
}

void FakeHttpClient::sendSynchronously(const HttpRequest& request, HttpTransferDelegate& delegate) {
  requests.push_back(request);
  Reply reply{.error = HttpError{"no answer is left", request.url}};
  if (!answers.empty()) {
    reply = std::move(answers.front());
    answers.pop_front();
  }
  Deliver(reply, delegate);
}

void FakeHttpClient::Answer(const Reply& reply) {
  ASSERT_NE(delegate_, nullptr);
  Deliver(reply, *delegate_);
}

void FakeHttpClient::Deliver(const Reply& reply, HttpTransferDelegate& delegate) {
  if (reply.redirect) {
    HttpRequest next{.url = *reply.redirect};
    delegate.willSendRequest(next);
    requests.push_back(next);
  }
  if (reply.error) return delegate.didFailWithError(*reply.error);
  delegate.didReceiveResponse(reply.statusCode);
  const std::size_t half = reply.body.size() / 2;
  delegate.didReceiveData(std::string_view(reply.body).substr(0, half));
  delegate.didReceiveData(std::string_view(reply.body).substr(half));
  delegate.didFinishLoading();
}

bool FakeDesktop::openURL(const std::string& url, const std::string& activationToken) {
  opened.push_back(url + " " + activationToken);
  return true;
}

bool FakePasteboard::writeObjects(const std::string& written) {
  if (fails) return false;
  text = written;
  return true;
}

class FakeDialogs::Window : public DialogWindow {
 public:
  Window(FakeDialogs& dialogs, DialogContents shown, Closed whenClosed)
      : contents(std::move(shown)), closed(std::move(whenClosed)), dialogs_(dialogs) {
    dialogs_.windows_.push_back(this);
  }
  ~Window() override { std::erase(dialogs_.windows_, this); }
  void update(const DialogContents& changed) override { contents = changed; }
  void makeKeyAndOrderFront() override { ++dialogs_.raised; }

  DialogContents contents;
  Closed closed;

 private:
  FakeDialogs& dialogs_;
};

std::unique_ptr<DialogWindow> FakeDialogs::open(const DialogContents& contents, Closed closed) {
  ++opened;
  return std::make_unique<Window>(*this, contents, std::move(closed));
}

std::vector<DialogContents> FakeDialogs::Open() const {
  std::vector<DialogContents> shown;
  for (const Window* window : windows_) shown.push_back(window->contents);
  return shown;
}

void FakeDialogs::Close(std::size_t index, const DialogAnswer& answer) { Finish(index, answer); }

void FakeDialogs::Lose(std::size_t index) { Finish(index, std::nullopt); }

void FakeDialogs::Finish(std::size_t index, const std::optional<DialogAnswer>& answer) {
  ASSERT_LT(index, windows_.size());
  const Closed closed = std::move(windows_[index]->closed);
  closed(answer);
}

}  // namespace kelvo::test
