#include "station/text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::ThrowsMessage;

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

// Of so many bytes 0x5A.
std::string many(size_t count)
{
    std::string text;
    for (size_t i = 0; i < count; i++) {
        text += i == 0 ? "5A" : " 5A";
    }
    return text;
}

TEST(StationText, TellsOnlyTheFirstOfManyBytesAndHowManyMoreThereAre)
{
    EXPECT_EQ(station::shortened(""), "");
    EXPECT_EQ(station::shortened("\xAA\xBB\r"), "AA BB 0D");
    EXPECT_EQ(station::shortened(std::string(48, 'Z')), many(48));
    EXPECT_EQ(station::shortened(std::string(49, 'Z')), many(48) + " ... (1 more)");
    EXPECT_EQ(station::shortened(std::string(2047, 'Z')), many(48) + " ... (1999 more)");
}

struct hex_row {
    const char *name;
    const char *digits;
    std::string bytes;
};

TEST(StationText, ReadsHexadecimalDigitsInPairsHoweverTheyAreParted)
{
    const hex_row rows[] = {
        {"nothing", "", ""},
        {"nothing but blanks", " \t\r\n", ""},
        {"one byte", "0D", "\r"},
        {"every digit", "0123456789abcdefABCDEF", "\x01\x23\x45\x67\x89\xAB\xCD\xEF\xAB\xCD\xEF"},
        {"zeros", "0000", std::string(2, '\0')},
        {"blanks", "AA BB  0d ", "\xAA\xBB\r"},
        {"tabs and line ends", "\tAA\r\nBB\n0D\r\n", "\xAA\xBB\r"},
        {"commas", "AA,BB, 0D", "\xAA\xBB\r"},
        {"colons", "aa:bb:0d", "\xAA\xBB\r"},
        {"0x before each", "0xAA 0xBB,0x0D", "\xAA\xBB\r"},
        {"0x before the first", "0xAABB0D", "\xAA\xBB\r"},
        {"0x without a blank between", "0xAA0xBB", "\xAA\xBB"},
    };
    for (const hex_row &row : rows) {
        EXPECT_EQ(station::in_hex(station::from_hex(row.digits)), station::in_hex(row.bytes)) << row.name;
    }
}

struct no_hex_row {
    const char *name;
    std::string digits;
    const char *told;
};

TEST(StationText, SaysWhatIsNoByteInHexadecimal)
{
    const no_hex_row rows[] = {
        {"an odd digit at the end", "AABBC", R"("C" is no byte)"},
        {"one digit a byte", "A B", R"("A " is no byte)"},
        {"a letter", "AA 0G", R"("0G" is no byte)"},
        {"a letter first", "G0", R"("G0" is no byte)"},
        {"0x alone", "0x", R"("" is no byte)"},
        {"0x and one digit", "0xA", R"("A" is no byte)"},
        {"0x twice", "0x0xAA", R"("0x" is no byte)"},
        {"a dash between", "AA-BB", R"("-B" is no byte)"},
        {"a sign", "-1", R"("-1" is no byte)"},
        {"a quote", "\"AA\"", R"("\"A" is no byte)"},
        {"a zero byte", std::string("A\0", 2), R"("A\x00" is no byte)"},
        {"beyond ASCII", "\xC3\xA4", R"("\xC3\xA4" is no byte)"},
    };
    for (const no_hex_row &row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_THAT([&] { (void)station::from_hex(row.digits); },
                    ThrowsMessage<std::invalid_argument>(
                        AllOf(HasSubstr(row.told), HasSubstr("such as AA BB 0D"), Not(HasSubstr("\n")))));
    }
}

} // namespace
