#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <string_view>

namespace kelvo {

// A GET request.
struct HttpRequest {
  std::string url = {};  // http or https; sent as it stands
  // For the whole of this request; what follows a redirect is a request of its own.
  std::chrono::seconds timeout{60};
  bool ignoresLocalCache = false;
  bool allowsAnyHTTPSCertificate = false;  // also one of another host
};

struct HttpError {
  std::string description;  // for people
  std::string failingUrl;
};

// What a transfer tells. Ends with exactly one of the last two, after which nothing more comes.
class HttpTransferDelegate {
 public:
  // A redirect is followed with `request`, which may be changed here; the fields beside its url are
  // those of a request just made.
  virtual void willSendRequest(HttpRequest& request) = 0;
  // The head of an answer that is not a redirect.
  virtual void didReceiveResponse(int statusCode) = 0;
  virtual void didReceiveData(std::string_view data) = 0;
  virtual void didFailWithError(const HttpError& error) = 0;
  virtual void didFinishLoading() = 0;

 protected:
  ~HttpTransferDelegate() = default;
};

// A transfer under way. Destroying it ends it; then its delegate hears nothing more.
class HttpTransfer {
 public:
  virtual ~HttpTransfer() = default;
};

// Loads what a URL names, by way of the desktop's proxy. Redirects and the size of an answer are
// bounded.
class HttpClient {
 public:
  virtual ~HttpClient() = default;
  // Main loop, where the delegate is called, too, but never from inside. Null when no transfer can
  // be made. The transfer may be destroyed from inside a call of its delegate.
  virtual std::unique_ptr<HttpTransfer> start(const HttpRequest& request,
                                              HttpTransferDelegate& delegate) = 0;
  // Any thread, which it blocks until the end, calling the delegate from inside.
  virtual void sendSynchronously(const HttpRequest& request, HttpTransferDelegate& delegate) = 0;
};

}  // namespace kelvo
