// Own declarations, from public documentation; see ../README.md.
#pragma once

#include <stdint.h>

typedef struct __asl_object_s* asl_object_t;

#define ASL_KEY_SENDER "Sender"
#define ASL_LEVEL_DEBUG 7
#define ASL_FILTER_MASK_UPTO(level) ((1 << ((level) + 1)) - 1)
#define ASL_OPT_STDERR 0x00000001
#define ASL_OPT_NO_DELAY 0x00000002
#define ASL_OPT_NO_REMOTE 0x00000004
#define ASL_TYPE_MSG ((uint32_t)0)

extern "C" {
asl_object_t asl_open(const char* ident, const char* facility, uint32_t opts);
void asl_close(asl_object_t client);
asl_object_t asl_new(uint32_t type);
void asl_free(asl_object_t message);
int asl_set(asl_object_t message, const char* key, const char* value);
int asl_set_filter(asl_object_t client, int filter);
int asl_log(asl_object_t client, asl_object_t message, int level, const char* format, ...)
    __attribute__((format(printf, 4, 5)));
}
