// Files that are put in place as a whole, so that no lock is needed to read them. Stateless: any
// thread; may block as long as the file system does.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <string_view>

namespace kelvo {

// The bytes of a regular file of at most 64 MiB; else nullopt, logged unless there is no such file,
// and the reason (errno) in `error` unless that is null.
std::optional<std::string> ReadWholeFile(const std::string& path, int* error = nullptr);

// Puts a file with these bytes and access rights in the place of what is there, missing folders
// made. 0, or the reason (errno): then nothing has changed, and no trace is left. What a writer
// that was killed has left beside the file is removed by the next one.
[[nodiscard]] int ReplaceWholeFile(const std::string& path, std::string_view bytes,
                                   mode_t accessRights);

// False, with errno set, when not all bytes could be written.
[[nodiscard]] bool WriteAll(int fd, std::string_view bytes);

}  // namespace kelvo
