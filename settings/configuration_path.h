// The folder of the active configuration, and paths in it.
//
// The folder is worked out once, at the first request, and kept for the life of the process; a
// change of the active configuration takes effect only in a new process. The first request reads
// the list of configurations under its file lock and blocks for as long as another process keeps
// that: make it on a worker. A request meanwhile waits for the first; later ones are
// served from memory. Any thread.
#pragma once

#include <cstdint>
#include <string>

namespace kelvo {

// The folder, followed by "/" and `fileName` unless that is null. The name is appended unchanged,
// with no check for slashes or "..".
void GetConfigurationPath(std::string* path, const char* fileName);
std::string GetConfigurationPath(const char* fileName);
// Copies the path with its terminator into `buffer`, cut to `size` bytes and then, deliberately,
// not terminated: callers bring 1024 bytes. Answers the buffer.
char* GetConfigurationPath(char* buffer, const char* fileName, std::uint32_t size);
// As above by way of a 1024-byte buffer; an empty or null name means the folder itself.
std::string GetConfigurationNsPath(const std::string* fileName);

// Where the file would be if the folder were worked out now, for a program that only looks: takes
// no lock, leaves no file behind, and may see a list that is being written.
std::string PeekAtConfigurationPath(const char* fileName);

// Forgets the folder, so that a test can work it out anew.
void ResetConfigurationPathForTesting();

}  // namespace kelvo
