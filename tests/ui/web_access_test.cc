#include "ui/web_access.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <thread>

#include "base/logger.h"
#include "core/finder_configuration.h"
#include "settings/account_list.h"
#include "tests/support/fixture.h"

namespace kelvo::test {
namespace {

constexpr char kApi[] =
    "https://web.example:8443/KelvoWebApi?clientId=7QK31MZ0R9C4TW8N2B6YH05FXJ3V";
constexpr char kPassHash[] = "3553b226127e0cccd2bec8c74a70f7d1603f41f9";  // sha1("kt")
constexpr char kNothing[] = "(nothing)";

std::string Xml(const std::string& nodes) {
  return "<?xml version=\"1.0\"?>\n<kelvoApiResponse><commandResponse>" + nodes +
         "</commandResponse></kelvoApiResponse>";
}

class WebAccessTest : public Fixture, public WebAccessDelegate {
 protected:
  WebAccessTest() {
    WritePropertyList("server_info.plist", "web_server", "web.example:8443");
    fake_.secrets.items[{"Label", "me"}] = "k";
    configuration_.Load();
    SetLogLevel(kLogDebug);
  }

  void WritePropertyList(const std::string& name, const std::string& key,
                         const std::string& value) {
    WriteFile(Home("Library/Preferences/com.kelvo.vip/" + name),
              "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>" + key + "</key><string>" +
                  value + "</string></dict></plist>");
  }
  void webAccessUrlGenerated(const std::optional<std::string>& url,
                             const std::string& /*activationToken*/) override {
    urls_.push_back(url.value_or(kNothing));
    onUrl_();
  }
  // A handshake with these answers.
  void Run(bool synchronous, const std::vector<FakeHttpClient::Reply>& answers) {
    fake_.http.requests.clear();
    fake_.http.answers.assign(answers.begin(), answers.end());
    urls_.clear();
    access_->setSynchronous(synchronous);
    access_->generateUrlForCommand("desktopExploreFile", "f\"1 %", "ab c/1", "token");
    if (synchronous) return;
    for (const auto& answer : answers) {
      EXPECT_TRUE(urls_.empty());
      fake_.http.Answer(answer);
    }
    EXPECT_FALSE(fake_.http.IsBusy());
  }
  std::vector<std::string> RequestedUrls() const {
    std::vector<std::string> urls;
    for (const HttpRequest& request : fake_.http.requests) {
      urls.push_back(request.url);
      EXPECT_EQ(std::chrono::seconds(30), request.timeout) << request.url;
      EXPECT_TRUE(request.ignoresLocalCache) << request.url;
      EXPECT_TRUE(request.allowsAnyHTTPSCertificate) << request.url;
    }
    return urls;
  }
  // The text of the alert shown since the last call.
  std::string Alert() {
    fake_.runLoop.RunPosted();
    const std::vector<DialogContents> open = fake_.dialogs.Open();
    if (open.empty()) return {};
    fake_.dialogs.Close(0, {.ok = true});
    return open[0].informationText + "|" + open[0].additionalInformation + "|" + open[0].okButton;
  }

