// Against a real server on this machine: tests/integration/web_server.py.
#include "platform/macos/mac_http_client.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <string>
#include <thread>

#include "tests/macos/stand_ins/challenge.h"
#include "tests/macos/stand_ins/finder.h"

namespace kelvo::test {
namespace {

using std::chrono::seconds;

class Listener : public HttpTransferDelegate {
 public:
  void willSendRequest(HttpRequest& request) override {
    outcome += "redirect ";
    request.timeout = seconds(2);
    onEvent("redirect");
  }
  void didReceiveResponse(int statusCode) override {
    outcome += std::to_string(statusCode) + " ";
    onEvent("response");
  }
  void didReceiveData(std::string_view data) override {
    outcome += data;
    onEvent("data");
  }
  void didFailWithError(const HttpError& error) override { End(" failed: " + error.description); }
  void didFinishLoading() override { End(""); }

  std::function<void(const std::string& event)> onEvent = [](const std::string&) {};
  std::string outcome;
  bool hasEnded = false;

 private:
  void End(const std::string& how) {
    EXPECT_FALSE(hasEnded);
    outcome += how;
    onEvent("end");
    hasEnded = true;
  }
};

class MacHttpClientTest : public ::testing::Test {
 protected:
  std::string Get(bool synchronous, const std::string& path) {
    Listener listener;
    if (synchronous) {
      client_.sendSynchronously(Request(path), listener);
      EXPECT_TRUE(listener.hasEnded) << path;
    } else {
      const auto transfer = client_.start(Request(path), listener);
      EXPECT_TRUE(transfer != nullptr && listener.outcome.empty()) << path;
      EXPECT_TRUE(Finder::TurnUntil([&] { return listener.hasEnded; })) << path;
    }
    return listener.outcome;
  }
  HttpRequest Request(const std::string& path) const {
    return {.url = server_ + path, .timeout = seconds(2), .allowsAnyHTTPSCertificate = true};
  }

  MacHttpClient client_;
  const std::string server_ = std::string("https://") + std::getenv("KELVO_WEB_SERVER");
};

TEST_F(MacHttpClientTest, AnswersAndFailures) {
  const struct {
    std::string path;
    std::string outcome;
  } kRows[] = {
      {"/echo?a=b%20c%2F%2D", "200 /echo?a=b%20c%2F%2D"},
      {"/broken", "500 broken"},
      // Together longer than the limit, but no single request is.
      {"/hops?4,0.6", "redirect redirect redirect redirect 200 arrived"},
      {"/to?" + server_ + "/echo?%2D", "redirect 200 /echo?%2D"},
      {"/to?file:///etc/passwd",
       " failed: The server redirects to an address that is not on the web."},
      {"/silent", " failed: The request timed out."},
      {"/slow", "200 part failed: The request timed out."},
  };
  const auto check = [&](bool synchronous) {
    for (const auto& row : kRows) {
      EXPECT_EQ(row.outcome, Get(synchronous, row.path)) << row.path << " " << synchronous;
    }
  };
  std::thread other([&] { check(true); });
  check(false);
  other.join();
}

TEST_F(MacHttpClientTest, TakesAnyCertificateOfAServerWhereTheRequestSaysSo) {
  EXPECT_EQ("trusts", AnswerToChallenge(true, ServerTrustMethod()));
  EXPECT_EQ("asks the system", AnswerToChallenge(false, ServerTrustMethod()));
  EXPECT_EQ("asks the system", AnswerToChallenge(true, "NSURLAuthenticationMethodHTTPBasic"));
}

TEST_F(MacHttpClientTest, TransferMayBeDestroyedAtAnyMoment) {
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
    EXPECT_TRUE(Finder::TurnUntil([&] { return isDestroyed; }));
    // Whatever is left of it is heard of in this.
    EXPECT_EQ("200 /echo", Get(false, "/echo"));
  }
}

}  // namespace
}  // namespace kelvo::test
