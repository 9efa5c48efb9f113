// Memory that a process has in common with the copies that it makes of itself by fork. Nothing here logs.
#pragma once

#include <stddef.h>

// So many zero bytes, aligned for any object, for the life of the process; null when there is no memory. Any thread.
void *pub_util_share_memory(size_t size);
