// A start on the insertion of a cable: which steps of its handshake the start and the two readers take, and when.
#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string.h>

#include <string>
#include <vector>

#include "amt/amt-cfg.h"
#include "amt/channels/modem-reader.h"
#include "amt/channels/pc-dispatch.h"
#include "amt/channels/pc-reader.h"
#include "amt/channels/start-up.h"
#include "amt/core/context.h"
#include "amt/identity/identity-writes.h"
#include "amt/run-mode.h"
#include "pub/log/errors.h"
#include "tests/support/in_child.h"
#include "tests/support/test_log.h"
#include "tests/unit/amt/channel_fakes.h"
#include "tests/unit/amt/handshake_steps.h"
#include "tests/unit/amt/pending_notes.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// Nothing is open yet.
struct start : test_log {
    explicit start(std::deque<int> opened)
    {
        g_fake = {};
        g_steps = {};
        g_usb_activate = 1;
        g_fake.opened = std::move(opened);
        amt_cfg_st = {};
        strcpy(amt_cfg_st.m_tty_pc_a, "/dev/ttyGS0");
        strcpy(amt_cfg_st.m_tty_modem_a, "/dev/ttyS3");
    }
};

// Started.
struct readers : test_log {
    explicit readers(int32_t is_on_cable)
    {
        open_channels();
        g_steps = {};
        g_usb_activate = is_on_cable;
        g_amt_mode = AMT_MODE_UNKNOWN;
        amt_clear_pending_identity();
    }

    // Reads what it is given, until the station is lost.
    static void read_station(std::deque<io_result> reads)
    {
        g_fake.reads = std::move(reads);
        EXPECT_TRUE(runs_until_end(amt_handle_read_pc_loop));
    }

    // Reads what it is given, and then loses the station.
    static void read_modem(std::deque<io_result> reads)
    {
        g_fake.reads = std::move(reads);
        g_fake.on_read = [] {
            if (g_fake.reads.empty()) {
                handle_context_st.m_fd_pc = 0;
            }
        };
        EXPECT_TRUE(runs_until_end(amt_handle_read_modem_loop));
    }
};

TEST(CableStart, AsksForAdmissionBeforeTheIdentitiesAndAwaitsTheCableBeforeTheStationsTty)
{
    in_child([] {
        const start start({k_fd_pc, k_fd_modem});
        std::vector<size_t> prepared; // so many identities before each step
        g_steps.on_step = [&prepared](const std::string &) {
            prepared.push_back(g_fake.prepared.size());
            EXPECT_EQ(g_init_state, AMT_INIT_RUNNING);
            EXPECT_THAT(g_fake.open_calls, IsEmpty());
            EXPECT_THAT(g_fake.started, IsEmpty());
        };
        EXPECT_EQ(amt_handle_init(0), ERR_NONE);
        EXPECT_THAT(g_steps.taken,
                    ElementsAre(k_forget_failure, k_choose_libraries, k_prepare_timers, k_admit, k_await_cable));
        EXPECT_THAT(prepared, ElementsAre(0, 0, 0, 0, 3));
        EXPECT_THAT(g_fake.open_calls, ElementsAre("/dev/ttyGS0, 2, 60, 1000", "/dev/ttyS3, 2, 60, 1000"));
        EXPECT_EQ(g_fake.started.size(), 3U);
    });
}

TEST(CableStart, DoesNothingMoreWhenItIsRefused)
{
    in_child([] {
        const start start({k_fd_pc, k_fd_modem});
        g_steps.is_admitted = false;
        note_text(pending_imei(), "1");
        amt_set_platform_mode(7);
        EXPECT_EQ(amt_handle_init(0), -100);
        EXPECT_THAT(g_steps.taken, ElementsAre(k_forget_failure, k_choose_libraries, k_prepare_timers, k_admit));
        EXPECT_EQ(noted(pending_imei()), "1");
        EXPECT_THAT(g_fake.prepared, IsEmpty());
        EXPECT_THAT(g_fake.open_calls, IsEmpty());
        EXPECT_THAT(g_fake.slept_seconds, IsEmpty());
        EXPECT_THAT(g_fake.started, IsEmpty());
        for (const amt_handle_func handler : handle_context_st.m_handle_pc_func_a) {
            EXPECT_EQ(handler, nullptr);
        }
        EXPECT_EQ(amt_get_platform_mode(), 7U);
    });
}

