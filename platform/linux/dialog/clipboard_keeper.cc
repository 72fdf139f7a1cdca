#include "platform/linux/dialog/clipboard_keeper.h"

#include <utility>

#ifdef GDK_WINDOWING_WAYLAND
#include <gdk/wayland/gdkwayland.h>
#endif

namespace kelvo::dialog {
namespace {

bool NeedsFocus(GdkDisplay* display) {
#ifdef GDK_WINDOWING_WAYLAND
  return GDK_IS_WAYLAND_DISPLAY(display);
#else
  (void)display;
  return false;
#endif
}

}  // namespace

ClipboardKeeper::ClipboardKeeper(std::function<void()> lost)
    : lost_(std::move(lost)),
      clipboard_(
          GDK_CLIPBOARD(g_object_ref(gdk_display_get_clipboard(gdk_display_get_default())))) {}

ClipboardKeeper::~ClipboardKeeper() {
  if (changed_ != 0) g_signal_handler_disconnect(clipboard_.get(), changed_);
}

bool ClipboardKeeper::Write(const std::string& text, std::string* error) {
  GdkDisplay* display = gdk_clipboard_get_display(clipboard_.get());
  if (NeedsFocus(display)) {
    // The compositor would refuse without saying so.
    *error = "this display lets only a focused window write the clipboard";
    return false;
  }
  gdk_clipboard_set_text(clipboard_.get(), text.c_str());
  // Whether another program was faster stands in events that are there after a round trip.
  gdk_display_sync(display);
  while (g_main_context_pending(nullptr)) g_main_context_iteration(nullptr, FALSE);
  if (!gdk_clipboard_is_local(clipboard_.get())) {
    *error = "the display did not give the clipboard";
    return false;
  }
  changed_ = g_signal_connect(clipboard_.get(), "changed", G_CALLBACK(OnChanged), this);
  return true;
}

void ClipboardKeeper::OnChanged(GdkClipboard* clipboard, gpointer self) {
  auto* keeper = static_cast<ClipboardKeeper*>(self);
  if (gdk_clipboard_is_local(clipboard)) return;
  g_signal_handler_disconnect(clipboard, std::exchange(keeper->changed_, 0));
  keeper->lost_();
}

}  // namespace kelvo::dialog
