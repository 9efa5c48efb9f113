// Byte strings of tests: written in hex, and compared so that a failure tells where they part.
#pragma once

#include <gtest/gtest.h>
#include <stdint.h>

#include <cstdio>
#include <stdexcept>
#include <string>
#include <vector>

using byte_vector = std::vector<uint8_t>;

// Blanks between the digits are left out.
inline byte_vector from_hex(const std::string &hex)
{
    std::string digits;
    for (const char letter : hex) {
        if (letter != ' ') {
            digits += letter;
        }
    }
    byte_vector bytes;
    for (size_t i = 0; i < digits.size(); i += 2) {
        const std::string pair = digits.substr(i, 2);
        if (pair.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos || pair.size() != 2) {
            throw std::invalid_argument("no hex: " + hex);
        }
        bytes.push_back(static_cast<uint8_t>(std::stoul(pair, nullptr, 16)));
    }
    return bytes;
}

inline std::string to_hex(const byte_vector &bytes)
{
    std::string text;
    char pair[3];
    for (const uint8_t byte : bytes) {
        (void)snprintf(pair, sizeof(pair), "%02x", byte);
        text += pair;
    }
    return text;
}

// EXPECT_TRUE(same_bytes(actual, expected)).
inline ::testing::AssertionResult same_bytes(const byte_vector &actual, const byte_vector &expected)
{
    size_t same = 0;
    while (same < actual.size() && same < expected.size() && actual[same] == expected[same]) {
        same++;
    }
    if (same == actual.size() && same == expected.size()) {
        return ::testing::AssertionSuccess();
    }
    char offset[20];
    (void)snprintf(offset, sizeof(offset), "0x%zx", same);
    return ::testing::AssertionFailure() << "different from offset " << offset << " on\n  actual (" << actual.size()
                                         << " bytes):   " << to_hex(actual) << "\n  expected (" << expected.size()
                                         << " bytes): " << to_hex(expected);
}
