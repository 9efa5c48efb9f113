#include "pub/log/log_record.h"

#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string.h>

#include <string>
#include <string_view>

namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;

constexpr sfw_log_site k_site = {"amt/test", "a_function", 42};
constexpr sfw_log_circumstances k_noon = {12, 34, 56, 7, 4711, 0, nullptr};

sfw_log_record record_of(uint32_t level)
{
    return {k_site, level, 0, sfw_log_dump::none, nullptr, 0, nullptr, sfw_log_port::none, 0};
}

// The bytes are borrowed: they must outlive the record.
sfw_log_record dump_of(uint32_t level, sfw_log_dump kind, std::string_view bytes)
{
    sfw_log_record record = record_of(level);
    record.m_dump_kind = kind;
    record.m_data = bytes.empty() ? nullptr : bytes.data();
    record.m_length = bytes.size();
    return record;
}

std::string line_of(const sfw_log_record &record, const sfw_log_circumstances &circumstances = k_noon)
{
    char line[SFW_LOG_LINE_SIZE];
    memset(line, '#', sizeof(line));
    const size_t length = sfw_log_format_record(record, circumstances, line);
    EXPECT_LE(length, SFW_LOG_LINE_LENGTH + 1);
    EXPECT_EQ(strnlen(line, sizeof(line)), length) << "terminated right behind its end";
    EXPECT_EQ(line[length - 1], '\n');
    return {line, length};
}

// What stands behind the columns, without the line feed.
std::string info_of(const sfw_log_record &record, const char *extended_info = nullptr, int saved_errno = 0)
{
    sfw_log_circumstances circumstances = k_noon;
    circumstances.m_extended_info = extended_info;
    circumstances.m_errno = saved_errno;
    const std::string line = line_of(record, circumstances);
    return line.substr(87, line.size() - 88);
}

TEST(LogRecord, HasFixedColumns)
{
    sfw_log_circumstances now = k_noon;
    now.m_extended_info = "hello";
    EXPECT_EQ(line_of(record_of(SFW_LOG_INFO), now),
              "12:34:56:007 |     4711 | a_function                         |     42 | info         | hello\n");
}

TEST(LogRecord, PadsTheTimeWithZeros)
{
    const sfw_log_circumstances early = {1, 2, 3, 4, 1, 0, nullptr};
    EXPECT_THAT(line_of(record_of(SFW_LOG_FUNC), early), HasSubstr("01:02:03:004 |        1 | "));
}

TEST(LogRecord, CallsAThreadWithoutANumberMain)
{
    sfw_log_circumstances now = k_noon;
    now.m_thread_id = -1;
    EXPECT_EQ(line_of(record_of(SFW_LOG_FUNC), now),
              "12:34:56:007 |   (main) | a_function                         |     42 | func         | \n");
}

TEST(LogRecord, GivesALongNumberItsSignSlot)
{
    sfw_log_circumstances now = k_noon;
    now.m_thread_id = 12345678;
    sfw_log_record record = record_of(SFW_LOG_FUNC);
    record.m_site.m_line = 1234567;
    EXPECT_EQ(line_of(record, now),
              "12:34:56:007 |  12345678 | a_function                         |  1234567 | func         | \n");
}

TEST(LogRecord, WritesALongFunctionNameWholeAndWithoutPadding)
{
    sfw_log_record record = record_of(SFW_LOG_FUNC);
    const std::string name(40, 'f');
    record.m_site.m_function = name.c_str();
    EXPECT_THAT(line_of(record), HasSubstr("4711 | " + name + " |     42 | "));
}

struct level_row {
    uint32_t level;
    const char *name;
};

TEST(LogRecord, NamesTheFirstLevelThatSharesABit)
{
    // clang-format off
    constexpr level_row k_rows_a[] = {
        {1, "info        "}, {2, "func        "}, {4, "func param  "}, {8, "warning     "}, {16, "error       "},
        {32, "fatal error "}, {64, "sys error   "}, {128, "IPC msg     "}, {256, "user msg    "},
        {512, "at cmd      "}, {1024, "data        "},
        {3, "info        "}, {6, "func        "}, {24, "warning     "}, {0xFFFFFFFF, "info        "},
        {2048, "            "}, {0, "            "},
    };
    // clang-format on
    for (const level_row &row : k_rows_a) {
        EXPECT_THAT(line_of(record_of(row.level)), HasSubstr(std::string("     42 | ") + row.name + " | "))
            << row.level;
    }
}

TEST(LogRecord, AnErrorTellsItsCodeAndSetsTheOwnTextOff)
{
    sfw_log_record record = record_of(SFW_LOG_ERROR);
    record.m_code = -101;
    EXPECT_EQ(info_of(record), "-101 - Invalid parameter");
    EXPECT_EQ(info_of(record, "1, 0"), "-101 - Invalid parameter | 1, 0");
    record.m_code = 5;
    EXPECT_EQ(info_of(record), std::string("5 - ") + strerror(5));
    record.m_code = -999;
    EXPECT_EQ(info_of(record), "-999 - ");
}

