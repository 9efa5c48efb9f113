// Messages built by any sequence of steps, also on a header that nobody began. A builder of its own, which lays out
// every byte by hand, says after each step what all 4096 bytes are; what was appended is read back the same.
//
// Input: the total length in the header (u16), then steps; the lengths of values are as the input says, far above a
// message's size, too.
#include <string.h>

#include <string>

#include "amt/wire/amt-message.h"
#include "fuzz/pure_input.h"
#include "pub/log/errors.h"

namespace {

constexpr uint32_t k_size = AMT_MESSAGE_SIZE;
constexpr uint32_t k_header_size = 6;
constexpr int k_most_steps = 64;

uint8_t g_message_a[k_size];
uint8_t g_expected_a[k_size];
char g_value_a[k_size + 2]; // what values are made of: characters other than 0, and a terminator

uint32_t expected_total()
{
    return g_expected_a[0] + 256U * g_expected_a[1];
}

bool can_hold(uint64_t more)
{
    return expected_total() >= k_header_size && expected_total() + more <= k_size;
}

void set_expected_total(uint32_t total)
{
    g_expected_a[0] = static_cast<uint8_t>(total % 256);
    g_expected_a[1] = static_cast<uint8_t>(total / 256);
    g_expected_a[4] = static_cast<uint8_t>((total - k_header_size) % 256);
    g_expected_a[5] = static_cast<uint8_t>((total - k_header_size) / 256);
}

// Lays out an atom, if there is room; the code that its builder is to return.
int32_t expect_atom(uint8_t id, uint8_t type, std::string_view value)
{
    if (!can_hold(5 + value.size())) {
        return ERR_INVALID_PARAM;
    }
    const uint32_t total = expected_total();
    const uint8_t head_a[5] = {0xEE, id, type, static_cast<uint8_t>(value.size() % 256),
                               static_cast<uint8_t>(value.size() / 256)};
    memcpy(g_expected_a + total, head_a, sizeof(head_a));
    memcpy(g_expected_a + total + sizeof(head_a), value.data(), value.size());
    set_expected_total(total + static_cast<uint32_t>(sizeof(head_a) + value.size()));
    return ERR_NONE;
}

void begin(uint8_t id)
{
    memset(g_expected_a, 0, sizeof(g_expected_a));
    g_expected_a[2] = 0xBB;
    g_expected_a[3] = id;
    set_expected_total(k_header_size);
    amt_message_init(g_message_a, id);
}

void add_length(uint32_t count)
{
    const int32_t result = amt_message_add_length(g_message_a, count);
    fuzz_check(result == (can_hold(count) ? ERR_NONE : ERR_INVALID_PARAM));
    if (result == ERR_NONE) {
        set_expected_total(expected_total() + count);
    }
}

void append_number(uint8_t id, uint32_t number)
{
    std::string value;
    for (uint32_t rest = number, i = 0; i < 4; i++, rest /= 256) {
        value += static_cast<char>(rest % 256);
    }
    fuzz_check(amt_message_append_int(g_message_a, id, number) == expect_atom(id, AMT_VALUE_INT, value));
}

void append_flag(uint8_t id, uint8_t flag)
{
    const auto value = static_cast<char>(flag);
    fuzz_check(amt_message_append_bool(g_message_a, id, flag) == expect_atom(id, AMT_VALUE_BOOL, {&value, 1}));
}

// A length that no message holds is refused before a byte is looked at.
void append_bytes(uint8_t id, uint32_t length)
{
    const int32_t result = amt_message_append_bytes(g_message_a, id, g_value_a, length);
    if (length == 0 || length > k_size) {
        fuzz_check(result == ERR_INVALID_PARAM);
    } else {
        fuzz_check(result == expect_atom(id, AMT_VALUE_BYTES, {g_value_a, length}));
    }
}

void append_text(uint8_t id, uint32_t length)
{
    const char *text = g_value_a + sizeof(g_value_a) - 1 - length % sizeof(g_value_a);
    fuzz_check(amt_message_append_string(g_message_a, id, text) == expect_atom(id, AMT_VALUE_STRING, text));
}

// One step; the one byte behind `what` is an atom's id, or the command's.
void step(uint8_t what, fuzz_input &input)
{
    const uint8_t id = input.take_u8();
    switch (what % 8) {
    case 0:
        return append_number(id, input.take_u32());
    case 1:
        return append_flag(id, input.take_u8());
    case 2:
        return append_bytes(id, input.take_u8());
    case 3:
        return append_bytes(id, input.take_u32() >> (what >> 3));
    case 4:
        return append_text(id, input.take_u8());
    case 5:
        return append_text(id, input.take_u32() % sizeof(g_value_a));
    case 6:
        return add_length(input.take_u32() >> (what >> 3));
    default:
        return begin(id);
    }
}

// A value stands where its builder left it, as long as no atom of that id stands in front of it.
void check_last(uint32_t offset)
{
    const uint8_t *atom = g_expected_a + offset;
    const uint8_t *length_field = amt_message_find_atom(g_message_a, atom[1]);
    fuzz_check(length_field == nullptr || length_field <= g_message_a + offset + 3);
    if (length_field == g_message_a + offset + 3 && atom[2] == AMT_VALUE_INT) {
        fuzz_check(memcmp(length_field + 2, atom + 5, 4) == 0);
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int * /*argc*/, char *** /*argv*/)
{
    for (size_t i = 0; i + 1 < sizeof(g_value_a); i++) {
        g_value_a[i] = static_cast<char>(1 + i % 255);
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz_input input(data, size);
    memset(g_message_a, 0, sizeof(g_message_a));
    g_message_a[0] = input.take_u8();
    g_message_a[1] = input.take_u8();
    memcpy(g_expected_a, g_message_a, sizeof(g_expected_a));
    bool is_built_here = false; // by atoms alone, from its beginning
    for (int i = 0; i < k_most_steps && !input.is_empty(); i++) {
        const uint8_t what = input.take_u8();
        const uint32_t before = expected_total();
        step(what, input);
        is_built_here = what % 8 == 7 || (is_built_here && what % 8 != 6);
        fuzz_check(memcmp(g_message_a, g_expected_a, sizeof(g_message_a)) == 0);
        if (is_built_here && expected_total() > before && what % 8 != 7) {
            check_last(before);
            fuzz_check(amt_message_is_whole(g_message_a, expected_total()));
            fuzz_check(amt_message_find_atom(g_message_a, g_expected_a[before + 1]) != nullptr);
        }
    }
    return 0;
}
