// The vectors of tests/vectors/wire.jsonl, and messages as tests lay them out by hand.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "amt/wire/amt-message.h"
#include "tests/support/hex_bytes.h"

struct wire_vector {
    std::string name;
    std::map<std::string, std::string> fields; // hex, but for texts
    [[nodiscard]] byte_vector bytes(const std::string &field) const { return from_hex(fields.at(field)); }
};

// All vectors of one kind; there is at least one.
std::vector<wire_vector> wire_vectors(const std::string &kind);

// The data bytes of a buffer with this beginning, the rest 0: exactly as many as there are, so that the sanitizer sees
// every step too far.
byte_vector data_bytes(const byte_vector &beginning);
byte_vector data_bytes(const std::string &hex);

// The bytes that the message in a buffer's data bytes says it has.
byte_vector message_in(const byte_vector &data);
