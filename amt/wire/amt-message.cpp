// Offsets into a message are u32, far above what the u16 lengths of a message can add to them; the length of a new
// value can be any u32, as a modem says it, and is added in 64 bits. So none of the sums below can wrap.
#include "amt/wire/amt-message.h"

#include <string.h>

#include "amt/wire/bytes.h"

#define LOG_MODULE "amt/amt-convert"
#include "pub/log/log.h"

namespace {

// Whether the message can become `size` bytes longer by an atom with this value. One without a header has no place for
// it: its bytes are not a message yet. A refusal is logged.
bool can_grow(const uint8_t *message, bool has_no_value, bool is_value_empty, uint64_t size)
{
    const uint64_t total = amt_message_get_total_length(message);
    const bool is_not_begun = message != nullptr && total < AMT_COMMAND_HEADER_SIZE;
    const bool is_full = total + size > AMT_MESSAGE_SIZE;
    if (message == nullptr || is_not_begun || has_no_value || is_value_empty || is_full) {
        (void)log_error(ERR_INVALID_PARAM, "%d, %d, %d, %d, %d", message == nullptr, is_not_begun, has_no_value,
                        is_value_empty, is_full);
        return false;
    }
    return true;
}

void grow(uint8_t *message, uint32_t count)
{
    const uint32_t total = load_u16_le(message) + count;
    store_u16_le(message, static_cast<uint16_t>(total));
    store_u16_le(message + 4, static_cast<uint16_t>(total - AMT_COMMAND_HEADER_SIZE));
}

// An empty value is refused or not, as the caller says.
int32_t append_atom(uint8_t *message, uint8_t atom_id, amt_value_type type, const void *value, size_t length,
                    bool is_value_empty)
{
    const uint64_t size = uint64_t{AMT_ATOM_HEADER_SIZE} + length;
    if (!can_grow(message, value == nullptr, is_value_empty, size)) {
        return ERR_INVALID_PARAM;
    }
    uint8_t *atom = message + load_u16_le(message);
    atom[0] = AMT_ATOM_HEAD;
    atom[1] = atom_id;
    atom[2] = type;
    store_u16_le(atom + 3, static_cast<uint16_t>(length));
    memcpy(atom + AMT_ATOM_HEADER_SIZE, value, length);
    grow(message, static_cast<uint32_t>(size));
    return ERR_NONE;
}

// The value of an atom; null bytes when there is no such atom.
struct value_view {
    const uint8_t *bytes;
    uint32_t length;
};

value_view find_value(const uint8_t *message, uint8_t atom_id)
{
    const uint8_t *length_field = amt_message_find_atom(message, atom_id);
    if (length_field == nullptr) {
        return {nullptr, 0};
    }
    return {length_field + 2, load_u16_le(length_field)};
}

uint32_t get_int_or(const uint8_t *message, uint8_t atom_id, uint32_t value_when_absent)
{
    const value_view value = find_value(message, atom_id);
    if (value.bytes == nullptr) {
        return value_when_absent;
    }
    uint8_t bytes_a[AMT_INT_LENGTH] = {};
    memcpy(bytes_a, value.bytes, value.length < sizeof(bytes_a) ? value.length : sizeof(bytes_a));
    return load_u32_le(bytes_a);
}

// Copies `count` bytes of the value; the rest of the destination is 0.
uint32_t copy_value(const value_view &value, void *destination, uint32_t capacity, uint32_t count)
{
    memset(destination, 0, capacity);
    if (value.bytes != nullptr) {
        memcpy(destination, value.bytes, count);
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
    if (!can_grow(message, false, false, count)) {
        return ERR_INVALID_PARAM;
    }
    grow(message, count);
    return ERR_NONE;
}

int32_t amt_message_append_int(uint8_t *message, uint8_t atom_id, uint32_t value)
{
    uint8_t value_a[AMT_INT_LENGTH];
    store_u32_le(value_a, value);
    return append_atom(message, atom_id, AMT_VALUE_INT, value_a, sizeof(value_a), false);
}

int32_t amt_message_append_bool(uint8_t *message, uint8_t atom_id, uint8_t value)
{
    return append_atom(message, atom_id, AMT_VALUE_BOOL, &value, AMT_BOOL_LENGTH, false);
}

int32_t amt_message_append_bytes(uint8_t *message, uint8_t atom_id, const void *bytes, uint32_t length)
{
    return append_atom(message, atom_id, AMT_VALUE_BYTES, bytes, length, length == 0);
}

int32_t amt_message_append_string(uint8_t *message, uint8_t atom_id, const char *text)
{
    return append_atom(message, atom_id, AMT_VALUE_STRING, text, text == nullptr ? 0 : strlen(text), false);
}

const uint8_t *amt_message_find_atom(const uint8_t *message, uint8_t atom_id)
{
    if (message == nullptr) {
        return nullptr;
    }
    const uint32_t body_end = AMT_COMMAND_HEADER_SIZE + load_u16_le(message + 4);
    const uint32_t end = body_end < AMT_MESSAGE_SIZE ? body_end : AMT_MESSAGE_SIZE;
    uint32_t offset = AMT_COMMAND_HEADER_SIZE;
    while (offset + AMT_ATOM_HEADER_SIZE <= end) {
        const uint8_t *atom = message + offset;
        const uint32_t size = AMT_ATOM_HEADER_SIZE + load_u16_le(atom + 3);
        if (atom[0] != AMT_ATOM_HEAD || size > end - offset) {
            return nullptr;
        }
        if (atom[1] == atom_id) {
            return atom + 3;
        }
        offset += size;
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

bool amt_message_is_whole(const uint8_t *message, uint32_t length)
{
    return length >= AMT_COMMAND_HEADER_SIZE && load_u16_le(message) <= length &&
           AMT_COMMAND_HEADER_SIZE + load_u16_le(message + 4) <= length;
}

uint8_t amt_message_get_command_id(const uint8_t *message)
{
    return message == nullptr ? 0 : message[3];
}

uint16_t amt_message_get_total_length(const uint8_t *message)
{
    return message == nullptr ? uint16_t{0} : load_u16_le(message);
}
