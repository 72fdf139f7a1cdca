// Disk space for a file that is about to be written over; file_space_linux.cc and its siblings.
// Any thread.
#pragma once

#include <cstddef>

namespace kelvo {

// Makes sure that the first `length` bytes have their place on the disk; the file's size and bytes
// stay. False, with errno set, only when there is no room: a file system that cannot reserve any
// counts as having it.
[[nodiscard]] bool ReserveFileSpace(int fd, std::size_t length);

}  // namespace kelvo
