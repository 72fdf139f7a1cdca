// What the user sees of the extension's dialogs, and does to them. Main thread.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace kelvo::test {

struct ShownDialog {
  std::string title;
  // What is not hidden, by outlet: texts, titles of buttons; of a box, its title and "[x]" or "[
  // ]".
  std::map<std::string, std::string> outlets;
  bool isModal;
};

class Screen {
 public:
  // False without a display; else the process is an application from then on.
  static bool Open();
  // The visible dialogs, oldest first.
  static std::vector<ShownDialog> Dialogs();
  // Clicks a button or a box of the dialog in that place.
  static void Press(std::size_t dialog, const std::string& outlet);
  // By its close button.
  static void Close(std::size_t dialog);
  // With what each modal session was told to end.
  static std::vector<int> ModalCodes();
  // Calls `look` over and over in modal sessions alone, until it answers true.
  static void InModalSession(std::function<bool()> look);
};

}  // namespace kelvo::test
