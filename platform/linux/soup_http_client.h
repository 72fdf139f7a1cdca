#pragma once

#include <memory>

#include "platform/http_client.h"
#include "platform/linux/glib_ptr.h"

namespace kelvo {

// HTTP over libsoup, through the proxy that the desktop's settings name. At most 20 redirects, to
// http and https alone; an answer beyond 16 MiB is an error. Neither cookies nor a cache are kept.
// A server that was let in with any certificate may later be let in on the strength of that, since
// TLS resumes sessions.
class SoupHttpClient : public HttpClient {
 public:
  // `context`: the main loop's, and its thread's default.
  explicit SoupHttpClient(GMainContext* context);

  std::unique_ptr<HttpTransfer> start(const HttpRequest& request,
                                      HttpTransferDelegate& delegate) override;
  void sendSynchronously(const HttpRequest& request, HttpTransferDelegate& delegate) override;

 private:
  const GLibPtr<GMainContext> context_;
};

}  // namespace kelvo
