#include "tools/line_input.h"

#include <errno.h>
#include <glib-unix.h>
#include <unistd.h>

#include <array>
#include <utility>

#include "tools/terminal_text.h"

namespace kelvo::tools {

LineInput::LineInput(int fd, std::function<void(const std::string& line)> onLine)
    : onLine_(std::move(onLine)),
      source_(g_unix_fd_add(fd, static_cast<GIOCondition>(G_IO_IN | G_IO_HUP | G_IO_ERR),
                            OnReadable, this)) {}

gboolean LineInput::OnReadable(gint fd, GIOCondition /*condition*/, gpointer input) {
  auto* self = static_cast<LineInput*>(input);
  if (self->Read(fd)) return G_SOURCE_CONTINUE;
  self->source_.Release();
  return G_SOURCE_REMOVE;
}

bool LineInput::Read(int fd) {
  std::array<char, 4096> bytes;
  const ssize_t count = ::read(fd, bytes.data(), bytes.size());
  if (count < 0) return errno == EINTR || errno == EAGAIN;
  if (count == 0) {
    if (!line_.empty() || tooLong_) EndLine();
    return false;
  }
  for (ssize_t i = 0; i < count; ++i) Take(bytes[static_cast<std::size_t>(i)]);
  return true;
}

void LineInput::Take(char character) {
  if (character == '\n') {
    EndLine();
  } else if (line_.size() < kMaxLine) {
    line_ += character;
  } else {
    tooLong_ = true;
  }
}

void LineInput::EndLine() {
  const std::string line = std::exchange(line_, {});
  if (std::exchange(tooLong_, false)) {
    PrintError("a line of more than " + std::to_string(kMaxLine) + " bytes was dropped");
  } else {
    onLine_(line);
  }
}

}  // namespace kelvo::tools
