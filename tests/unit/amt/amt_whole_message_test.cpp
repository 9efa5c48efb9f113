#include <gtest/gtest.h>

#include <string>

#include "amt/wire/amt-message.h"

namespace {

struct whole_row {
    const char *name;
    uint16_t total_length;
    uint16_t body_length;
    uint32_t bytes;
    bool is_whole;
};

TEST(WholeMessage, LiesInItsBytesByBothOfItsLengths)
{
    const whole_row rows[] = {
        {"all of it", 15, 9, 15, true},
        {"and more", 15, 9, 4095, true},
        {"without a body", 6, 0, 6, true},
        {"a byte is missing", 15, 9, 14, false},
        {"a byte is missing by the total length", 16, 9, 15, false},
        {"a byte is missing by the body's length", 15, 10, 15, false},
        {"no bytes", 0, 0, 0, false},
        {"less than a header", 0, 0, 5, false},
        {"the longest body", 6, 65535, 4095, false},
        {"the longest total", 65535, 0, 4095, false},
    };
    for (const whole_row &row : rows) {
        std::string message(AMT_MESSAGE_SIZE, '\0');
        message[0] = static_cast<char>(row.total_length & 0xFF);
        message[1] = static_cast<char>(row.total_length >> 8);
        message[4] = static_cast<char>(row.body_length & 0xFF);
        message[5] = static_cast<char>(row.body_length >> 8);
        const auto *bytes = reinterpret_cast<const uint8_t *>(message.data());
        EXPECT_EQ(amt_message_is_whole(bytes, row.bytes), row.is_whole) << row.name;
    }
}

} // namespace
