// Against a real server on this machine: tests/integration/web_server.py.
#include "platform/linux/soup_http_client.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <functional>
#include <string>
#include <thread>

#include "tests/support/main_context.h"

namespace kelvo::test {
namespace {

using std::chrono::seconds;

// Writes down what it is told.
class Listener : public HttpTransferDelegate {
 public:
  void willSendRequest(HttpRequest& request) override {
    ++redirects;
    lastUrl = request.url;
    EXPECT_EQ(HttpRequest().timeout, request.timeout);
    EXPECT_FALSE(request.allowsAnyHTTPSCertificate);
    request.timeout = timeout;
    request.allowsAnyHTTPSCertificate = true;
    Told("redirect");
  }
  void didReceiveResponse(int statusCode) override {
    outcome += std::to_string(statusCode) + " ";
    Told("response");
  }
  void didReceiveData(std::string_view data) override {
    if (size < 200) outcome += data.substr(0, 200);
    size += data.size();
    Told("data");
  }
  void didFailWithError(const HttpError& error) override {
    outcome += "failed: " + error.description;
    failingUrl = error.failingUrl;
    End();
  }
  void didFinishLoading() override { End(); }

  seconds timeout{30};
  std::function<void(const std::string& event)> onEvent = [](const std::string&) {};
  std::string outcome;
  std::string failingUrl;
  std::string lastUrl;
  std::size_t size = 0;
  int redirects = 0;
  bool hasEnded = false;

 private:
  void Told(const std::string& event) {
    EXPECT_FALSE(hasEnded) << event;
    onEvent(event);
  }
  void End() {
    Told("end");
    hasEnded = true;
  }
};

class SoupHttpClientTest : public ::testing::Test {
 protected:
  SoupHttpClientTest() {
    const char* const server = std::getenv("KELVO_WEB_SERVER");
    server_ = std::string("https://") + (server == nullptr ? "" : server);
    EXPECT_NE(nullptr, server) << "to be run by web_server.py";
  }

  Listener Get(bool synchronous, HttpRequest request) {
    Listener listener;
    listener.timeout = request.timeout;
    if (synchronous) {
      client_.sendSynchronously(request, listener);
      EXPECT_TRUE(listener.hasEnded);
      return listener;
    }
    const auto transfer = client_.start(request, listener);
    if (transfer == nullptr) {
      listener.outcome = "failed: This is not an address on the web.";
      return listener;
    }
    EXPECT_EQ("", listener.outcome) << "told from inside";
    EXPECT_TRUE(TurnUntil([&] { return listener.hasEnded; }, 60));
    return listener;
  }
  HttpRequest Request(const std::string& path, seconds timeout = seconds(30)) const {
    return {.url = server_ + path, .timeout = timeout, .allowsAnyHTTPSCertificate = true};
  }

  SoupHttpClient client_{g_main_context_default()};
  std::string server_;
};

TEST_F(SoupHttpClientTest, AnswersAndFailures) {
  const struct {
    std::string path;
    std::string outcome;
    int redirects = 0;
    int timeout = 30;
  } kRows[] = {
      {"/echo?a=b%20c%2F%2D%2d'\"&&==%zz%", "200 /echo?a=b%20c%2F%2D%2d'\"&&==%zz%"},
      {"/echo?a b\r\nc\xc3\xa4#fragment", "200 /echo?a%20b%0D%0Ac%C3%A4"},
      {"/broken", "500 broken"},
      {"/hops?20", "200 arrived", 20},
      {"/hops?21", "failed: Too many redirects.", 20},
      // Longer than the limit, but no single request is.
      {"/hops?4,0.6", "200 arrived", 4, 2},
      {"/to?" + server_ + "/echo?%2D", "200 /echo?%2D", 1},
      {"/to?file:///etc/passwd",
       "failed: The server redirects to an address that is not on the web."},
      {"/silent", "failed: The request timed out.", 0, 1},
      {"/to?silent", "failed: The request timed out.", 1, 1},
      {"/slow", "200 partfailed: The request timed out.", 0, 2},
  };
  const auto check = [&](bool synchronous) {
    for (const auto& row : kRows) {
      SCOPED_TRACE(row.path + (synchronous ? " synchronously" : ""));
      const Listener listener = Get(synchronous, Request(row.path, seconds(row.timeout)));
      EXPECT_EQ(row.outcome, listener.outcome);
      EXPECT_EQ(row.redirects, listener.redirects);
      if (row.outcome.find("failed") == std::string::npos) continue;
      const std::string last = row.redirects == 0 ? server_ + row.path : listener.lastUrl;
      EXPECT_EQ(last, listener.failingUrl);
      if (row.outcome.find("timed out") == std::string::npos) continue;
      // The server has seen it, too.
      EXPECT_EQ("200 left",
                Get(synchronous, Request("/left?" + last.substr(server_.size()))).outcome);
    }
    EXPECT_EQ(std::size_t{16} << 20, Get(synchronous, Request("/large?16")).size);
    const std::string tooLong = Get(synchronous, Request("/large?17")).outcome;
    EXPECT_NE(std::string::npos, tooLong.find("failed: The answer is too long."));
  };
  std::thread other([&] { check(true); });
  check(false);
  other.join();
}

TEST_F(SoupHttpClientTest, FailuresToConnect) {
  for (const bool synchronous : {false, true}) {
    HttpRequest request = Request("/echo");
    request.allowsAnyHTTPSCertificate = false;
    // By another name than in other tests: TLS remembers whom it has trusted.
    request.url.replace(0, request.url.rfind(':'), "https://127.0.0.1");
    EXPECT_EQ("failed: Unacceptable TLS certificate", Get(synchronous, request).outcome);
    request.url = "https://localhost:1/";
    EXPECT_EQ("failed: Could not connect to localhost: Connection refused",
              Get(synchronous, request).outcome);
    for (const char* const url :
         {"", "ftp://localhost/", "https://", "https:///a", "//localhost", "https://a b/",
          "https://a%0D%0Ab/", "https://localhost:99999/"}) {
      request.url = url;
      EXPECT_EQ("failed: This is not an address on the web.", Get(synchronous, request).outcome)
          << url;
    }
  }
}

TEST_F(SoupHttpClientTest, TransferMayBeDestroyedAtAnyMoment) {
  for (const std::string when : {"start", "redirect", "response", "data", "end"}) {
    SCOPED_TRACE(when);
    Listener listener;
    std::unique_ptr<HttpTransfer> transfer;
    bool isDestroyed = false;
    listener.onEvent = [&](const std::string& event) {
      EXPECT_FALSE(isDestroyed) << event;
      if (event != when) return;
      transfer.reset();
      isDestroyed = true;
    };
    transfer = client_.start(Request("/to?/echo"), listener);
    ASSERT_NE(nullptr, transfer);
    if (when == "start") listener.onEvent("start");
    EXPECT_TRUE(TurnUntil([&] { return isDestroyed; }));
    // Whatever is left of it is heard of in these.
    EXPECT_EQ("200 /echo", Get(false, Request("/echo")).outcome);
    EXPECT_EQ(std::size_t{16} << 20, Get(false, Request("/large?16")).size);
  }
}

}  // namespace
}  // namespace kelvo::test
