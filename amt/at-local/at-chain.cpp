#include "amt/at-local/at-chain.h"

#include "amt/at-local/address-at.h"
#include "amt/at-local/at-line.h"
#include "amt/at-local/device-at.h"
#include "amt/at-local/handset-at.h"
#include "amt/at-local/version.h"

namespace {

// In the order tried, which decides for a request that holds several of the texts. Some handlers look closer: the line
// of an address may not be theirs after all, and a device's has one of several texts.
// clang-format off
constexpr at_row k_chain_a[] = {
    {"AT^DBTADDR",    handle_amt_pc_req_at},
    {"AT^DWIFIADDR",  handle_amt_wifi_at},
    {"AT^DSVER\r",    handle_amt_sw_version_at},
    {"AT^DAMTOFF\r",  handle_amt_power_off_at},
    {"",              handle_amt_device_at},
    {AT_PCBA_SN,      handle_amt_pcba_sn_at},
    {AT_NOT_PERMIT,   handle_amt_not_permit_handshake_at},
    {"AT^DENTERIDLE", handle_amt_enter_idle_at},
    {"AT^DBOOTDLFIN", handle_amt_boot_dl_fin_read_at},
};
// clang-format on

} // namespace

int32_t amt_handle_local_at()
{
    return amt_answer_line(k_chain_a);
}
