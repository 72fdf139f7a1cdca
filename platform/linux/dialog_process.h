#pragma once

#include <gio/gio.h>

#include <optional>
#include <string>

#include "base/unique_fd.h"
#include "platform/linux/glib_ptr.h"

namespace kelvo {

// A process of the program kelvo-finder-dialog. GLib takes care of its end.
struct DialogProcess {
  GObjectPtr<GSubprocess> process;
  UniqueFd channel;  // our end of the socket pair; does not block
};

// Starts the program, an absolute path; nullopt, logged, when it cannot be started.
// `activationToken`: with what its window may come to the front; empty for none. Any thread.
std::optional<DialogProcess> StartDialogProcess(const std::string& program,
                                                const std::string& activationToken);

}  // namespace kelvo
