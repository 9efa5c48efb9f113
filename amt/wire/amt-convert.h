// The envelope in which an AMT message travels on the station's port, and its checksum. The application's port carries
// bare messages. All functions may be called on any thread; a buffer belongs to one at a time.
#pragma once

#include <stdint.h>

#include "amt/wire/amt-message.h"

// An envelope around a message of n bytes; all integers are little-endian.
//
//     0       u32      magic, the bytes AA BB CC DD
//     4       u32      n + 8
//     8       u8       type, 2
//     9       3 bytes  0
//     12      n bytes  the message
//     12 + n  u32      checksum of all before it
constexpr uint32_t AMT_ENVELOPE_MAGIC = 0xDDCCBBAA;
constexpr uint8_t AMT_ENVELOPE_TYPE = 2;
constexpr uint32_t AMT_ENVELOPE_HEADER_SIZE = 12;
constexpr uint32_t AMT_ENVELOPE_TRAILER_SIZE = 4;
constexpr uint32_t AMT_ENVELOPE_SIZE = AMT_ENVELOPE_HEADER_SIZE + AMT_ENVELOPE_TRAILER_SIZE;

// Wraps the message in the buffer, in place; the length becomes that of the envelope. ERR_INVALID_PARAM for a null
// buffer, a buffer without any length, and a message that does not fit with its envelope.
[[nodiscard]] int32_t amt_convert_app_2_pc(amt_buffer *buffer);

// Unwraps in place; the length becomes that of the message, the bytes behind it 0. Only the magic is looked at: the
// station's length, type and checksum are not checked, keep. ERR_INVALID_PARAM for a null buffer and a length of 0 or
// above the buffer's size; ERR_UNKNOWN, unlogged and with the buffer as it was, for what is no envelope: an AT line.
[[nodiscard]] int32_t amt_convert_pc_2_app(amt_buffer *buffer);

// The table of the reflected CRC-32, one entry for each byte.
extern const uint64_t g_tabCRC32[256];

// The checksum of the link. Allocates a copy of the bytes for the call; 0xFFFFFFFF when there is no memory for it. Null
// bytes count as none, and the checksum of no bytes is 0.
[[nodiscard]] uint32_t amt_convert_crc(const uint8_t *bytes, uint32_t length);
