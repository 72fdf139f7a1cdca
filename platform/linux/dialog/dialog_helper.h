#pragma once

#include <glib.h>

#include <memory>
#include <string>

#include "base/property_list.h"
#include "platform/linux/dialog/channel.h"
#include "platform/linux/dialog/clipboard_keeper.h"
#include "platform/linux/dialog/confirmation_window.h"
#include "platform/linux/glib_ptr.h"

namespace kelvo::dialog {

// What one process does: one window, or one text for the clipboard.
//
// Threads: main loop.
class DialogHelper {
 public:
  explicit DialogHelper(int socket);

  // Returns the exit code: 1 when it could not do what it was told.
  int Run();

 private:
  void Receive(const std::string& name, const PropertyList::Dictionary& dictionary);
  void Show(const PropertyList::Dictionary& dictionary);
  void SetClipboard(const PropertyList::Dictionary& dictionary);
  void Fail(const std::string& reason);
  void End(int exitCode);

  const std::unique_ptr<GMainLoop, decltype(&g_main_loop_unref)> loop_;
  bool isEnding_ = false;
  int exitCode_ = 0;
  std::unique_ptr<ConfirmationWindow> window_;
  std::unique_ptr<ClipboardKeeper> clipboard_;
  Channel channel_;
};

}  // namespace kelvo::dialog
