// The requests that keep verdicts on the handset alone; those that need the modem have tests of their own.
#include "amt/results/result-requests.h"

#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "pub/log/errors.h"
#include "tests/support/in_child.h"
#include "tests/support/test_log.h"
#include "tests/unit/amt/amt_folder.h"
#include "tests/unit/amt/exchange.h"
#include "tests/unit/amt/handler_arguments.h"
#include "tests/unit/amt/links.h"
#include "tests/unit/amt/port_fakes.h"
#include "tests/unit/amt/verdicts.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::Not;

const std::string k_request = "1800bb5b1200ee2701040003000000ee2401040002000000"; // station 3, failed

int32_t call(amt_handle_func handler, const amt_buffer &request)
{
    amt_buffer response = buffer_with("ffffffffffffffffffffffffffffffffffffffffffffffff"); // of the last answer
    return handler(AMT_CHANNEL_APP, &request, &response);
}

// What it answers the application, the station nothing.
std::vector<std::string> answers(const links &link)
{
    EXPECT_THAT(link.at_station(), IsEmpty());
    return link.at_application();
}

// --- amt_item_write_test_result

TEST(ItemWrite, OfStation3ChangesItem2OfANewFile)
{
    in_child([] {
        const links link;
        const amt_folder folder;
        const test_log log;
        const std::string shown =
            output_of([] { EXPECT_EQ(call(amt_item_write_test_result, buffer_with(k_request)), ERR_NONE); });
        EXPECT_EQ(folder.content(k_product), untested_but(36, 4, '2'));
        EXPECT_FALSE(folder.has(k_modem_copy));
        EXPECT_EQ(shown, "[TEST_RESULT] update item for TEST_FAIL");
        EXPECT_THAT(answers(link), ElementsAre("0f00bbe70900ee0101040000000000"));
        const std::vector<std::string> records = without_entries(log);
        ASSERT_GT(records.size(), 2U);
        EXPECT_EQ(records[0], "info | amt_item_write_test_result station_num[3] station_result[2]");
        EXPECT_EQ(records[1], "info | initTestFile . path:/amt/product.txt; count: 36");
    });
}

struct station_row {
    const char *name;
    uint32_t station;
    int shown; // the station, signed
    bool is_kept;
    size_t offset; // of the byte that changes
};

// clang-format off
constexpr station_row k_stations_a[] = {
    {"station 1",                     1,          1,           true,  0},
    {"station 2",                     2,          2,           true,  2},
    {"station 35",                    35,         35,          true,  68},
    {"station 36",                    36,         36,          true,  70},
    {"station 37",                    37,         37,          false, 0},
    {"the greatest",                  0x7FFFFFFF, 2147483647,  false, 0},
    {"one more has a great index",    0x80000000, -2147483648, false, 0},
    {"station 0 has a negative one",  0,          0,           true,  0},
    {"a negative station",            0xFFFFFFFF, -1,          true,  0},
};
// clang-format on

TEST(ItemWrite, CountsStationsFrom1To36)
{
    for (const station_row &row : k_stations_a) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const links link;
            const amt_folder folder;
            folder.put(k_product, untested(36));
            const test_log log;
            const std::string shown = output_of(
                [&row] { EXPECT_EQ(call(amt_item_write_test_result, verdict_request(row.station, 1)), ERR_NONE); });
            EXPECT_EQ(folder.content(k_product), row.is_kept ? untested_but(36, row.offset, '1') : untested(36));
            EXPECT_THAT(answers(link), ElementsAre(result_of(0xE7, row.is_kept ? 0 : 10)));
            const std::string number = std::to_string(row.shown);
            EXPECT_EQ(log.records().at(1),
                      "info | amt_item_write_test_result station_num[" + number + "] station_result[1]");
            const std::string failed = "error | -119 - Write() not completedly | amt_item_write_test_result write_item "
                                       "ret_val[-119]";
            if (row.is_kept) {
                EXPECT_EQ(shown, "");
                EXPECT_THAT(log.records(), Not(Contains(failed)));
            } else {
                EXPECT_THAT(shown, MatchesRegex("\\[kv-zep-amt:L[0-9]+\\] write fail station_num: " + number +
                                                ", station_result: 1\n"));
                EXPECT_THAT(log.records(), Contains(failed).Times(1));
            }
        });
    }
}

TEST(ItemWrite, KeepsOnlyVerdictsThatItKnows)
{
    for (const uint32_t verdict : {0U, 1U, 2U, 3U, 5U, 0xFFFFFFFFU}) {
        in_child([verdict] {
            const links link;
            const amt_folder folder;
            folder.put(k_product, untested_but(36, 6, '1'));
            EXPECT_EQ(call(amt_item_write_test_result, verdict_request(4, verdict)), ERR_NONE) << verdict;
            const char digit = verdict == 1 ? '1' : verdict == 2 ? '2' : '0';
            EXPECT_EQ(folder.content(k_product), untested_but(36, 6, digit)) << verdict;
            EXPECT_THAT(answers(link), ElementsAre(result_of(0xE7, 0))) << verdict;
        });
    }
}

