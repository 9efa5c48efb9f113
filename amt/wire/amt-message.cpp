// Offsets into a message are u32, far above what a u16 length can add to them: none of the sums below can wrap.
#include "amt/wire/amt-message.h"

#include <string.h>

#include "amt/wire/bytes.h"

#define LOG_MODULE "amt/amt-convert"
#include "pub/log/log.h"

namespace {

// A message without a header has no place for an atom; its bytes are not a message yet.
bool is_not_begun(const uint8_t *message)
{
    return message != nullptr && amt_message_get_total_length(message) < AMT_COMMAND_HEADER_SIZE;
}

bool is_full(const uint8_t *message, size_t count)
{
    const size_t total = amt_message_get_total_length(message);
    return total > AMT_MESSAGE_SIZE || count > AMT_MESSAGE_SIZE - total;
}

bool can_grow(const uint8_t *message, size_t count)
{
    return message != nullptr && !is_not_begun(message) && !is_full(message, count);
}

void grow(uint8_t *message, uint32_t count)
{
    const uint32_t total = amt_message_get_total_length(message) + count;
    store_u16_le(message, static_cast<uint16_t>(total));
    store_u16_le(message + 4, static_cast<uint16_t>(total - AMT_COMMAND_HEADER_SIZE));
}

// Writes an atom that fits.
void append_atom(uint8_t *message, uint8_t atom_id, amt_value_type type, const void *value, size_t length)
{
    uint8_t *atom = message + amt_message_get_total_length(message);
    atom[0] = AMT_ATOM_HEAD;
    atom[1] = atom_id;
    atom[2] = type;
    store_u16_le(atom + 3, static_cast<uint16_t>(length));
    memcpy(atom + AMT_ATOM_HEADER_SIZE, value, length);
    grow(message, AMT_ATOM_HEADER_SIZE + static_cast<uint32_t>(length));
}

int32_t append_number(uint8_t *message, uint8_t atom_id, amt_value_type type, const uint8_t *value, uint32_t length)
{
    const size_t size = AMT_ATOM_HEADER_SIZE + length;
    if (!can_grow(message, size)) {
        return log_error(ERR_INVALID_PARAM, "%d, %d, %d", message == nullptr, is_not_begun(message),
                         is_full(message, size));
    }
    append_atom(message, atom_id, type, value, length);
    return ERR_NONE;
}

// An atom's value as far as the buffer holds it.
struct value_view {
    const uint8_t *bytes;
    uint32_t length;    // as the atom declares it
    uint32_t available; // bytes up to the end of the buffer, whatever the length
};

value_view find_value(const uint8_t *message, uint8_t atom_id)
{
    const uint8_t *length_field = amt_message_find_atom(message, atom_id);
    if (length_field == nullptr) {
        return {nullptr, 0, 0};
    }
    const uint8_t *value = length_field + 2;
    return {value, load_u16_le(length_field), AMT_MESSAGE_SIZE - static_cast<uint32_t>(value - message)};
}

uint32_t get_int_or(const uint8_t *message, uint8_t atom_id, uint32_t value_when_absent)
{
    const value_view value = find_value(message, atom_id);
    if (value.bytes == nullptr) {
        return value_when_absent;
    }
    uint8_t bytes_a[AMT_INT_LENGTH] = {};
    memcpy(bytes_a, value.bytes, value.available < sizeof(bytes_a) ? value.available : sizeof(bytes_a));
    return load_u32_le(bytes_a);
}

// Copies `count` bytes of the value; what lies behind the buffer stays 0.
uint32_t copy_value(const value_view &value, void *destination, uint32_t capacity, uint32_t count)
{
    memset(destination, 0, capacity);
    if (value.bytes != nullptr) {
        memcpy(destination, value.bytes, count < value.available ? count : value.available);
    }
    return count;
}

} // namespace

void amt_message_init(uint8_t *message, uint8_t command_id)
{
    if (message == nullptr) {
        (void)log_error(ERR_INVALID_PARAM, "%d", message == nullptr);
        return;
    }
    memset(message, 0, AMT_MESSAGE_SIZE);
    store_u16_le(message, AMT_COMMAND_HEADER_SIZE);
    message[2] = AMT_COMMAND_HEAD;
    message[3] = command_id;
}

