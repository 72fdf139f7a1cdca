#pragma once

#include <chrono>
#include <string>

#include "platform/desktop.h"

namespace kelvo {

// The clipboard of the display, written by the program kelvo-finder-dialog, which stays without a
// window until another program owns the clipboard.
//
// Threads: any; each call blocks for at most 5 seconds.
class HelperPasteboard : public Pasteboard {
 public:
  // `program`: of the helper; an absolute path. `limit`: how long a call may block.
  explicit HelperPasteboard(std::string program,
                            std::chrono::milliseconds limit = std::chrono::seconds(5));

  // Does nothing: what is written replaces what was there, and a write that fails loses nothing.
  void clearContents() override {}
  bool writeObjects(const std::string& text) override;

 private:
  const std::string program_;
  const std::chrono::milliseconds limit_;
};

}  // namespace kelvo
