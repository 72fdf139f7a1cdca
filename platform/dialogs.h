#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "platform/run_loop.h"

namespace kelvo {

struct DialogCheckBox {
  std::string title;
  bool isOn = false;
  bool operator==(const DialogCheckBox&) const = default;
};

// The system's own picture for a warning.
inline constexpr char kCautionImage[] = "caution";

// What a dialog shows, by the outlets of the interface file "ConfirmationDialog". Texts are plain
// UTF-8, never markup.
struct DialogContents {
  std::string windowTitle = {};
  std::string image = {};            // file of a picture, kCautionImage, or "" for none
  std::string informationText = {};  // title line
  std::string additionalInformation = {};
  std::string fileName = {};                                 // the file list line
  std::optional<DialogCheckBox> dontShowAgainCheckBox = {};  // nullopt: not shown
  std::optional<DialogCheckBox> openFileAfterLocking = {};   // nullopt: not shown
  std::string okButton = {};
  std::optional<std::string> cancelButton = {};  // a dialog that has it asks; nullopt: not shown
  bool operator==(const DialogContents&) const = default;
};

struct DialogAnswer {
  bool ok = false;  // false, too, for a window closed by its close button
  bool dontShowAgain = false;
  bool openFileAfterLocking = false;
  bool operator==(const DialogAnswer&) const = default;
};

// What counts as the answer to a dialog that no window can be shown for: Cancel to a question, else
// OK; the boxes as they stand. Logs what the dialog said.
DialogAnswer AnswerWithoutWindow(const DialogContents& contents);

// An open dialog. Main loop. Destroying it closes it without an answer.
class DialogWindow {
 public:
  virtual ~DialogWindow() = default;
  // Replaces what is shown, except that a box shown before keeps the state the user gave it.
  virtual void update(const DialogContents& contents) = 0;
  // With the stored activation token, which is used up by it. A window that does not follow within
  // seconds is lost.
  virtual void makeKeyAndOrderFront() = 0;
  // Turns the loop as RunLoop::RunModal does, where the platform has it with no other window taking
  // input meanwhile. The window may be destroyed by what runs inside.
  virtual bool runModal(RunLoop& runLoop, const std::function<bool()>& isOver) {
    return runLoop.RunModal(isOver);
  }
};

// Draws dialogs. Main loop; nothing blocks.
class Dialogs {
 public:
  // Without an answer the window was lost after it was shown, as at the end of the display: nothing
  // in it was the user's choice.
  using Closed = std::function<void(const std::optional<DialogAnswer>& answer)>;

  virtual ~Dialogs() = default;
  // Opens a window in the middle of the screen, in front of all others. `closed` is called once,
  // later, from the loop, unless the window was destroyed before; the window may be destroyed in
  // it. Where no window can be shown, a question is answered with Cancel, and anything else is told
  // in the log and, where there is such a service, as a notification; it counts as closed at once
  // with OK and its boxes as they stand.
  virtual std::unique_ptr<DialogWindow> open(const DialogContents& contents, Closed closed) = 0;
  // What the desktop gave a choice of the user, for the next window that is opened or brought to
  // the front; used once. Empty for none. Any thread.
  virtual void setActivationToken(const std::string& token) = 0;
};

}  // namespace kelvo
