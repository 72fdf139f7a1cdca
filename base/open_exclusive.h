#pragma once

#include <string>

namespace kelvo {

// Opens the file for reading and writing, creating it (mode 0600) when missing, and waits for the
// exclusive whole-file lock that the Agent takes, too. Missing folders are made (mode 0700).
//
// Blocks for as long as another process keeps the lock: never call it on the main loop.
// The descriptor (closed on exec; closing it releases the lock), or -1 with errno set.
[[nodiscard]] int OpenExclusive(const std::string& path);

}  // namespace kelvo
