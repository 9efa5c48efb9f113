// The AMT message: what the station and the application ask and are answered, at the start of a buffer's data bytes.
// A message is untrusted: its lengths are believed as far as the buffer reaches. A refusal is logged. All functions may
// be called on any thread; a buffer belongs to one at a time.
#pragma once

#include <stdint.h>

constexpr uint32_t AMT_MESSAGE_SIZE = 4096;

// What a request, an answer or an exchange with the modem is held in.
struct amt_buffer {
    uint32_t m_length; // valid bytes; 0: as long as the message says
    uint8_t m_data_a[AMT_MESSAGE_SIZE];
    uint8_t m_end; // always 0: a text search in the bytes stops here
};

// A message, and an atom of it; all integers are little-endian.
//
//     0  u16  total length, these six bytes included      0  u8   atom head, always 0xEE
//     2  u8   command head, always 0xBB                   1  u8   atom id
//     3  u8   command id                                  2  u8   type of the value
//     4  u16  body length: total length - 6               3  u16  length of the value
//     6  ...  atoms, one behind another                   5  ...  value
constexpr uint8_t AMT_COMMAND_HEAD = 0xBB;
constexpr uint8_t AMT_ATOM_HEAD = 0xEE;
constexpr uint32_t AMT_COMMAND_HEADER_SIZE = 6;
constexpr uint32_t AMT_ATOM_HEADER_SIZE = 5;

enum amt_value_type : uint8_t {
    AMT_VALUE_INT = 1,    // u32
    AMT_VALUE_STRING = 2, // text without a terminator
    AMT_VALUE_BYTES = 3,
    AMT_VALUE_BOOL = 4, // one byte
};

constexpr uint32_t AMT_INT_LENGTH = 4;
constexpr uint32_t AMT_BOOL_LENGTH = 1;

// A `message` below is the AMT_MESSAGE_SIZE data bytes of a buffer.

// --- building

// Begins a message: clears all its bytes and writes the header. Nothing happens to a null message.
void amt_message_init(uint8_t *message, uint8_t command_id);

// Makes the message `count` bytes longer. ERR_INVALID_PARAM, and nothing is changed, for a null message, one that was
// never begun, or more bytes than there is room for.
int32_t amt_message_add_length(uint8_t *message, uint32_t count);

// Each of these appends one atom. ERR_INVALID_PARAM, and nothing is appended, when there is no message, when it was
// never begun, when the atom does not fit, when there is no value, and for bytes of length 0.
int32_t amt_message_append_int(uint8_t *message, uint8_t atom_id, uint32_t value);
int32_t amt_message_append_bool(uint8_t *message, uint8_t atom_id, uint8_t value);
int32_t amt_message_append_bytes(uint8_t *message, uint8_t atom_id, const void *bytes, uint32_t length);
int32_t amt_message_append_string(uint8_t *message, uint8_t atom_id, const char *text);

// --- reading

// The length field (u16) of the first atom of that id, its value two bytes further on; null when there is none. An atom
// that does not lie, with all of its value, inside the body and the buffer is no atom, and nothing behind it is.
[[nodiscard]] const uint8_t *amt_message_find_atom(const uint8_t *message, uint8_t atom_id);

// The first four bytes of the atom's value, whatever its type; those that it does not hold are 0. Without the atom 0,
// or 1.
[[nodiscard]] uint32_t amt_message_get_int(const uint8_t *message, uint8_t atom_id);
[[nodiscard]] uint32_t amt_message_get_int_or_one(const uint8_t *message, uint8_t atom_id);

// Copies the value, cut to the capacity, into the cleared destination and returns the count of copied bytes. With a
// capacity of 0 it returns the length of the value instead. Without the atom 0, with the destination cleared.
uint32_t amt_message_get_bytes(const uint8_t *message, uint8_t atom_id, void *destination, uint32_t capacity);

// The same for a text. A value longer than the capacity is cut to capacity - 1 characters; one of exactly the capacity
// fills the destination and has no terminator: keep, the capacities of the requests rely on it. With a capacity of 0 it
// returns the length of the value + 1.
uint32_t amt_message_get_string(const uint8_t *message, uint8_t atom_id, char *destination, uint32_t capacity);

// Whether all of the message lies in its first `length` bytes, by both of its lengths.
[[nodiscard]] bool amt_message_is_whole(const uint8_t *message, uint32_t length);

// 0 for a null message.
[[nodiscard]] uint8_t amt_message_get_command_id(const uint8_t *message);
[[nodiscard]] uint16_t amt_message_get_total_length(const uint8_t *message);
