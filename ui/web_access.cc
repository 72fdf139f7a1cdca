#include "ui/web_access.h"

#include <openssl/evp.h>

#include <array>
#include <string_view>

#include "base/format_text.h"
#include "base/logger.h"
#include "base/string_utils.h"
#include "core/finder_configuration.h"
#include "platform/dialogs.h"
#include "platform/run_loop.h"
#include "settings/application_bundle.h"
#include "settings/update_settings.h"
#include "settings/xml_path.h"
#include "ui/alert.h"

namespace kelvo {
namespace {

constexpr Selector kReceiveOneTimePassword{"receiveOneTimePassword"};
constexpr Selector kReceiveLoginTicket{"receiveLoginTicket"};
constexpr Selector kReceiveError{"receiveError"};

// Answers may be megabytes long, which the log is not for.
std::string LogText(std::string_view body) {
  constexpr std::size_t kMost = std::size_t{64} << 10;
  return EscapeControlCharacters(ToValidUtf8(body.substr(0, kMost)));
}

// 40 lower-case hexadecimal digits; nothing when there is no such digest.
std::optional<std::string> PassHash(const std::string& text) {
  constexpr unsigned int kSize = 20;
  constexpr char kDigits[] = "0123456789abcdef";
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest;
  unsigned int size = 0;
  if (EVP_Digest(text.data(), text.size(), digest.data(), &size, EVP_sha1(), nullptr) != 1 ||
      size != kSize) {
    return std::nullopt;
  }
  std::string hex;
  for (unsigned int i = 0; i < size; ++i) {
    hex += kDigits[digest[i] >> 4];
    hex += kDigits[digest[i] & 0xF];
  }
  return hex;
}

}  // namespace

std::atomic<bool> WebAccess::handshakeUnderWay_{false};

WebAccess::WebAccess(const WebSources& sources, WebAccessDelegate& delegate)
    : sources_(sources), delegate_(&delegate) {}

WebAccess::~WebAccess() {
  if (connection_ != nullptr) endHandshake();
}

std::string WebAccess::baseUrl() {
  kelvoUpdateSettings settings;
  settings.loadSettings();
  return "https://" + settings.webServerName();
}

void WebAccess::generateUrlForCommand(const std::string& command, const std::string& fileID,
                                      const std::string& rcid, const std::string& activationToken) {
  // Before the mark is taken: it may wait for another program's lock.
  const std::string server = baseUrl();
  if (handshakeUnderWay_.exchange(true, std::memory_order_acquire)) {
    KELVO_LOG(kLogInformation, "A web command is under way; ignored: " << command);
    return;
  }
  activationToken_ = activationToken;
  context_ = {{"command", command}, {"fileID", fileID}, {"rcID", rcid}};
  HTTPConnectionReceiver& receiver = *this;
  connection_ = std::make_unique<HTTPConnection>(sources_.httpClient, receiver, server);
  connection_->setSynchronous(synchronous_);
  connection_->sendCommand({{"command", "createOnetimeToken"}, {"rcId", EncodeHttpParameter(rcid)}},
                           kReceiveOneTimePassword, kReceiveError);
}

void WebAccess::connectionReceived(Selector action, const std::string& body) {
  if (action == kReceiveOneTimePassword) return receiveOneTimePassword(body);
  receiveLoginTicket(body);
}

void WebAccess::connectionFailed(Selector /*action*/, const std::optional<HttpError>& error) {
  receiveError(error);
}

void WebAccess::receiveOneTimePassword(const std::string& data) {
  KELVO_LOG(kLogDebug, "response: " << LogText(data));
  const XmlDocument document = ParseXmlDocument(data, nullptr);
  if (document == nullptr) return sendError("No XML in receiveOneTimePassword");
  const auto token = LastNodeText(document.get(), "kelvoApiResponse/commandResponse/onetimetoken");
  if (!token) return sendError("Wrong XML in receiveOneTimePassword: " + LogText(data));
  const auto hash = PassHash(sources_.configuration.AuthenticationKey() + *token);
  if (!hash) return sendError("No pass hash in receiveOneTimePassword");
  connection_->sendCommand({{"command", "generateLoginTicketFromSecret"},
                            {"rcId", EncodeHttpParameter(context_["rcID"])},
                            {"passhash", *hash}},
                           kReceiveLoginTicket, kReceiveError);
}

void WebAccess::receiveLoginTicket(const std::string& data) {
  KELVO_LOG(kLogDebug, "ticket response: " << LogText(data));
  const XmlDocument document = ParseXmlDocument(data, nullptr);
  if (document == nullptr) return sendError("No XML in receiveLoginTicket");
  const auto ticket = LastNodeText(document.get(), "kelvoApiResponse/commandResponse/ticket");
  if (!ticket) return sendError("Wrong XML in receiveLoginTicket: " + LogText(data));
  KELVO_LOG(kLogDebug, "login ticket: " << LogText(*ticket));
  const std::string url = baseUrl() + "/directnavigation?view=" + context_["command"] +
                          "&ticket=" + *ticket + "&rcid=" + context_["rcID"] +
                          "&fileID=" + context_["fileID"];
  const std::string token = activationToken_;
  endHandshake();
  delegate_->webAccessUrlGenerated(url, token);
}

void WebAccess::receiveError(const std::optional<HttpError>& error) {
  const std::string reason =
      error ? error->description
            : LocalizedString("WebAccess.ConnectionFailed", "Connection Failed");
  const std::string message = FormatText(
      LocalizedString("WebAccess.ReceiveError", "Connection failed! Error - %@"), {reason});
  const WebSources sources = sources_;  // the delegate may destroy this object
  const std::string token = activationToken_;
  endHandshake();
  delegate_->webAccessUrlGenerated(std::nullopt, token);
  sources.runLoop.Post([&dialogs = sources.dialogs, message, token] {
    dialogs.setActivationToken(token);
    ShowAlert(dialogs, LocalizedString("WebAccess.NetworkError", "Network error"), message,
              LocalizedString("WebAccess.OK", "OK"));
  });
}

void WebAccess::sendError(const std::string& text) {
  KELVO_LOG(kLogError, "Error in WebAccess: " << text);
  const std::string token = activationToken_;
  endHandshake();
  delegate_->webAccessUrlGenerated(std::nullopt, token);
}

// Before the delegate is called, which may begin another. From here on another thread may begin
// one with this object: nothing but the delegate, which never changes, is touched any more.
void WebAccess::endHandshake() {
  connection_.reset();
  handshakeUnderWay_.store(false, std::memory_order_release);
}

}  // namespace kelvo
