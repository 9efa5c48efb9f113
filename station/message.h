// The AMT message as the station builds and reads it: a command id and a list of atoms. It is a value: it can be
// compared, told in one line, and built wrong on purpose, to see what a handset makes of it. How it lies on the wire is
// amt/wire's. Pure; any thread.
//
//     link.send(station::message(0x2D).with_int(19, 16));

#pragma once

#include "amt/wire/amt-message.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace station {

struct atom {
    std::uint8_t id = 0;
    std::uint8_t type = 0; // an amt_value_type, unless built wrong on purpose
    std::string value;     // its bytes as on the wire
};

bool operator==(const atom &a, const atom &b);

class message {
  public:
    explicit message(std::uint8_t id)
        : m_id(id)
    {
    }

    // Each adds one atom behind the others and returns this message.
    message &with_int(std::uint8_t atom_id, std::uint32_t value);
    message &with_bool(std::uint8_t atom_id, bool value);
    message &with_string(std::uint8_t atom_id, std::string_view text);
    message &with_bytes(std::uint8_t atom_id, std::string_view bytes);

    // Any type with any value: what decode() would refuse as well.
    message &with_atom(atom any);

    std::uint8_t id() const { return m_id; }
    const std::vector<atom> &atoms() const { return m_atoms; }

    // The value of the first atom of that id; nothing when there is none or when it is of another type.
    std::optional<std::uint32_t> get_int(std::uint8_t atom_id) const;
    std::optional<bool> get_bool(std::uint8_t atom_id) const;
    std::optional<std::string> get_string(std::uint8_t atom_id) const;
    std::optional<std::string> get_bytes(std::uint8_t atom_id) const;

    // The result that every answer carries, 0 for success: int atom 1.
    std::optional<std::uint32_t> result() const { return get_int(1); }

    // The bare message, and the message in the envelope of the station's link. Throw std::invalid_argument when it is
    // longer than 4096 bytes, the envelope included.
    std::string encode() const;
    std::string envelope() const;

  private:
    const atom *find(std::uint8_t atom_id, amt_value_type type) const;

    std::uint8_t m_id;
    std::vector<atom> m_atoms;
};

bool operator==(const message &a, const message &b);
bool operator!=(const message &a, const message &b);

struct decoded {
    std::optional<station::message> message;
    std::string error; // why there is none; empty when there is
};

// Reads a bare message, which the bytes must be exactly: every length and head is checked, and so is that an int has
// four bytes, a bool one.
decoded decode(std::string_view bytes);

// "int", "string", "bytes", "bool"; "unknown" for another.
const char *type_name(std::uint8_t type);

// "AMT_VERSION_CMD (0x2D)"
std::string name_of(std::uint8_t id);

// "AMT_VERSION_RSPCMD (0x2E): 19=int 16, 18=bytes 54 45, 21=string "1234", 41=bool 1"
std::string describe(const message &what);
std::ostream &operator<<(std::ostream &stream, const message &what);

} // namespace station
