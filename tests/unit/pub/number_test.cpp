#include "pub/base/number.h"

#include <gtest/gtest.h>
#include <stdint.h>

namespace {

struct number_row {
    const char *text;
    int32_t number;
};

TEST(Number, IsReadFromTheBeginningOfAText)
{
    constexpr number_row k_rows_a[] = {
        {"0", 0},
        {"7", 7},
        {"0012", 12},
        {"  5", 5},
        {"\t\n5", 5},
        {"+5", 5},
        {"-5", -5},
        {"- 5", 0},
        {"5x", 5},
        {"5 6", 5},
        {"x5", 0},
        {"", 0},
        {"-", 0},
        {"0x10", 0},
        {"2147483647", INT32_MAX},
        {"2147483648", INT32_MAX},
        {"4294967297", INT32_MAX},
        {"99999999999999999999999", INT32_MAX},
        {"-2147483648", INT32_MIN},
        {"-2147483649", INT32_MIN},
        {"-99999999999999999999999", INT32_MIN},
    };
    for (const number_row &row : k_rows_a) {
        EXPECT_EQ(pub_util_get_number(row.text), row.number) << row.text;
    }
}

} // namespace
