// Draws the dialogs of kelvo-finder-sync, which starts it: the extension itself loads no toolkit.

#include <fcntl.h>
#include <glib.h>
#include <stdio.h>
#include <sys/stat.h>

#include <string_view>

#include "deployment.h"
#include "platform/linux/dialog/complaint.h"
#include "platform/linux/dialog/dialog_helper.h"
#include "platform/linux/dialog/dialog_messages.h"

namespace {

constexpr int kUsageError = 2;

bool IsSocket(int descriptor) {
  struct stat status = {};
  return fstat(descriptor, &status) == 0 && S_ISSOCK(status.st_mode);
}

}  // namespace

int main(int argc, char** argv) {
  using namespace kelvo::dialog;
  const std::string_view argument = argc == 2 ? argv[1] : "";
  if (argument == "--version") {
    printf("%s %s\n", kProgram, kelvo::deployment::kVersion);
    return 0;
  }
  const bool isHelp = argument == "--help";
  if (isHelp || argc > 1 || !IsSocket(kChannel)) {
    fprintf(isHelp ? stdout : stderr,
            "%s shows the dialogs of kelvo-finder-sync, which starts it; people do not.\n",
            kProgram);
    return isHelp ? 0 : kUsageError;
  }
  // A program that a picture loader starts must not keep the extension waiting.
  fcntl(kChannel, F_SETFD, FD_CLOEXEC);
  g_set_prgname(kProgram);
  return DialogHelper(kChannel).Run();
}
