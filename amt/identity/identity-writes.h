// Identity writes on their way to the modem: what a request wants written is noted here, and kept until the modem has
// accepted it or the next write of its kind comes. The notes change nothing of the request, which travels on.
#pragma once

#include <stdint.h>

#include <atomic>

// 21 characters can be noted; the last byte is always 0.
constexpr uint32_t AMT_PENDING_SIZE = 21;
extern char pending_imei[AMT_PENDING_SIZE + 1];
extern char pending_sn[AMT_PENDING_SIZE + 1];

enum amt_pending_kind : uint8_t { AMT_PENDING_NONE = 0, AMT_PENDING_IMEI = 1, AMT_PENDING_SN = 2 };
extern std::atomic<uint8_t> pending_kind;    // what was noted last
extern std::atomic<uint8_t> pending_channel; // for which of the modem's channels

// Forgets all notes. Before any reader exists.
void amt_clear_pending_identity();

// Notes what the station's request writes: an AT line by its text, else a message by its command id (255 for a request
// that is no message). Of the PC reader's thread.
void handle_amt_imei_and_sn(uint8_t command_id);
