// What differs from one kernel to the next about files; file_system_linux.cc and its siblings.
// Any thread.
#pragma once

#include <string>
#include <string_view>

namespace kelvo {

// Whether the path is a directory, links followed; false when it does not exist. May block as long
// as the file system does.
[[nodiscard]] bool IsDirectory(const std::string& path);

// Makes the folders above `path` that are missing, for the user alone (mode 0700). False, with
// errno set, when one cannot be made.
bool MakeParentFolders(const std::string& path);

// The bytes under which the file system knows the UTF-8 path; empty when it can know no such path
// (a zero byte inside, or longer than PATH_MAX takes).
std::string FilesystemRepresentation(std::string_view utf8Path);

// The user's own folder, also where the process has been given another; empty when there is none.
std::string HomeFolder();

}  // namespace kelvo
