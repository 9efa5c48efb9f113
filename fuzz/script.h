// What an input of a fuzzer says, one record behind another. So one input holds several requests, with what the modem
// and the handset do meanwhile, and what a request leaves behind meets the next one.
//
//     u8   kind, a letter: only its lowest three bits count, so that every byte is one
//     u16  length, little-endian; one that reaches behind the input is cut
//     ...  bytes
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <vector>

enum class record_kind : uint8_t {
    request, // 'R', and every letter without a meaning: one reading of the station's or the application's channel
    modem,   // 'M': one reading of the modem's
    choices, // 'C': pairs of bytes, a point of world_choices.h and what becomes of the calls there
    file,    // 'F': the number of a file of world_files.h, and what stands in it from now on
    property // 'P': the number of a property, and its value from now on
};

struct script_record {
    record_kind kind;
    uint8_t letter;
    const uint8_t *bytes; // in the input
    size_t length;
};

constexpr size_t SCRIPT_HEADER_SIZE = 3;
constexpr size_t SCRIPT_RECORD_MAX = UINT16_MAX;

// Takes the first record off the bytes. False when there is no whole header any more.
bool script_take(const uint8_t *&bytes, size_t &left, script_record *record);

// Appends a record. A longer one than SCRIPT_RECORD_MAX is cut.
void script_append(std::vector<uint8_t> &script, uint8_t letter, const uint8_t *bytes, size_t length);
