// Switching the modem's reports off, on a port that has just been opened.
#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "amt/modem/at-channel.h"
#include "pub/log/errors.h"
#include "tests/support/in_child.h"
#include "tests/support/test_log.h"
#include "tests/unit/amt/port_fakes.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

// "seconds.microseconds" of each time-out that was given.
std::vector<std::string> time_outs()
{
    std::vector<std::string> texts;
    for (const timeval &left : g_fake.time_outs) {
        texts.push_back(std::to_string(left.tv_sec) + "." + std::to_string(left.tv_usec));
    }
    return texts;
}

std::string tried(int number, const std::string &answer)
{
    return "info | (" + std::to_string(number) + "/5)tries. buf_a: \"" + answer + "\"";
}

// A wait for an answer in vain, which ends when the clock has moved on by that much.
waiting in_vain(timespec passes, timeval leaves = {0, 0})
{
    return {0, 0, true, passes, leaves};
}

// --- the command

TEST(DisableUnsolicited, RefusesAClosedPort)
{
    for (const int fd : {0, -1, -100}) {
        in_child([fd] {
            const test_log log;
            EXPECT_EQ(disable_unsolicited_code(fd), ERR_INVALID_PARAM) << fd;
            EXPECT_THAT(g_fake.time_outs, IsEmpty());
            EXPECT_FALSE(g_fake.is_standard_input_used);
            EXPECT_THAT(log.records(), ElementsAre("func | ", "error | -101 - Invalid parameter | 1"));
        });
    }
}

TEST(DisableUnsolicited, TakesEveryDescriptorFrom1On)
{
    in_child([] {
        g_fake.descriptors.insert(1);
        modem_says({"\r\nOK\r\n"});
        EXPECT_EQ(disable_unsolicited_code(1), ERR_NONE);
        EXPECT_THAT(g_fake.written, ElementsAre(k_disable));
    });
}

TEST(DisableUnsolicited, SendsItsCommandInOneWrite)
{
    in_child([] {
        const int fd = open_port();
        const test_log log;
        modem_says({"\r\nOK\r\n"});
        EXPECT_EQ(disable_unsolicited_code(fd), ERR_NONE);
        EXPECT_THAT(g_fake.written, ElementsAre(k_disable));
        EXPECT_THAT(time_outs(), ElementsAre("5.0", "5.0")) << "5 s to write, 5 s for the answer";
        EXPECT_THAT(g_fake.rooms, ElementsAre(18U));
        EXPECT_THAT(log.records(), ElementsAre("func | "));
    });
}

struct no_command_row {
    const char *name;
    waiting wait;
    int32_t code;
    const char *record; // null: none
};

const no_command_row k_no_commands_a[] = {
    {"the wait fails", {-1, EBADF}, ERR_C_FUNCTION, "sys error | select: 9 - Bad file descriptor"},
    {"the port takes nothing",
     {0, 0, true, {5, 0}},
     ERR_TIMEOUT,
     "error | -113 - Timeout | wait 5 seconds to write time out"},
    {"something else is ready", {1, 0, false}, ERR_UNKNOWN, nullptr},
};

TEST(DisableUnsolicited, SendsNothingToAPortThatIsNotWritable)
{
    for (const no_command_row &row : k_no_commands_a) {
        in_child([&row] {
            const int fd = open_port();
            const test_log log;
            g_fake.write_waits.push_back(row.wait);
            modem_says({"\r\nOK\r\n"});
            EXPECT_EQ(disable_unsolicited_code(fd), row.code) << row.name;
            EXPECT_THAT(g_fake.written, IsEmpty()) << row.name;
            EXPECT_THAT(g_fake.rooms, IsEmpty()) << row.name;
            EXPECT_THAT(g_fake.time_outs, SizeIs(1)) << row.name;
            std::vector<std::string> records = {"func | "};
            if (row.record != nullptr) {
                records.emplace_back(row.record);
            }
            EXPECT_EQ(log.records(), records) << row.name;
        });
    }
}

