// What of the desktop badges and menus need.
#pragma once

#include <QString>
#include <functional>
#include <string>

class QWidget;

namespace kelvo {

// Hands `use` what the desktop gives for the window to which the user's present event leads, so
// that it lets it come to the front; empty when it gives nothing. At once, except under Wayland,
// where the compositor is asked; a second at most. `window`: of the event; may be null.
void WithActivationToken(const QWidget* window, std::function<void(const std::string&)> use);

// What the desktop finds an icon of ours by: its name, or, where the installation's prefix is not
// one that icons are looked for in, its file.
QString FindableIcon(const std::string& name);

// Whether the text is in the clipboard now.
bool SetClipboard(const std::string& text);

}  // namespace kelvo
