// Requests to AT data and AT data to responses, see amt-at-data.h. Integers of AT data are big-endian, its lengths are
// little-endian: the modem's format, keep.
#include "amt/wire/amt-at-data.h"

#include <string.h>

#include "amt/wire/bytes.h"

#define LOG_MODULE "amt/amt-convert"
#include "pub/log/log.h"

namespace {

// --- requests

constexpr uint8_t k_dsp_transparent_control_cmd = 151; // its values go with their lengths
constexpr uint32_t k_length_size = 2;

// An atom at any offset of a message; what lies behind the buffer reads as 0.
struct atom_view {
    uint8_t head;
    uint8_t type;
    uint32_t length;
    uint32_t value_offset;
};

atom_view atom_at(const uint8_t *message, uint32_t offset)
{
    uint8_t header_a[AMT_ATOM_HEADER_SIZE] = {};
    if (offset < AMT_MESSAGE_SIZE) {
        const uint32_t available = AMT_MESSAGE_SIZE - offset;
        memcpy(header_a, message + offset, available < sizeof(header_a) ? available : sizeof(header_a));
    }
    return {header_a[0], header_a[2], load_u16_le(header_a + 3), offset + AMT_ATOM_HEADER_SIZE};
}

// The length that values of a type must have; 0: any.
uint32_t length_of_type(uint8_t type)
{
    switch (type) {
    case AMT_VALUE_INT:
        return AMT_INT_LENGTH;
    case AMT_VALUE_BOOL:
        return AMT_BOOL_LENGTH;
    default:
        return 0;
    }
}

int32_t check_atom(const atom_view &atom)
{
    if (atom.head != AMT_ATOM_HEAD) {
        return log_error(ERR_UNKNOWN, "atom head mismatch: %02X != %02X", atom.head, AMT_ATOM_HEAD);
    }
    if (atom.type < AMT_VALUE_INT || atom.type > AMT_VALUE_BOOL) {
        return log_error(ERR_UNKNOWN, "unknown atom value type: %02X", atom.type);
    }
    const uint32_t length = length_of_type(atom.type);
    if (length != 0 && atom.length != length) {
        return log_error(ERR_UNKNOWN, "atom length mismatch: %02X != %02X", atom.length, length);
    }
    return ERR_NONE;
}

// Appends a checked atom's value, and in front of it its length where the command wants it.
int32_t append_value(const uint8_t *message, const atom_view &atom, uint8_t *output, uint32_t output_size,
                     uint32_t *output_length)
{
    const bool has_length = message[3] == k_dsp_transparent_control_cmd;
    const uint32_t size = atom.length + (has_length ? k_length_size : 0);
    if (size > output_size - *output_length) {
        return log_error(ERR_UNKNOWN, "atom does not fit: %u > %u", size, output_size - *output_length);
    }
    uint8_t *end = output + *output_length;
    if (has_length) {
        store_u16_le(end, static_cast<uint16_t>(atom.length));
        end += k_length_size;
    }
    memcpy(end, message + atom.value_offset, atom.length);
    *output_length += size;
    return ERR_NONE;
}

// Appends the values of all atoms. A body that claims to reach behind the buffer is walked up to the buffer's end.
int32_t append_values(const uint8_t *message, uint8_t *output, uint32_t output_size, uint32_t *output_length)
{
    const uint32_t message_end = AMT_COMMAND_HEADER_SIZE + load_u16_le(message + 4);
    const uint32_t limit = message_end < AMT_MESSAGE_SIZE ? message_end : AMT_MESSAGE_SIZE;
    uint32_t offset = AMT_COMMAND_HEADER_SIZE;
    while (offset < message_end) {
        const atom_view atom = atom_at(message, offset);
        int32_t result = check_atom(atom);
        if (result != ERR_NONE) {
            return result;
        }
        const uint32_t next = atom.value_offset + atom.length;
        if (next > limit) {
            return log_error(ERR_UNKNOWN, "atom ends behind its message: %u > %u", next, limit);
        }
        result = append_value(message, atom, output, output_size, output_length);
        if (result != ERR_NONE) {
            return result;
        }
        offset = next;
    }
    return ERR_NONE;
}

// --- responses

enum class field_kind : uint8_t {
    none,
    number,     // u32, big-endian: an int atom
    flag,       // one byte: a bool atom
    fixed,      // so many bytes: a bytes atom
    short_size, // u16 n, n bytes: a bytes atom
    long_size,  // u32 n, n bytes: a bytes atom
};

struct field {
    field_kind kind;
    uint8_t atom_id;
    uint8_t length; // of a fixed one
};

constexpr field number(uint8_t atom_id)
{
    return {field_kind::number, atom_id, 0};
}
constexpr field flag(uint8_t atom_id)
{
    return {field_kind::flag, atom_id, 0};
}
constexpr field fixed(uint8_t atom_id, uint8_t length)
{
    return {field_kind::fixed, atom_id, length};
}
constexpr field short_size(uint8_t atom_id)
{
    return {field_kind::short_size, atom_id, 0};
}
constexpr field long_size(uint8_t atom_id)
{
    return {field_kind::long_size, atom_id, 0};
}

constexpr uint8_t k_result_atom = 1;

// What follows the result, in the order of the AT data. An id without a row has nothing but its result.
struct response_row {
    uint8_t id;
    field fields_a[2];
};

// clang-format off
constexpr response_row k_responses_a[] = {
    {  8, {fixed(21, 15)}},             // AMT_READIMEI_RSPCMD
    { 24, {number(12), long_size(4)}},  // AMT_RXDATA_RSPCMD
    { 26, {number(13)}},                // AMT_IQPOWER_RSPCMD
    { 46, {number(19), fixed(18, 64)}}, // AMT_VERSION_RSPCMD
    { 48, {long_size(4)}},              // tables read from the modem: 48, 62 and 114
    { 60, {number(24)}},                // AMT_READ_RFADC_RSPCMD
    { 62, {long_size(4)}},              //
    { 78, {long_size(34)}},             // AMT_IQSERIAL_RSPCMD
    {100, {flag(41)}},                  // AMT_USIMCHECK_RSPCMD
    {106, {long_size(43)}},             // AMT_GSM_TRANSPARENT_CONTROL_RSPCMD
    {110, {flag(44)}},                  // AMT_GSM_READTABLE_FLAG_FLASH_RSPCMD
    {114, {long_size(4)}},              //
    {152, {short_size(62)}},            // transparent DSP control: response and indication
    {221, {short_size(62)}},            //
};
// clang-format on

constexpr bool ids_ascend()
{
    for (size_t i = 1; i < sizeof(k_responses_a) / sizeof(k_responses_a[0]); i++) {
        if (k_responses_a[i].id <= k_responses_a[i - 1].id) {
            return false;
        }
    }
    return true;
}
static_assert(ids_ascend(), "a second row of an id would never be read");

// The rest of the input; what lies behind its end reads as 0.
struct at_reader {
    const uint8_t *bytes;
    uint32_t available;
};

// Copies `count` bytes into the cleared destination and moves on.
void read_bytes(at_reader &reader, uint8_t *destination, uint32_t count)
{
    const uint32_t present = count < reader.available ? count : reader.available;
    memcpy(destination, reader.bytes, present);
    reader.bytes += present;
    reader.available -= present;
}

uint8_t read_u8(at_reader &reader)
{
    uint8_t bytes_a[1] = {};
    read_bytes(reader, bytes_a, sizeof(bytes_a));
    return bytes_a[0];
}

uint16_t read_u16_le(at_reader &reader)
{
    uint8_t bytes_a[2] = {};
    read_bytes(reader, bytes_a, sizeof(bytes_a));
    return load_u16_le(bytes_a);
}

uint32_t read_u32_le(at_reader &reader)
{
    uint8_t bytes_a[4] = {};
    read_bytes(reader, bytes_a, sizeof(bytes_a));
    return load_u32_le(bytes_a);
}

uint32_t read_u32_be(at_reader &reader)
{
    uint8_t bytes_a[4] = {};
    read_bytes(reader, bytes_a, sizeof(bytes_a));
    return load_u32_be(bytes_a);
}

// A length that no message holds is left to the appender, which refuses it before it looks at a byte.
int32_t append_bytes(uint8_t *output, uint8_t atom_id, at_reader &reader, uint32_t length)
{
    uint8_t value_a[AMT_MESSAGE_SIZE] = {};
    read_bytes(reader, value_a, length < sizeof(value_a) ? length : sizeof(value_a));
    return amt_message_append_bytes(output, atom_id, value_a, length);
}

int32_t append_field(uint8_t *output, const field &wanted, at_reader &reader)
{
    switch (wanted.kind) {
    case field_kind::number:
        return amt_message_append_int(output, wanted.atom_id, read_u32_be(reader));
    case field_kind::flag:
        return amt_message_append_bool(output, wanted.atom_id, read_u8(reader));
    case field_kind::fixed:
        return append_bytes(output, wanted.atom_id, reader, wanted.length);
    case field_kind::short_size:
        return append_bytes(output, wanted.atom_id, reader, read_u16_le(reader));
    case field_kind::long_size:
        return append_bytes(output, wanted.atom_id, reader, read_u32_le(reader));
    case field_kind::none:
        break;
    }
    return ERR_NONE;
}

int32_t append_fields(uint8_t *output, uint8_t id, at_reader &reader)
{
    for (const response_row &row : k_responses_a) {
        if (row.id != id) {
            continue;
        }
        for (const field &wanted : row.fields_a) {
            const int32_t result = append_field(output, wanted, reader);
            if (result != ERR_NONE) {
                return result;
            }
        }
    }
    return ERR_NONE;
}

} // namespace