TEST(DisableUnsolicited, WithACommandThatDoesNotGetOutWaitsForNoAnswer)
{
    in_child([] {
        const int fd = open_port();
        const test_log log;
        modem_says({"\r\nOK\r\n"});
        fail_write(EIO);
        EXPECT_EQ(disable_unsolicited_code(fd), ERR_C_FUNCTION);
        g_fake.writings.push_back({9, 0});
        EXPECT_EQ(disable_unsolicited_code(fd), ERR_WRITE_NOT_COMPLETED);
        g_fake.writings.push_back({0, 0});
        EXPECT_EQ(disable_unsolicited_code(fd), ERR_WRITE_NOT_COMPLETED);
        EXPECT_THAT(g_fake.written, ElementsAre(k_disable, k_disable, k_disable));
        EXPECT_THAT(g_fake.rooms, IsEmpty());
        EXPECT_THAT(log.records(), ElementsAre("func | ", "sys error | write: 5 - Input/output error", "func | ",
                                               "warning | write not completed: to write(10) != written(9)", "func | ",
                                               "warning | write not completed: to write(10) != written(0)"));
    });
}

// --- the verdict

struct verdict_row {
    const char *name;
    const char *answer;
    int32_t code;
};

// clang-format off
constexpr verdict_row k_verdicts_a[] = {
    {"accepted",                       "\r\nOK\r\n",             ERR_NONE},
    {"accepted behind the echo",       "AT^DLKS=0\r\r\nOK\r\n",  ERR_NONE},
    {"accepted behind a report",       "\r\n+CREG: 1\r\nOK\r\n", ERR_NONE},
    {"accepted in the last of the 18", "123456789012\r\nOK\r\n", ERR_NONE},
    {"accepted, more behind it",       "\r\nOK\r\n\r\nRING\r\n", ERR_NONE},
    {"accepted behind a refusal",      "\r\nERROR\r\n\r\nOK\r\n", ERR_NONE},
    {"refused",                        "\r\nERROR\r\n",          ERR_UNKNOWN},
    {"refused with a number",          "\r\n+CME ERROR: 3",      ERR_UNKNOWN},
    {"refused as a message",           "\r\n+CMS ERROR: 3",      ERR_UNKNOWN},
    {"refused behind a report",        "\r\nRING\r\nERROR\r\n",  ERR_UNKNOWN},
};
// clang-format on

TEST(DisableUnsolicited, IsDecidedByTheFirstVerdict)
{
    for (const verdict_row &row : k_verdicts_a) {
        in_child([&row] {
            const int fd = open_port();
            const test_log log;
            modem_says({row.answer});
            EXPECT_EQ(disable_unsolicited_code(fd), row.code) << row.name;
            EXPECT_THAT(g_fake.rooms, ElementsAre(18U)) << row.name;
            EXPECT_THAT(log.records(), ElementsAre("func | ")) << row.name;
        });
    }
}

struct no_verdict_row {
    const char *name;
    const char *answer;
};

// clang-format off
constexpr no_verdict_row k_no_verdicts_a[] = {
    {"nothing",                     ""},
    {"no line end in front",        "OK\r\n"},
    {"no line end behind",          "\r\nOK"},
    {"another word",                "\r\nNO CARRIER\r\n"},
    {"no line end behind an error", "\r\nERROR"},
    {"an error without its colon",  "\r\n+CME ERROR"},
    {"an error without its blank",  "\r\n+CMS ERROR:3"},
    {"a number alone",              "+CME ERROR: 3"},
};
// clang-format on

TEST(DisableUnsolicited, TriesAgainWithoutAVerdict)
{
    for (const no_verdict_row &row : k_no_verdicts_a) {
        in_child([&row] {
            const int fd = open_port();
            modem_says({row.answer, "\r\nOK\r\n"});
            EXPECT_EQ(disable_unsolicited_code(fd), ERR_NONE) << row.name;
            EXPECT_THAT(g_fake.rooms, ElementsAre(18U, 18U)) << row.name;
        });
    }
}

TEST(DisableUnsolicited, TakesAReadOfNothingForATryLikeOthers)
{
    in_child([] {
        const int fd = open_port();
        const test_log log;
        modem_says({"", "\r\nOK\r\n"});
        EXPECT_EQ(disable_unsolicited_code(fd), ERR_NONE);
        EXPECT_THAT(log.records(), ElementsAre("func | ", tried(0, "")));
    });
}