int32_t amt_message_add_length(uint8_t *message, uint32_t count)
{
    if (!can_grow(message, count)) {
        return log_error(ERR_INVALID_PARAM, "%d, %d, %d", message == nullptr, is_not_begun(message),
                         is_full(message, count));
    }
    grow(message, count);
    return ERR_NONE;
}

int32_t amt_message_append_int(uint8_t *message, uint8_t atom_id, uint32_t value)
{
    uint8_t value_a[AMT_INT_LENGTH];
    store_u32_le(value_a, value);
    return append_number(message, atom_id, AMT_VALUE_INT, value_a, sizeof(value_a));
}

int32_t amt_message_append_bool(uint8_t *message, uint8_t atom_id, uint8_t value)
{
    return append_number(message, atom_id, AMT_VALUE_BOOL, &value, AMT_BOOL_LENGTH);
}

int32_t amt_message_append_bytes(uint8_t *message, uint8_t atom_id, const void *bytes, uint32_t length)
{
    const size_t size = size_t{AMT_ATOM_HEADER_SIZE} + length;
    if (bytes == nullptr || length == 0 || !can_grow(message, size)) {
        return log_error(ERR_INVALID_PARAM, "%d, %d, %d, %d, %d", message == nullptr, is_not_begun(message),
                         bytes == nullptr, length == 0, is_full(message, size));
    }
    append_atom(message, atom_id, AMT_VALUE_BYTES, bytes, length);
    return ERR_NONE;
}

int32_t amt_message_append_string(uint8_t *message, uint8_t atom_id, const char *text)
{
    const size_t length = text == nullptr ? 0 : strlen(text);
    const size_t size = AMT_ATOM_HEADER_SIZE + length;
    if (text == nullptr || !can_grow(message, size)) {
        return log_error(ERR_INVALID_PARAM, "%d, %d, %d, %d", message == nullptr, is_not_begun(message),
                         text == nullptr, is_full(message, size));
    }
    append_atom(message, atom_id, AMT_VALUE_STRING, text, length);
    return ERR_NONE;
}

const uint8_t *amt_message_find_atom(const uint8_t *message, uint8_t atom_id)
{
    if (message == nullptr) {
        return nullptr;
    }
    const uint32_t message_end = AMT_COMMAND_HEADER_SIZE + load_u16_le(message + 4);
    uint32_t offset = AMT_COMMAND_HEADER_SIZE;
    while (offset < message_end && offset <= AMT_MESSAGE_SIZE - AMT_ATOM_HEADER_SIZE) {
        const uint8_t *atom = message + offset;
        if (atom[0] != AMT_ATOM_HEAD) {
            return nullptr;
        }
        if (atom[1] == atom_id) {
            return atom + 3;
        }
        offset += AMT_ATOM_HEADER_SIZE + load_u16_le(atom + 3);
    }
    return nullptr;
}

uint32_t amt_message_get_int(const uint8_t *message, uint8_t atom_id)
{
    return get_int_or(message, atom_id, 0);
}

uint32_t amt_message_get_int_or_one(const uint8_t *message, uint8_t atom_id)
{
    return get_int_or(message, atom_id, 1);
}

uint32_t amt_message_get_bytes(const uint8_t *message, uint8_t atom_id, void *destination, uint32_t capacity)
{
    const value_view value = find_value(message, atom_id);
    if (capacity == 0) {
        return value.length;
    }
    if (destination == nullptr) {
        (void)log_error(ERR_INVALID_PARAM, "%d", destination == nullptr);
        return 0;
    }
    return copy_value(value, destination, capacity, value.length < capacity ? value.length : capacity);
}

uint32_t amt_message_get_string(const uint8_t *message, uint8_t atom_id, char *destination, uint32_t capacity)
{
    const value_view value = find_value(message, atom_id);
    if (capacity == 0) {
        return value.bytes == nullptr ? 0 : value.length + 1;
    }
    if (destination == nullptr) {
        (void)log_error(ERR_INVALID_PARAM, "%d", destination == nullptr);
        return 0;
    }
    return copy_value(value, destination, capacity, value.length <= capacity ? value.length : capacity - 1);
}

uint8_t amt_message_get_command_id(const uint8_t *message)
{
    return message == nullptr ? 0 : message[3];
}

uint16_t amt_message_get_total_length(const uint8_t *message)
{
    return message == nullptr ? uint16_t{0} : load_u16_le(message);
}
