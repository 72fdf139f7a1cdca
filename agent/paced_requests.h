#pragma once

#include <functional>
#include <string>
#include <vector>

#include "platform/run_loop.h"

namespace kelvo {

// Calls `send` for each path, in order. A few are sent at once, on the caller's thread; of many,
// the rest follows on the main loop, only as fast as the Agent reads, since the channel gives up
// what it cannot hand over within its limit. When the Agent goes, or reads nothing for as long as
// that limit, the rest is dropped and logged. Then, too, `ended` is called, where there is one:
// once, after the last `send`.
//
// Threads: any. `send` and `ended` must stay callable until it is done.
void SendPaced(RunLoop& runLoop, std::vector<std::string> paths,
               std::function<void(const std::string& path)> send,
               std::function<void()> ended = nullptr);

}  // namespace kelvo
