// How one message (name, archive) stands in a byte stream: integers big-endian unsigned 32-bit;
// message id 0, component count 2, then each component's length and bytes.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace kelvo {

inline constexpr std::size_t kMaxMessageSize = std::size_t{256} << 20;  // bytes, heads included

std::string EncodeMessageFrame(std::string_view name, std::string_view archive);

// Takes messages out of a stream that arrives in pieces. Memory stays within a small multiple of
// the bytes received.
//
// Threads: one at a time.
class MessageFrameReader {
 public:
  struct Message {
    std::string name;
    std::string archive;
  };

  explicit MessageFrameReader(std::size_t maxMessageSize = kMaxMessageSize)
      : maxMessageSize_(maxMessageSize) {}

  void Append(std::string_view bytes);
  // The next whole message; nullopt when more bytes are needed or the stream is broken.
  std::optional<Message> Next();
  // Not empty once the stream has broken the framing; nothing is read any more.
  const std::string& Error() const { return error_; }
  // Bytes received that no message has taken.
  std::size_t Pending() const { return buffer_.size() - start_; }

 private:
  Message TakeLast(std::string name, std::size_t size, std::size_t end);
  std::nullopt_t Break(std::string reason);

  const std::size_t maxMessageSize_;
  std::string buffer_;
  std::size_t start_ = 0;
  std::string error_;
};

}  // namespace kelvo
