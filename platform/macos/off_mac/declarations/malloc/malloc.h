#pragma once

#include <stddef.h>

typedef struct _malloc_zone_t malloc_zone_t;
#ifdef __cplusplus
extern "C"
#endif
    size_t
    malloc_zone_pressure_relief(malloc_zone_t* zone, size_t goal);
