// What an application sends, through its reader to all of its handlers, and what the modem answers these.
#include "fuzz/world.h"

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    world_begin();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    world_run(world_side::application, data, size);
    return 0;
}