  CFinderConfiguration configuration_{PropertyList::Dictionary{
      {"config_label", PropertyList("Label")}, {"rcid", PropertyList("me")}}};
  std::vector<std::string> urls_;
  std::function<void()> onUrl_ = [] {};
  std::unique_ptr<WebAccess> access_ = std::make_unique<WebAccess>(
      WebSources{fake_.http, fake_.dialogs, fake_.runLoop, configuration_}, *this);
};

TEST_F(WebAccessTest, BuysATicketWithAHashOfKeyAndToken) {
  const std::string token = Xml("<onetimetoken>old</onetimetoken><onetimetoken>t</onetimetoken>");
  const std::string ticket = Xml("<ticket>old</ticket><a/><ticket>T &amp;\xc3\xa4</ticket>");
  for (const bool synchronous : {false, true}) {
    Run(synchronous, {{.body = token, .redirect = "https://other.example/"}, {.body = ticket}});
    EXPECT_EQ(RequestedUrls(),
              (std::vector<std::string>{
                  std::string(kApi) + "&command=createOnetimeToken&rcId=ab%20c%2F1",
                  "https://other.example/",
                  std::string(kApi) + "&command=generateLoginTicketFromSecret&passhash=" +
                      kPassHash + "&rcId=ab%20c%2F1"}));
    EXPECT_EQ(urls_, std::vector<std::string>{
                         "https://web.example:8443/directnavigation?view=desktopExploreFile&ticket="
                         "T &\xc3\xa4&rcid=ab c/1&fileID=f\"1 %"});
    EXPECT_EQ(Alert(), "");
  }
  EXPECT_EQ(LogCount("] response: <?xml version=\"1.0\"?>\\n<kelvo"), 2);
  EXPECT_EQ(LogCount("] ticket response: <?xml"), 2);
  EXPECT_EQ(LogCount("] login ticket: T &"), 2);
}

TEST_F(WebAccessTest, EveryFailureEndsWithOneCallAndLeavesTheNextFree) {
  SetLogLevel(kLogError);
  const FakeHttpClient::Reply token = {.body = Xml("<onetimetoken>t</onetimetoken>")};
  const FakeHttpClient::Reply wrong = {.body = Xml("<other/>")};
  const FakeHttpClient::Reply failed = {.error = HttpError{"no route\nforged", "https://u"}};
  const struct {
    std::vector<FakeHttpClient::Reply> answers;
    std::string log;
    std::string alert = {};
  } kRows[] = {
      {{{}}, "Error in WebAccess: No XML in receiveOneTimePassword"},
      {{{.body = "<html><p>broken", .statusCode = 500}},
       "Error in WebAccess: No XML in receiveOneTimePassword"},
      {{wrong}, "Error in WebAccess: Wrong XML in receiveOneTimePassword: <?xml version=\"1.0\"?>"},
      {{{.body = "<a><kelvoApiResponse><commandResponse><onetimetoken>t</onetimetoken>"
                 "</commandResponse></kelvoApiResponse></a>"}},
       "Wrong XML in receiveOneTimePassword: <a>"},
      {{token, {.body = "no"}}, "Error in WebAccess: No XML in receiveLoginTicket"},
      {{token, wrong}, "Error in WebAccess: Wrong XML in receiveLoginTicket: <?xml"},
      {{failed},
       "Connection failed! Error - no route\\nforged https://u",
       "Network error|Connection failed! Error - no route\nforged|OK"},
      {{token, failed},
       "Connection failed! Error - no route\\nforged https://u",
       "Network error|Connection failed! Error - no route\nforged|OK"},
  };
  for (const bool synchronous : {false, true}) {
    for (const auto& row : kRows) {
      SCOPED_TRACE(row.log + (synchronous ? " synchronously" : ""));
      const int logged = LogCount(row.log);
      Run(synchronous, row.answers);
      EXPECT_EQ(urls_, std::vector<std::string>{kNothing});
      EXPECT_EQ(RequestedUrls().size(), row.answers.size());
      EXPECT_EQ(LogCount(row.log), logged + 1);
      EXPECT_EQ(Alert(), row.alert);
    }
  }
  fake_.http.refuses = true;
  Run(false, {});
  EXPECT_EQ(urls_, std::vector<std::string>{kNothing});
  EXPECT_EQ(Alert(), "Network error|Connection failed! Error - Connection Failed|OK");
}

TEST_F(WebAccessTest, OneHandshakeAtATimeInTheProcess) {
  const FakeHttpClient::Reply wrong = {.body = "no"};
  WebAccess other(WebSources{fake_.http, fake_.dialogs, fake_.runLoop, configuration_}, *this);
  access_->generateUrlForCommand("fileAddComment", "1", "r", "");
  access_->generateUrlForCommand("fileAddComment", "1", "r", "");
  std::thread([&other] {
    other.setSynchronous(true);
    other.generateUrlForCommand("fileAddComment", "2", "r", "");
    other.setSynchronous(false);
  }).join();
  EXPECT_EQ(fake_.http.requests.size(), 1u);
  EXPECT_TRUE(urls_.empty());
  // The delegate may begin the next one, and may destroy the one that calls it.
  onUrl_ = [&] {
    if (urls_.size() == 1) other.generateUrlForCommand("fileAddComment", "2", "r", "");
    access_.reset();
  };
  fake_.http.Answer(wrong);
  EXPECT_EQ(fake_.http.requests.size(), 2u);
  fake_.http.Answer(wrong);
  EXPECT_EQ(urls_.size(), 2u);
  // One that is destroyed holds up nobody.
  access_ = std::make_unique<WebAccess>(
      WebSources{fake_.http, fake_.dialogs, fake_.runLoop, configuration_}, *this);
  access_->generateUrlForCommand("fileAddComment", "1", "r", "");
  access_.reset();
  EXPECT_FALSE(fake_.http.IsBusy());
  other.generateUrlForCommand("fileAddComment", "2", "r", "");
  EXPECT_TRUE(fake_.http.IsBusy());
  EXPECT_EQ(urls_.size(), 2u);
}

TEST_F(WebAccessTest, OpenedAddressesCarryAClientId) {
  EXPECT_EQ(EncodeHttpParameter("azAZ09-_. /\xc3\xa4%"), "azAZ09%2D%5F%2E%20%2F%C3%A4%25");
  WritePropertyList("user_info.plist", "rcid", "a-1");
  const struct {
    std::string url;
    std::string opened;  // empty: it is not
  } kRows[] = {
      {"https://a/b", "https://a/b?sourcercid=a%2D1"},
      {"https://a/?b=c", "https://a/?b=c&sourcercid=a%2D1"},
      {"https://a/?RcID=\" %20", "https://a/?RcID=\" %20"},
      {"https://a/?rcid=1\nb", ""},
      {"https://a/?rcid=\xc2\x85", ""},
      {"https://a/?rcid=\xff", ""},
  };
  for (const auto& row : kRows) {
    fake_.desktop.opened.clear();
    HTTPConnection::openUrl(fake_.desktop, row.url, "token");
    const std::vector<std::string> expected(row.opened.empty() ? 0 : 1, row.opened + " token");
    EXPECT_EQ(fake_.desktop.opened, expected) << row.url;
  }
  EXPECT_EQ(LogCount("is not opened: https://a/"), 3);
  // An account whose name sorts before the first is the default one.
  WritePropertyList("account_0/user_info.plist", "rcid", "zero");
  EXPECT_EQ(AccountList::defaultClientId(), "zero");
}

}  // namespace
}  // namespace kelvo::test
