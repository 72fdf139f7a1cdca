// What the extension and the program kelvo-finder-dialog say to each other over a socket pair:
// messages framed and archived as on the Agent's channel. The helper reads what it needs from the
// dictionaries and takes what is absent as empty or off.
#pragma once

#include "base/property_list.h"
#include "platform/dialogs.h"

namespace kelvo::dialog {

// The helper's end of the socket pair; the only descriptor that it is given beside the standard
// three. Its end of file tells the helper that nobody wants the window any more. A helper that has
// written the clipboard takes no notice of it: the extension closes its end once it has the answer,
// and the helper stays until another program owns the clipboard.
inline constexpr int kChannel = 3;

// To the helper. The first message is kShow, or kSetClipboard for a helper without a window.
inline constexpr char kShow[] = "show";                   // the contents, kInterfaceFile
inline constexpr char kUpdate[] = "update";               // the contents
inline constexpr char kFront[] = "front";                 // kActivationToken, empty for none
inline constexpr char kMeasure[] = "measure";             // from tests of texts and layouts
inline constexpr char kSetClipboard[] = "set_clipboard";  // kText

// From the helper, which need not exit at once after its last message, but has no window by then.
// Any other message, a kShown out of turn, or one over 64 KiB makes the extension end the helper.
inline constexpr char kShown[] = "shown";    // the window is there; also the answer to each kFront
inline constexpr char kFailed[] = "failed";  // kReason; the last message
inline constexpr char kClosed[] = "closed";  // the answer; the last message
inline constexpr char kClipboardWritten[] = "clipboard_written";
// The answer to kMeasure: kUnreadableTexts, kWidth and kHeight of the window, as struct TextFit.
inline constexpr char kMeasured[] = "measured";

inline constexpr char kInterfaceFile[] = "interface_file";
inline constexpr char kActivationToken[] = "activation_token";
inline constexpr char kText[] = "text";
inline constexpr char kReason[] = "reason";
inline constexpr char kUnreadableTexts[] = "unreadable_texts";
inline constexpr char kWidth[] = "width";
inline constexpr char kHeight[] = "height";

PropertyList::Dictionary ToDictionary(const DialogContents& contents);
DialogContents ContentsOf(const PropertyList::Dictionary& dictionary);
PropertyList::Dictionary ToDictionary(const DialogAnswer& answer);
DialogAnswer AnswerOf(const PropertyList::Dictionary& dictionary);
// Empty when the key is absent or no text.
std::string TextOf(const PropertyList::Dictionary& dictionary, const char* key);

}  // namespace kelvo::dialog
