// The application's requests, one read after the other.
#include "amt/channels/app-reader.h"

#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string.h>

#include "amt/core/registry.h"
#include "pub/log/errors.h"
#include "tests/support/in_child.h"
#include "tests/support/test_log.h"
#include "tests/unit/amt/channel_fakes.h"
#include "tests/unit/amt/clear_buffer.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::Not;

constexpr uint8_t k_id = 0x2C; // nobody's

struct app_reader : test_log {
    app_reader()
    {
        open_channels();
        g_handler = {};
        g_handler.channel = AMT_CHANNEL_APP;
        strcpy(handle_context_st.m_pty.m_pts_name_a, "/dev/pts/7");
        strcpy(handle_context_st.m_pty.m_pts_mapping_name_a, "/dev/ttyAMT");
    }

    // Reads what it is given; then the pseudo-terminal fails, and the thread ends by itself.
    void read(std::deque<io_result> reads)
    {
        g_fake.reads = std::move(reads);
        handle_context_st.m_thread_app = pthread_self();
        EXPECT_FALSE(runs_until_end(amt_handle_read_app_loop)) << "the process stays";
        EXPECT_EQ(handle_context_st.m_thread_app, 0U);
    }
};

TEST(AppReader, HandsTheBareMessageToItsHandler)
{
    in_child([] {
        app_reader reader;
        (void)amt_handle_reg_handle_func(AMT_CHANNEL_APP, k_id, handler);
        const auto append = [](uint8_t *message) { (void)amt_message_append_int(message, 9, 1); };
        reader.read({data(bare(k_id, append)), data(bare(k_id))});
        EXPECT_THAT(g_handler.handled, ElementsAre(bare(k_id, append), bare(k_id))) << "cleared between the two";
        EXPECT_THAT(g_fake.sent, IsEmpty()) << "the handler answers, nobody else";
        EXPECT_THAT(reader.records(), Contains("data | handle APP req data: (data len = 6) 0600BB2C0000"));
        EXPECT_THAT(reader.records(), Contains("info | receive command id: 44(0x2C) - (undefined)").Times(2));
    });
}

TEST(AppReader, ClearsWhatItsBuffersHeld)
{
    in_child([] {
        app_reader reader;
        for (amt_buffer *buffer : {&handle_context_st.m_request, &handle_context_st.m_response}) {
            memset(buffer->m_data_a, 0xFF, sizeof(buffer->m_data_a));
            buffer->m_length = 9;
        }
        g_fake.on_read = [] {
            for (const amt_buffer *buffer : {&handle_context_st.m_request, &handle_context_st.m_response}) {
                EXPECT_TRUE(is_clear(*buffer));
            }
        };
        reader.read({});
    });
}

TEST(AppReader, AnswersForAHandlerThatFails)
{
    for (const int32_t code : {-100, -104, -118, 1}) {
        in_child([code] {
            app_reader reader;
            (void)amt_handle_reg_handle_func(AMT_CHANNEL_APP, k_id, handler);
            g_handler.result = code;
            reader.read({data(bare(k_id)), data(bare(k_id))});
            EXPECT_THAT(g_fake.sent, ElementsAre(written{k_fd_app, bare_result(k_id + 1, 1)},
                                                 written{k_fd_app, bare_result(k_id + 1, 1)}));
            EXPECT_THAT(g_handler.handled, ElementsAre(bare(k_id), bare(k_id))) << "answered, so cleared";
        });
    }
}

TEST(AppReader, KeepsARequestWhoseFailureCannotBeToldAndReadsMoreBehindIt)
{
    in_child([] {
        app_reader reader;
        (void)amt_handle_reg_handle_func(AMT_CHANNEL_APP, k_id, handler);
        g_handler.result = -100;
        g_fake.writes = {failed(EAGAIN), {3, 0, ""}};
        reader.read({data(bare(k_id)), data("ab"), data("cd"), data(bare(k_id))});
        EXPECT_THAT(g_handler.handled, ElementsAre(bare(k_id), bare(k_id) + "ab", bare(k_id) + "abcd", bare(k_id)));
        EXPECT_THAT(g_fake.rooms, ElementsAre(4095, 4089, 4087, 4095, 4095));
    });
}

