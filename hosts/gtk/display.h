// What of the desktop a menu's choice needs.
#pragma once

#include <string>

namespace kelvo {

// For the window to which the present event leads, so that the desktop lets it come to the front;
// empty when nothing is known. Only for a line that was chosen: under Wayland the compositor is
// asked and waited for, as when the file manager opens a file with a program.
std::string ActivationToken();

// False without a display. The text stays when the file manager ends, where the desktop has a
// clipboard manager.
bool SetClipboard(const std::string& text);

}  // namespace kelvo
