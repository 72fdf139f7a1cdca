#include <stdlib.h>
#ifdef __GLIBC__
#include <malloc.h>
#endif

#include "base/release_memory.h"

namespace kelvo {

void ReleaseFreeMemory() {
#ifdef __GLIBC__
  ::malloc_trim(0);
#endif
}

}  // namespace kelvo
