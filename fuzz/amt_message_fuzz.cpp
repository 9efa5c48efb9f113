// Any bytes as a message, read by every reader of amt/wire/amt-message.h. A walk of its own says which atoms there are;
// whatever the lengths claim, nothing is read behind the buffer or written behind the destination.
//
// Input: a capacity, an id, a length, then the message; what is missing of it is 0.
#include <string.h>

#include <algorithm>
#include <array>

#include "amt/wire/amt-message.h"
#include "fuzz/pure_input.h"

namespace {

constexpr size_t k_most_atoms = 16; // of one message, asked for by id
uint8_t g_message_a[AMT_MESSAGE_SIZE];
guarded_bytes<600> g_destination;

struct atom {
    uint8_t m_id;
    std::string_view m_value;
};

uint32_t u16_at(std::string_view bytes, size_t at)
{
    return static_cast<uint8_t>(bytes[at]) + 256U * static_cast<uint8_t>(bytes[at + 1]);
}

// Takes the atom in front; false when it is none, or not whole.
bool take_atom(std::string_view &body, atom &taken)
{
    if (body.size() < 5 || body[0] != '\xEE' || body.size() - 5 < u16_at(body, 3)) {
        return false;
    }
    taken = {static_cast<uint8_t>(body[1]), body.substr(5, u16_at(body, 3))};
    body.remove_prefix(5 + taken.m_value.size());
    return true;
}

uint32_t number_of(std::string_view value)
{
    uint32_t number = 0;
    for (size_t i = std::min<size_t>(value.size(), 4); i > 0; i--) {
        number = number * 256 + static_cast<uint8_t>(value[i - 1]);
    }
    return number;
}

// Whether the destination holds these bytes and, behind them, zeros only.
bool holds(std::string_view bytes)
{
    const std::string_view all = g_destination.bytes();
    return all.substr(0, bytes.size()) == bytes && are_zero(all.substr(bytes.size()));
}

// Both readers of bytes with one capacity above 0; a null value is that of an atom that is absent.
void check_copies(uint8_t id, std::string_view value, uint32_t capacity)
{
    const std::string_view bytes = value.substr(0, capacity);
    fuzz_check(amt_message_get_bytes(g_message_a, id, g_destination.of(capacity), capacity) == bytes.size());
    fuzz_check(g_destination.is_guarded() && holds(bytes));

    const std::string_view text = value.size() > capacity ? value.substr(0, capacity - 1) : value;
    fuzz_check(amt_message_get_string(g_message_a, id, g_destination.of(capacity), capacity) == text.size());
    fuzz_check(g_destination.is_guarded() && holds(text));
}

void check_absent(uint8_t id, uint32_t capacity)
{
    fuzz_check(amt_message_find_atom(g_message_a, id) == nullptr);
    fuzz_check(amt_message_get_int(g_message_a, id) == 0 && amt_message_get_int_or_one(g_message_a, id) == 1);
    fuzz_check(amt_message_get_bytes(g_message_a, id, nullptr, 0) == 0);
    fuzz_check(amt_message_get_string(g_message_a, id, nullptr, 0) == 0);
    check_copies(id, {}, capacity);
}

void check_present(const atom &found, uint32_t capacity)
{
    const auto *value = reinterpret_cast<const uint8_t *>(found.m_value.data());
    const auto length = static_cast<uint32_t>(found.m_value.size());
    fuzz_check(amt_message_find_atom(g_message_a, found.m_id) == value - 2);
    fuzz_check(amt_message_get_int(g_message_a, found.m_id) == number_of(found.m_value));
    fuzz_check(amt_message_get_int_or_one(g_message_a, found.m_id) == number_of(found.m_value));
    fuzz_check(amt_message_get_bytes(g_message_a, found.m_id, nullptr, 0) == length);
    fuzz_check(amt_message_get_string(g_message_a, found.m_id, nullptr, 0) == length + 1);
    check_copies(found.m_id, found.m_value, capacity);
    if (length > 1 && length < 512) { // the capacities at which the text keeps or loses its terminator
        check_copies(found.m_id, found.m_value, length - 1);
        check_copies(found.m_id, found.m_value, length);
        check_copies(found.m_id, found.m_value, length + 1);
    }
}

void check_header(uint32_t length)
{
    const std::string_view bytes(reinterpret_cast<const char *>(g_message_a), sizeof(g_message_a));
    const uint32_t longest = std::max(u16_at(bytes, 0), u16_at(bytes, 4) + 6);
    fuzz_check(amt_message_get_total_length(g_message_a) == u16_at(bytes, 0));
    fuzz_check(amt_message_get_command_id(g_message_a) == g_message_a[3]);
    fuzz_check(amt_message_is_whole(g_message_a, length) == (longest <= length));
}

void check_atoms(uint8_t asked, uint32_t capacity)
{
    const std::string_view bytes(reinterpret_cast<const char *>(g_message_a), sizeof(g_message_a));
    std::string_view body = bytes.substr(6, u16_at(bytes, 4));
    std::array<bool, 256> is_seen = {};
    size_t count = 0;
    for (atom found = {}; take_atom(body, found);) {
        if (!is_seen[found.m_id] && count++ < k_most_atoms) {
            check_present(found, capacity);
        }
        is_seen[found.m_id] = true;
    }
    if (!is_seen[asked]) {
        check_absent(asked, capacity);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz_input input(data, size);
    const uint32_t capacity = 1U + input.take_u8();
    const uint8_t asked = input.take_u8();
    const uint32_t length = input.take_u8() * 17U;
    const std::string_view message = input.take(sizeof(g_message_a));
    memset(g_message_a, 0, sizeof(g_message_a));
    memcpy(g_message_a, message.data(), message.size());
    check_header(length);
    check_header(static_cast<uint32_t>(message.size()));
    check_atoms(asked, capacity);
    return 0;
}
