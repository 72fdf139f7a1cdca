#include "platform/macos/http_load.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>

namespace kelvo::test {
namespace {

constexpr char kUrl[] = "https://server/a";

// The platform's loader: writes down what it is to load.
class Loader : public HttpLoader {
 public:
  bool Load(const HttpRequest& request) override {
    loaded += request.url + (request.allowsAnyHTTPSCertificate ? "!" : "") + " ";
    isUnderWay = accepts;
    return accepts;
  }
  void Stop() override { isUnderWay = false; }

  bool accepts = true;
  bool isUnderWay = false;
  std::string loaded;
};

class Listener : public HttpTransferDelegate {
 public:
  void willSendRequest(HttpRequest& request) override {
    told += "redirect ";
    request.allowsAnyHTTPSCertificate = true;
    onRedirect();
  }
  void didReceiveResponse(int statusCode) override { told += std::to_string(statusCode) + " "; }
  void didReceiveData(std::string_view data) override { size += data.size(); }
  void didFailWithError(const HttpError& error) override {
    told += error.description + " " + error.failingUrl;
  }
  void didFinishLoading() override { told += "end"; }

  std::function<void()> onRedirect = [] {};
  std::string told;
  std::size_t size = 0;
};

class HttpLoadTest : public ::testing::Test {
 protected:
  void Begin() { ASSERT_TRUE(load_->Begin({.url = kUrl})); }

  Loader loader_;
  Listener listener_;
  std::unique_ptr<HttpLoad> load_ = std::make_unique<HttpLoad>(loader_, listener_);
};

TEST_F(HttpLoadTest, OnlyAddressesOfTheWebAreLoaded) {
  const struct {
    const char* url;
    bool isLoaded;
  } kRows[] = {
      {"https://a", true},         {"HTTP://a:80/b?c#d", true},
      {"https://a/%20", true},     {"", false},
      {"https://", false},         {"https:///a", false},
      {"ftp://a/", false},         {"file:///etc/passwd", false},
      {"javascript:a://b", false}, {"https://a/ b", false},
      {"https://a/\r\nb", false},  {"https://a?\x7f", false},
  };
  for (const auto& row : kRows) {
    EXPECT_EQ(row.isLoaded, HttpLoad(loader_, listener_).Begin({.url = row.url})) << row.url;
    Begin();
    listener_.told.clear();
    load_->Redirected(row.url);
    const std::string refused = "The server redirects to an address that is not on the web. ";
    EXPECT_EQ(row.isLoaded ? "redirect " : refused + kUrl, listener_.told) << row.url;
    EXPECT_EQ(row.isLoaded, loader_.isUnderWay) << row.url;
    load_ = std::make_unique<HttpLoad>(loader_, listener_);
  }
}

TEST_F(HttpLoadTest, ARedirectIsARequestOfItsOwn) {
  Begin();
  load_->Redirected("https://other/b");
  EXPECT_EQ("https://server/a https://other/b! ", loader_.loaded);
  load_->Responded(200);
  load_->Received("text");
  load_->Finished();
  EXPECT_EQ("redirect 200 end", listener_.told);
  EXPECT_EQ(4u, listener_.size);
  EXPECT_TRUE(load_->HasEnded());
  EXPECT_FALSE(loader_.isUnderWay);
}

TEST_F(HttpLoadTest, RedirectsAndSizesAreBounded) {
  Begin();
  for (int i = 0; i < 20; ++i) load_->Redirected(kUrl);
  EXPECT_FALSE(load_->HasEnded());
  load_->Redirected("https://last/");
  EXPECT_TRUE(listener_.told.ends_with(std::string("redirect Too many redirects. ") + kUrl));
  EXPECT_FALSE(loader_.isUnderWay);

  listener_.told.clear();
  load_ = std::make_unique<HttpLoad>(loader_, listener_);
  Begin();
  const std::string megabyte(std::size_t{1} << 20, 'x');
  for (int i = 0; i < 16; ++i) load_->Received(megabyte);
  EXPECT_EQ("", listener_.told);
  load_->Received("x");
  EXPECT_EQ(std::string("The answer is too long. ") + kUrl, listener_.told);
  EXPECT_EQ(16 * megabyte.size(), listener_.size);
  EXPECT_TRUE(load_->HasEnded());
}

TEST_F(HttpLoadTest, WhatTheLoaderRefusesOrLosesIsAFailure) {
  Begin();
  loader_.accepts = false;
  load_->Redirected("https://other/");
  EXPECT_EQ("redirect This is not an address on the web. https://other/", listener_.told);
  for (const bool isTimeout : {false, true}) {
    listener_.told.clear();
    loader_.accepts = true;
    load_ = std::make_unique<HttpLoad>(loader_, listener_);
    Begin();
    isTimeout ? load_->TimedOut() : load_->Failed("no \xff way");
    EXPECT_EQ((isTimeout ? "The request timed out. " : "no \xef\xbf\xbd way ") + std::string(kUrl),
              listener_.told);
    EXPECT_FALSE(loader_.isUnderWay);
  }
}

TEST_F(HttpLoadTest, MayBeDestroyedInsideARedirect) {
  Begin();
  listener_.onRedirect = [this] { load_.reset(); };
  load_->Redirected("https://other/");
  EXPECT_EQ("https://server/a ", loader_.loaded);
  EXPECT_EQ("redirect ", listener_.told);
}

}  // namespace
}  // namespace kelvo::test
