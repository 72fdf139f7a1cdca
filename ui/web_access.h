#pragma once

#include <atomic>
#include <memory>
#include <optional>
#include <string>

#include "base/string_map.h"
#include "ui/http_connection.h"

namespace kelvo {

class CFinderConfiguration;
class Dialogs;
class RunLoop;

class WebAccessDelegate {
 public:
  // Once per handshake: the address, or nothing after any failure. `activationToken`: the
  // handshake's.
  virtual void webAccessUrlGenerated(const std::optional<std::string>& url,
                                     const std::string& activationToken) = 0;

 protected:
  ~WebAccessDelegate() = default;
};

// What web access stands on; outlives it.
struct WebSources {
  HttpClient& httpClient;
  Dialogs& dialogs;
  RunLoop& runLoop;
  const CFinderConfiguration& configuration;
};

// Makes the address at which the service's web application opens a file, already signed in: gets a
// one-time token, buys a login ticket with a hash of the account's authentication key and that
// token. In the whole process one handshake is under way at a time.
//
// Threads: synchronously any, one at a time, blocked as long as two requests with their redirects
// take, the delegate called from inside; else the main loop.
// Lifetime: not destroyed while a synchronous handshake is under way. Destroying it ends any other
// without a call of the delegate; the delegate may destroy it.
class WebAccess final : private HTTPConnectionReceiver {
 public:
  WebAccess(const WebSources& sources, WebAccessDelegate& delegate);
  ~WebAccess();
  WebAccess(const WebAccess&) = delete;
  WebAccess& operator=(const WebAccess&) = delete;

  // "https://" and the web server of the agent's settings. Waits for the file's lock.
  static std::string baseUrl();

  void setSynchronous(bool synchronous) { synchronous_ = synchronous; }
  // `command`: a view of the web application, "desktopExploreFile" or "fileAddComment".
  // `activationToken`: what the desktop gave the user's choice, for the window that it leads to;
  // may be empty. Ignored (logged), without a call of the delegate, while a handshake is under way
  // anywhere in the process.
  void generateUrlForCommand(const std::string& command, const std::string& fileID,
                             const std::string& rcid, const std::string& activationToken);

 private:
  void connectionReceived(Selector action, const std::string& body) override;
  void connectionFailed(Selector action, const std::optional<HttpError>& error) override;
  void receiveOneTimePassword(const std::string& data);
  void receiveLoginTicket(const std::string& data);
  void receiveError(const std::optional<HttpError>& error);
  void sendError(const std::string& text);
  void endHandshake();

  static std::atomic<bool> handshakeUnderWay_;

  const WebSources sources_;
  WebAccessDelegate* const delegate_;
  std::unique_ptr<HTTPConnection> connection_;
  StringMap context_;  // "command", "fileID", "rcID"
  std::string activationToken_;
  bool synchronous_ = false;
};

}  // namespace kelvo
