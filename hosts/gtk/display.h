// What of the desktop a menu's choice needs.
#pragma once

#include <string>

namespace kelvo {

// For the window to which the present event leads, so that the desktop lets it come to the front;
// empty when nothing is known. Under Wayland it is empty: to get a token there, GTK would wait for
// the compositor.
std::string ActivationToken();

// False without a display. The text stays when the file manager ends, where the desktop has a
// clipboard manager.
bool SetClipboard(const std::string& text);

}  // namespace kelvo
