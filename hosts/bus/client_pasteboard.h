#pragma once

#include <gio/gio.h>

#include <string>

#include "platform/desktop.h"

namespace kelvo {

// The clipboard by way of the client of the bus in which the user chose something, since only a
// program with a focused window may write it everywhere.
//
// Threads: any but the one that serves the bus; blocks for 2 seconds at most, and then as long as
// `own`, if it comes to that. Lifetime: connection and `own` outlive it.
class ClientPasteboard : public Pasteboard {
 public:
  // `client`: its unique name. `own`: written when the client writes no clipboards or has left.
  ClientPasteboard(GDBusConnection* connection, std::string client, Pasteboard& own);

  // Does nothing: what is written replaces what was there, and a write that fails loses nothing.
  void clearContents() override {}
  bool writeObjects(const std::string& text) override;

 private:
  GDBusConnection* const connection_;
  const std::string client_;
  Pasteboard& own_;
};

}  // namespace kelvo
