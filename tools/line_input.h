#pragma once

#include <glib.h>

#include <cstddef>
#include <functional>
#include <string>

#include "tools/source_id.h"

namespace kelvo::tools {

// Hands on the lines that arrive at a descriptor; at its end it falls silent.
//
// Threads: the default main context's.
class LineInput {
 public:
  static constexpr std::size_t kMaxLine =
      65536;  // bytes; a longer line is dropped with a complaint

  // `fd`, which is not owned, may be anything that can be polled or read at once, also a file.
  LineInput(int fd, std::function<void(const std::string& line)> onLine);

 private:
  static gboolean OnReadable(gint fd, GIOCondition condition, gpointer input);
  bool Read(int fd);
  void Take(char character);
  void EndLine();

  const std::function<void(const std::string& line)> onLine_;
  std::string line_;
  bool tooLong_ = false;
  SourceId source_;
};

}  // namespace kelvo::tools
