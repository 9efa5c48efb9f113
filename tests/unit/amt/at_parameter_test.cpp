#include "amt/core/at-parameter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string.h>

#include <string>

#include "pub/log/errors.h"
#include "tests/support/in_child.h"
#include "tests/support/test_log.h"

namespace {

using ::testing::ElementsAre;

void request(const std::string &bytes)
{
    amt_context_clear();
    handle_context_st.m_request.m_length = static_cast<uint32_t>(bytes.size());
    memcpy(handle_context_st.m_request.m_data_a, bytes.data(), bytes.size());
}

struct parameter_row {
    const char *name;
    const char *request;
    const char *prefix;
    const char *parameter;
};

// clang-format off
constexpr parameter_row k_parameters_a[] = {
    {"plain",                        "AT^DMSN=ABC123\r",             "AT^DMSN=", "ABC123"},
    {"one blank in front",           "AT^DMSN= ABC\r",               "AT^DMSN=", "ABC"},
    {"many blanks in front",         "AT^DMSN=      ABC\r",          "AT^DMSN=", "ABC"},
    {"a tab is no blank",            "AT^DMSN=\tABC\r",              "AT^DMSN=", "\tABC"},
    {"blanks inside and behind",     "AT^DMSN=A B  \r",              "AT^DMSN=", "A B  "},
    {"no carriage return",           "AT^DMSN=ABC",                  "AT^DMSN=", "ABC"},
    {"a line feed does not end it",  "AT^DMSN=ABC\nDEF",             "AT^DMSN=", "ABC\nDEF"},
    {"ends at the first of two",     "AT^DMSN=ABC\rAT^DMSN=DEF\r",   "AT^DMSN=", "ABC"},
    {"nothing before the return",    "AT^DMSN=\r",                   "AT^DMSN=", ""},
    {"blanks only",                  "AT^DMSN=   \r",                "AT^DMSN=", ""},
    {"nothing at all",               "AT^DMSN=",                     "AT^DMSN=", ""},
    {"prefix in the middle",         "xyzAT^DMSN=ABC\r",             "AT^DMSN=", "ABC"},
    {"on the second line",           "AT\r\nAT^DMSN=ABC\r",          "AT^DMSN=", "ABC"},
    {"the first of two prefixes",    "AT^DMSN=AT^DMSN=1\r",          "AT^DMSN=", "AT^DMSN=1"},
    {"19 characters",                "AT^DMSN=1234567890123456789\r",    "AT^DMSN=", "1234567890123456789"},
    {"20 characters",                "AT^DMSN=12345678901234567890\r",   "AT^DMSN=", "12345678901234567890"},
    {"21 characters are cut",        "AT^DMSN=123456789012345678901\r",  "AT^DMSN=", "12345678901234567890"},
    {"cut without a return",         "AT^DMSN=123456789012345678901",    "AT^DMSN=", "12345678901234567890"},
    {"blanks do not count",          "AT^DMSN=  12345678901234567890x\r", "AT^DMSN=", "12345678901234567890"},
    {"prefix of another command",    "AT^DMPCHN=2\r",                "AT^DMPCHN=", "2"},
    {"an empty prefix",              "ATI\r",                        "",         "ATI"},
};
// clang-format on

TEST(AtParameter, IsWhatStandsBehindThePrefix)
{
    for (const parameter_row &row : k_parameters_a) {
        in_child([&row] {
            request(row.request);
            const test_log log;
            std::string output(22, '#');
            uint32_t length = 77;
            EXPECT_EQ(handle_amt_get_at_para(row.prefix, output.data(), &length), ERR_NONE) << row.name;
            EXPECT_EQ(length, strlen(row.parameter)) << row.name;
            std::string expected = row.parameter;
            expected.resize(22, '#'); // no terminator, and nothing behind it
            EXPECT_EQ(output, expected) << row.name;
            EXPECT_THAT(log.records(), ElementsAre("func | ")) << row.name;
        });
    }
}

TEST(AtParameter, EndsAtTheLatestWithAFullRequest)
{
    in_child([] {
        request(std::string(AMT_MESSAGE_SIZE - 11, 'x') + "AT^DMSN=123");
        char output[20] = "";
        uint32_t length = 0;
        EXPECT_EQ(handle_amt_get_at_para("AT^DMSN=", output, &length), ERR_NONE);
        EXPECT_EQ(length, 3U);
        EXPECT_STREQ(output, "123");
        request(std::string(AMT_MESSAGE_SIZE - 10, 'x') + "AT^DMSN=  ");
        EXPECT_EQ(handle_amt_get_at_para("AT^DMSN=", output, &length), ERR_NONE);
        EXPECT_EQ(length, 0U);
    });
}

struct absent_row {
    const char *name;
    std::string request;
    const char *shown; // of the request, in the log
};

const absent_row k_absent_a[] = {
    {"another command", "AT^DMPCHN=2\r", "AT^DMPCHN=2\r"},
    {"other letters", "at^dmsn=1\r", "at^dmsn=1\r"},
    {"half a prefix", "AT^DMSN", "AT^DMSN"},
    {"behind a zero byte", std::string("AT\0AT^DMSN=1\r", 13), "AT"},
};

TEST(AtParameter, OfAPrefixThatIsNotThereIsAFailure)
{
    for (const absent_row &row : k_absent_a) {
        in_child([&row] {
            request(row.request);
            const test_log log;
            std::string output(20, '#');
            uint32_t length = 77;
            EXPECT_EQ(handle_amt_get_at_para("AT^DMSN=", output.data(), &length), ERR_UNKNOWN) << row.name;
            EXPECT_EQ(output, std::string(20, '#')) << row.name;
            EXPECT_EQ(length, 77U) << row.name;
            EXPECT_THAT(log.records(), ElementsAre("func | ", std::string("error | -100 - Unknown error | at cmd[") +
                                                                  row.shown + "] do not include (AT^DMSN=)."))
                << row.name;
        });
    }
}

TEST(AtParameter, IsNotReadWithoutAllArgumentsAndARequest)
{
    in_child([] {
        request("AT^DMSN=1\r");
        char output[20] = "";
        uint32_t length = 77;
        const test_log log;
        EXPECT_EQ(handle_amt_get_at_para(nullptr, output, &length), ERR_INVALID_PARAM);
        EXPECT_EQ(handle_amt_get_at_para("AT^DMSN=", nullptr, &length), ERR_INVALID_PARAM);
        EXPECT_EQ(handle_amt_get_at_para("AT^DMSN=", output, nullptr), ERR_INVALID_PARAM);
        handle_context_st.m_request.m_length = 0;
        EXPECT_EQ(handle_amt_get_at_para("AT^DMSN=", output, &length), ERR_INVALID_PARAM);
        EXPECT_EQ(handle_amt_get_at_para(nullptr, nullptr, nullptr), ERR_INVALID_PARAM);
        EXPECT_STREQ(output, "");
        EXPECT_EQ(length, 77U);
        EXPECT_THAT(log.records(), ElementsAre("func | ", k_bad_argument + "1, 0, 0, 0", //
                                               "func | ", k_bad_argument + "0, 1, 0, 0", //
                                               "func | ", k_bad_argument + "0, 0, 1, 0", //
                                               "func | ", k_bad_argument + "0, 0, 0, 1", //
                                               "func | ", k_bad_argument + "1, 1, 1, 1"));
    });
}

TEST(RequestText, IsFoundWhereItBegins)
{
    in_child([] {
        request("ATI;AT^DSVER\r");
        const amt_buffer &stored = handle_context_st.m_request;
        const char *text = reinterpret_cast<const char *>(stored.m_data_a);
        EXPECT_EQ(amt_find_in_request(&stored, "AT^DSVER\r"), text + 4);
        EXPECT_EQ(amt_find_in_request(&stored, "AT"), text) << "the first of them";
        EXPECT_EQ(amt_find_in_request(&stored, "AT^DSVER\r\n"), nullptr);
    });
}

TEST(RequestText, EndsAtItsFirstZeroByteAndWithTheBuffer)
{
    in_child([] {
        request(std::string("\xAA\xBB\xCC\xDD\0AT^DMSN=1\r", 15));
        EXPECT_EQ(amt_find_in_request(&handle_context_st.m_request, "AT^DMSN="), nullptr);
        request(std::string(AMT_MESSAGE_SIZE, 'x'));
        EXPECT_EQ(amt_find_in_request(&handle_context_st.m_request, "AT"), nullptr);
    });
}

} // namespace
