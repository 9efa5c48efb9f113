#include "amt/at-local/at-chain.h"

#include "amt/at-local/device-at.h"
#include "amt/at-local/version.h"
#include "amt/core/at-parameter.h"
#include "pub/log/errors.h"

namespace {

struct chain_row {
    const char *m_text;
    int32_t (*m_handler)(); // ERR_NOT_FOUND: not its own after all
};

// In the order tried, which decides for a request that holds several of the texts.
// clang-format off
constexpr chain_row k_chain_a[] = {
    {"AT^DSVER\r", handle_amt_sw_version_at},
    {"",           handle_amt_device_at}, // has several texts of its own
};
// clang-format on

} // namespace

int32_t amt_handle_local_at()
{
    for (const chain_row &row : k_chain_a) {
        if (amt_find_in_request(&handle_context_st.m_request, row.m_text) != nullptr) {
            const int32_t result = row.m_handler();
            if (result != ERR_NOT_FOUND) {
                return result;
            }
        }
    }
    return ERR_NOT_FOUND;
}
