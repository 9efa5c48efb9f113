#include "amt/at-local/at-fields.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string.h>

#include <limits>
#include <string>
#include <vector>

#include "pub/log/errors.h"
#include "tests/support/in_child.h"
#include "tests/support/test_log.h"

namespace {

using ::testing::ElementsAre;

std::vector<std::string> all_of(const std::string &text, size_t length)
{
    std::vector<std::string> result;
    at_fields fields(text.c_str(), length);
    for (const char *field = fields.next(); field != nullptr; field = fields.next()) {
        result.emplace_back(field);
    }
    EXPECT_EQ(fields.next(), nullptr) << "behind the last there is none, however often one asks";
    return result;
}

std::vector<std::string> all_of(const std::string &text)
{
    return all_of(text, text.size());
}

struct text_row {
    const char *text;
    std::vector<std::string> fields;
};

TEST(AtFields, StandBetweenCommas)
{
    const text_row rows[] = {
        {"", {}},
        {",", {}},
        {",,,", {}},
        {"1", {"1"}},
        {"\r", {"\r"}},
        {" ", {" "}},
        {"1,2", {"1", "2"}},
        {"1,6,540,15\r", {"1", "6", "540", "15\r"}},
        {"1,\r", {"1", "\r"}},
        {",1", {"1"}},
        {"1,", {"1"}},
        {"1,,,2", {"1", "2"}},
        {" 1 , 2 ", {" 1 ", " 2 "}},
        {"1;2", {"1;2"}},
        {"1\r\nAT^A=2,3\r", {"1\r\nAT^A=2", "3\r"}},
    };
    for (const text_row &row : rows) {
        EXPECT_EQ(all_of(row.text), row.fields) << "\"" << row.text << "\"";
    }
}

TEST(AtFields, EndWithTheLengthOfTheirText)
{
    const std::string text = "12,34,5";
    const std::vector<std::string> rows[] = {
        {}, {"1"}, {"12"}, {"12"}, {"12", "3"}, {"12", "34"}, {"12", "34"}, {"12", "34", "5"},
    };
    for (size_t length = 0; length <= text.size(); length++) {
        EXPECT_EQ(all_of(text, length), rows[length]) << length;
    }
}

TEST(AtFields, LeaveTheTextAlone)
{
    char text[] = "1,2,3\r";
    EXPECT_THAT(all_of(text), ElementsAre("1", "2", "3\r"));
    EXPECT_EQ(std::string(text, sizeof(text)), std::string("1,2,3\r\0", sizeof(text)));
    at_fields fields(text, strlen(text));
    text[0] = '9';
    EXPECT_STREQ(fields.next(), "1") << "they have a copy";
}

TEST(AtFields, OfTwoTextsAreApart)
{
    at_fields one("1,2", 3);
    at_fields other("3,4", 3);
    const char *first = one.next();
    EXPECT_STREQ(other.next(), "3");
    EXPECT_STREQ(one.next(), "2");
    EXPECT_STREQ(other.next(), "4");
    EXPECT_STREQ(first, "1") << "still valid";
    EXPECT_EQ(one.next(), nullptr);
}

TEST(AtFields, OfATextAsLongAsARequestAreAllThere)
{
    const std::string text = std::string(4094, 'x') + ",y";
    EXPECT_THAT(all_of(text), ElementsAre(std::string(4094, 'x'), "y"));
    EXPECT_THAT(all_of(std::string(5000, 'x')), ElementsAre(std::string(4096, 'x'))) << "cut";
}

struct number_row {
    const char *field;
    int32_t number;
};

// clang-format off
constexpr number_row k_numbers_a[] = {
    {"0",                        0},
    {"12",                       12},
    {"-5",                       -5},
    {"+7",                       7},
    {" 12",                      12},
    {"\r\n\t 12",                12},
    {"12\r",                     12},
    {"12 34",                    12},
    {"12abc",                    12},
    {"010",                      10},
    {"0x10",                     0},
    {"1.9",                      1},
    {"",                         0},
    {"\r",                       0},
    {"abc",                      0},
    {"-",                        0},
    {"- 5",                      0},
    {"2147483647",               std::numeric_limits<int32_t>::max()},
    {"2147483648",               std::numeric_limits<int32_t>::min()},
    {"-2147483648",              std::numeric_limits<int32_t>::min()},
    {"-2147483649",              std::numeric_limits<int32_t>::max()},
    {"4294967295",               -1},
    {"4294967296",               0},
    {"4294967297",               1},
    {"9223372036854775807",      -1},
    {"9223372036854775808",      -1}, // the largest of 64 bits
    {"99999999999999999999999",  -1},
    {"-9223372036854775809",     0}, // the smallest
    {"-99999999999999999999999", 0},
};
// clang-format on

TEST(AtFields, HaveTheNumberAtTheirBeginningIn32Bits)
{
    for (const number_row &row : k_numbers_a) {
        EXPECT_EQ(amt_get_field_number(row.field), row.number) << "\"" << row.field << "\"";
    }
}

// A handler that misses a field.
int32_t amt_test_line()
{
    return amt_tell_missing_field("channel", LOG_HERE);
}

TEST(MissingField, IsToldAsTheHandlersOwn)
{
    in_child([] {
        const test_log log;
        EXPECT_EQ(amt_test_line(), ERR_INVALID_PARAM);
        EXPECT_THAT(log.records(), ElementsAre(k_bad_argument + "channel is null!!!"));
        EXPECT_THAT(log.functions(), ElementsAre("amt_test_line"));
    });
}

} // namespace
