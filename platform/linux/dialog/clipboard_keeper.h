#pragma once

#include <gtk/gtk.h>

#include <functional>
#include <string>

#include "platform/linux/glib_ptr.h"

namespace kelvo::dialog {

// A text on the clipboard of the default display, handed out to who asks for it while this lives.
//
// Threads: main loop.
class ClipboardKeeper {
 public:
  // `lost`: another program owns the clipboard; called once, later.
  explicit ClipboardKeeper(std::function<void()> lost);
  ~ClipboardKeeper();
  ClipboardKeeper(const ClipboardKeeper&) = delete;
  ClipboardKeeper& operator=(const ClipboardKeeper&) = delete;

  // False with the reason when the text is not on the clipboard.
  bool Write(const std::string& text, std::string* error);

 private:
  static void OnChanged(GdkClipboard* clipboard, gpointer self);

  const std::function<void()> lost_;
  const GObjectPtr<GdkClipboard> clipboard_;
  gulong changed_ = 0;
};

}  // namespace kelvo::dialog
