// Identity writes on their way to the modem: what a request wants written is noted here, and saved in a file once the
// modem has accepted it. Only what was noted last waits for that. Notes change nothing of the request, which travels
// on.
#pragma once

#include <stdint.h>

#include "amt/identity/pending-identity.h"
#include "amt/wire/amt-message.h"

// Notes what the station's request writes: an AT line by its text, else a message by its command id (255 for a request
// that is no message). Of the PC reader's thread.
void handle_amt_imei_and_sn(uint8_t command_id);

// Saves what was noted of one kind in the file of its channel: channel 1 has files of its own, all others share the
// plain ones. ERR_NONE also when nothing was noted, ERR_INVALID_PARAM for another kind, ERR_UNKNOWN when it cannot be
// saved. Of the modem reader's thread.
[[nodiscard]] int32_t handle_amt_imei_and_sn_save_file(uint8_t kind);

// Looks whether what the modem says, one reading of it, confirms the write that was noted last, which is then saved and
// waits no longer. ERR_NOT_FOUND when none waits, ERR_NONE when this is no confirmation, else the result of the saving.
// Of the modem reader's thread.
[[nodiscard]] int32_t handle_amt_imei_and_sn_rsp(const amt_buffer *answer);
