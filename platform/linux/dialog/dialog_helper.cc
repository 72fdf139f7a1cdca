#include "platform/linux/dialog/dialog_helper.h"

#include <gtk/gtk.h>

#include <utility>

#include "platform/linux/dialog/complaint.h"
#include "platform/linux/dialog/dialog_messages.h"

namespace kelvo::dialog {

DialogHelper::DialogHelper(int socket)
    : loop_(g_main_loop_new(nullptr, FALSE), &g_main_loop_unref),
      channel_(
          socket,
          [this](const std::string& name, const PropertyList::Dictionary& dictionary) {
            Receive(name, dictionary);
          },
          [this] {
            // The extension may end; what its user copied stays.
            if (clipboard_ == nullptr) End(0);
          }) {}

int DialogHelper::Run() {
  g_main_loop_run(loop_.get());
  return exitCode_;
}

void DialogHelper::Receive(const std::string& name, const PropertyList::Dictionary& dictionary) {
  if (isEnding_) return;
  const bool isNew = window_ == nullptr && clipboard_ == nullptr;
  if (isNew && name == kShow) {
    Show(dictionary);
  } else if (isNew && name == kSetClipboard) {
    SetClipboard(dictionary);
  } else if (window_ != nullptr && name == kUpdate) {
    window_->Update(ContentsOf(dictionary));
  } else if (window_ != nullptr && name == kFront) {
    window_->ComeToFront(TextOf(dictionary, kActivationToken));
    channel_.Send(kShown);
  } else if (window_ != nullptr && name == kMeasure) {
    window_->Measure([this](const TextFit& fit) {
      channel_.Send(
          kMeasured,
          {{kUnreadableTexts, fit.unreadableTexts}, {kWidth, fit.width}, {kHeight, fit.height}});
    });
  } else {
    Complain("message \"" + name + "\" ignored");
  }
}

void DialogHelper::Show(const PropertyList::Dictionary& dictionary) {
  if (!gtk_init_check()) return Fail("no display");
  std::string error;
  window_ = ConfirmationWindow::Load(TextOf(dictionary, kInterfaceFile),
                                     {.shown = [this] { channel_.Send(kShown); },
                                      .closed =
                                          [this](const DialogAnswer& answer) {
                                            channel_.Send(kClosed, ToDictionary(answer));
                                            End(0);
                                          }},
                                     &error);
  if (window_ == nullptr) return Fail(error);
  window_->Update(ContentsOf(dictionary));
  window_->Present();
}

void DialogHelper::SetClipboard(const PropertyList::Dictionary& dictionary) {
  // By way of X11 a clipboard can be written without a focused window on most Wayland displays.
  gdk_set_allowed_backends("x11,*");
  // The display alone: without a window nothing else of GTK is needed for as long as this stays.
  if (gdk_display_open(nullptr) == nullptr) return Fail("no display");
  clipboard_ = std::make_unique<ClipboardKeeper>([this] { End(0); });
  std::string error;
  if (!clipboard_->Write(TextOf(dictionary, kText), &error)) return Fail(error);
  channel_.Send(kClipboardWritten);
}

void DialogHelper::Fail(const std::string& reason) {
  Complain(reason);
  channel_.Send(kFailed, {{kReason, reason}});
  End(1);
}

void DialogHelper::End(int exitCode) {
  if (std::exchange(isEnding_, true)) return;
  exitCode_ = exitCode;
  g_main_loop_quit(loop_.get());
}

}  // namespace kelvo::dialog