TEST(ItemWrite, WithoutNumbersIsStation0NotTested)
{
    in_child([] {
        const links link;
        const amt_folder folder;
        folder.put(k_product, untested_but(36, 0, '1'));
        const test_log log;
        EXPECT_EQ(call(amt_item_write_test_result, verdict_request()), ERR_NONE);
        EXPECT_EQ(folder.content(k_product), untested(36));
        EXPECT_THAT(log.records(), Contains("info | amt_item_write_test_result station_num[0] station_result[0]"));
        EXPECT_THAT(answers(link), ElementsAre(result_of(0xE7, 0)));
    });
}

TEST(ItemWrite, IsRefusedWhateverTheFileFailsWith)
{
    in_child([] {
        const links link;
        const amt_folder folder;
        const test_log log;
        amt_folder::deny(W_OK);
        EXPECT_EQ(call(amt_item_write_test_result, verdict_request(1, 1)), ERR_NONE);
        EXPECT_THAT(log.records(), Contains(k_no_access + "Save fail: Directory access deny"));
        amt_folder::deny(0);
        g_fake.file_writings = {{0, ENOSPC}};
        EXPECT_EQ(call(amt_item_write_test_result, verdict_request(1, 1)), ERR_NONE);
        EXPECT_THAT(log.records(), Contains(k_not_made + "Save fail: init result file error"));
        g_fake.file_writings = {{0, ENOSPC}};
        EXPECT_EQ(call(amt_item_write_test_result, verdict_request(1, 1)), ERR_NONE);
        EXPECT_THAT(log.records(), Contains(k_not_saved + "Save fail: update result error"));
        const std::string refused = result_of(0xE7, 10);
        EXPECT_THAT(answers(link), ElementsAre(refused, refused, refused));
    });
}

// --- amt_item_read_test_result

TEST(ItemRead, GivesWhatAWriteForTheNextStationKept)
{
    in_child([] {
        const links link;
        const amt_folder folder;
        EXPECT_EQ(call(amt_item_write_test_result, verdict_request(3, 2)), ERR_NONE);
        EXPECT_EQ(call(amt_item_read_test_result, verdict_request(3)), ERR_NONE);
        EXPECT_EQ(call(amt_item_read_test_result, verdict_request(2)), ERR_NONE);
        EXPECT_THAT(answers(link), ElementsAre("0f00bbe70900ee0101040000000000",
                                               "2100bbe51b00"
                                               "ee2701040003000000ee2401040000000000ee0101040000000000",
                                               "2100bbe51b00"
                                               "ee2701040002000000ee2401040002000000ee0101040000000000"));
    });
}

TEST(ItemRead, OfAMissingFileMakesIt)
{
    in_child([] {
        const links link;
        const amt_folder folder;
        EXPECT_EQ(call(amt_item_read_test_result, verdict_request(35)), ERR_NONE);
        EXPECT_EQ(folder.content(k_product), untested(36));
        EXPECT_THAT(answers(link), ElementsAre(message_of(0xE5, int_atom(39, 35) + int_atom(36, 0) + int_atom(1, 0))));
    });
}

struct read_row {
    const char *name;
    uint32_t station;
    char digit;  // of item 5
    int verdict; // or -1: refused
};

// clang-format off
constexpr read_row k_reads_a[] = {
    {"not tested",         5,          '0', 0},
    {"passed",             5,          '1', 1},
    {"failed",             5,          '2', 2},
    {"3 is no verdict",    5,          '3', -1},
    {"9 is no verdict",    5,          '9', -1},
    {"a letter",           5,          'x', 0},
    {"the first item",     0,          '1', 0},
    {"the last item",      35,         '1', 0},
    {"behind the last",    36,         '1', -1},
    {"far behind",         0x7FFFFFFF, '1', -1},
    {"negative",           0xFFFFFFFF, '1', -1},
};
// clang-format on

TEST(ItemRead, AnswersAVerdictAndRefusesAllElse)
{
    for (const read_row &row : k_reads_a) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const links link;
            const amt_folder folder;
            folder.put(k_product, untested_but(36, 10, row.digit));
            const test_log log;
            EXPECT_EQ(call(amt_item_read_test_result, verdict_request(row.station)), ERR_NONE);
            EXPECT_EQ(log.records().front(), "func | ");
            const std::string failed = "error | -104 - Not found | amt_item_read_test_result read_item ret_val[-104]";
            if (row.verdict < 0) {
                EXPECT_THAT(answers(link), ElementsAre("0f00bbe50900ee010104000a000000"));
                EXPECT_THAT(log.records(), Contains(failed).Times(1));
            } else {
                const std::string atoms =
                    int_atom(39, row.station) + int_atom(36, static_cast<uint32_t>(row.verdict)) + int_atom(1, 0);
                EXPECT_THAT(answers(link), ElementsAre(message_of(0xE5, atoms)));
                EXPECT_THAT(log.records(), Not(Contains(failed)));
            }
        });
    }
}

