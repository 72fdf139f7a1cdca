#include "platform/linux/dialog/dialog_messages.h"

#include <optional>
#include <string>

namespace kelvo::dialog {
namespace {

constexpr char kWindowTitle[] = "window_title";
constexpr char kImage[] = "image";
constexpr char kInformationText[] = "information_text";
constexpr char kAdditionalInformation[] = "additional_information";
constexpr char kFileName[] = "file_name";
constexpr char kOkButton[] = "ok_button";
constexpr char kCancelButton[] = "cancel_button";
constexpr char kOk[] = "ok";
// A box: its title under this key, its state under the key and "_on"; without a title not shown.
constexpr char kDontShowAgain[] = "dont_show_again";
constexpr char kOpenFile[] = "open_file_after_locking";

std::string StateKey(const char* box) { return std::string(box) + "_on"; }

bool BoolOf(const PropertyList::Dictionary& dictionary, const std::string& key) {
  const auto found = dictionary.find(key);
  return found != dictionary.end() && found->second.ToBool().value_or(false);
}

void PutBox(PropertyList::Dictionary& dictionary, const char* key,
            const std::optional<DialogCheckBox>& box) {
  if (!box) return;
  dictionary[key] = box->title;
  dictionary[StateKey(key)] = box->isOn;
}

std::optional<DialogCheckBox> BoxOf(const PropertyList::Dictionary& dictionary, const char* key) {
  if (dictionary.find(key) == dictionary.end()) return std::nullopt;
  return DialogCheckBox{TextOf(dictionary, key), BoolOf(dictionary, StateKey(key))};
}

}  // namespace

std::string TextOf(const PropertyList::Dictionary& dictionary, const char* key) {
  const auto found = dictionary.find(key);
  const std::string* text = found == dictionary.end() ? nullptr : found->second.AsString();
  return text == nullptr ? std::string() : *text;
}

PropertyList::Dictionary ToDictionary(const DialogContents& contents) {
  PropertyList::Dictionary dictionary = {{kWindowTitle, contents.windowTitle},
                                         {kImage, contents.image},
                                         {kInformationText, contents.informationText},
                                         {kAdditionalInformation, contents.additionalInformation},
                                         {kFileName, contents.fileName},
                                         {kOkButton, contents.okButton}};
  PutBox(dictionary, kDontShowAgain, contents.dontShowAgainCheckBox);
  PutBox(dictionary, kOpenFile, contents.openFileAfterLocking);
  if (contents.cancelButton) dictionary[kCancelButton] = *contents.cancelButton;
  return dictionary;
}

DialogContents ContentsOf(const PropertyList::Dictionary& dictionary) {
  DialogContents contents = {.windowTitle = TextOf(dictionary, kWindowTitle),
                             .image = TextOf(dictionary, kImage),
                             .informationText = TextOf(dictionary, kInformationText),
                             .additionalInformation = TextOf(dictionary, kAdditionalInformation),
                             .fileName = TextOf(dictionary, kFileName),
                             .dontShowAgainCheckBox = BoxOf(dictionary, kDontShowAgain),
                             .openFileAfterLocking = BoxOf(dictionary, kOpenFile),
                             .okButton = TextOf(dictionary, kOkButton)};
  if (dictionary.find(kCancelButton) != dictionary.end()) {
    contents.cancelButton = TextOf(dictionary, kCancelButton);
  }
  return contents;
}

PropertyList::Dictionary ToDictionary(const DialogAnswer& answer) {
  return {{kOk, answer.ok},
          {StateKey(kDontShowAgain), answer.dontShowAgain},
          {StateKey(kOpenFile), answer.openFileAfterLocking}};
}

DialogAnswer AnswerOf(const PropertyList::Dictionary& dictionary) {
  return {.ok = BoolOf(dictionary, kOk),
          .dontShowAgain = BoolOf(dictionary, StateKey(kDontShowAgain)),
          .openFileAfterLocking = BoolOf(dictionary, StateKey(kOpenFile))};
}

}  // namespace kelvo::dialog
