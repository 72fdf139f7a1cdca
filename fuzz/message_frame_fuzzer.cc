#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "agent/message_frame.h"

namespace {

using kelvo::MessageFrameReader;

// All messages as frames again, and how the stream ended.
std::string ReadAll(std::string_view stream, std::size_t step) {
  MessageFrameReader reader;
  std::string frames;
  std::size_t left = 0;
  for (std::size_t at = 0; at < stream.size(); at += step) {
    reader.Append(stream.substr(at, step));
    while (const auto message = reader.Next()) {
      frames += kelvo::EncodeMessageFrame(message->name, message->archive);
    }
    if (reader.Pending() > stream.size()) std::abort();
    left = reader.Pending();
  }
  if (reader.Error().empty() && frames.size() + left != stream.size()) std::abort();
  return frames + reader.Error();
}

}  // namespace

// However a stream is cut into pieces, the same messages come out of it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0 || size > 65536) return 0;
  const std::size_t step = std::size_t{data[0]} + 1;
  const std::string_view stream(reinterpret_cast<const char*>(data) + 1, size - 1);
  if (ReadAll(stream, step) != ReadAll(stream, std::max<std::size_t>(stream.size(), 1))) {
    std::abort();
  }
  return 0;
}
