// Messages as the tests of handlers ask and expect them: byte by byte, as hex, without the service's own builders.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

// Atoms, and a message around them.
std::string int_atom(uint8_t id, uint32_t value);
std::string text_atom(uint8_t id, const std::string &text);
std::string bytes_atom(uint8_t id, const std::string &bytes);
std::string bool_atom(uint8_t id, uint8_t value);
std::string message_of(uint8_t id, const std::string &atoms = "");

// A message of numbers alone.
using atom_number = std::pair<uint8_t, uint32_t>;
std::string message_with(uint8_t id, const std::vector<atom_number> &numbers);

// The plain answer with a result.
std::string result_of(uint8_t id, uint32_t code);
