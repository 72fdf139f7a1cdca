// Files that the Agent puts in place as a whole, so that no lock is needed to read them. Stateless:
// any thread; may block as long as the file system does.
#pragma once

#include <optional>
#include <string>

namespace kelvo {

// The bytes of a regular file of at most 64 MiB; else nullopt, logged unless there is no such file,
// and the reason (errno) in `error` unless that is null.
std::optional<std::string> ReadWholeFile(const std::string& path, int* error = nullptr);

}  // namespace kelvo
