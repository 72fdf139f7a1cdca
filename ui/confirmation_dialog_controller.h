#pragma once

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "agent/notification_module.h"
#include "platform/dialogs.h"

namespace kelvo {

class RunLoop;

// What dialogs stand on; outlives them.
struct DialogSources {
  Dialogs& dialogs;
  RunLoop& runLoop;
};

// The windows that report the result of a lock or unlock, ask before another user's lock is
// overridden, and report a failure. One is open of each kind: what arrives meanwhile is collected
// in it.
//
// Threads: main loop. Lifetime: a controller lives from its show operation until its window closes.
class KelvoConfirmationDialogController {
 public:
  // The kinds; 1 to 4 are errors of that code.
  enum Type : int {
    kErrorWithoutCode = 0,
    kUnlockResult = 5,
    kLockResult = 6,
    kLockOverride = 7,
  };

  // Set once at start. Null ends what is open: no choice of the user is taken from it, and a
  // question is answered false.
  static void SetSources(const DialogSources* sources);

  static void showLockForFile(const std::string& path);
  static void showUnlockForFile(const std::string& path);
  static void showError(int code, const std::string& path);
  // Turns the main loop until the user has answered; true only for OK. While such a question is
  // open, a second one brings it to the front and is answered false.
  static bool showUnlockOverrideForFile(const std::string& path, const std::string& lockOwner,
                                        const std::string& lockTime);

  ~KelvoConfirmationDialogController();
  KelvoConfirmationDialogController(const KelvoConfirmationDialogController&) = delete;
  KelvoConfirmationDialogController& operator=(const KelvoConfirmationDialogController&) = delete;

 private:
  struct ModalSession {
    bool isOver = false;
    int returnCode = 0;
  };
  using OpenDialogs = std::array<std::unique_ptr<KelvoConfirmationDialogController>, 8>;

  explicit KelvoConfirmationDialogController(int type);

  static OpenDialogs& openDialogs();
  // Opens the dialog of the type, or adds the file to the one that is open.
  static void showDialog(int type, const std::string& image, const std::string& title,
                         const std::string& text, const std::string& path);
  void updateWithImage(const std::string& image, const std::string& title, const std::string& text,
                       const std::string& path);
  std::string fileListLine() const;
  // These end with the controller's own end.
  void windowAnswered(const std::optional<DialogAnswer>& answer);
  void release();
  void OKButton();
  void CancelButton();
  void windowWillClose();

  static const DialogSources* theSources;

  const int type_;
  std::vector<std::string> files_;  // names
  std::vector<std::string> filesFullPaths_;
  DialogContents contents_;
  std::unique_ptr<DialogWindow> window_;
  int modalReturnCode_ = 0;
  std::shared_ptr<ModalSession> modalSession_;  // while somebody waits for the answer
};

// The dialogs as the notification module wants them.
class ConfirmationDialogs final : public CNotificationModule::Dialogs {
 public:
  void showError(int code, const std::string& path) override;
  void showUnlockForFile(const std::string& path) override;
  void showLockForFile(const std::string& path) override;
  bool showUnlockOverrideForFile(const std::string& path, const std::string& lockOwner,
                                 const std::string& lockTime) override;
};

}  // namespace kelvo
