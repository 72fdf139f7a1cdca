#include "platform/macos/http_load.h"

#include <algorithm>

#include "base/guarded_call.h"
#include "base/string_utils.h"

namespace kelvo {
namespace {

constexpr int kMaxRedirects = 20;
constexpr std::size_t kMaxBytes = std::size_t{16} << 20;
constexpr char kWhere[] = "transfer from the web";

// What has http or https and a host, and nothing that ends a line.
bool IsOnTheWeb(const std::string& url) {
  const std::size_t colon = url.find("://");
  if (colon == std::string::npos) return false;
  std::string scheme = url.substr(0, colon);
  for (char& c : scheme) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  if (scheme != "http" && scheme != "https") return false;
  const std::string_view rest = std::string_view(url).substr(colon + 3);
  return !rest.substr(0, rest.find_first_of("/?#")).empty() &&
         std::none_of(rest.begin(), rest.end(),
                      [](char c) { return static_cast<unsigned char>(c) <= ' ' || c == '\x7f'; });
}

}  // namespace

HttpLoad::HttpLoad(HttpLoader& loader, HttpTransferDelegate& delegate)
    : loader_(loader), delegate_(delegate) {}

bool HttpLoad::Begin(const HttpRequest& request) noexcept {
  bool begun = false;
  CallGuarded(kWhere, [&] { begun = Load(request); });
  return begun;
}

bool HttpLoad::Load(const HttpRequest& request) {
  url_ = request.url;
  return IsOnTheWeb(url_) && loader_.Load(request);
}

void HttpLoad::Redirected(const std::string& url) noexcept {
  CallGuarded(kWhere, [this, url] {
    if (++redirects_ > kMaxRedirects) return Fail("Too many redirects.");
    if (!IsOnTheWeb(url)) {
      return Fail("The server redirects to an address that is not on the web.");
    }
    loader_.Stop();
    HttpRequest next{.url = url};
    const std::weak_ptr<char> life = life_;
    delegate_.willSendRequest(next);
    if (life.expired()) return;
    if (!Load(next)) Fail("This is not an address on the web.");
  });
}

void HttpLoad::Responded(int statusCode) noexcept {
  CallGuarded(kWhere, [&] { delegate_.didReceiveResponse(statusCode); });
}

void HttpLoad::Received(std::string_view data) noexcept {
  CallGuarded(kWhere, [&] {
    received_ += data.size();
    if (received_ > kMaxBytes) return Fail("The answer is too long.");
    delegate_.didReceiveData(data);
  });
}

void HttpLoad::TimedOut() noexcept {
  CallGuarded(kWhere, [&] { Fail("The request timed out."); });
}

void HttpLoad::Failed(const std::string& description) noexcept {
  CallGuarded(kWhere, [&] { Fail(description.c_str()); });
}

void HttpLoad::Finished() noexcept {
  CallGuarded(kWhere, [&] {
    End();
    delegate_.didFinishLoading();
  });
}

// What is called may destroy this object, and with it whatever called this.
void HttpLoad::Fail(const char* description) {
  const HttpError error{ToValidUtf8(description), url_};
  End();
  delegate_.didFailWithError(error);
}

void HttpLoad::End() {
  loader_.Stop();
  hasEnded_ = true;
}

}  // namespace kelvo
