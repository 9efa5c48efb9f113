// What a torn log is told from a whole one by.
#include "tests/storms/log_lines.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "pub/log/log_client.h"
#include "tests/storms/logger_records.h"

namespace {

using ::testing::HasSubstr;

const std::string k_header =
    "2025-12-15 21:34:37:000\n\n" + std::string(92, '=') + "\ntitles\n" + std::string(92, '=') + "\n";
const std::string k_record =
    "05:29:03:129 |       22 | handle_amt_pc_req                  |    137 | func         | \n";
const std::string k_footer =
    "\n========================================= log  end =========================================\n";

TEST(WholeLog, IsFoundWhole)
{
    EXPECT_EQ(fault_of_log(k_header + k_record + k_record + k_footer), "");
}

TEST(TornLog, IsFoundTornWhereverItIs)
{
    log_history any;
    any.footers = -1;
    EXPECT_THAT(fault_of_log("header" + k_record), HasSubstr("no header"));
    EXPECT_THAT(fault_of_log(k_header + k_record.substr(0, 40) + k_record, any), HasSubstr("begins inside a line"));
    EXPECT_THAT(fault_of_log(k_header + k_record.substr(20), any), HasSubstr("a line that is none"));
    EXPECT_THAT(fault_of_log(k_header + k_record + k_record.substr(0, 30), any), HasSubstr("a line that is none"));
    EXPECT_THAT(fault_of_log(k_header + k_record), HasSubstr("0 ends are told, not 1"));
    EXPECT_THAT(fault_of_log(k_header + k_record + k_footer + k_footer), HasSubstr("2 ends are told, not 1"));
}

TEST(TornLog, MayBeTornOnceWhereTheRingIsClosed)
{
    std::string content = k_header;
    while (content.size() < SFW_LOG_SIZE_LIMIT / 2) {
        content += k_record;
    }
    content += k_record.substr(30);
    const std::size_t second = content.size() + k_record.size();
    while (content.size() <= SFW_LOG_SIZE_LIMIT) {
        content += k_record;
    }
    log_history any;
    any.footers = -1;
    EXPECT_EQ(fault_of_log(content, any), "");
    content.insert(second, k_record.substr(40));
    EXPECT_THAT(fault_of_log(content, any), HasSubstr("a line that is none"));
}

TEST(LostRecords, AreFound)
{
    const std::string zeroth = "writer=0 number=0 letters=0 .\n";
    const std::string first = "writer=0 number=1 letters=1 a.\n";
    const std::string second = "writer=0 number=2 letters=2 aa.\n";
    const std::string third = "writer=0 number=3 letters=3 aaa.\n";
    const std::string round(SFW_LOG_SIZE_LIMIT, '\n'); // a ring that has come round
    EXPECT_EQ(loss_in(zeroth + first + second + third, 1, 4), "");
    EXPECT_EQ(loss_in(third + round, 1, 4), "") << "the older ones are overwritten";
    EXPECT_EQ(loss_in(third, 1, 4), "of a writer's 4 records 0 is not left") << "nothing is overwritten yet";
    EXPECT_EQ(loss_in(zeroth, 2, 1), "of a writer's 1 records 0 is not left") << "the other has left none at all";
    EXPECT_EQ(loss_in(first + third + round, 1, 4), "of a writer's 4 records 2 is not left");
    EXPECT_EQ(loss_in(first + second + round, 1, 4), "of a writer's 4 records 3 is not left");
    EXPECT_THAT(loss_in("writer=0 number=3 letters=3 aab.\n", 1, 4), HasSubstr("a damaged record"));
}

} // namespace
