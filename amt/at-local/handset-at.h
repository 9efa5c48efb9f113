// Lines for the handset itself, called for a request that holds their text. Each answers it and returns the result of
// the answer; the two with a mandatory field return ERR_INVALID_PARAM, unanswered, without it: the station then gets
// the dispatcher's message instead of a text, keep. Of the PC reader's thread.
#pragma once

#include <stdint.h>

// Acknowledges and, two seconds later, switches the handset off. Returns if that is refused.
int32_t handle_amt_power_off_at();

// "1" reads the serial number of the board, "2,NUMBER" writes it.
constexpr char AT_PCBA_SN[] = "AT^DPCBACTRL=";
int32_t handle_amt_pcba_sn_at();

// "0" forbids the handshake, "1" permits it, "2" reads the flag.
constexpr char AT_NOT_PERMIT[] = "AT^DAMT1=";
int32_t handle_amt_not_permit_handshake_at();

// Lets the handset sink into its idle state.
int32_t handle_amt_enter_idle_at();

// Reads the flag that tells how the last download of the handset's software ended.
int32_t handle_amt_boot_dl_fin_read_at();
