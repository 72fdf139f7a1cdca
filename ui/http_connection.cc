#include "ui/http_connection.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <string_view>
#include <utility>

#include "base/logger.h"
#include "base/string_utils.h"
#include "deployment.h"
#include "platform/desktop.h"
#include "settings/account_list.h"
#include "settings/update_settings.h"

namespace kelvo {
namespace {

constexpr char kApiPath[] = "/KelvoWebApi?clientId=";
constexpr std::chrono::seconds kRequestTimeout{30};
constexpr std::size_t kUsualQuerySize = 256;
constexpr std::size_t kUsualAnswerSize = 256;

// For a new request and for each that follows a redirect alike.
void SetOptions(HttpRequest& request) {
  request.timeout = kRequestTimeout;
  request.ignoresLocalCache = true;
  // Deliberate: any certificate, of any host.
  request.allowsAnyHTTPSCertificate = true;
}

char ToAsciiLower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool HoldsClientId(const std::string& url) {
  constexpr std::string_view kClientId = "rcid";
  const auto equal = [](char a, char b) { return ToAsciiLower(a) == b; };
  return std::search(url.begin(), url.end(), kClientId.begin(), kClientId.end(), equal) !=
         url.end();
}

// What the log may hold: a ticket signs in whoever reads it.
std::string_view WithoutQuery(std::string_view url) { return url.substr(0, url.find('?')); }

}  // namespace

std::string EncodeHttpParameter(const std::string& text) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string encoded;
  for (const char c : text) {
    const char lower = ToAsciiLower(c);
    if ((lower >= 'a' && lower <= 'z') || (c >= '0' && c <= '9')) {
      encoded += c;
      continue;
    }
    const auto byte = static_cast<unsigned char>(c);
    encoded.append({'%', kDigits[byte >> 4], kDigits[byte & 0xF]});
  }
  return encoded;
}

HTTPConnection::HTTPConnection(HttpClient& client, HTTPConnectionReceiver& receiver,
                               std::string baseUrl)
    : client_(client), m_receiver_(&receiver), m_baseUrl_(std::move(baseUrl)) {
  m_receivedData_.reserve(kUsualAnswerSize);
}

HTTPConnection::~HTTPConnection() = default;

std::string HTTPConnection::baseUrl() {
  return "https://" + kelvoUpdateSettings::settings().webServerName();
}

void HTTPConnection::openUrl(Desktop& desktop, const std::string& url,
                             const std::string& activationToken) {
  std::string address = url;
  if (!HoldsClientId(url)) {
    address += url.find('?') == std::string::npos ? '?' : '&';
    address += "sourcercid=" + EncodeHttpParameter(AccountList::defaultClientId());
  }
  // The address is made of what servers and the Agent say, and goes to another program.
  if (!IsValidUtf8(address) || EscapeControlCharacters(address) != address) {
    KELVO_LOG(kLogError, "An address with characters that no address has is not opened: "
                             << EscapeControlCharacters(ToValidUtf8(WithoutQuery(address))));
    return;
  }
  desktop.openURL(address, activationToken);
}

void HTTPConnection::cancel() {
  m_connection_.reset();
  m_receiver_ = nullptr;
}

void HTTPConnection::sendCommand(const StringMap& parameters, Selector didReceived,
                                 Selector didFailed) {
  std::string query;
  query.reserve(kUsualQuerySize);
  for (const auto& [key, value] : parameters) query.append("&").append(key).append("=") += value;
  sendCommandString(query, didReceived, didFailed);
}

void HTTPConnection::sendCommandString(const std::string& query, Selector didReceived,
                                       Selector didFailed) {
  sendRequest(m_baseUrl_ + kApiPath + deployment::kClientId + query, didReceived, didFailed);
}

// The receiver may destroy this object: what calls it does nothing after that.
void HTTPConnection::sendRequest(const std::string& url, Selector didReceived, Selector didFailed) {
  m_actionReceived_ = didReceived;
  m_actionFailed_ = didFailed;
  m_receivedData_.clear();
  HttpRequest request{.url = url};
  SetOptions(request);
  if (m_synchronous_) return client_.sendSynchronously(request, *this);
  m_connection_.reset();
  m_connection_ = client_.start(request, *this);
  if (m_connection_ != nullptr) return;
  KELVO_LOG(kLogError, "No connection for " << EscapeControlCharacters(ToValidUtf8(url)));
  if (m_receiver_ != nullptr) m_receiver_->connectionFailed(didFailed, std::nullopt);
}

void HTTPConnection::willSendRequest(HttpRequest& request) { SetOptions(request); }

void HTTPConnection::didReceiveResponse(int statusCode) {
  m_receivedData_.clear();
  m_dataResponse_ = statusCode;
}

void HTTPConnection::didReceiveData(std::string_view data) { m_receivedData_ += data; }

void HTTPConnection::didFailWithError(const HttpError& error) {
  const HttpError reason = error;  // which may be the transfer's
  m_connection_.reset();
  KELVO_LOG(kLogError, "Connection failed! Error - "
                           << EscapeControlCharacters(ToValidUtf8(reason.description)) << " "
                           << EscapeControlCharacters(ToValidUtf8(reason.failingUrl)));
  if (m_receiver_ != nullptr) m_receiver_->connectionFailed(m_actionFailed_, reason);
}

void HTTPConnection::didFinishLoading() {
  m_connection_.reset();
  const std::string body = std::exchange(m_receivedData_, {});
  if (m_receiver_ != nullptr) m_receiver_->connectionReceived(m_actionReceived_, body);
}

}  // namespace kelvo
