#include "amt/core/channel.h"

#include <errno.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <string.h>
#include <unistd.h>

#include "amt/core/context.h"
#include "pub/log/errors.h"
#include "tests/support/in_child.h"
#include "tests/support/temp_folder.h"
#include "tests/support/test_log.h"
#include "tests/unit/amt/core_fakes.h"
#include "tests/unit/amt/links.h"

namespace {

using ::testing::Contains;
using ::testing::Each;
using ::testing::ElementsAre;

// A pipe for one direction, its descriptors never standard ones.
struct one_way {
    int out = -1;
    int in = -1;

    one_way()
    {
        int ends_a[2] = {-1, -1};
        EXPECT_EQ(pipe(ends_a), 0);
        out = ends_a[0];
        in = ends_a[1];
    }
    void fill(const std::string &bytes) const
    {
        EXPECT_EQ(write(in, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    }
};

bool is_open(int fd)
{
    return fcntl(fd, F_GETFD) != -1;
}

std::string text_in(const amt_buffer &buffer)
{
    return {reinterpret_cast<const char *>(buffer.m_data_a), buffer.m_length};
}

// --- opening

TEST(Channel, IsOpenedForReadingAndWriting)
{
    in_child([] {
        const temp_folder folder;
        const std::string path = folder.with_file("tty", "");
        amt_channel_fd channel{0};
        EXPECT_EQ(amt_channel_open(&channel, path.c_str(), 3), ERR_NONE);
        EXPECT_TRUE(amt_channel_is_open(channel));
        EXPECT_EQ(fcntl(channel, F_GETFL) & O_ACCMODE, O_RDWR);
        EXPECT_EQ(amt_channel_write(channel, "AT\r", 3), 3);
        EXPECT_EQ(read_whole_file(path), "AT\r");
    });
}

TEST(Channel, ClosesWhatItHeldBeforeItIsOpenedAgain)
{
    in_child([] {
        const temp_folder folder;
        const one_way before;
        amt_channel_fd channel{before.out};
        g_fake.on_pause = [&] { EXPECT_FALSE(is_open(before.out)) << "closed before the first attempt"; };
        EXPECT_EQ(amt_channel_open(&channel, folder.path("tty").c_str(), 1), ERR_C_FUNCTION);
        EXPECT_EQ(channel, 0);
        EXPECT_EQ(g_fake.pauses.size(), 1U);
    });
}

TEST(Channel, IsClosedButNotLostWhileItIsBeingOpened)
{
    in_child([] {
        const temp_folder folder;
        const std::string path = folder.path("tty");
        const one_way before;
        amt_channel_fd channel{before.out};
        g_fake.on_pause = [&] {
            EXPECT_EQ(channel, AMT_CHANNEL_OPENING);
            EXPECT_FALSE(amt_channel_is_open(channel));
            if (g_fake.pauses.size() == 2) {
                (void)folder.with_file("tty", "");
            }
        };
        EXPECT_EQ(amt_channel_open(&channel, path.c_str(), 30), ERR_NONE);
        EXPECT_GT(channel, 0);
        EXPECT_THAT(g_fake.pauses, ElementsAre(1000U, 1000U)) << "two attempts in vain, one second apart";
    });
}

TEST(Channel, IsClosedAfterAllAttemptsInVain)
{
    in_child([] {
        const temp_folder folder;
        const test_log log;
        amt_channel_fd channel{0};
        EXPECT_EQ(amt_channel_open(&channel, folder.path("tty").c_str(), 4), ERR_C_FUNCTION);
        EXPECT_EQ(channel, 0);
        EXPECT_EQ(g_fake.pauses.size(), 4U);
        EXPECT_THAT(g_fake.pauses, Each(1000U));
        EXPECT_THAT(log.records(), Contains("info | (3/4)try to open device \"" + folder.path("tty") + "\""));
    });
}

TEST(Channel, WithoutAPathIsRefused)
{
    in_child([] {
        amt_channel_fd channel{0};
        EXPECT_EQ(amt_channel_open(&channel, "", 30), ERR_INVALID_PARAM);
        EXPECT_FALSE(amt_channel_is_open(channel));
        EXPECT_TRUE(g_fake.pauses.empty());
    });
}

// --- closing

TEST(Channel, IsClosedAndKnowsIt)
{
    in_child([] {
        const one_way pipe;
        amt_channel_fd channel{pipe.out};
        amt_channel_close(&channel);
        EXPECT_EQ(channel, 0);
        EXPECT_FALSE(is_open(pipe.out));
    });
}

TEST(Channel, ThatSeveralCloseIsClosedByOne)
{
    in_child([] {
        const one_way pipe;
        amt_channel_fd channel{pipe.out};
        int closings = 0;
        g_fake.on_close = [&](int fd) {
            closings += fd == pipe.out ? 1 : 0;
            if (closings == 1) {
                amt_channel_close(&channel); // another one, in the middle of the first
            }
        };
        amt_channel_close(&channel);
        amt_channel_close(&channel);
        EXPECT_EQ(closings, 1) << "the number may be another file's by then";
    });
}

TEST(Channel, ThatIsClosedOrBeingOpenedHasNothingToClose)
{
    for (const int fd : {0, AMT_CHANNEL_OPENING}) {
        in_child([fd] {
            amt_channel_fd channel{fd};
            int closings = 0;
            g_fake.on_close = [&](int) { closings++; };
            amt_channel_close(&channel);
            EXPECT_EQ(closings, 0) << fd;
            EXPECT_EQ(channel, 0) << fd;
            EXPECT_TRUE(is_open(STDOUT_FILENO));
        });
    }
}

// --- reading

TEST(Channel, ReadsBehindWhatTheBufferHolds)
{
    in_child([] {
        const one_way pipe;
        const amt_channel_fd channel{pipe.out};
        amt_buffer buffer = {};
        pipe.fill("AT^D");
        EXPECT_EQ(amt_channel_read(channel, &buffer), 4);
        EXPECT_EQ(text_in(buffer), "AT^D");
        pipe.fill("SVER\r");
        EXPECT_EQ(amt_channel_read(channel, &buffer), 5);
        EXPECT_EQ(text_in(buffer), "AT^DSVER\r");
        EXPECT_EQ(buffer.m_data_a[9], 0) << "and nothing behind it";
    });
}

TEST(Channel, LeavesTheLastByteOfABufferAlone)
{
    for (const uint32_t held : {0U, 4000U, 4094U}) {
        in_child([held] {
            const one_way pipe;
            const amt_channel_fd channel{pipe.out};
            amt_buffer buffer = {};
            buffer.m_length = held;
            pipe.fill(std::string(5000, 'x'));
            EXPECT_EQ(amt_channel_read(channel, &buffer), static_cast<ssize_t>(4095 - held));
            EXPECT_EQ(buffer.m_length, 4095U);
            EXPECT_EQ(buffer.m_data_a[4094], 'x');
            EXPECT_EQ(buffer.m_data_a[4095], 0);
        });
    }
}

TEST(Channel, TellsAnEndByACountOf0)
{
    in_child([] {
        const one_way pipe;
        (void)close(pipe.in);
        const amt_channel_fd channel{pipe.out};
        amt_buffer buffer = {};
        buffer.m_length = 3;
        EXPECT_EQ(amt_channel_read(channel, &buffer), 0);
        EXPECT_EQ(buffer.m_length, 3U);
    });
}

TEST(Channel, TellsAFailureByErrnoAndAddsNothing)
{
    in_child([] {
        const one_way pipe;
        (void)close(pipe.out);
        amt_buffer buffer = {};
        buffer.m_length = 3;
        errno = 0;
        EXPECT_EQ(amt_channel_read(pipe.out, &buffer), -1);
        EXPECT_EQ(errno, EBADF);
        EXPECT_EQ(buffer.m_length, 3U);
        (void)signal(SIGPIPE, SIG_IGN);
        EXPECT_EQ(amt_channel_write(pipe.in, "x", 1), -1) << "nobody reads it";
        EXPECT_EQ(errno, EPIPE);
    });
}

// --- a closed channel

TEST(Channel, ThatIsClosedNeverTouchesStandardInput)
{
    for (const int fd : {0, AMT_CHANNEL_OPENING, -7}) {
        in_child([fd] {
            const one_way input;
            ASSERT_EQ(dup2(input.out, STDIN_FILENO), STDIN_FILENO);
            input.fill("x");
            const amt_channel_fd channel{fd};
            amt_buffer buffer = {};
            errno = 0;
            EXPECT_EQ(amt_channel_read(channel, &buffer), -1);
            EXPECT_EQ(errno, EBADF);
            EXPECT_EQ(buffer.m_length, 0U);
            const one_way output;
            ASSERT_EQ(dup2(output.in, STDIN_FILENO), STDIN_FILENO);
            errno = 0;
            EXPECT_EQ(amt_channel_write(channel, "y", 1), -1);
            EXPECT_EQ(errno, EBADF);
            char byte = 0;
            EXPECT_EQ(read(input.out, &byte, 1), 1) << "what could have been read is still there";
            EXPECT_EQ(fcntl(output.out, F_SETFL, O_NONBLOCK), 0);
            EXPECT_EQ(read(output.out, &byte, 1), -1) << "and nothing was written";
        });
    }
}

// --- writing

TEST(Channel, WritesOnceAndTellsAShortWrite)
{
    in_child([] {
        const links link;
        g_fake.write_fails_at = 1;
        g_fake.write_count = 2;
        EXPECT_EQ(amt_channel_write(handle_context_st.m_fd_pc, "abcd", 4), 2);
        EXPECT_THAT(link.at_station(), ElementsAre("6162")) << "the rest is the caller's to send";
        EXPECT_EQ(amt_channel_write(handle_context_st.m_fd_pc, "abcd", 3), 3);
        EXPECT_THAT(link.at_station(), ElementsAre("616263"));
    });
}

} // namespace
