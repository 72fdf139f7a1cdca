// What the platform's fcntl.h has and this machine's has not; see ../README.md.
#pragma once

#include_next <fcntl.h>
#include <sys/types.h>

#define O_EXLOCK 0x00000020
#define F_PREALLOCATE 42
#define F_ALLOCATEALL 0x00000004
#define F_PEOFPOSMODE 3

struct fstore_t {
  unsigned int fst_flags;
  int fst_posmode;
  off_t fst_offset;
  off_t fst_length;
  off_t fst_bytesalloc;
};
