#include "agent/message_frame.h"

#include <cstdint>
#include <utility>

namespace kelvo {
namespace {

constexpr std::size_t kIntegerSize = 4;
constexpr std::size_t kHeadSize = 2 * kIntegerSize;  // message id, component count
constexpr std::uint32_t kComponentCount = 2;
constexpr std::size_t kClaimFactor = 8;
constexpr std::size_t kKeptCapacity = std::size_t{1} << 20;
constexpr std::size_t kLargeArchive = std::size_t{64} << 10;

void AppendInteger(std::string& out, std::uint32_t value) {
  for (int shift = 24; shift >= 0; shift -= 8) out.push_back(static_cast<char>(value >> shift));
}

std::uint32_t IntegerAt(std::string_view bytes, std::size_t offset) {
  std::uint32_t value = 0;
  for (std::size_t i = 0; i < kIntegerSize; ++i) {
    value = value << 8 | static_cast<std::uint8_t>(bytes[offset + i]);
  }
  return value;
}

}  // namespace

std::string EncodeMessageFrame(std::string_view name, std::string_view archive) {
  std::string frame;
  frame.reserve(kHeadSize + 2 * kIntegerSize + name.size() + archive.size());
  AppendInteger(frame, 0);
  AppendInteger(frame, kComponentCount);
  for (std::string_view component : {name, archive}) {
    AppendInteger(frame, static_cast<std::uint32_t>(component.size()));
    frame.append(component);
  }
  return frame;
}

void MessageFrameReader::Append(std::string_view bytes) {
  if (!error_.empty()) return;
  if (start_ > buffer_.size() / 2) {
    // No more is moved than was taken since the last move, so a byte is moved about once.
    buffer_.erase(0, start_);
    start_ = 0;
  }
  buffer_.append(bytes);
}

std::optional<MessageFrameReader::Message> MessageFrameReader::Next() {
  const std::string_view pending = std::string_view(buffer_).substr(start_);
  if (pending.size() < kHeadSize) return std::nullopt;
  if (const std::uint32_t count = IntegerAt(pending, kIntegerSize); count != kComponentCount) {
    return Break("a message of " + std::to_string(count) + " components");
  }
  std::string_view components[kComponentCount];
  std::size_t end = kHeadSize;
  for (std::string_view& component : components) {
    if (pending.size() - end < kIntegerSize) return std::nullopt;
    const std::size_t length = IntegerAt(pending, end);
    end += kIntegerSize;
    if (end > maxMessageSize_ || length > maxMessageSize_ - end) {
      return Break("a message with a component of " + std::to_string(length) + " bytes");
    }
    if (pending.size() - end < length) {
      // Room for all of it at once, since growing step by step would copy most of it in one go; but
      // only when so much has come that the length is no mere claim.
      if (pending.size() > length / kClaimFactor) buffer_.reserve(start_ + end + length);
      return std::nullopt;
    }
    component = pending.substr(end, length);
    end += length;
  }
  if (components[1].size() > kLargeArchive && end > pending.size() / 2) {
    return TakeLast(std::string(components[0]), components[1].size(), start_ + end);
  }
  Message message{std::string(components[0]), std::string(components[1])};
  start_ += end;
  if (start_ == buffer_.size()) {
    start_ = 0;
    buffer_.clear();
    if (buffer_.capacity() > kKeptCapacity) std::string().swap(buffer_);
  }
  return message;
}

// A large archive leaves with the buffer, since copying it would hold the loop for longer than
// moving it to the front does; what follows it is less.
MessageFrameReader::Message MessageFrameReader::TakeLast(std::string name, std::size_t size,
                                                         std::size_t end) {
  std::string rest(buffer_, end);
  buffer_.resize(end);
  buffer_.erase(0, end - size);
  start_ = 0;
  return {std::move(name), std::exchange(buffer_, std::move(rest))};
}

std::nullopt_t MessageFrameReader::Break(std::string reason) {
  error_ = std::move(reason);
  std::string().swap(buffer_);
  start_ = 0;
  return std::nullopt;
}

}  // namespace kelvo
