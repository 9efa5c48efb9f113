#include "amt/modem/at-channel.h"

#include <errno.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string.h>
#include <unistd.h>

#include <string>

#include "pub/log/errors.h"
#include "tests/support/in_child.h"
#include "tests/support/test_log.h"
#include "tests/unit/amt/port_fakes.h"

namespace {

using ::testing::Contains;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::Not;

// Of a whole line.
int32_t write_line(const std::string &line)
{
    return write_at(line.c_str(), static_cast<uint32_t>(line.size()));
}

// Where only the result counts.
int32_t read_some()
{
    char text[20];
    uint32_t length = 0;
    return read_at(text, sizeof(text), &length);
}

// --- the command

TEST(WriteAt, WritesTheCommandInOneCallAndTellsSo)
{
    in_child([] {
        (void)open_port();
        const test_log log;
        const std::string output = output_of([] { EXPECT_EQ(write_line("AT^DGSN?\r"), ERR_NONE); });
        EXPECT_THAT(g_fake.written, ElementsAre("AT^DGSN?\r"));
        EXPECT_THAT(output, MatchesRegex("\\[kv-zep-amt:L[0-9]+\\]write_at: AT\\^DGSN\\?\r\n"
                                         "\\[kv-zep-amt\\]write_at return:9\n"));
        EXPECT_THAT(log.records(),
                    ElementsAre("func | ", "info | write_at write_len[9]", "at cmd | send      AT^DGSN?<CR>"));
    });
}

TEST(WriteAt, WritesAsManyBytesAsItIsTold)
{
    in_child([] {
        (void)open_port();
        const test_log log;
        const std::string output = output_of([] { EXPECT_EQ(write_at("AT^DMPCHN=10\r", 12), ERR_NONE); });
        EXPECT_THAT(g_fake.written, ElementsAre("AT^DMPCHN=10"));
        EXPECT_THAT(output, HasSubstr("write_at: AT^DMPCHN=10\r\n")) << "the console shows the text";
        EXPECT_THAT(log.records(), Contains("at cmd | send      AT^DMPCHN=10"));
    });
}

TEST(WriteAt, WithoutATextOrALengthLeavesThePortAlone)
{
    in_child([] {
        (void)open_port();
        const test_log log;
        const std::string output = output_of([] {
            EXPECT_EQ(write_at(nullptr, 3), ERR_INVALID_PARAM);
            EXPECT_EQ(write_at("ATI\r", 0), ERR_INVALID_PARAM);
            EXPECT_EQ(write_at(nullptr, 0), ERR_INVALID_PARAM);
        });
        EXPECT_THAT(g_fake.written, IsEmpty());
        EXPECT_THAT(output, MatchesRegex("\\[kv-zep-amt:L[0-9]+\\]write_at: \\(null\\)\n"
                                         "\\[kv-zep-amt:L[0-9]+\\]write_at: ATI\r\n"
                                         "\\[kv-zep-amt:L[0-9]+\\]write_at: \\(null\\)\n"));
        EXPECT_THAT(log.records(), ElementsAre("func | ", k_bad_argument + "1, 0", "func | ", k_bad_argument + "0, 1",
                                               "func | ", k_bad_argument + "1, 1"));
    });
}

TEST(WriteAt, TakesAShortWriteForAWholeOne)
{
    for (const size_t count : {0, 1, 3}) {
        in_child([count] {
            (void)open_port();
            const test_log log;
            g_fake.writings.push_back({count, 0});
            EXPECT_EQ(write_line("ATI\r"), ERR_NONE);
            EXPECT_THAT(g_fake.written, ElementsAre("ATI\r")) << "the rest is not sent";
            EXPECT_THAT(log.records(),
                        ElementsAre("func | ", "info | write_at write_len[" + std::to_string(count) + "]",
                                    "at cmd | send      ATI<CR>"));
        });
    }
}

TEST(WriteAt, FailsWhenTheModemIsThereAndTakesNothing)
{
    for (const int error : {EAGAIN, ENOSPC, ENXIO, EBADF}) {
        in_child([error] {
            (void)open_port();
            const test_log log;
            fail_write(error);
            const std::string output = output_of([] { EXPECT_EQ(write_line("ATI\r"), ERR_UNKNOWN); });
            EXPECT_THAT(g_fake.written, ElementsAre("ATI\r"));
            EXPECT_THAT(g_fake.opening_flags, IsEmpty()) << "no reopening for errno " << error;
            EXPECT_THAT(output, HasSubstr("[kv-zep-amt]write_at return:-1\n"));
            EXPECT_THAT(log.records(),
                        ElementsAre("func | ", "info | write_at write_len[-1]", k_failed + "write_at ret_val[-100]"));
        });
    }
}

TEST(WriteAt, DoesNotReopenAPortThatNeverWasOpen)
{
    in_child([] {
        (void)open_port();
        g_at_dev_not_opened = 1;
        const test_log log;
        fail_write(EIO);
        EXPECT_EQ(write_line("ATI\r"), ERR_UNKNOWN);
        EXPECT_THAT(g_fake.opening_flags, IsEmpty());
        EXPECT_THAT(log.records(),
                    ElementsAre("func | ", "info | write_at write_len[-1]", k_failed + "write_at ret_val[-100]"));
    });
}

TEST(WriteAt, ReopensThePortOfAModemThatWentAwayAndWritesAgain)
{
    in_child([] {
        const int before = open_port();
        const test_log log;
        fail_write(EIO);
        modem_says({k_ok});
        g_fake.openings = {ENOENT};
        g_fake.on_pause = [&] {
            EXPECT_EQ(handle_context_st.m_fd_at, AMT_CHANNEL_OPENING) << "closed, but not lost";
            EXPECT_EQ(g_fake.descriptors.count(before), 0U);
        };
        EXPECT_EQ(write_line("ATI\r"), ERR_NONE);
        EXPECT_THAT(g_fake.written, ElementsAre("ATI\r", k_disable, "ATI\r"));
        EXPECT_THAT(g_fake.descriptors, ElementsAre(handle_context_st.m_fd_at.load())) << "one port, the new one";
        ASSERT_EQ(g_fake.opening_flags.size(), 2U);
        EXPECT_EQ(g_fake.opening_flags[0] & O_ACCMODE, O_RDWR);
        EXPECT_THAT(g_fake.pauses, ElementsAre(1000U));
        const std::string device = std::string("device \"") + k_port_path + "\"";
        EXPECT_THAT(log.records(),
                    ElementsAre("func | ", "info | write_at write_len[-1]", k_failed_call + "write_at ret_val[-118]",
                                "func | ", "info | begin to check if can open " + device,
                                "info | (0/30)try to open " + device,
                                k_failed_call + "open " + device + " fail: 2 - No such file or directory",
                                "info | (1/30)try to open " + device, "info | open " + device + " successfully",
                                "func | ", "info | write_at write_len[4]", "at cmd | send      ATI<CR>"));
    });
}

TEST(WriteAt, GoesByTheErrorOfThePortWhateverTheConsoleSays)
{
    in_child([] {
        (void)open_port();
        fail_write(EIO);
        modem_says({k_ok});
        int32_t result = -1;
        {
            const full_console console;
            result = write_line("ATI\r");
        }
        EXPECT_EQ(result, ERR_NONE);
        EXPECT_THAT(g_fake.written, ElementsAre("ATI\r", k_disable, "ATI\r"));
    });
}

TEST(WriteAt, GivesUpTheModemAfter30Attempts)
{
    in_child([] {
        (void)open_port();
        const test_log log;
        fail_write(EIO);
        g_fake.openings = std::deque<int>(31, ENOENT);
        EXPECT_EQ(write_line("ATI\r"), ERR_C_FUNCTION);
        EXPECT_EQ(g_fake.opening_flags.size(), 30U);
        EXPECT_EQ(g_fake.pauses.size(), 30U);
        EXPECT_THAT(g_fake.pauses, Each(1000U));
        EXPECT_EQ(handle_context_st.m_fd_at, 0) << "closed";
        EXPECT_THAT(g_fake.written, ElementsAre("ATI\r")) << "and not sent again";
        EXPECT_THAT(log.records(), Not(Contains(HasSubstr("at cmd"))));
    });
    in_child([] {
        (void)open_port();
        fail_write(EIO);
        g_fake.openings = std::deque<int>(29, ENOENT);
        modem_says({k_ok});
        EXPECT_EQ(write_line("ATI\r"), ERR_NONE) << "back at the last attempt";
        EXPECT_THAT(g_fake.written, ElementsAre("ATI\r", k_disable, "ATI\r"));
    });
}

TEST(WriteAt, GivesUpAModemThatIsSilentAfterItsReopening)
{
    in_child([] {
        (void)open_port();
        const test_log log;
        fail_write(EIO);
        EXPECT_EQ(write_line("ATI\r"), ERR_TIMEOUT);
        EXPECT_THAT(g_fake.written, ElementsAre("ATI\r", k_disable)) << "five tries, and the command is not sent";
        EXPECT_THAT(log.records(), Not(Contains(HasSubstr("at cmd"))));
    });
    in_child([] {
        (void)open_port();
        fail_write(EIO);
        g_fake.write_waits.push_back({});
        EXPECT_EQ(write_line("ATI\r"), ERR_TIMEOUT) << "it does not even take the command within its time";
        EXPECT_THAT(g_fake.written, ElementsAre("ATI\r"));
    });
}

struct verdict_row {
    const char *name;
    void (*prepare)();
};

// Whatever becomes of the reports' switching off, unless the modem is silent.
constexpr verdict_row k_verdicts_a[] = {
    {"accepted", [] { modem_says({k_ok}); }},
    {"refused", [] { modem_says({"\r\nERROR\r\n"}); }},
    {"refused with a number", [] { modem_says({"\r\n+CME ERROR: 3"}); }},
    {"not writable",
     [] {
         g_fake.write_waits.push_back({-1, EBADF});
     }},
    {"not in the set",
     [] {
         g_fake.write_waits.push_back({1, 0, false});
     }},
    {"not written", [] { fail_write(EAGAIN); }},
    {"written short",
     [] {
         g_fake.writings.push_back({9, 0});
     }},
};

TEST(WriteAt, SendsTheCommandAgainWhateverElseTheModemSaysToItsReopening)
{
    for (const verdict_row &row : k_verdicts_a) {
        in_child([&row] {
            (void)open_port();
            fail_write(EIO);
            row.prepare();
            EXPECT_EQ(write_line("ATI\r"), ERR_NONE) << row.name;
            EXPECT_EQ(g_fake.written.back(), "ATI\r") << row.name;
            EXPECT_GT(g_fake.written.size(), 1U) << row.name;
        });
    }
}

struct second_write_row {
    const char *name;
    writing result;
    const char *count;
};

const second_write_row k_second_writes_a[] = {
    {"short by one", {3, 0}, "3"},
    {"nothing", {0, 0}, "0"},
    {"failed", {0, EAGAIN}, "-1"},
    {"gone again", {0, EIO}, "-1"},
};

TEST(WriteAt, FailsWhenTheSecondWriteIsNotWhole)
{
    for (const second_write_row &row : k_second_writes_a) {
        in_child([&row] {
            (void)open_port();
            const test_log log;
            fail_write(EIO);
            g_fake.writings.push_back({}); // the switching off
            g_fake.writings.push_back(row.result);
            modem_says({k_ok});
            EXPECT_EQ(write_line("ATI\r"), ERR_UNKNOWN) << row.name;
            EXPECT_THAT(g_fake.written, ElementsAre("ATI\r", k_disable, "ATI\r")) << row.name;
            EXPECT_EQ(g_fake.opening_flags.size(), 1U) << "reopened once only";
            EXPECT_THAT(log.records(), Contains(std::string("info | write_at write_len[") + row.count + "]"));
            EXPECT_THAT(log.records(), Not(Contains(HasSubstr("at cmd"))));
        });
    }
}

// --- a closed port

TEST(AtPort, ThatIsClosedIsNeverMistakenForStandardInput)
{
    for (const int fd : {0, -1}) {
        in_child([fd] {
            handle_context_st.m_fd_at = fd;
            const test_log log;
            errno = EIO; // of some other call
            EXPECT_EQ(write_line("ATI\r"), ERR_UNKNOWN) << fd;
            errno = EIO;
            EXPECT_EQ(read_some(), ERR_UNKNOWN) << fd;
            EXPECT_THAT(log.records(),
                        ElementsAre("func | ", "info | write_at write_len[-1]", k_failed + "write_at ret_val[-100]",
                                    "func | ", "info | read_at read_len_ptr[-1] buf_ptr[]",
                                    k_failed + "read_at ret_val[-100]"));
            EXPECT_FALSE(g_fake.is_standard_input_used) << fd;
            EXPECT_THAT(g_fake.opening_flags, IsEmpty()) << "it is not reopened, it was closed";
        });
    }
}

TEST(AtPort, StaysClosedBehindAReopeningInVain)
{
    in_child([] {
        (void)open_port();
        fail_write(EIO);
        g_fake.openings = std::deque<int>(30, ENXIO);
        EXPECT_EQ(write_line("ATI\r"), ERR_C_FUNCTION);
        EXPECT_EQ(write_line("ATI\r"), ERR_UNKNOWN);
        EXPECT_EQ(read_some(), ERR_UNKNOWN);
        EXPECT_EQ(g_fake.written.size(), 1U);
        EXPECT_FALSE(g_fake.is_standard_input_used);
    });
}

} // namespace
