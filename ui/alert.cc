#include "ui/alert.h"

#include <memory>
#include <optional>

#include "platform/dialogs.h"
#include "ui/display_text.h"
#include "ui/var_branding.h"

namespace kelvo {
namespace {

// Never destroyed, so that no window is closed by what runs at the end of the process.
std::unique_ptr<DialogWindow>& OpenAlert() {
  static auto* alert = new std::unique_ptr<DialogWindow>();
  return *alert;
}

}  // namespace

void ShowAlert(Dialogs& dialogs, const std::string& title, const std::string& message,
               const std::string& button) {
  const DialogContents contents{
      .windowTitle = kelvo_VarBranding::instance().processString("$(BRAND_PRODUCT_NAME)"),
      .image = kCautionImage,
      .informationText = DisplayText(title),
      .additionalInformation = DisplayParagraph(message),
      .okButton = DisplayText(button)};
  std::unique_ptr<DialogWindow>& alert = OpenAlert();
  if (alert != nullptr) {
    alert->update(contents);
    alert->makeKeyAndOrderFront();
    return;
  }
  alert = dialogs.open(contents, [](const std::optional<DialogAnswer>&) { CloseAlert(); });
}

void CloseAlert() { OpenAlert().reset(); }

}  // namespace kelvo
