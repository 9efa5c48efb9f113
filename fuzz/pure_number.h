// Decimal numbers as the fuzzers of texts read them: digit by digit, without the C library.
#pragma once

#include <stdint.h>

#include <string_view>

// A number at the beginning of a text, behind white space and with a sign.
struct fuzz_number {
    bool m_is_there;        // there is a digit
    bool m_is_exact;        // it fits in 64 bits
    int64_t m_value;        // otherwise the nearest one
    std::string_view m_end; // what stands behind it
};

inline fuzz_number fuzz_number_of(std::string_view text)
{
    size_t at = text.find_first_not_of(" \t\n\v\f\r");
    at = at == std::string_view::npos ? text.size() : at;
    const bool is_negative = at < text.size() && text[at] == '-';
    at += at < text.size() && (text[at] == '-' || text[at] == '+') ? 1 : 0;
    fuzz_number number = {false, true, 0, {}};
    for (; at < text.size() && text[at] >= '0' && text[at] <= '9'; at++) {
        const int digit = text[at] - '0';
        number.m_is_there = true;
        number.m_is_exact = number.m_is_exact && !__builtin_mul_overflow(number.m_value, 10, &number.m_value) &&
                            !__builtin_sub_overflow(number.m_value, is_negative ? digit : -digit, &number.m_value);
        if (!number.m_is_exact) {
            number.m_value = is_negative ? INT64_MIN : INT64_MAX;
        }
    }
    number.m_end = text.substr(at);
    return number;
}

// The nearest number of 32 bits; 0 when there is none.
inline int32_t fuzz_nearest(const fuzz_number &number)
{
    if (number.m_value > INT32_MAX) {
        return INT32_MAX;
    }
    return number.m_value < INT32_MIN ? INT32_MIN : static_cast<int32_t>(number.m_value);
}
