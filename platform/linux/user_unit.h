#pragma once

#include <string>
#include <vector>

namespace kelvo {

// Has the user's service manager start `command` in a transient unit of its own, so that it
// inherits nothing of what this process is not allowed. `channel`: becomes its standard input and
// output; it stays the caller's. What `command` itself starts goes on when it ends.
//
// True when the manager has taken it, which does not tell that it runs; else `error` says why not.
// Blocks for some seconds at most. Any thread.
[[nodiscard]] bool StartInUserUnit(const std::string& description,
                                   const std::vector<std::string>& command, int channel,
                                   std::string& error);

}  // namespace kelvo
