#pragma once

#include "platform/http_client.h"

namespace kelvo {

// HTTP over the platform's loader, by way of the proxy of the system's settings and without its
// cookies. What an answer may be, HttpLoad says.
class MacHttpClient : public HttpClient {
 public:
  std::unique_ptr<HttpTransfer> start(const HttpRequest& request,
                                      HttpTransferDelegate& delegate) override;
  // Turns the thread's loop; on the main thread what else is due runs meanwhile.
  void sendSynchronously(const HttpRequest& request, HttpTransferDelegate& delegate) override;
};

}  // namespace kelvo
