// What a modem answers. The requests are those that ask it, as they should be, so that all of an input varies what the
// modem says; and the writes of an identity, which its relayed answers confirm.
#include <string.h>

#include "amt/core/context.h"
#include "amt/wire/amt-convert.h"
#include "fuzz/world.h"
#include "pub/log/errors.h"

namespace {

struct atom {
    uint8_t id; // 0: there is none
    uint8_t type;
    const char *text; // of a string
    uint32_t number;  // of an int
};

// A message, or the line of a station.
struct row {
    uint8_t id;
    bool is_relayed; // as the station's
    const char *line;
    atom atoms_a[3];
};

constexpr atom number(uint8_t id, uint32_t value)
{
    return {id, AMT_VALUE_INT, nullptr, value};
}
constexpr atom text(uint8_t id, const char *value)
{
    return {id, AMT_VALUE_STRING, value, 0};
}

// Their numbers stand in the corpus: append only.
// clang-format off
constexpr row k_rows_a[] = {
    {0x07, false, nullptr, {}},                                                    // the IMEI
    {0x55, false, nullptr, {}},                                                    // the board
    {0xEA, false, nullptr, {}},                                                    // the serial number
    {0x41, false, nullptr, {}},                                                    // the date
    {0x63, false, nullptr, {}},                                                    // the SIM
    {0x2D, false, nullptr, {number(19, 17)}},                                      // a version
    {0x97, false, nullptr, {number(2, 1), text(62, "abc")}},                       // the tunnel, with lengths
    {0x17, false, nullptr, {number(2, 1)}},                                        // and without
    {0x59, false, nullptr, {number(39, 3)}},                                       // a result read
    {0x5B, false, nullptr, {number(39, 3), number(36, 1), text(37, "passed")}},    // and written
    {0xC3, false, nullptr, {number(201, 1)}},                                      // the switch
    {0xC5, false, nullptr, {}},                                                    // and whether it can be
    {0xE8, false, nullptr, {number(159, 1)}},                                      // the channel
    {5,    true,  nullptr, {text(21, "123456789012345")}},
    {87,   true,  nullptr, {text(38, "BOARD0123456789")}},
    {232,  true,  nullptr, {number(159, 1)}},
    {0,    true,  "AT^DCGSNW=123456789012345\r", {}},
    {0,    true,  "AT^DMSN=BOARD0123456789\r", {}},
    {0,    true,  "AT^DMPCHN=1\r", {}},
};
// clang-format on
constexpr size_t k_row_count = sizeof(k_rows_a) / sizeof(k_rows_a[0]);

amt_buffer g_request;

void build(const row &from)
{
    amt_buffer_clear(&g_request);
    amt_message_init(g_request.m_data_a, from.id);
    for (const atom &each : from.atoms_a) {
        if (each.type == AMT_VALUE_INT) {
            (void)amt_message_append_int(g_request.m_data_a, each.id, each.number);
        } else if (each.type == AMT_VALUE_STRING) {
            (void)amt_message_append_string(g_request.m_data_a, each.id, each.text);
        }
    }
    g_request.m_length = amt_message_get_total_length(g_request.m_data_a);
}

world_request translate(const uint8_t *bytes, size_t length)
{
    const row &from = k_rows_a[length == 0 ? 0 : bytes[0] % k_row_count];
    if (from.line != nullptr) {
        return {reinterpret_cast<const uint8_t *>(from.line), strlen(from.line), from.is_relayed};
    }
    build(from);
    if (from.is_relayed && amt_convert_app_2_pc(&g_request) != ERR_NONE) {
        return {bytes, 0, false};
    }
    return {g_request.m_data_a, g_request.m_length, from.is_relayed};
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    world_begin();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    world_run(world_side::application, data, size, translate);
    return 0;
}
