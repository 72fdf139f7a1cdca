#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "platform/http_client.h"

namespace kelvo {

// The platform's loader, one request at a time.
class HttpLoader {
 public:
  virtual ~HttpLoader() = default;
  // Ends what is under way and begins this. False when no request can be made of it. The loader's
  // answers come later, never from inside.
  virtual bool Load(const HttpRequest& request) = 0;
  // Ends what is under way; nothing more is heard of it.
  virtual void Stop() = 0;
};

// One transfer with what its redirects lead to: the rules that the platform's loader does not have.
// At most 20 redirects, to http and https alone; an answer beyond 16 MiB is an error.
//
// Threads: the loader's. Lifetime: may be destroyed inside any call of its delegate.
class HttpLoad {
 public:
  // Both must outlive it. What is under way at its end, its owner stops.
  HttpLoad(HttpLoader& loader, HttpTransferDelegate& delegate);
  HttpLoad(const HttpLoad&) = delete;
  HttpLoad& operator=(const HttpLoad&) = delete;

  // Once. False when the URL is none of the web's; then nothing is called.
  [[nodiscard]] bool Begin(const HttpRequest& request) noexcept;
  bool HasEnded() const { return hasEnded_; }

  // What the loader tells. Nothing passes through them, so that it may be of any language.
  void Redirected(const std::string& url) noexcept;
  void Responded(int statusCode) noexcept;
  void Received(std::string_view data) noexcept;
  void TimedOut() noexcept;
  void Failed(const std::string& description) noexcept;
  void Finished() noexcept;

 private:
  bool Load(const HttpRequest& request);
  void Fail(const char* description);
  void End();

  HttpLoader& loader_;
  HttpTransferDelegate& delegate_;
  const std::shared_ptr<char> life_ = std::make_shared<char>();  // for those who may outlive this
  std::string url_;                                              // of the request under way
  int redirects_ = 0;
  std::size_t received_ = 0;
  bool hasEnded_ = false;
};

}  // namespace kelvo