TEST(LogRecord, AFatalErrorPutsTheOwnTextDirectlyBehindTheCode)
{
    sfw_log_record record = record_of(SFW_LOG_FATAL_ERROR);
    record.m_code = -118;
    EXPECT_EQ(info_of(record), "-118 - Call C function unsuccessfully");
    EXPECT_EQ(info_of(record, "!"), "-118 - Call C function unsuccessfully!");
}

TEST(LogRecord, ASysErrorTellsTheCallAndErrno)
{
    sfw_log_record record = record_of(SFW_LOG_SYS_ERROR);
    const std::string reason = std::string("2 - ") + strerror(ENOENT);
    EXPECT_EQ(info_of(record, nullptr, ENOENT), reason) << "without the name of a call";
    record.m_name = "open";
    EXPECT_EQ(info_of(record, nullptr, ENOENT), "open: " + reason);
    EXPECT_EQ(info_of(record, " again", ENOENT), "open: " + reason + " again");
}

TEST(LogRecord, DumpsDataInHexadecimalBehindItsHeading)
{
    const sfw_log_record record = dump_of(SFW_LOG_DATA, sfw_log_dump::bytes, std::string_view("\x00\x7F\x80\xFF", 4));
    EXPECT_EQ(info_of(record), "(data len = 4) 007F80FF");
    EXPECT_EQ(info_of(record, "send PC rsp data: "), "send PC rsp data: (data len = 4) 007F80FF");
    EXPECT_EQ(info_of(dump_of(SFW_LOG_DATA, sfw_log_dump::bytes, "")), "(data len = 0) ");
}

TEST(LogRecord, DumpsAMessageWithItsName)
{
    sfw_log_record record = dump_of(SFW_LOG_IPC_MSG, sfw_log_dump::ipc_receive, "\xAB\x01");
    record.m_name = "ready";
    EXPECT_EQ(info_of(record, "head "), "head (Receive)msg name = ready, msg data len = 2, msg data: AB01");
    record.m_dump_kind = sfw_log_dump::ipc_send;
    EXPECT_EQ(info_of(record), "(Send)msg name = ready, msg data len = 2, msg data: AB01");
    record.m_data = nullptr;
    record.m_length = 0;
    EXPECT_EQ(info_of(record), "(Send)msg name = ready, msg data len = 0, msg data: ");
}

struct direction_row {
    sfw_log_dump kind;
    const char *label;
};

constexpr direction_row k_directions_a[] = {
    {sfw_log_dump::at_mux_to_ata, "MUX -> ATA"}, {sfw_log_dump::at_ata_to_mux, "ATA -> MUX"},
    {sfw_log_dump::at_usr_to_ata, "USR -> ATA"}, {sfw_log_dump::at_ata_to_usr, "ATA -> USR"},
    {sfw_log_dump::at_receive, "receive   "},    {sfw_log_dump::at_send, "send      "},
};

TEST(LogRecord, LabelsAnAtDumpWithItsDirection)
{
    for (const direction_row &row : k_directions_a) {
        EXPECT_EQ(info_of(dump_of(SFW_LOG_AT_CMD, row.kind, "ATI")), std::string(row.label) + "ATI");
    }
}

TEST(LogRecord, NamesThePortOfAnAtDump)
{
    constexpr struct {
        sfw_log_port port;
        const char *name;
    } k_rows_a[] = {{sfw_log_port::mux, "MUX idx"}, {sfw_log_port::ptm, "PTM idx"}, {sfw_log_port::pts, "PTS idx"}};
    for (const auto &row : k_rows_a) {
        for (const direction_row &direction : k_directions_a) {
            sfw_log_record record = dump_of(SFW_LOG_AT_CMD, direction.kind, "ATI");
            record.m_port = row.port;
            record.m_port_index = 3;
            EXPECT_EQ(info_of(record), std::string(direction.label) + "(" + row.name + " = 3): ATI");
        }
    }
}

TEST(LogRecord, SpellsOutWhatIsNotPrintableInAtText)
{
    EXPECT_EQ(info_of(dump_of(SFW_LOG_AT_CMD, sfw_log_dump::at_send, "AT\r\n\x1B ~")), "send      AT<CR><LF><ESC> ~");
    EXPECT_EQ(info_of(dump_of(SFW_LOG_AT_CMD, sfw_log_dump::at_receive, std::string_view("\x00\x1F\x7F\x80\xFF", 5))),
              "receive   \\x00\\x1F\\x7F\\x80\\xFF");
}

