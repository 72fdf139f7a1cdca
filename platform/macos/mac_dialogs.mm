#include "platform/macos/mac_dialogs.h"

#include <utility>

#include "base/guarded_call.h"
#include "platform/macos/confirmation_dialog_window.h"
#include "platform/macos/objc_support.h"
#include "platform/run_loop.h"

namespace kelvo {
namespace {

class MacDialogWindow final : public DialogWindow, private ConfirmationWindowEvents {
 public:
  MacDialogWindow(const DialogContents& contents, Dialogs::Closed closed, RunLoop& runLoop)
      : runLoop_(runLoop), closed_(std::move(closed)) {
    @autoreleasepool {
      @try {
        controller_ = [[KelvoConfirmationDialogController alloc] initWithContents:contents
                                                                           events:this];
        [controller_ makeKeyAndOrderFront];
      } @catch (NSException* exception) {
        LogException("dialog", exception);
        NotShown(contents);
      }
    }
  }

  ~MacDialogWindow() override {
    *alive_ = nullptr;
    @autoreleasepool {
      @try {
        [controller_ closeSilently];
      } @catch (NSException* exception) {
        LogException("closing a dialog", exception);
      }
    }
    // Later, since it may be the one that is called at this moment.
    runLoop_.Post([controller = controller_]() mutable { KELVO_OBJC_RELEASE(controller); });
    controller_ = nil;
  }

  void update(const DialogContents& contents) override {
    @autoreleasepool {
      @try {
        [controller_ update:contents];
      } @catch (NSException* exception) {
        LogException("changing a dialog", exception);
      }
    }
  }

  void makeKeyAndOrderFront() override {
    @autoreleasepool {
      @try {
        [controller_ makeKeyAndOrderFront];
      } @catch (NSException* exception) {
        LogException("showing a dialog", exception);
      }
    }
  }

  // The answer may end this object while the session runs.
  bool runModal(RunLoop& /*runLoop*/, const std::function<bool()>& isOver) override {
    if (isOver()) return true;
    KelvoConfirmationDialogController* controller = KELVO_OBJC_RETAIN(controller_);
    @autoreleasepool {
      @try {
        [controller runModal];
      } @catch (NSException* exception) {
        LogException("asking", exception);
      }
    }
    KELVO_OBJC_RELEASE(controller);
    return isOver();
  }

 private:
  void windowWillClose(const DialogAnswer& answer) override { Tell(answer); }

  void Tell(const DialogAnswer& answer) {
    const Dialogs::Closed closed = std::exchange(closed_, nullptr);
    CallGuarded("answer of a dialog", [&] { closed(answer); });
  }

  void NotShown(const DialogContents& contents) {
    runLoop_.Post([alive = alive_, answer = AnswerWithoutWindow(contents)] {
      if (*alive != nullptr) (*alive)->Tell(answer);
    });
  }

  RunLoop& runLoop_;
  Dialogs::Closed closed_;
  KelvoConfirmationDialogController* controller_ = nil;
  const std::shared_ptr<MacDialogWindow*> alive_ = std::make_shared<MacDialogWindow*>(this);
};

}  // namespace

std::unique_ptr<DialogWindow> MacDialogs::open(const DialogContents& contents, Closed closed) {
  return std::make_unique<MacDialogWindow>(contents, std::move(closed), runLoop_);
}

}  // namespace kelvo
