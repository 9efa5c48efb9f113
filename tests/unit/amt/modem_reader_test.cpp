// The way from the modem to the station.
#include "amt/channels/modem-reader.h"

#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string.h>

#include <string>
#include <vector>

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

struct modem_reader : test_log {
    modem_reader() { open_channels(); }

    void read(std::deque<io_result> reads)
    {
        g_fake.reads = std::move(reads);
        EXPECT_TRUE(runs_until_end(amt_handle_read_modem_loop));
        EXPECT_EQ(g_fake.ended_by, &handle_context_st.m_thread_modem);
        EXPECT_LE(handle_context_st.m_fd_modem, 0) << "it closes its own port";
    }
};

// Loses the station at the n-th read from now on.
void lose_station_at(int read)
{
    g_fake.on_read = [read]() mutable {
        if (--read == 0) {
            handle_context_st.m_fd_pc = 0;
        }
    };
}

TEST(ModemReader, HandsOnWhatItReadsAsItReadsIt)
{
    in_child([] {
        modem_reader reader;
        lose_station_at(4);
        const std::string longest(4095, '\xFF');
        reader.read({data("\r\nOK\r\n"), data(longest), data(std::string("\0", 1)), nothing()});
        EXPECT_THAT(g_fake.sent, ElementsAre(written{k_fd_pc, "\r\nOK\r\n"}, written{k_fd_pc, longest},
                                             written{k_fd_pc, std::string("\0", 1)}));
        EXPECT_THAT(g_fake.rooms, ElementsAre(4095, 4095, 4095, 4095));
        EXPECT_THAT(reader.records(), Contains("info | read_modem_loop, read ready, m_fd_modem=1002").Times(4));
        EXPECT_THAT(reader.records(), Contains("data | receive Modem data: (data len = 6) 0D0A4F4B0D0A"));
        EXPECT_THAT(reader.records(), Contains("info | write to pc, m_buf_len=6, write_len=6"));
    });
}

TEST(ModemReader, ForgetsWhatWasLeftFromBefore)
{
    in_child([] {
        modem_reader reader;
        amt_buffer &relay = handle_context_st.m_modem_relay;
        memset(relay.m_data_a, 0xFF, sizeof(relay.m_data_a));
        relay.m_length = 9;
        g_fake.on_read = [&relay] {
            EXPECT_TRUE(is_clear(relay));
            if (!g_fake.rooms.empty()) {
                handle_context_st.m_fd_pc = 0;
            }
        };
        reader.read({data("new"), nothing()});
        EXPECT_THAT(g_fake.rooms, ElementsAre(4095, 4095));
        EXPECT_THAT(g_fake.sent, ElementsAre(written{k_fd_pc, "new"}));
    });
}

// --- confirmations of what the station wrote

TEST(ModemReader, HasEachReadingLookedAtBeforeTheStationGetsIt)
{
    in_child([] {
        modem_reader reader;
        lose_station_at(5);
        std::vector<size_t> sent_before; // when each was looked at
        g_fake.on_confirming = [&sent_before] { sent_before.push_back(g_fake.sent.size()); };
        const std::string longest(4095, 'x');
        const std::string envelope = enveloped_result(6, 0);
        reader.read({data("\r\nOK\r\n"), data(envelope), data(longest), data(std::string("a\0b", 3)), nothing()});
        EXPECT_THAT(g_fake.confirming, ElementsAre("\r\nOK\r\n", envelope, longest, std::string("a\0b", 3)));
        EXPECT_THAT(sent_before, ElementsAre(0, 1, 2, 3));
        EXPECT_THAT(g_fake.sent, ElementsAre(written{k_fd_pc, "\r\nOK\r\n"}, written{k_fd_pc, envelope},
                                             written{k_fd_pc, longest}, written{k_fd_pc, std::string("a\0b", 3)}));
    });
}

TEST(ModemReader, HasWhatTheModemSaidToldToTheLogBeforeItIsLookedAt)
{
    in_child([] {
        modem_reader reader;
        lose_station_at(2);
        std::string told_last;
        g_fake.on_confirming = [&] { told_last = reader.records().back(); };
        reader.read({data("\r\nOK\r\n"), nothing()});
        EXPECT_EQ(told_last, "data | receive Modem data: (data len = 6) 0D0A4F4B0D0A");
    });
}

// An answer that comes in two readings is looked at twice, each time alone and with nothing of the other behind it.
TEST(ModemReader, HasAReadingLookedAtWithoutWhatWasBefore)
{
    in_child([] {
        modem_reader reader;
        lose_station_at(3);
        g_fake.on_confirming = [] {
            const amt_buffer &relay = handle_context_st.m_modem_relay;
            const std::string behind(reinterpret_cast<const char *>(relay.m_data_a) + relay.m_length,
                                     AMT_MESSAGE_SIZE - relay.m_length);
            EXPECT_EQ(behind, std::string(AMT_MESSAGE_SIZE - relay.m_length, '\0'));
        };
        reader.read({data("\r\nOK and more"), data("\r\n"), nothing()});
        EXPECT_THAT(g_fake.confirming, ElementsAre("\r\nOK and more", "\r\n"));
    });
}

