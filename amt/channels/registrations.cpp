#include "amt/channels/registrations.h"

#include <stddef.h>

#include "amt/at-local/version.h"
#include "amt/core/registry.h"
#include "amt/modem/channel-switch.h"

#define LOG_MODULE "amt/amt-handle"
#include "pub/log/log.h"

namespace {

struct registration {
    uint32_t m_id;
    amt_handle_func m_handler;
};

// In the order of registration, which the log shows; of two rows of one id the later one is in force.
// clang-format off

// Requests of the station. What stands in neither this table nor the chain of AT lines goes to the modem.
constexpr registration k_pc_registrations_a[] = {
    {0x2D, handle_amt_pc_req_version},
};

// Requests of the application. What does not stand here is refused.
constexpr registration k_app_registrations_a[] = {
    {0xE8, amt_at_to_modem},
};
// clang-format on

template <size_t count>
constexpr bool can_be_registered(const registration (&rows)[count])
{
    for (const registration &row : rows) {
        if (row.m_id >= AMT_HANDLER_COUNT) {
            return false;
        }
    }
    return true;
}

static_assert(can_be_registered(k_pc_registrations_a), "id 255 cannot be registered");
static_assert(can_be_registered(k_app_registrations_a), "id 255 cannot be registered");

} // namespace

void amt_register_handlers()
{
    for (const registration &row : k_pc_registrations_a) {
        (void)amt_handle_reg_handle_func(AMT_CHANNEL_PC, row.m_id, row.m_handler);
    }
    for (const registration &row : k_app_registrations_a) {
        (void)amt_handle_reg_handle_func(AMT_CHANNEL_APP, row.m_id, row.m_handler);
    }
}
