#pragma once

#include <memory>
#include <optional>
#include <string>

#include "base/selector.h"
#include "base/string_map.h"
#include "platform/http_client.h"

namespace kelvo {

class Desktop;

// Every byte but ASCII letters and digits becomes "%" and two upper-case hexadecimal digits.
std::string EncodeHttpParameter(const std::string& text);

// Gets the outcome of a request: exactly one call for each.
class HTTPConnectionReceiver {
 public:
  virtual void connectionReceived(Selector action, const std::string& body) = 0;
  // Without an error when no connection could be made.
  virtual void connectionFailed(Selector action, const std::optional<HttpError>& error) = 0;

 protected:
  ~HTTPConnectionReceiver() = default;
};

// One call of the service's web API at a time. HTTP status codes are recorded, never tested.
//
// Threads: one at a time. Synchronously each request blocks its thread and calls the receiver from
// inside; else it is made on the main loop and the receiver is called there, later.
// Lifetime: may be destroyed inside a call of its receiver; then a request in flight is cancelled.
class HTTPConnection final : private HttpTransferDelegate {
 public:
  // `client` and `receiver` outlive the connection, or the receiver is forgotten by cancel.
  HTTPConnection(HttpClient& client, HTTPConnectionReceiver& receiver, std::string baseUrl);
  ~HTTPConnection();
  HTTPConnection(const HTTPConnection&) = delete;
  HTTPConnection& operator=(const HTTPConnection&) = delete;

  // "https://" and the web server of the agent's settings. Waits for the file's lock.
  static std::string baseUrl();
  // Opens the URL in the default browser, with the client id of the account ("sourcercid") when it
  // carries none. `activationToken`: see Desktop. Any thread, which it may block.
  static void openUrl(Desktop& desktop, const std::string& url, const std::string& activationToken);

  void setBaseUrl(const std::string& baseUrl) { m_baseUrl_ = baseUrl; }
  void setSynchronous(bool synchronous) { m_synchronous_ = synchronous; }
  void cancel();
  // Parameters are sent as they stand: the caller encodes them.
  void sendCommand(const StringMap& parameters, Selector didReceived, Selector didFailed);
  void sendCommandString(const std::string& query, Selector didReceived, Selector didFailed);
  void sendRequest(const std::string& url, Selector didReceived, Selector didFailed);

 private:
  void willSendRequest(HttpRequest& request) override;
  void didReceiveResponse(int statusCode) override;
  void didReceiveData(std::string_view data) override;
  void didFailWithError(const HttpError& error) override;
  void didFinishLoading() override;

  HttpClient& client_;
  std::string m_receivedData_;
  std::unique_ptr<HttpTransfer> m_connection_;
  int m_dataResponse_ = 0;
  HTTPConnectionReceiver* m_receiver_;
  Selector m_actionReceived_ = {};
  Selector m_actionFailed_ = {};
  bool m_synchronous_ = false;
  std::string m_baseUrl_;
};

}  // namespace kelvo