int32_t amt_convert_req_amt_data_2_at_data(const uint8_t *message, uint8_t *output, uint32_t output_size,
                                           uint32_t *output_length)
{
    log_func();
    if (message == nullptr || output == nullptr || output_size == 0 || output_length == nullptr) {
        return log_error(ERR_INVALID_PARAM, "%d, %d, %d, %d", message == nullptr, output == nullptr, output_size == 0,
                         output_length == nullptr);
    }
    memset(output, 0, output_size);
    *output_length = 0;
    if (message[2] != AMT_COMMAND_HEAD) {
        return log_error(ERR_UNKNOWN, "command head mismatch: %02X != %02X", message[2], AMT_COMMAND_HEAD);
    }
    output[0] = amt_message_get_command_id(message);
    *output_length = 1;
    return append_values(message, output, output_size, output_length);
}

int32_t amt_convert_rsp_at_data_2_amt_data(const uint8_t *at_data, uint32_t length, uint8_t *output,
                                           uint32_t output_size)
{
    log_func();
    if (at_data == nullptr || length == 0 || output == nullptr || output_size != AMT_MESSAGE_SIZE) {
        return log_error(ERR_INVALID_PARAM, "%d, %d, %d, %d", at_data == nullptr, length == 0, output == nullptr,
                         output_size != AMT_MESSAGE_SIZE);
    }
    at_reader reader = {at_data, length};
    const uint8_t id = read_u8(reader);
    amt_message_init(output, id);
    const int32_t result = amt_message_append_int(output, k_result_atom, read_u32_be(reader));
    if (result != ERR_NONE || reader.available == 0) {
        return result;
    }
    return append_fields(output, id, reader);
}
