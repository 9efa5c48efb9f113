// Memory of files, or shared with the copies of a process.
#pragma once

#include <asm/mman.h>
#include <sys/types.h>

#define MAP_SHARED 0x01
#define MAP_FAILED (reinterpret_cast<void *>(-1))

extern "C" {
void *mmap(void *at, size_t size, int protection, int flags, int fd, off_t offset);
int munmap(void *memory, size_t size);
}