TEST(AppReader, DropsWhatItHoldsWhenThereIsNoRoomBehindIt)
{
    in_child([] {
        app_reader reader;
        g_fake.writes = {failed(EAGAIN)};
        reader.read({data(std::string(4095, '\x2C')), data(bare(k_id))});
        EXPECT_THAT(g_fake.rooms, ElementsAre(4095, 4095, 4095)) << "never a read without room";
        EXPECT_EQ(g_fake.sent.size(), 2U);
    });
}

TEST(AppReader, RefusesWhatIsNotRegistered)
{
    in_child([] {
        app_reader reader;
        reader.read({data(bare(k_id)), data(bare(0xFF)), data("abc")});
        EXPECT_THAT(g_fake.sent,
                    ElementsAre(written{k_fd_app, bare_result(k_id + 1, 1)}, written{k_fd_app, bare_result(0, 1)},
                                written{k_fd_app, bare_result(1, 1)}));
        EXPECT_THAT(reader.records(), Contains("error | -100 - Unknown error | unregistered AMT request id: 44"));
        EXPECT_THAT(reader.records(), Contains("error | -100 - Unknown error | unknown AMT request id: 255"));
        EXPECT_THAT(reader.records(), Contains("error | -100 - Unknown error | unregistered AMT request id: 0"));
    });
}

TEST(AppReader, DoesNothingForAnEmptyRequest)
{
    in_child([] {
        const app_reader reader;
        EXPECT_FALSE(handle_amt_app_req());
        EXPECT_THAT(g_fake.sent, IsEmpty());
        EXPECT_THAT(reader.records(), Contains("error | -101 - Invalid parameter | 0, 0, 0, 1"));
    });
}

TEST(AppReader, WaitsABitWhenNothingIsReadAndKeepsWhatItHolds)
{
    in_child([] {
        app_reader reader;
        g_fake.writes = {failed(EAGAIN)};
        reader.read({data(bare(k_id)), nothing(), data("x")});
        EXPECT_THAT(g_fake.slept_ms, ElementsAre(200));
        EXPECT_THAT(g_fake.rooms, ElementsAre(4095, 4089, 4089, 4095));
        EXPECT_THAT(reader.records(), Contains("warning | app read empty data"));
    });
}

TEST(AppReader, OpensThePseudoTerminalAnewWhenTheApplicationCloses)
{
    in_child([] {
        app_reader reader;
        g_fake.pty_opened = {0, 0};
        reader.read({failed(EIO), failed(EIO), data(bare(k_id))});
        EXPECT_THAT(reader.records(),
                    Contains("info | pty disconnect: pts name(/dev/pts/7), pts mapping name(/dev/ttyAMT)").Times(2));
        EXPECT_THAT(reader.records(), Not(Contains(HasSubstr("sys error | read: 5"))));
        EXPECT_THAT(g_fake.sent, ElementsAre(written{k_fd_app, bare_result(k_id + 1, 1)}));
        EXPECT_TRUE(g_fake.pty_opened.empty());
    });
}

TEST(AppReader, EndsWhenThePseudoTerminalCannotBeOpenedAnew)
{
    in_child([] {
        app_reader reader;
        g_fake.pty_opened = {ERR_C_FUNCTION};
        reader.read({failed(EIO), data(bare(k_id))});
        EXPECT_EQ(g_fake.rooms.size(), 1U);
        EXPECT_EQ(g_fake.pty_closings, 2) << "before and after the attempt";
        EXPECT_LE(handle_context_st.m_pty.m_ptm_fd, 0);
    });
}

TEST(AppReader, EndsWhenAReadFailsOtherwise)
{
    in_child([] {
        app_reader reader;
        reader.read({failed(EFAULT), data(bare(k_id))});
        EXPECT_EQ(g_fake.rooms.size(), 1U);
        EXPECT_EQ(g_fake.pty_closings, 1);
        EXPECT_THAT(reader.records(), Contains("sys error | read: 14 - Bad address"));
        EXPECT_THAT(reader.records(),
                    Contains(MatchesRegex("info \\| pty disconnect: pts name\\(/dev/pts/7\\), pts mapping "
                                          "name\\(/dev/ttyAMT\\), thread id\\([0-9]+\\), PTM fd\\(1003\\)")));
    });
}

} // namespace
