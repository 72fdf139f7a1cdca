// The command-line client of the file-manager bus.

#include <glib.h>

#include "tools/finder/command.h"

int main(int argc, char** argv) {
  g_set_prgname("kelvo-finder");
  return kelvo::finder::RunCommandLine({argv + 1, argv + argc});
}
