#include <malloc/malloc.h>

#include "base/release_memory.h"

namespace kelvo {

void ReleaseFreeMemory() { ::malloc_zone_pressure_relief(nullptr, 0); }

}  // namespace kelvo
