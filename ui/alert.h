#pragma once

#include <string>

namespace kelvo {

class Dialogs;

// Tells the user of a failure, with one button. One alert is open at a time: a further one takes
// its place. Main loop; returns at once. `dialogs` stays until the alert is closed.
void ShowAlert(Dialogs& dialogs, const std::string& title, const std::string& message,
               const std::string& button);
// Closes the alert that is open, if there is one. Main loop.
void CloseAlert();

}  // namespace kelvo
