// What a station sends, through the station's reader and dispatcher; and what the modem says between two requests,
// through the relay.
#include "fuzz/world.h"

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    world_begin();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    world_run(world_side::station, data, size);
    return 0;
}