TEST(ItemRead, IsRefusedWithoutAFolder)
{
    in_child([] {
        const links link;
        EXPECT_EQ(call(amt_item_read_test_result, verdict_request(1)), ERR_NONE);
        EXPECT_THAT(answers(link), ElementsAre(result_of(0xE5, 10)));
    });
}

TEST(ItemRead, WithoutAStationIsOfStation0)
{
    in_child([] {
        const links link;
        const amt_folder folder;
        folder.put(k_product, untested_but(36, 0, '2'));
        EXPECT_EQ(call(amt_item_read_test_result, verdict_request()), ERR_NONE);
        EXPECT_THAT(answers(link), ElementsAre(message_of(0xE5, int_atom(39, 0) + int_atom(36, 2) + int_atom(1, 0))));
    });
}

// --- both

TEST(ItemRequests, NeedNoModem)
{
    in_child([] {
        const links link;
        const amt_folder folder;
        g_at_dev_not_opened = 1;
        EXPECT_EQ(call(amt_item_write_test_result, verdict_request(2, 1)), ERR_NONE);
        EXPECT_EQ(call(amt_item_read_test_result, verdict_request(1)), ERR_NONE);
        EXPECT_THAT(answers(link), ElementsAre(result_of(0xE7, 0),
                                               message_of(0xE5, int_atom(39, 1) + int_atom(36, 1) + int_atom(1, 0))));
    });
}

TEST(ItemRequests, GiveTheResultOfTheirSending)
{
    in_child([] {
        amt_context_clear(); // no link
        const amt_folder folder;
        EXPECT_EQ(call(amt_item_write_test_result, verdict_request(1, 1)), ERR_UNKNOWN);
        EXPECT_EQ(call(amt_item_write_test_result, verdict_request(37, 1)), ERR_UNKNOWN);
        EXPECT_EQ(call(amt_item_read_test_result, verdict_request(1)), ERR_UNKNOWN);
        EXPECT_EQ(call(amt_item_read_test_result, verdict_request(37)), ERR_UNKNOWN);
    });
}

TEST(ItemRequests, RefuseBadArgumentsAndTellWhich)
{
    expect_bad_arguments_refused(amt_item_write_test_result, AMT_CHANNEL_APP, k_request);
    expect_bad_arguments_refused(amt_item_read_test_result, AMT_CHANNEL_APP, k_request);
}

// --- amt_modem_write_pc_test_result

TEST(PcWrite, KeepsACopyAndAnswersNothing)
{
    for (const copy_row &row : k_copies) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const links link;
            const amt_folder folder;
            prepare_copy(folder);
            const test_log log;
            const amt_buffer request = verdict_request(row.station, row.verdict);
            amt_buffer response = buffer_with("42");
            EXPECT_EQ(amt_modem_write_pc_test_result(AMT_CHANNEL_PC, &request, &response), ERR_NOT_FOUND);
            EXPECT_THAT(link.at_station(), IsEmpty());
            EXPECT_THAT(link.at_application(), IsEmpty());
            EXPECT_EQ(response.m_data_a[0], 0x42) << "nothing was begun";
            expect_copy(row, folder, log);
            EXPECT_FALSE(folder.has(k_product));
            EXPECT_EQ(log.records().front(), "func | ");
        });
    }
}

TEST(PcWrite, TellsWhatItWasGivenFirst)
{
    in_child([] {
        const links link;
        const amt_folder folder;
        folder.put(k_modem_copy, untested(20));
        const test_log log;
        EXPECT_EQ(call(amt_modem_write_pc_test_result, verdict_request()), ERR_NOT_FOUND);
        EXPECT_EQ(call(amt_modem_write_pc_test_result, verdict_request(0x80000000, 2)), ERR_NOT_FOUND);
        EXPECT_THAT(without_entries(log),
                    ElementsAre("info | amt_modem_write_pc_test_result station_num=0,station_result=0",
                                "info | write item [0], result= 0",
                                "info | write amt_result success amt station_num: 0, station_result: 0.",
                                "info | amt_modem_write_pc_test_result station_num=-2147483648,station_result=2",
                                "info | write item [-2147483648], result= 2",
                                "info | write amt_result success amt station_num: -2147483648, station_result: 2."));
    });
}

TEST(PcWrite, NeedsNoModemAndNoFolder)
{
    in_child([] {
        const links link;
        g_at_dev_not_opened = 1;
        const test_log log;
        EXPECT_EQ(call(amt_modem_write_pc_test_result, verdict_request(1, 1)), ERR_NOT_FOUND);
        EXPECT_THAT(answers(link), IsEmpty());
        EXPECT_THAT(log.records(), Contains(k_no_access + "Save fail: Directory access deny"));
    });
}

TEST(PcWrite, RefusesBadArgumentsAndTellsWhich)
{
    expect_bad_arguments_refused(amt_modem_write_pc_test_result, AMT_CHANNEL_PC, k_request);
}

} // namespace
