#pragma once

#include <gtk/gtk.h>

#include <functional>
#include <string>

namespace kelvo::dialog {

struct TextFit {
  // Those that cannot be read in full, one after the other on lines of their own: shortened, in too
  // little room, reaching out of the window, or with characters that no font has.
  std::string unreadableTexts;
  int width = 0;  // of the window's contents, in its own pixels
  int height = 0;
};

// Tells how the texts of a mapped window fit once it has come to rest: at once when all can be
// read, else after waiting for a better size. Nothing is told of a window that goes before.
//
// Threads: main loop; `measured` is called from it, once.
void MeasureTexts(GtkWindow* window, std::function<void(const TextFit& fit)> measured);

}  // namespace kelvo::dialog
