#pragma once

#include <libsoup/soup.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "platform/http_client.h"
#include "platform/linux/glib_ptr.h"

namespace kelvo {

struct UriRelease {
  void operator()(GUri* uri) const { g_uri_unref(uri); }
};
using UriPtr = std::unique_ptr<GUri, UriRelease>;

// The URL as libsoup takes it, escapes untouched; what no request line can carry is escaped. Null
// for what is not http or https and for what names no host.
UriPtr ParseWebUrl(const std::string& url);

// One transfer with what its redirects lead to.
//
// Threads: that of its main context, which is the thread's default: libsoup works in that.
// Lifetime: may be destroyed at any moment, also inside a call of its delegate; calls of libsoup's
// that are then still under way end by themselves in the context.
class SoupTransfer final : public HttpTransfer {
 public:
  using Ended = std::function<void(const std::optional<HttpError>& error)>;

  // `ended` takes the place of the delegate's last two calls.
  SoupTransfer(GMainContext* context, HttpTransferDelegate& delegate, Ended ended);
  ~SoupTransfer() override;
  SoupTransfer(const SoupTransfer&) = delete;
  SoupTransfer& operator=(const SoupTransfer&) = delete;

  // Once. False when the URL is none of the web's; then nothing is called.
  [[nodiscard]] bool begin(const HttpRequest& request);
  // How many calls of libsoup's are under way. The counter outlives the transfer.
  std::shared_ptr<const int> callsUnderWay() const { return {link_, &link_->calls}; }

 private:
  // What is left of the transfer for the calls under way.
  struct Shared {
    SoupTransfer* transfer;  // null once it has ended
    int calls = 0;
  };
  using Link = std::shared_ptr<Shared>;

  static void OnSent(GObject* session, GAsyncResult* result, gpointer link);
  static void OnRead(GObject* stream, GAsyncResult* result, gpointer link);
  static gboolean OnTimeout(gpointer self);
  gpointer newCall();
  static Link TakeCall(gpointer call);
  bool send(const HttpRequest& request);
  void setLimit(std::chrono::seconds limit);
  void receivedHead();
  void followRedirect(const char* location);
  void readMore();
  void receivedData(GBytes* data);
  void fail(const std::string& description);
  void end(const std::optional<HttpError>& error);
  void drop();

  GMainContext* const context_;
  HttpTransferDelegate& delegate_;
  const Ended ended_;
  const Link link_;
  HttpRequest request_;
  int redirects_ = 0;
  std::size_t received_ = 0;
  GObjectPtr<GCancellable> cancellable_;
  GSource* limit_ = nullptr;
  GObjectPtr<SoupSession> session_;
  GObjectPtr<SoupMessage> message_;
  GObjectPtr<GInputStream> body_;
};

}  // namespace kelvo
