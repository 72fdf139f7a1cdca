#include "platform/linux/soup_transfer.h"

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <utility>

#include "base/string_utils.h"

namespace kelvo {
namespace {

// As a macro of libsoup says, which is no GUriFlags in C++.
constexpr auto kHttpUriFlags = static_cast<GUriFlags>(SOUP_HTTP_URI_FLAGS);

constexpr int kMaxRedirects = 20;
constexpr std::size_t kMaxBytes = std::size_t{16} << 20;
constexpr std::size_t kPieceSize = std::size_t{64} << 10;

struct BytesRelease {
  void operator()(GBytes* bytes) const { g_bytes_unref(bytes); }
};
using BytesPtr = std::unique_ptr<GBytes, BytesRelease>;

std::string EscapeForRequestLine(std::string_view text) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string escaped;
  for (const char c : text) {
    if (c > ' ' && c < '\x7f') {
      escaped += c;
    } else {
      const auto byte = static_cast<unsigned char>(c);
      escaped.append({'%', kDigits[byte >> 4], kDigits[byte & 0xF]});
    }
  }
  return escaped;
}

// Also what GLib has made of escapes in a name.
bool IsHost(const char* name) {
  if (name == nullptr || *name == '\0') return false;
  const std::string_view host = name;
  return std::none_of(host.begin(), host.end(), [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte <= ' ' || byte == 0x7f;
  });
}

bool IsRedirect(guint status) {
  return status == SOUP_STATUS_MOVED_PERMANENTLY || status == SOUP_STATUS_FOUND ||
         status == SOUP_STATUS_SEE_OTHER || status == SOUP_STATUS_TEMPORARY_REDIRECT ||
         status == SOUP_STATUS_PERMANENT_REDIRECT;
}

// Where a redirect leads. An absolute address stays as it is: GLib would undo some of its escapes.
std::string ResolveLocation(const std::string& url, const char* location) {
  const GLibPtr<char> scheme(g_uri_parse_scheme(location));
  if (scheme != nullptr) return location;
  constexpr auto kFlags = static_cast<GUriFlags>(G_URI_FLAGS_ENCODED | G_URI_FLAGS_PARSE_RELAXED);
  const GLibPtr<char> resolved(g_uri_resolve_relative(url.c_str(), location, kFlags, nullptr));
  return resolved == nullptr ? location : resolved.get();
}

gboolean AcceptCertificate(SoupMessage*, GTlsCertificate*, GTlsCertificateFlags, gpointer) {
  return TRUE;
}

}  // namespace

UriPtr ParseWebUrl(const std::string& url) {
  constexpr std::string_view kEndOfAuthority = "/?#";
  const std::size_t colon = url.find("://");
  if (colon == std::string::npos || url.find('\0') != std::string::npos) return nullptr;
  const std::size_t begin = std::min(url.find_first_of(kEndOfAuthority, colon + 3), url.size());
  // GLib would undo escapes that are not needed, such as "%2D".
  const UriPtr server(g_uri_parse(url.substr(0, begin).c_str(), kHttpUriFlags, nullptr));
  if (server == nullptr || !IsHost(g_uri_get_host(server.get()))) return nullptr;
  const std::string_view scheme = g_uri_get_scheme(server.get());
  if (scheme != "http" && scheme != "https") return nullptr;
  const std::string_view whole = std::string_view(url).substr(begin);
  const std::string_view rest = whole.substr(0, whole.find('#'));
  const std::size_t question = rest.find('?');
  std::string path = EscapeForRequestLine(rest.substr(0, question));
  if (path.empty()) path = "/";
  std::optional<std::string> query;
  if (question != std::string_view::npos) query = EscapeForRequestLine(rest.substr(question + 1));
  return UriPtr(g_uri_build(kHttpUriFlags, g_uri_get_scheme(server.get()), nullptr,
                            g_uri_get_host(server.get()), g_uri_get_port(server.get()),
                            path.c_str(), query ? query->c_str() : nullptr, nullptr));
}

SoupTransfer::SoupTransfer(GMainContext* context, HttpTransferDelegate& delegate, Ended ended)
    : context_(context),
      delegate_(delegate),
      ended_(std::move(ended)),
      link_(std::make_shared<Shared>(Shared{this})) {}

SoupTransfer::~SoupTransfer() {
  drop();
  link_->transfer = nullptr;
}

gpointer SoupTransfer::newCall() {
  ++link_->calls;
  return new Link(link_);
}

SoupTransfer::Link SoupTransfer::TakeCall(gpointer call) {
  const std::unique_ptr<Link> link(static_cast<Link*>(call));
  --(*link)->calls;
  return *link;
}

bool SoupTransfer::begin(const HttpRequest& request) {
  session_.reset(soup_session_new());
  return send(request);
}