TEST(CableModemReader, HasTheStationsAnswerWaitFromBeforeTheWriteUntilTheRelayIsDone)
{
    in_child([] {
        const readers readers(1);
        std::vector<size_t> sent; // before each step
        g_steps.on_step = [&sent](const std::string &step) {
            sent.push_back(g_fake.sent.size());
            EXPECT_EQ(g_fake.confirming.size(), sent.size() > 2 ? 2U : 1U) << "it has been looked at before";
            EXPECT_EQ(handle_context_st.m_modem_relay.m_length == 0, step == k_end_relay);
        };
        readers::read_modem({data("\r\nOK\r\n"), data("more")});
        EXPECT_THAT(g_steps.taken, ElementsAre(k_begin_relay, k_end_relay, k_begin_relay, k_end_relay));
        EXPECT_THAT(sent, ElementsAre(0, 1, 1, 2));
    });
}

TEST(CableModemReader, EndsNoRelayThatTheStationDidNotTake)
{
    for (const io_result &result : {failed(EIO), io_result{3, 0, ""}, io_result{0, 0, ""}}) {
        in_child([&result] {
            const readers readers(1);
            g_fake.writes = {result};
            readers::read_modem({data("\r\nOK\r\n"), data("more")});
            EXPECT_THAT(g_steps.taken, ElementsAre(k_begin_relay)) << result.count;
        });
    }
}

TEST(CableModemReader, OpensNoPeriodWithAModemThatSaysNothing)
{
    in_child([] {
        const readers readers(1);
        readers::read_modem({nothing(), failed(EIO), nothing()});
        EXPECT_THAT(g_steps.taken, IsEmpty());
    });
}

TEST(CableModemReader, KnowsOfNoHandshakeWithoutACable)
{
    in_child([] {
        const readers readers(0);
        readers::read_modem({data("\r\nOK\r\n")});
        EXPECT_THAT(g_steps.taken, IsEmpty());
        EXPECT_EQ(g_fake.sent.size(), 1U);
    });
}

TEST(CablePcReader, TakesDataForAnAnswerBeforeItLooksForAProbeInThem)
{
    in_child([] {
        const readers readers(1);
        g_steps.on_step = [&readers](const std::string &) {
            EXPECT_EQ(readers.records().back(), "data | handle PC req data: (data len = 3) 41540D");
            EXPECT_EQ(handle_context_st.m_request.m_length, 3U);
            EXPECT_EQ(g_amt_mode, 0U);
            EXPECT_THAT(g_fake.sent, IsEmpty());
            g_steps.on_step = nullptr;
        };
        readers::read_station({data("AT\r"), data("anything"), data(enveloped(0x13))});
        EXPECT_THAT(g_steps.taken, ElementsAre(k_take_data, k_take_data, k_take_data));
        EXPECT_THAT(g_fake.sent, ElementsAre(written{k_fd_modem, "AT;^DLKS=1\r"}, written{k_fd_modem, "anything"},
                                             written{k_fd_modem, enveloped(0x13)}));
    });
}

TEST(CablePcReader, TakesNothingForAnAnswerWhenNothingIsRead)
{
    in_child([] {
        const readers readers(1);
        readers::read_station({nothing(), failed(EIO)});
        EXPECT_THAT(g_steps.taken, IsEmpty());
    });
}

TEST(CablePcReader, KnowsOfNoHandshakeWithoutACable)
{
    in_child([] {
        const readers readers(0);
        readers::read_station({data("AT\r"), data(enveloped(0x13))});
        EXPECT_THAT(g_steps.taken, IsEmpty());
    });
}

} // namespace