TEST(ModemReader, RelaysWhateverComesOfTheLook)
{
    for (const int32_t code : {ERR_NONE, ERR_NOT_FOUND, ERR_UNKNOWN, ERR_INVALID_PARAM, ERR_C_FUNCTION}) {
        in_child([code] {
            modem_reader reader;
            lose_station_at(3);
            g_fake.confirming_result = code;
            reader.read({data("\r\nOK\r\n"), data("\r\nERROR\r\n"), nothing()});
            EXPECT_EQ(g_fake.confirming.size(), 2U) << code;
            EXPECT_THAT(g_fake.sent, ElementsAre(written{k_fd_pc, "\r\nOK\r\n"}, written{k_fd_pc, "\r\nERROR\r\n"}))
                << code;
            EXPECT_THAT(reader.records(), Contains("info | write to pc, m_buf_len=6, write_len=6"));
        });
    }
}

TEST(ModemReader, HasALastReadingLookedAtThatTheStationDoesNotTake)
{
    for (const io_result &result : {failed(EIO), io_result{3, 0, ""}, io_result{0, 0, ""}}) {
        in_child([&result] {
            modem_reader reader;
            g_fake.writes = {result};
            reader.read({data("\r\nOK\r\n"), data("more")});
            EXPECT_THAT(g_fake.confirming, ElementsAre("\r\nOK\r\n"));
        });
    }
}

TEST(ModemReader, HasNothingLookedAtWhenTheModemSaysNothing)
{
    in_child([] {
        modem_reader reader;
        lose_station_at(3);
        reader.read({nothing(), failed(EIO), nothing()});
        EXPECT_THAT(g_fake.confirming, IsEmpty());
    });
}

// --- a modem or a station that is not there

TEST(ModemReader, GoesOnWithAModemThatSaysNothingOrFails)
{
    in_child([] {
        modem_reader reader;
        lose_station_at(5);
        reader.read({nothing(), failed(EIO), failed(EAGAIN), data("x"), nothing()});
        EXPECT_THAT(reader.records(), Contains("warning | modem read empty data").Times(4));
        EXPECT_THAT(g_fake.slept_ms, ElementsAre(100, 100, 100, 100));
        EXPECT_THAT(g_fake.sent, ElementsAre(written{k_fd_pc, "x"}));
    });
}

TEST(ModemReader, EndsTheServiceWhenTheStationTakesNotAllOfIt)
{
    struct row {
        io_result result;
        const char *record;
    };
    for (const row &row : {row{{3, 0, ""}, "info | write to pc, m_buf_len=6, write_len=3"},
                           row{{0, 0, ""}, "info | write to pc, m_buf_len=6, write_len=0"},
                           row{failed(EIO), "info | write to pc, m_buf_len=6, write_len=-1"}}) {
        in_child([&row] {
            modem_reader reader;
            g_fake.writes = {row.result};
            reader.read({data("\r\nOK\r\n"), data("more")});
            EXPECT_EQ(g_fake.sent.size(), 1U);
            EXPECT_THAT(reader.records(), Contains(row.record));
            EXPECT_THAT(reader.records(),
                        Contains(HasSubstr("write error, errno[5]")).Times(row.result.count < 0 ? 1 : 0));
        });
    }
}

TEST(ModemReader, EndsTheServiceWithoutAChannel)
{
    for (amt_channel_fd *channel : {&handle_context_st.m_fd_pc, &handle_context_st.m_fd_modem}) {
        in_child([channel] {
            modem_reader reader;
            channel->store(0);
            reader.read({data("x")});
            EXPECT_THAT(g_fake.rooms, IsEmpty());
        });
    }
}

TEST(ModemReader, EndsTheServiceWhenTheModemsPortIsClosedMeanwhile)
{
    in_child([] {
        modem_reader reader;
        g_fake.on_read = [] { handle_context_st.m_fd_modem = 0; };
        reader.read({failed(EIO), data("x")});
        EXPECT_EQ(g_fake.rooms.size(), 1U);
    });
}

// The station's thread reopens the port.
TEST(ModemReader, WaitsForAModemThatIsBeingReopened)
{
    in_child([] {
        modem_reader reader;
        handle_context_st.m_fd_modem = AMT_CHANNEL_OPENING;
        std::jmp_buf waited;
        if (setjmp(waited) == 0) {
            struct jump { // out of the third wait
                static void out(std::jmp_buf &to) { std::longjmp(to, 1); }
            };
            g_fake.on_sleep = [&waited] {
                if (g_fake.slept_ms.size() == 3) {
                    jump::out(waited);
                }
            };
            reader.read({data("x")});
            ADD_FAILURE() << "it gave the port up";
        }
        EXPECT_THAT(g_fake.rooms, IsEmpty()) << "nothing is read meanwhile";
        EXPECT_THAT(g_fake.slept_ms, ElementsAre(100, 100, 100));
        EXPECT_THAT(reader.records(), ::testing::Not(Contains(HasSubstr("modem read"))));
    });
}

TEST(ModemReader, ReadsOnFromAModemThatHasBeenReopened)
{
    in_child([] {
        modem_reader reader;
        handle_context_st.m_fd_modem = AMT_CHANNEL_OPENING;
        g_fake.on_sleep = [] { handle_context_st.m_fd_modem = 1010; };
        lose_station_at(2);
        reader.read({data("x"), nothing()});
        EXPECT_THAT(g_fake.sent, ElementsAre(written{k_fd_pc, "x"}));
        EXPECT_THAT(reader.records(), Contains("info | read_modem_loop, read ready, m_fd_modem=1010").Times(2));
    });
}

} // namespace
