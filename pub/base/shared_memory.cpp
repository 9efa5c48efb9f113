#include "pub/base/shared_memory.h"

#include <sys/mman.h>

void *pub_util_share_memory(size_t size)
{
    void *memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    return memory == MAP_FAILED ? nullptr : memory;
}
