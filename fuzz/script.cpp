#include "fuzz/script.h"

#include <algorithm>

#include "amt/wire/bytes.h"

namespace {

record_kind kind_of(uint8_t letter)
{
    switch (letter & 7) {
    case 'M' & 7:
        return record_kind::modem;
    case 'C' & 7:
        return record_kind::choices;
    case 'F' & 7:
        return record_kind::file;
    case 'P' & 7:
        return record_kind::property;
    default:
        return record_kind::request;
    }
}

} // namespace

bool script_take(const uint8_t *&bytes, size_t &left, script_record *record)
{
    if (left < SCRIPT_HEADER_SIZE) {
        return false;
    }
    const size_t behind = left - SCRIPT_HEADER_SIZE;
    const size_t length = std::min<size_t>(load_u16_le(bytes + 1), behind);
    *record = {kind_of(bytes[0]), bytes[0], bytes + SCRIPT_HEADER_SIZE, length};
    bytes += SCRIPT_HEADER_SIZE + length;
    left = behind - length;
    return true;
}

void script_append(std::vector<uint8_t> &script, uint8_t letter, const uint8_t *bytes, size_t length)
{
    const size_t kept = std::min(length, SCRIPT_RECORD_MAX);
    uint8_t header_a[SCRIPT_HEADER_SIZE] = {letter};
    store_u16_le(header_a + 1, static_cast<uint16_t>(kept));
    script.insert(script.end(), header_a, header_a + sizeof(header_a));
    script.insert(script.end(), bytes, bytes + kept);
}
