#include "base/logger.h"

#include <pthread.h>

#include <algorithm>
#include <locale>
#include <string>

#include "base/agent_id.h"
#include "base/string_utils.h"

namespace kelvo {

constinit std::atomic<CLogger*> CLogger::m_Instance{nullptr};

std::string LogStream::Text() const {
  std::string text = buffer_.str();
  if (!buffer_.isCut) return text;
  text.resize(CutText(text, kMostBytes).size());
  return text += "... (cut)";
}

void LogStream::Clear() {
  clear();  // a failed insertion of an earlier message
  buffer_.str({});
  buffer_.isCut = false;
}

std::streamsize LogStream::Buffer::xsputn(const char* text, std::streamsize size) {
  // A byte beyond the limit shows whether a character was cut there.
  const std::streamsize taken = std::clamp(Room() + 1, std::streamsize{0}, size);
  isCut = isCut || taken < size;
  std::stringbuf::xsputn(text, taken);
  return size;
}

LogStream::Buffer::int_type LogStream::Buffer::overflow(int_type byte) {
  if (Room() >= 0) return std::stringbuf::overflow(byte);
  isCut = true;
  return traits_type::not_eof(byte);
}

CLogger::CLogger() : flags_(stream_.flags()) { stream_.imbue(std::locale::classic()); }

std::ostream& CurrentThread(std::ostream& stream) {
  // The type of a thread's identifier is a number here, a pointer there.
  const auto thread = reinterpret_cast<std::uintptr_t>(pthread_self());
  return stream << '[' << std::to_string(thread) << '|' << AgentID() << "] ";
}

}  // namespace kelvo