TEST(DisableUnsolicited, TakesAVerdictAtTheThirdTryAndTellsOfTheTwoBefore)
{
    in_child([] {
        const int fd = open_port();
        const test_log log;
        modem_says({"+CREG: 1", "^DSIM: 2", "\r\nOK\r\n"});
        EXPECT_EQ(disable_unsolicited_code(fd), ERR_NONE);
        EXPECT_THAT(g_fake.written, ElementsAre(k_disable)) << "the command goes out once";
        EXPECT_THAT(log.records(), ElementsAre("func | ", tried(0, "+CREG: 1"), tried(1, "^DSIM: 2")));
    });
}

TEST(DisableUnsolicited, IsRefusedAtALaterTryToo)
{
    in_child([] {
        const int fd = open_port();
        modem_says({"+CREG: 1", "\r\nERROR\r\n", "\r\nOK\r\n"});
        EXPECT_EQ(disable_unsolicited_code(fd), ERR_UNKNOWN);
        EXPECT_THAT(g_fake.rooms, SizeIs(2));
    });
}

TEST(DisableUnsolicited, LooksAt18BytesOfEachTryAndNoMore)
{
    in_child([] {
        const int fd = open_port();
        const test_log log;
        modem_says({"1234567890123\r\nOK\r\n"}); // its last byte is the 19th
        EXPECT_EQ(disable_unsolicited_code(fd), ERR_TIMEOUT);
        EXPECT_THAT(g_fake.rooms, ElementsAre(18U, 18U));
        EXPECT_THAT(log.text(), HasSubstr("(0/5)tries. buf_a: \"1234567890123\r\nOK\r\"\n"));
        EXPECT_THAT(log.text(), HasSubstr("(1/5)tries. buf_a: \"\n\"\n"));
    });
}

TEST(DisableUnsolicited, DoesNotGatherAnAnswerFromSeveralTries)
{
    in_child([] {
        const int fd = open_port();
        const test_log log;
        modem_says({"\r\nO", "K\r\n", "+CREG: 1,2,3", "x"});
        EXPECT_EQ(disable_unsolicited_code(fd), ERR_TIMEOUT);
        const std::vector<std::string> records = log.records();
        EXPECT_THAT(records, Contains(tried(2, "+CREG: 1,2,3")));
        EXPECT_THAT(records, Contains(tried(3, "x"))) << "nothing is left of the longer one before";
        EXPECT_THAT(records, Contains(tried(4, "")));
    });
}

// --- tries in vain

TEST(DisableUnsolicited, GivesUpASilentModemAfterFiveTries)
{
    in_child([] {
        const int fd = open_port();
        const test_log log;
        EXPECT_EQ(disable_unsolicited_code(fd), ERR_TIMEOUT);
        EXPECT_THAT(time_outs(), ElementsAre("5.0", "5.0", "5.0", "5.0", "5.0", "5.0"));
        EXPECT_THAT(g_fake.rooms, IsEmpty());
        EXPECT_THAT(log.records(), ElementsAre("func | ",                                                      //
                                               k_failed + "read time out: 1000:250 -> 1005:250", tried(0, ""), //
                                               k_failed + "read time out: 1005:250 -> 1010:250", tried(1, ""), //
                                               k_failed + "read time out: 1010:250 -> 1015:250", tried(2, ""), //
                                               k_failed + "read time out: 1015:250 -> 1020:250", tried(3, ""), //
                                               k_failed + "read time out: 1020:250 -> 1025:250", tried(4, "")));
    });
}

TEST(DisableUnsolicited, GivesUpAModemThatOnlyTalksAfterFiveTries)
{
    in_child([] {
        const int fd = open_port();
        modem_says({"RING", "RING", "RING", "RING", "RING", "\r\nOK\r\n"});
        EXPECT_EQ(disable_unsolicited_code(fd), ERR_TIMEOUT);
        EXPECT_THAT(g_fake.rooms, SizeIs(5));
    });
}

