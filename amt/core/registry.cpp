#include "amt/core/registry.h"

#include "amt/core/command-names.h"

#define LOG_MODULE "amt/amt-handle"
#include "pub/log/log.h"

int32_t amt_handle_reg_handle_func(uint8_t channel, uint32_t command_id, amt_handle_func handler)
{
    log_func();
    if (command_id >= AMT_HANDLER_COUNT) {
        return log_error(ERR_INVALID_PARAM, "%d", command_id >= AMT_HANDLER_COUNT);
    }
    const bool is_pc = channel == AMT_CHANNEL_PC;
    amt_handle_func &slot =
        (is_pc ? handle_context_st.m_handle_pc_func_a : handle_context_st.m_handle_app_func_a)[command_id];
    if (handler == nullptr) {
        log_warning("clean the handle function of request id: %d", command_id);
    }
    if (slot != nullptr) {
        log_warning("re-register the handle function of request id: %d", command_id);
    }
    slot = handler;
    log_info("%s register command id: %d(0x%02x) - %s", is_pc ? "PC" : "APP", command_id, command_id,
             amt_get_command_name(static_cast<uint8_t>(command_id)));
    return ERR_NONE;
}