bool SoupTransfer::send(const HttpRequest& request) {
  request_ = request;
  const UriPtr uri = ParseWebUrl(request.url);
  if (uri == nullptr) return false;
  message_.reset(soup_message_new_from_uri(SOUP_METHOD_GET, uri.get()));
  soup_message_add_flags(message_.get(), SOUP_MESSAGE_NO_REDIRECT);
  // Of the caches on the way: there is none here.
  if (request.ignoresLocalCache) {
    soup_message_headers_replace(soup_message_get_request_headers(message_.get()), "Cache-Control",
                                 "no-cache");
  }
  if (request.allowsAnyHTTPSCertificate) {
    g_signal_connect(message_.get(), "accept-certificate", G_CALLBACK(AcceptCertificate), nullptr);
  }
  cancellable_.reset(g_cancellable_new());
  setLimit(request.timeout);
  soup_session_send_async(session_.get(), message_.get(), G_PRIORITY_DEFAULT, cancellable_.get(),
                          OnSent, newCall());
  return true;
}

void SoupTransfer::setLimit(std::chrono::seconds limit) {
  limit_ = g_timeout_source_new(static_cast<guint>(std::chrono::milliseconds(limit).count()));
  g_source_set_callback(limit_, OnTimeout, this, nullptr);
  g_source_attach(limit_, context_);
}

gboolean SoupTransfer::OnTimeout(gpointer self) {
  static_cast<SoupTransfer*>(self)->fail("The request timed out.");
  return G_SOURCE_REMOVE;
}

void SoupTransfer::OnSent(GObject* session, GAsyncResult* result, gpointer data) {
  const Link link = TakeCall(data);
  GErrorSlot error;
  GObjectPtr<GInputStream> body(
      soup_session_send_finish(SOUP_SESSION(session), result, error.out()));
  SoupTransfer* const self = link->transfer;
  if (self == nullptr) {
    if (body != nullptr) g_input_stream_close(body.get(), nullptr, nullptr);
    return;
  }
  if (body == nullptr) return self->fail(error.text());
  self->body_ = std::move(body);
  self->receivedHead();
}

void SoupTransfer::receivedHead() {
  const guint status = soup_message_get_status(message_.get());
  const char* const location =
      soup_message_headers_get_one(soup_message_get_response_headers(message_.get()), "Location");
  if (IsRedirect(status) && location != nullptr) return followRedirect(location);
  const Link link = link_;
  delegate_.didReceiveResponse(static_cast<int>(status));
  if (link->transfer != nullptr) readMore();
}

void SoupTransfer::followRedirect(const char* location) {
  if (++redirects_ > kMaxRedirects) return fail("Too many redirects.");
  HttpRequest next{.url = ResolveLocation(request_.url, location)};
  if (ParseWebUrl(next.url) == nullptr) {
    return fail("The server redirects to an address that is not on the web.");
  }
  drop();
  const Link link = link_;
  delegate_.willSendRequest(next);
  if (link->transfer == nullptr) return;
  if (!send(next)) fail("This is not an address on the web.");
}

void SoupTransfer::readMore() {
  g_input_stream_read_bytes_async(body_.get(), kPieceSize, G_PRIORITY_DEFAULT, cancellable_.get(),
                                  OnRead, newCall());
}

void SoupTransfer::OnRead(GObject* stream, GAsyncResult* result, gpointer data) {
  const Link link = TakeCall(data);
  GErrorSlot error;
  const BytesPtr bytes(
      g_input_stream_read_bytes_finish(G_INPUT_STREAM(stream), result, error.out()));
  SoupTransfer* const self = link->transfer;
  // A stream with a call under way could not be closed before.
  if (self == nullptr || self->body_.get() != G_INPUT_STREAM(stream)) {
    g_input_stream_close(G_INPUT_STREAM(stream), nullptr, nullptr);
    return;
  }
  if (bytes == nullptr) return self->fail(error.text());
  self->receivedData(bytes.get());
}

void SoupTransfer::receivedData(GBytes* data) {
  gsize size = 0;
  const void* const bytes = g_bytes_get_data(data, &size);
  if (size == 0) return end(std::nullopt);
  received_ += size;
  if (received_ > kMaxBytes) return fail("The answer is too long.");
  const Link link = link_;
  delegate_.didReceiveData({static_cast<const char*>(bytes), size});
  if (link->transfer != nullptr) readMore();
}

void SoupTransfer::fail(const std::string& description) {
  end(HttpError{ToValidUtf8(description), request_.url});
}

// What is called may destroy this object, and with it the function.
void SoupTransfer::end(const std::optional<HttpError>& error) {
  drop();
  link_->transfer = nullptr;
  const Ended ended = ended_;
  ended(error);
}

// Ends the request under way.
void SoupTransfer::drop() {
  if (limit_ != nullptr) {
    g_source_destroy(limit_);
    g_source_unref(std::exchange(limit_, nullptr));
  }
  if (cancellable_ != nullptr) g_cancellable_cancel(cancellable_.get());
  if (body_ != nullptr) g_input_stream_close(body_.get(), nullptr, nullptr);
  body_.reset();
  message_.reset();
  cancellable_.reset();
}

}  // namespace kelvo
