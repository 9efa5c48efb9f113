#include "amt/channels/start-up.h"

#define LOG_MODULE "amt/amt-handle"
#include "pub/log/log.h"

int32_t amt_handle_init(uint32_t /*platform_flag*/)
{
    log_func();
    return ERR_NONE;
}