TEST(LogRecord, TellsWhyADumpCannotBeMade)
{
    const std::string one = "x";
    sfw_log_record record = dump_of(SFW_LOG_DATA, sfw_log_dump::bytes, one);
    record.m_data = nullptr;
    EXPECT_EQ(info_of(record, "h: "), "h: (sfw log error: data len unmatched)");

    record = dump_of(SFW_LOG_IPC_MSG, sfw_log_dump::ipc_send, one);
    EXPECT_EQ(info_of(record), "(sfw log error: invalid msg name)");
    record.m_name = "";
    EXPECT_EQ(info_of(record), "(sfw log error: invalid msg name)");
    record.m_name = "ready";
    record.m_data = nullptr;
    EXPECT_EQ(info_of(record), "(sfw log error: msg data len unmatched)");

    record = dump_of(SFW_LOG_AT_CMD, sfw_log_dump::at_send, one);
    record.m_data = nullptr;
    EXPECT_EQ(info_of(record), "(sfw log error: at data len unmatched)");
    record.m_length = 0;
    EXPECT_EQ(info_of(record), "(sfw log error: empty at)");
    record.m_data = one.data();
    EXPECT_EQ(info_of(record), "(sfw log error: empty at)");
}

TEST(LogRecord, RefusesADumpThatIsNotTheLevels)
{
    const std::string one = "x";
    EXPECT_EQ(info_of(dump_of(SFW_LOG_DATA, sfw_log_dump::at_send, one)), "(sfw log error: invalid param)");
    EXPECT_EQ(info_of(dump_of(SFW_LOG_DATA, sfw_log_dump::none, one)), "(sfw log error: invalid param)");
    EXPECT_EQ(info_of(dump_of(SFW_LOG_AT_CMD, static_cast<sfw_log_dump>(99), one)), "(sfw log error: invalid param)");
    sfw_log_record record = dump_of(SFW_LOG_AT_CMD, sfw_log_dump::at_send, one);
    record.m_port = static_cast<sfw_log_port>(4);
    EXPECT_EQ(info_of(record), "(sfw log error: invalid param)");
    EXPECT_EQ(info_of(dump_of(SFW_LOG_INFO, sfw_log_dump::bytes, one), "text "),
              "text (sfw log error: level not support)");
}

// Cuts are told apart by a line that is exactly full and one that is a character longer.
TEST(LogRecord, CutsATextAtTheLongestLine)
{
    constexpr size_t room = SFW_LOG_LINE_LENGTH - 87;
    EXPECT_EQ(info_of(record_of(SFW_LOG_INFO), std::string(room, 'x').c_str()), std::string(room, 'x'));
    EXPECT_EQ(info_of(record_of(SFW_LOG_INFO), std::string(room + 1, 'y').c_str()), std::string(room, 'y'));
}

TEST(LogRecord, EndsADumpThatDoesNotFitInThreeDots)
{
    constexpr size_t room = SFW_LOG_LINE_LENGTH - 87;
    for (size_t heading = 0; heading < 8; heading++) {
        const std::string head(heading, 'h');
        const size_t bytes = (room - heading - strlen("(data len = 460) ")) / 2;
        const std::string fits =
            info_of(dump_of(SFW_LOG_DATA, sfw_log_dump::bytes, std::string(bytes, '\x5A')), head.c_str());
        EXPECT_THAT(fits, EndsWith("5A5A")) << heading;
        EXPECT_LE(fits.size(), room);
        const std::string cut =
            info_of(dump_of(SFW_LOG_DATA, sfw_log_dump::bytes, std::string(bytes + 1, '\x5A')), head.c_str());
        EXPECT_THAT(cut, EndsWith("5A5A...")) << heading;
        EXPECT_LE(cut.size(), room);
        EXPECT_GE(cut.size(), room - 3) << "as much as fits is there";
    }
}

TEST(LogRecord, CutsAnAtDumpBetweenItsUnits)
{
    const std::string line = info_of(dump_of(SFW_LOG_AT_CMD, sfw_log_dump::at_receive, std::string(1000, '\x1B')));
    EXPECT_THAT(line, EndsWith("<ESC><ESC>..."));
    EXPECT_LE(line.size(), SFW_LOG_LINE_LENGTH - 87);
}

TEST(LogRecord, MarksTheCutEvenBehindAHeadingThatFillsTheLine)
{
    const std::string heading(2000, 'h');
    const std::string line = info_of(dump_of(SFW_LOG_DATA, sfw_log_dump::bytes, "x"), heading.c_str());
    EXPECT_EQ(line.size(), SFW_LOG_LINE_LENGTH - 87);
    EXPECT_THAT(line, EndsWith("hhh..."));
}

TEST(LogRecord, SurvivesAFunctionNameLongerThanTheLine)
{
    sfw_log_record record = record_of(SFW_LOG_ERROR);
    const std::string name(3000, 'f');
    record.m_site.m_function = name.c_str();
    EXPECT_EQ(line_of(record).size(), SFW_LOG_LINE_LENGTH + 1);
}

} // namespace
