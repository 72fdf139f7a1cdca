#pragma once

#include <glib.h>

#include <functional>
#include <string>

#include "agent/message_frame.h"
#include "base/property_list.h"

namespace kelvo::dialog {

// The helper's end of the socket pair to the extension.
//
// Threads: main loop; the callbacks are called from it, too.
class Channel {
 public:
  using Received =
      std::function<void(const std::string& name, const PropertyList::Dictionary& dictionary)>;

  // `socket` is left open at the end of the process, which is what the extension waits for.
  // `ended`: nothing will be received any more; called once.
  Channel(int socket, Received received, std::function<void()> ended);
  ~Channel();
  Channel(const Channel&) = delete;
  Channel& operator=(const Channel&) = delete;

  // Blocks while the extension does not read. What it does not want any more is dropped.
  void Send(const char* name, const PropertyList::Dictionary& dictionary = {});

 private:
  static gboolean OnReadable(gint socket, GIOCondition condition, gpointer self);
  // False at the end of the stream.
  bool Read();
  void Deliver();

  const int socket_;
  const Received received_;
  const std::function<void()> ended_;
  MessageFrameReader reader_;
  guint source_ = 0;
};

}  // namespace kelvo::dialog
