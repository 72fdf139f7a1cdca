#include "ui/confirmation_dialog_controller.h"

#include <algorithm>
#include <cstdint>
#include <iterator>

#include "agent/notifications_bridge.h"
#include "agent/paced_requests.h"
#include "base/format_text.h"
#include "base/logger.h"
#include "base/string_utils.h"
#include "cache/badge_status.h"
#include "core/overlays.h"
#include "platform/run_loop.h"
#include "settings/application_bundle.h"
#include "ui/display_text.h"
#include "ui/notification_preferences.h"
#include "ui/var_branding.h"

namespace kelvo {
namespace {

// By error code; 0 stands for all below.
constexpr LocalizedText kErrors[] = {
    Localizable("ErrorUnlockDialog.ErrorUnspecified", "Unspecified error"),
    Localizable("ErrorUnlockDialog.ErrorFailed", "Operation failed"),
    Localizable("ErrorUnlockDialog.ErrorNotFound", "Not found"),
    Localizable("ErrorUnlockDialog.ErrorInvalid", "Invalid item"),
    Localizable("ErrorUnlockDialog.ErrorRejected", "Rejected"),
};

std::string BadgePicture(BadgeStatus status) {
  const std::optional<BadgeImage>& image = Overlays::getImageForStatus(static_cast<int>(status));
  return image ? image->path : std::string();
}

std::string OpenFilesTitle(std::size_t count) {
  return count == 1 ? LocalizedString("ConfirmationDialog.OpenFile", "Open file after locking")
                    : LocalizedString("ConfirmationDialog.OpenFiles", "Open files after locking");
}

}  // namespace

const DialogSources* KelvoConfirmationDialogController::theSources = nullptr;

// Never destroyed, so that no window is closed by what runs at the end of the process.
KelvoConfirmationDialogController::OpenDialogs& KelvoConfirmationDialogController::openDialogs() {
  static auto* dialogs = new OpenDialogs();
  return *dialogs;
}

void KelvoConfirmationDialogController::SetSources(const DialogSources* sources) {
  theSources = sources;
  if (sources == nullptr) openDialogs() = {};
}

KelvoConfirmationDialogController::KelvoConfirmationDialogController(int type) : type_(type) {
  contents_.windowTitle = kelvo_VarBranding::instance().processString("$(BRAND_PRODUCT_NAME)");
  contents_.okButton =
      type == kLockOverride
          ? LocalizedString("ConfirmationDialog.LockOverrideOKButton", "Unlock File")
          : LocalizedString("ConfirmationDialog.OKButton", "OK");
  if (type == kLockOverride) {
    contents_.cancelButton = LocalizedString("ConfirmationDialog.CancelButton", "Cancel");
  }
  if (type == kLockResult || type == kUnlockResult) {
    contents_.dontShowAgainCheckBox = DialogCheckBox{
        LocalizedString("ConfirmationDialog.DontShowAgain", "Don't show this message again")};
  }
  if (type == kLockResult) {
    contents_.openFileAfterLocking = DialogCheckBox{OpenFilesTitle(1), GetOpenFileAfterLock()};
  }
}

KelvoConfirmationDialogController::~KelvoConfirmationDialogController() {
  if (modalSession_ != nullptr) modalSession_->isOver = true;
}

void KelvoConfirmationDialogController::showLockForFile(const std::string& path) {
  const bool isFurther = openDialogs()[kLockResult] != nullptr;
  showDialog(
      kLockResult, BadgePicture(BadgeStatus::kLockedForMe),
      isFurther
          ? LocalizedString("ConfirmationDialog.FilesAreNowLocked", "Your files are now locked.")
          : LocalizedString("ConfirmationDialog.FileIsNowLocked", "Your file is now locked."),
      isFurther ? LocalizedString("ConfirmationDialog.FilesLockedText",
                                  "When done working with files, don't forget to unlock them!")
                : LocalizedString("ConfirmationDialog.FileLockedText",
                                  "When done working with the file, don't forget to unlock it!"),
      path);
}

void KelvoConfirmationDialogController::showUnlockForFile(const std::string& path) {
  const bool isFurther = openDialogs()[kUnlockResult] != nullptr;
  showDialog(kUnlockResult, BadgePicture(BadgeStatus::kInSync),
             isFurther ? LocalizedString("ConfirmationDialog.FilesAreNowUnlocked",
                                         "Your files are now unlocked.")
                       : LocalizedString("ConfirmationDialog.FileIsNowUnlocked",
                                         "Your file is now unlocked."),
             "", path);
}

void KelvoConfirmationDialogController::showError(int code, const std::string& path) {
  constexpr int kUnknown = std::size(kErrors);
  if (code >= kUnknown) {
    KELVO_LOG(kLogInformation, "Can't show error dialog for error code: " << code);
    return;
  }
  const int type = std::max<int>(code, kErrorWithoutCode);
  const std::string error = LocalizedString(kErrors[type]);
  showDialog(type, kCautionImage,
             // Deliberate: "Occured", in key and text.
             FormatText(LocalizedString("ErrorDialog.ErrorOccured", "Error occured: %@"), {error}),
             LocalizedString(
                 "ErrorDialog.InformationText",
                 "If you are unsure why you got this message, please contact technical support"),
             path);
}

bool KelvoConfirmationDialogController::showUnlockOverrideForFile(const std::string& path,
                                                                  const std::string& lockOwner,
                                                                  const std::string& lockTime) {
  if (theSources == nullptr) return false;
  if (const auto& open = openDialogs()[kLockOverride]) {
    KELVO_LOG(kLogInformation, "Another lock is being asked about; not unlocked: " << path);
    open->window_->makeKeyAndOrderFront();
    return false;
  }
  RunLoop& runLoop = theSources->runLoop;
  showDialog(
      kLockOverride, BadgePicture(BadgeStatus::kLocked),
      FormatText(
          LocalizedString("ConfirmationDialog.LockOverride", "This file was locked by %@\non %@."),
          {DisplayTextInSentence(lockOwner), DisplayTextInSentence(lockTime)}),
      LocalizedString("ConfirmationDialog.LockOverrideText", "Are you sure you want to unlock it?"),
      path);
  const auto session = std::make_shared<ModalSession>();
  KelvoConfirmationDialogController& asking = *openDialogs()[kLockOverride];
  asking.modalSession_ = session;
  if (!asking.window_->runModal(runLoop, [&session] { return session->isOver; })) {
    KELVO_LOG(kLogInformation, "The program ends before an answer; not unlocked: " << path);
    openDialogs()[kLockOverride].reset();
    return false;
  }
  return session->returnCode == 1;
}

void KelvoConfirmationDialogController::showDialog(int type, const std::string& image,
                                                   const std::string& title,
                                                   const std::string& text,
                                                   const std::string& path) {
  if (theSources == nullptr) return;
  auto& controller = openDialogs()[static_cast<std::size_t>(type)];
  if (controller != nullptr) {
    controller->updateWithImage(image, title, text, path);
    controller->window_->update(controller->contents_);
    return;
  }
  controller.reset(new KelvoConfirmationDialogController(type));
  controller->updateWithImage(image, title, text, path);
  controller->window_ = theSources->dialogs.open(
      controller->contents_,
      [opened = controller.get()](const std::optional<DialogAnswer>& answer) {
        opened->windowAnswered(answer);
      });
}

void KelvoConfirmationDialogController::updateWithImage(const std::string& image,
                                                        const std::string& title,
                                                        const std::string& text,
                                                        const std::string& path) {
  filesFullPaths_.push_back(path);
  files_.push_back(LastPathComponent(path));
  contents_.informationText = title;
  contents_.additionalInformation = text;
  contents_.image = image;
  contents_.fileName = fileListLine();
  if (contents_.openFileAfterLocking) {
    contents_.openFileAfterLocking->title = OpenFilesTitle(files_.size());
  }
}

std::string KelvoConfirmationDialogController::fileListLine() const {
  if (files_.size() == 1) return DisplayText(files_[0]);
  const std::string first = DisplayTextInSentence(files_[0]);
  if (files_.size() == 2) {
    return FormatText(LocalizedString("ConfirmationDialog.TwoFiles", "%@ and %@"),
                      {first, DisplayTextInSentence(files_[1])});
  }
  return FormatText(LocalizedString("ConfirmationDialog.MoreFiles", "%@ and %d other files"),
                    {first, static_cast<std::int64_t>(files_.size() - 1)});
}

void KelvoConfirmationDialogController::windowAnswered(const std::optional<DialogAnswer>& answer) {
  if (!answer) {
    KELVO_LOG(kLogWarning, "A dialog was lost, nothing is taken from it: " << contents_.fileName);
    return release();
  }
  if (contents_.dontShowAgainCheckBox) {
    contents_.dontShowAgainCheckBox->isOn = answer->dontShowAgain;
  }
  if (contents_.openFileAfterLocking) {
    contents_.openFileAfterLocking->isOn = answer->openFileAfterLocking;
  }
  if (answer->ok) {
    OKButton();
  } else {
    CancelButton();
  }
}

void KelvoConfirmationDialogController::OKButton() {
  modalReturnCode_ = 1;
  windowWillClose();
}

void KelvoConfirmationDialogController::CancelButton() {
  modalReturnCode_ = 0;
  windowWillClose();
}

void KelvoConfirmationDialogController::windowWillClose() {
  const bool opensFiles = contents_.openFileAfterLocking && contents_.openFileAfterLocking->isOn;
  if (opensFiles) {
    SendPaced(theSources->runLoop, filesFullPaths_, [](const std::string& path) {
      NotifyAgentEvent(kAgentInstance, "open_file", {{"path", path.c_str()}});
    });
  }
  if (contents_.dontShowAgainCheckBox && contents_.dontShowAgainCheckBox->isOn) {
    if (type_ == kLockResult) SetShowLockNotification(false);
    if (type_ == kUnlockResult) SetShowUnlockNotification(false);
  }
  if (type_ == kLockResult) SetOpenFileAfterLock(opensFiles);
  if (modalSession_ != nullptr) {
    modalSession_->returnCode = modalReturnCode_;
    modalSession_->isOver = true;
  }
  release();
}

void KelvoConfirmationDialogController::release() {
  openDialogs()[static_cast<std::size_t>(type_)].reset();
}

void ConfirmationDialogs::showError(int code, const std::string& path) {
  KelvoConfirmationDialogController::showError(code, path);
}

void ConfirmationDialogs::showUnlockForFile(const std::string& path) {
  KelvoConfirmationDialogController::showUnlockForFile(path);
}

void ConfirmationDialogs::showLockForFile(const std::string& path) {
  KelvoConfirmationDialogController::showLockForFile(path);
}

bool ConfirmationDialogs::showUnlockOverrideForFile(const std::string& path,
                                                    const std::string& lockOwner,
                                                    const std::string& lockTime) {
  return KelvoConfirmationDialogController::showUnlockOverrideForFile(path, lockOwner, lockTime);
}

}  // namespace kelvo
