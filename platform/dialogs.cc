#include "platform/dialogs.h"

#include "base/logger.h"

namespace kelvo {

DialogAnswer AnswerWithoutWindow(const DialogContents& contents) {
  const auto isOn = [](const std::optional<DialogCheckBox>& box) { return box && box->isOn; };
  const std::string text =
      contents.informationText + " " + contents.fileName + " " + contents.additionalInformation;
  const bool isQuestion = contents.cancelButton.has_value();
  KELVO_LOG(
      kLogWarning,
      (isQuestion ? "No window for a question, taken as cancelled: " : "No window for a message: ")
          << text);
  return {!isQuestion, isOn(contents.dontShowAgainCheckBox), isOn(contents.openFileAfterLocking)};
}

}  // namespace kelvo
