#include <libxml/tree.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/string_utils.h"
#include "core/finder_configuration.h"
#include "fuzz/hand_turned_loop.h"
#include "fuzz/input.h"
#include "platform/desktop.h"
#include "platform/dialogs.h"
#include "settings/xml_document.h"
#include "ui/web_access.h"

namespace {

using kelvo::fuzz::HandTurnedLoop;
using kelvo::fuzz::Input;
using kelvo::fuzz::Require;

// Answers each request with the input's next part, in pieces.
class Server : public kelvo::HttpClient {
 public:
  explicit Server(Input input) : input_(input) {}

  std::unique_ptr<kelvo::HttpTransfer> start(const kelvo::HttpRequest&,
                                             kelvo::HttpTransferDelegate&) override {
    return nullptr;
  }
  void sendSynchronously(const kelvo::HttpRequest& request,
                         kelvo::HttpTransferDelegate& delegate) override {
    urls.push_back(request.url);
    answers.emplace_back(input_.UpTo("\n----\n"));
    const std::string& answer = answers.back();
    delegate.didReceiveResponse(200);
    for (std::size_t at = 0; at < answer.size(); at += kPiece) {
      delegate.didReceiveData(std::string_view(answer).substr(at, kPiece));
    }
    delegate.didFinishLoading();
  }

  std::vector<std::string> urls;
  std::vector<std::string> answers;

 private:
  static constexpr std::size_t kPiece = 1000;
  Input input_;
};

class NoDialogs : public kelvo::Dialogs {
 public:
  std::unique_ptr<kelvo::DialogWindow> open(const kelvo::DialogContents&, Closed) override {
    return nullptr;
  }
  void setActivationToken(const std::string&) override {}
};

class Browser : public kelvo::Desktop {
 public:
  bool openURL(const std::string& url, const std::string&) override {
    opened = url;
    return true;
  }
  std::optional<std::string> opened;
};

struct Delegate : kelvo::WebAccessDelegate {
  void webAccessUrlGenerated(const std::optional<std::string>& generated,
                             const std::string&) override {
    ++calls;
    url = generated;
  }
  int calls = 0;
  std::optional<std::string> url;
};

std::vector<const xmlNode*> ChildrenOf(const std::vector<const xmlNode*>& nodes, const char* name) {
  std::vector<const xmlNode*> children;
  for (const xmlNode* node : nodes) {
    for (const xmlNode* child = node->children; child != nullptr; child = child->next) {
      const bool isNamed = child->type == XML_ELEMENT_NODE && child->ns == nullptr &&
                           xmlStrEqual(child->name, BAD_CAST name) != 0;
      if (isNamed) children.push_back(child);
    }
  }
  return children;
}

// The last element of that name in the answer, looked for level by level.
std::optional<std::string> TextIn(const std::string& answer, const char* name) {
  const kelvo::XmlDocument document = kelvo::ParseXmlDocument(answer, nullptr);
  if (document == nullptr) return std::nullopt;
  const auto* top = reinterpret_cast<const xmlNode*>(document.get());
  const auto found =
      ChildrenOf(ChildrenOf(ChildrenOf({top}, "kelvoApiResponse"), "commandResponse"), name);
  if (found.empty()) return std::nullopt;
  return kelvo::NodeText(found.back());
}

// What is opened is the address, and only if it is one.
void OpenInBrowser(const std::string& url) {
  Browser browser;
  kelvo::HTTPConnection::openUrl(browser, url, "");
  const bool isText = kelvo::IsValidUtf8(url) && kelvo::EscapeControlCharacters(url) == url;
  Require(browser.opened == (isText ? std::optional(url) : std::nullopt));
}

}  // namespace

// The answers to the two requests of a handshake: it ends with one call of its delegate, with an
// address when each has an element of the right name, and always leaves the way free for the next.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > kelvo::fuzz::kMaxInput) return 0;
  // No home, hence no settings: the product's own server.
  static const int homeless = ::setenv("HOME", "/dev/null", 1);
  Require(homeless == 0);
  static const auto* const configuration = new kelvo::CFinderConfiguration;
  HandTurnedLoop loop;
  NoDialogs dialogs;
  Server server(Input(data, size));
  Delegate delegate;
  kelvo::WebAccess access({server, dialogs, loop, *configuration}, delegate);
  access.setSynchronous(true);
  access.generateUrlForCommand("fileAddComment", "file", "id", "token");

  Require(delegate.calls == 1 && !server.urls.empty());
  const auto token = TextIn(server.answers[0], "onetimetoken");
  Require(server.urls.size() == (token ? 2u : 1u));
  const auto ticket = token ? TextIn(server.answers[1], "ticket") : std::nullopt;
  Require(delegate.url.has_value() == ticket.has_value());
  const std::optional<std::string> url = delegate.url;
  access.generateUrlForCommand("fileAddComment", "file", "id", "token");
  Require(delegate.calls == 2);
  if (!ticket) return 0;
  Require(*url == kelvo::WebAccess::baseUrl() + "/directnavigation?view=fileAddComment" +
                      "&ticket=" + *ticket + "&rcid=id&fileID=file");
  OpenInBrowser(*url);
  return 0;
}
