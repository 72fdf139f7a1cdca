#include "platform/linux/soup_http_client.h"

#include <optional>

#include "platform/linux/soup_transfer.h"

namespace kelvo {
namespace {

// A main context for one transfer that its thread waits for.
class OwnContext {
 public:
  OwnContext() : context_(g_main_context_new()) {
    g_main_context_push_thread_default(context_.get());
  }
  ~OwnContext() { g_main_context_pop_thread_default(context_.get()); }
  OwnContext(const OwnContext&) = delete;
  OwnContext& operator=(const OwnContext&) = delete;

  GMainContext* get() const { return context_.get(); }

  // Turns until the calls, which were cancelled, have ended, and connections are closed. Such a
  // call ends at once, unless it is somebody else's module that makes it.
  void Clear(const int& callsUnderWay) const {
    constexpr guint kLimitMilliseconds = 1000;
    bool isLate = false;
    GSource* const limit = g_timeout_source_new(kLimitMilliseconds);
    g_source_set_callback(limit, OnLimit, &isLate, nullptr);
    g_source_attach(limit, context_.get());
    while (callsUnderWay > 0 && !isLate) g_main_context_iteration(context_.get(), TRUE);
    constexpr int kMost = 1000;
    for (int i = 0; i < kMost && g_main_context_iteration(context_.get(), FALSE); ++i) {
    }
    g_source_destroy(limit);
    g_source_unref(limit);
  }

 private:
  static gboolean OnLimit(gpointer isLate) {
    *static_cast<bool*>(isLate) = true;
    return G_SOURCE_REMOVE;
  }

  const GLibPtr<GMainContext> context_;
};

void Tell(HttpTransferDelegate& delegate, const std::optional<HttpError>& error) {
  error ? delegate.didFailWithError(*error) : delegate.didFinishLoading();
}

// Nothing when it has succeeded.
std::optional<HttpError> Transfer(const HttpRequest& request, HttpTransferDelegate& delegate) {
  const OwnContext context;
  bool isOver = false;
  std::optional<HttpError> failure;
  auto transfer = std::make_unique<SoupTransfer>(context.get(), delegate,
                                                 [&](const std::optional<HttpError>& error) {
                                                   failure = error;
                                                   isOver = true;
                                                 });
  const std::shared_ptr<const int> callsUnderWay = transfer->callsUnderWay();
  if (!transfer->begin(request)) {
    return HttpError{"This is not an address on the web.", request.url};
  }
  while (!isOver) g_main_context_iteration(context.get(), TRUE);
  transfer.reset();
  context.Clear(*callsUnderWay);
  return failure;
}

}  // namespace

SoupHttpClient::SoupHttpClient(GMainContext* context) : context_(g_main_context_ref(context)) {}

std::unique_ptr<HttpTransfer> SoupHttpClient::start(const HttpRequest& request,
                                                    HttpTransferDelegate& delegate) {
  auto transfer = std::make_unique<SoupTransfer>(
      context_.get(), delegate,
      [&delegate](const std::optional<HttpError>& error) { Tell(delegate, error); });
  if (!transfer->begin(request)) return nullptr;
  return transfer;
}

void SoupHttpClient::sendSynchronously(const HttpRequest& request, HttpTransferDelegate& delegate) {
  Tell(delegate, Transfer(request, delegate));
}

}  // namespace kelvo