struct failed_try_row {
    const char *name;
    waiting wait;
    int read_error;
    const char *record;
};

const failed_try_row k_failed_tries_a[] = {
    {"the wait fails", {-1, EBADF}, 0, "sys error | select: 9 - Bad file descriptor"},
    {"something else is ready", {1, 0, false}, 0, "error | -100 - Unknown error | select OK, but fd is not ready"},
    {"the read fails", {1, 0}, EIO, "sys error | read: 5 - Input/output error"},
    {"nothing comes", {0, 0, true, {5, 1}}, 0, "error | -100 - Unknown error | read time out: 1000:250 -> 1005:251"},
};

TEST(DisableUnsolicited, LosesOneTryByAFailureAndGoesOn)
{
    for (const failed_try_row &row : k_failed_tries_a) {
        in_child([&row] {
            const int fd = open_port();
            const test_log log;
            g_fake.read_waits.push_back(row.wait);
            if (row.read_error != 0) {
                fail_read(row.read_error);
            }
            modem_says({"\r\nOK\r\n"});
            EXPECT_EQ(disable_unsolicited_code(fd), ERR_NONE) << row.name;
            EXPECT_THAT(g_fake.time_outs, SizeIs(3)) << row.name;
            EXPECT_THAT(log.records(), ElementsAre("func | ", row.record, tried(0, ""))) << row.name;
        });
    }
}

TEST(DisableUnsolicited, TimesOutWhenAllTriesFail)
{
    for (const failed_try_row &row : k_failed_tries_a) {
        in_child([&row] {
            const int fd = open_port();
            const test_log log;
            g_fake.read_waits = std::deque<waiting>(5, row.wait);
            for (int i = 0; i < 5 && row.read_error != 0; i++) {
                fail_read(row.read_error);
            }
            EXPECT_EQ(disable_unsolicited_code(fd), ERR_TIMEOUT) << row.name;
            EXPECT_THAT(g_fake.time_outs, SizeIs(6)) << row.name;
            EXPECT_THAT(log.records(), Contains(tried(4, ""))) << row.name;
        });
    }
}

// --- time

TEST(DisableUnsolicited, GoesOnWaitingWithTheTimeThatAnEarlyWakeUpLeft)
{
    in_child([] {
        const int fd = open_port();
        const test_log log;
        g_fake.read_waits = {in_vain({0, 999'000'000}, {4, 700}), in_vain({0, 0}, {0, 3}), {1}};
        modem_says({"\r\nOK\r\n"});
        EXPECT_EQ(disable_unsolicited_code(fd), ERR_NONE);
        EXPECT_THAT(time_outs(), ElementsAre("5.0", "5.0", "4.700", "0.3"));
        EXPECT_THAT(log.records(), ElementsAre("func | ")) << "it is all one try";
    });
}

TEST(DisableUnsolicited, GoesOnAlsoWithNoTimeLeftUntilTheSecondIsOver)
{
    in_child([] {
        const int fd = open_port();
        const test_log log;
        g_fake.read_waits = {in_vain({0, 1}), in_vain({0, 1}), in_vain({1, 0})};
        modem_says({"\r\nOK\r\n"});
        EXPECT_EQ(disable_unsolicited_code(fd), ERR_NONE);
        EXPECT_THAT(time_outs(), ElementsAre("5.0", "5.0", "0.0", "0.0", "5.0")) << "the next try has its whole time";
        EXPECT_THAT(log.records(),
                    ElementsAre("func | ", k_failed + "read time out: 1000:250 -> 1001:252", tried(0, "")));
    });
}

TEST(DisableUnsolicited, EndsATryWhenTheClockIsSetBack)
{
    in_child([] {
        const int fd = open_port();
        const test_log log;
        g_fake.read_waits = {in_vain({-600, 0})};
        modem_says({"\r\nOK\r\n"});
        EXPECT_EQ(disable_unsolicited_code(fd), ERR_NONE) << "nobody waits ten minutes for the clock to come back";
        EXPECT_THAT(log.records(),
                    ElementsAre("func | ", k_failed + "read time out: 1000:250 -> 400:250", tried(0, "")));
    });
}

} // namespace
