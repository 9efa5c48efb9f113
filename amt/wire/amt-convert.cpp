// The envelope and its checksum, see amt-convert.h. Pure work on bytes: nothing is kept from one call to the next.
#include "amt/wire/amt-convert.h"

#include <stdlib.h>
#include <string.h>

#include "amt/wire/bytes.h"

#define LOG_MODULE "amt/amt-convert"
#include "pub/log/log.h"

namespace {

constexpr uint32_t k_longest_message = AMT_MESSAGE_SIZE - AMT_ENVELOPE_SIZE;

// An envelope around nothing is none.
constexpr uint32_t k_shortest_envelope = AMT_ENVELOPE_SIZE + 1;

constexpr uint64_t crc_entry(uint64_t byte)
{
    uint64_t entry = byte;
    for (int bit = 0; bit < 8; bit++) {
        entry = (entry & 1) != 0 ? (entry >> 1) ^ 0xEDB88320 : entry >> 1;
    }
    return entry;
}

} // namespace

#define CRC_4(byte) crc_entry(byte), crc_entry((byte) + 1), crc_entry((byte) + 2), crc_entry((byte) + 3)
#define CRC_16(byte) CRC_4(byte), CRC_4((byte) + 4), CRC_4((byte) + 8), CRC_4((byte) + 12)
#define CRC_64(byte) CRC_16(byte), CRC_16((byte) + 16), CRC_16((byte) + 32), CRC_16((byte) + 48)

constexpr uint64_t g_tabCRC32[256] = {CRC_64(0), CRC_64(64), CRC_64(128), CRC_64(192)};
static_assert(g_tabCRC32[1] == 0x77073096 && g_tabCRC32[255] == 0x2D02EF8D, "not the table that the station has");

int32_t amt_convert_app_2_pc(amt_buffer *buffer)
{
    log_func();
    if (buffer == nullptr) {
        return log_error(ERR_INVALID_PARAM, "%d", buffer == nullptr);
    }
    uint8_t *data = buffer->m_data_a;
    const uint32_t length = buffer->m_length != 0 ? buffer->m_length : amt_message_get_total_length(data);
    if (length == 0 || length > k_longest_message) {
        return log_error(ERR_INVALID_PARAM, "%d, %d", length == 0, length > k_longest_message);
    }
    memmove(data + AMT_ENVELOPE_HEADER_SIZE, data, length);
    memset(data, 0, AMT_ENVELOPE_HEADER_SIZE);
    store_u32_le(data, AMT_ENVELOPE_MAGIC);
    store_u32_le(data + 4, length + 8);
    data[8] = AMT_ENVELOPE_TYPE;
    const uint32_t checked = AMT_ENVELOPE_HEADER_SIZE + length;
    store_u32_le(data + checked, amt_convert_crc(data, checked));
    buffer->m_length = checked + AMT_ENVELOPE_TRAILER_SIZE;
    return ERR_NONE;
}

int32_t amt_convert_pc_2_app(amt_buffer *buffer)
{
    log_func();
    if (buffer == nullptr || buffer->m_length == 0) {
        return log_error(ERR_INVALID_PARAM, "%d, %d", buffer == nullptr, buffer != nullptr && buffer->m_length == 0);
    }
    if (buffer->m_length > AMT_MESSAGE_SIZE) {
        return log_error(ERR_INVALID_PARAM, "%u > %u", buffer->m_length, AMT_MESSAGE_SIZE);
    }
    uint8_t *data = buffer->m_data_a;
    if (buffer->m_length < k_shortest_envelope || load_u32_le(data) != AMT_ENVELOPE_MAGIC) {
        return ERR_UNKNOWN;
    }
    const uint32_t length = buffer->m_length - AMT_ENVELOPE_SIZE;
    memmove(data, data + AMT_ENVELOPE_HEADER_SIZE, length);
    memset(data + length, 0, AMT_MESSAGE_SIZE - length); // nothing of the envelope is taken for a message's end
    buffer->m_length = length;
    return ERR_NONE;
}

// A forward shift with the reflected table, over the bytes and four zeros: no standard checksum, but the one that the
// station checks. Keep.
uint32_t amt_convert_crc(const uint8_t *bytes, uint32_t length)
{
    constexpr size_t zeros = 4;
    const size_t count = bytes == nullptr ? 0 : length;
    auto *copy = static_cast<uint8_t *>(malloc(count + zeros));
    if (copy == nullptr) {
        (void)log_sys_error("malloc");
        return UINT32_MAX;
    }
    if (count != 0) {
        memcpy(copy, bytes, count);
    }
    memset(copy + count, 0, zeros);
    uint64_t crc = 0;
    for (size_t i = 0; i < count + zeros; i++) {
        crc = g_tabCRC32[(crc >> 24) & 0xFF] ^ (crc << 8 | copy[i]);
    }
    free(copy);
    return static_cast<uint32_t>(crc);
}
