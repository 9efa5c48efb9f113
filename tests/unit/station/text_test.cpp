#include "station/text.h"

#include <gtest/gtest.h>

namespace {

struct text_row {
    std::string bytes;
    const char *expected;
};

TEST(StationText, QuotesPrintableCharactersAsTheyAreAndEscapesAllOthers)
{
    const text_row rows[] = {
        {"", R"("")"},
        {" OK~", R"(" OK~")"},
        {"\r\nOK\r\n", R"("\r\nOK\r\n")"},
        {"a\tb", R"("a\tb")"},
        {R"("\)", R"("\"\\")"},
        {std::string("\0\x1F\x7F\x80\xFF", 5), R"("\x00\x1F\x7F\x80\xFF")"},
    };
    for (const text_row &row : rows) {
        EXPECT_EQ(station::quoted(row.bytes), row.expected);
    }
}

TEST(StationText, TellsBytesInHex)
{
    const text_row rows[] = {{"", ""}, {std::string(1, '\0'), "00"}, {"\x0A\xBB\xFF", "0A BB FF"}};
    for (const text_row &row : rows) {
        EXPECT_EQ(station::in_hex(row.bytes), row.expected);
    }
    EXPECT_EQ(station::hex_byte(0), "0x00");
    EXPECT_EQ(station::hex_byte(0xF4), "0xF4");
}

} // namespace
