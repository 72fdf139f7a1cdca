#pragma once

namespace kelvo {

// Gives memory that was freed back to the system, where the allocator would keep it for later. For
// after much was freed at once: it takes time in proportion to what the process holds.
void ReleaseFreeMemory();

}  // namespace kelvo
