// The AMT message as a value, see message.h.

#include "station/message.h"

#include "amt/core/command-names.h"
#include "amt/wire/amt-convert.h"
#include "amt/wire/bytes.h"
#include "station/text.h"

#include <cstring>
#include <ostream>
#include <stdexcept>

namespace station {

bool operator==(const atom &a, const atom &b)
{
    return a.id == b.id && a.type == b.type && a.value == b.value;
}

bool operator==(const message &a, const message &b)
{
    return a.id() == b.id() && a.atoms() == b.atoms();
}

bool operator!=(const message &a, const message &b)
{
    return !(a == b);
}

message &message::with_int(std::uint8_t atom_id, std::uint32_t value)
{
    std::uint8_t bytes[AMT_INT_LENGTH];
    store_u32_le(bytes, value);
    return with_atom({atom_id, AMT_VALUE_INT, std::string(std::begin(bytes), std::end(bytes))});
}

message &message::with_bool(std::uint8_t atom_id, bool value)
{
    return with_atom({atom_id, AMT_VALUE_BOOL, std::string(1, value ? '\1' : '\0')});
}

message &message::with_string(std::uint8_t atom_id, std::string_view text)
{
    return with_atom({atom_id, AMT_VALUE_STRING, std::string(text)});
}

message &message::with_bytes(std::uint8_t atom_id, std::string_view bytes)
{
    return with_atom({atom_id, AMT_VALUE_BYTES, std::string(bytes)});
}

message &message::with_atom(atom any)
{
    m_atoms.push_back(std::move(any));
    return *this;
}

const atom *message::find(std::uint8_t atom_id, amt_value_type type) const
{
    for (const atom &each : m_atoms) {
        if (each.id == atom_id) {
            return each.type == type ? &each : nullptr;
        }
    }
    return nullptr;
}

static std::uint32_t int_in(const atom &number)
{
    return load_u32_le(as_wire(number.value));
}

std::optional<std::uint32_t> message::get_int(std::uint8_t atom_id) const
{
    const atom *found = find(atom_id, AMT_VALUE_INT);
    return found != nullptr && found->value.size() == AMT_INT_LENGTH ? std::optional(int_in(*found)) : std::nullopt;
}

std::optional<bool> message::get_bool(std::uint8_t atom_id) const
{
    const atom *found = find(atom_id, AMT_VALUE_BOOL);
    return found != nullptr && found->value.size() == AMT_BOOL_LENGTH ? std::optional(found->value[0] != '\0')
                                                                      : std::nullopt;
}

std::optional<std::string> message::get_string(std::uint8_t atom_id) const
{
    const atom *found = find(atom_id, AMT_VALUE_STRING);
    return found != nullptr ? std::optional(found->value) : std::nullopt;
}

std::optional<std::string> message::get_bytes(std::uint8_t atom_id) const
{
    const atom *found = find(atom_id, AMT_VALUE_BYTES);
    return found != nullptr ? std::optional(found->value) : std::nullopt;
}

std::string name_of(std::uint8_t id)
{
    return amt_get_command_name(id) + (" (" + hex_byte(id) + ")");
}

[[noreturn]] static void refuse_length(std::uint8_t id)
{
    throw std::invalid_argument("the message " + name_of(id) + " is too long for the " +
                                std::to_string(AMT_MESSAGE_SIZE) + " bytes of a request: send less in one message");
}

// False when the atom does not fit any more.
static bool append(std::uint8_t *message, const atom &added)
{
    const std::size_t length = added.value.size();
    std::uint8_t *bytes = message + amt_message_get_total_length(message);
    if (length > AMT_MESSAGE_SIZE ||
        amt_message_add_length(message, AMT_ATOM_HEADER_SIZE + static_cast<std::uint32_t>(length)) != 0) {
        return false;
    }
    bytes[0] = AMT_ATOM_HEAD;
    bytes[1] = added.id;
    bytes[2] = added.type;
    store_u16_le(bytes + 3, static_cast<std::uint16_t>(length));
    std::memcpy(bytes + AMT_ATOM_HEADER_SIZE, added.value.data(), length);
    return true;
}

static amt_buffer buffer_of(const message &what)
{
    amt_buffer buffer = {};
    amt_message_init(buffer.m_data_a, what.id());
    for (const atom &each : what.atoms()) {
        if (!append(buffer.m_data_a, each)) {
            refuse_length(what.id());
        }
    }
    buffer.m_length = amt_message_get_total_length(buffer.m_data_a);
    return buffer;
}

static std::string bytes_of(const amt_buffer &buffer)
{
    return {buffer.m_data_a, buffer.m_data_a + buffer.m_length};
}

std::string message::encode() const
{
    return bytes_of(buffer_of(*this));
}

std::string message::envelope() const
{
    amt_buffer buffer = buffer_of(*this);
    if (amt_convert_app_2_pc(&buffer) != 0) {
        refuse_length(m_id);
    }
    return bytes_of(buffer);
}

static std::string fault_of_header(std::string_view bytes)
{
    const std::string count = std::to_string(bytes.size());
    if (bytes.size() < AMT_COMMAND_HEADER_SIZE) {
        return count + " bytes are too few for a message";
    }
    const std::uint8_t *header = as_wire(bytes);
    if (header[2] != AMT_COMMAND_HEAD) {
        return "command head " + hex_byte(header[2]) + " instead of " + hex_byte(AMT_COMMAND_HEAD);
    }
    const std::uint32_t total = load_u16_le(header);
    const std::uint32_t body = load_u16_le(header + 4);
    if (total != bytes.size()) {
        return "total length " + std::to_string(total) + " of a message of " + count + " bytes";
    }
    if (body != total - AMT_COMMAND_HEADER_SIZE) {
        return "body length " + std::to_string(body) + " of a message of " + count + " bytes";
    }
    return "";
}

// The fault of the atom at the beginning of the rest of a message.
static std::string fault_of_atom(std::string_view rest)
{
    if (rest.size() < AMT_ATOM_HEADER_SIZE) {
        return std::to_string(rest.size()) + " bytes are too few for an atom";
    }
    const std::uint8_t *header = as_wire(rest);
    if (header[0] != AMT_ATOM_HEAD) {
        return "atom head " + hex_byte(header[0]) + " instead of " + hex_byte(AMT_ATOM_HEAD);
    }
    const std::uint32_t length = load_u16_le(header + 3);
    const std::string with_length = "atom " + std::to_string(header[1]) + " with length " + std::to_string(length);
    if (length > rest.size() - AMT_ATOM_HEADER_SIZE) {
        return with_length + " where " + std::to_string(rest.size() - AMT_ATOM_HEADER_SIZE) + " bytes are left";
    }
    switch (header[2]) {
    case AMT_VALUE_INT:
        return length == AMT_INT_LENGTH ? "" : "int " + with_length;
    case AMT_VALUE_BOOL:
        return length == AMT_BOOL_LENGTH ? "" : "bool " + with_length;
    case AMT_VALUE_STRING:
    case AMT_VALUE_BYTES:
        return "";
    default:
        return "atom " + std::to_string(header[1]) + " of unknown type " + std::to_string(header[2]);
    }
}

decoded decode(std::string_view bytes)
{
    std::string fault = fault_of_header(bytes);
    if (!fault.empty()) {
        return {std::nullopt, fault};
    }
    message result(amt_message_get_command_id(as_wire(bytes)));
    for (std::size_t offset = AMT_COMMAND_HEADER_SIZE; offset < bytes.size();) {
        const std::string_view rest = bytes.substr(offset);
        fault = fault_of_atom(rest);
        if (!fault.empty()) {
            return {std::nullopt, fault + ", at offset " + std::to_string(offset)};
        }
        const std::uint8_t *header = as_wire(rest);
        const std::string_view value = rest.substr(AMT_ATOM_HEADER_SIZE, load_u16_le(header + 3));
        result.with_atom({header[1], header[2], std::string(value)});
        offset += AMT_ATOM_HEADER_SIZE + value.size();
    }
    return {std::move(result), ""};
}

const char *type_name(std::uint8_t type)
{
    switch (type) {
    case AMT_VALUE_INT:
        return "int";
    case AMT_VALUE_STRING:
        return "string";
    case AMT_VALUE_BYTES:
        return "bytes";
    case AMT_VALUE_BOOL:
        return "bool";
    default:
        return "unknown";
    }
}

static std::string describe(const atom &what)
{
    const std::string head = std::to_string(what.id) + "=";
    if (what.type == AMT_VALUE_INT && what.value.size() == AMT_INT_LENGTH) {
        return head + "int " + std::to_string(int_in(what));
    }
    if (what.type == AMT_VALUE_BOOL && what.value.size() == AMT_BOOL_LENGTH) {
        return head + "bool " + std::to_string(static_cast<std::uint8_t>(what.value[0]));
    }
    if (what.type == AMT_VALUE_STRING) {
        return head + "string " + quoted(what.value);
    }
    if (what.type == AMT_VALUE_BYTES) {
        return head + "bytes " + in_hex(what.value);
    }
    return head + "type " + std::to_string(what.type) + " " + in_hex(what.value);
}

std::string describe(const message &what)
{
    std::string text = name_of(what.id());
    const char *separator = ": ";
    for (const atom &each : what.atoms()) {
        text += separator + describe(each);
        separator = ", ";
    }
    return text;
}

std::ostream &operator<<(std::ostream &stream, const message &what)
{
    return stream << describe(what);
}

} // namespace station
