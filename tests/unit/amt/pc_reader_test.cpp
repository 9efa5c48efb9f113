// The station's requests, one read after the other.
#include "amt/channels/pc-reader.h"

#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string.h>

#include "amt/amt-cfg.h"
#include "amt/channels/pc-dispatch.h"
#include "amt/core/registry.h"
#include "amt/identity/identity-writes.h"
#include "amt/results/result-requests.h"
#include "pub/log/errors.h"
#include "tests/support/in_child.h"
#include "tests/support/test_log.h"
#include "tests/unit/amt/channel_fakes.h"
#include "tests/unit/amt/clear_buffer.h"
#include "tests/unit/amt/pending_notes.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

const std::string k_lock = "AT;^DLKS=1\r";
const std::string k_pre_response("\xAA\xBB\xCC\xDD\x08\x00\x00\x00\x02\x02\x00\x00\x76\x4A\xEE\x1D", 16);

constexpr uint8_t k_id = 0x13; // nobody's

struct reader : test_log {
    reader()
    {
        open_channels();
        g_handler = {};
        g_handler.channel = AMT_CHANNEL_PC;
        g_amt_mode = AMT_MODE_UNKNOWN;
        amt_clear_pending_identity();
    }

    // Reads what it is given, until the station is lost.
    void read(std::deque<io_result> reads)
    {
        g_fake.reads = std::move(reads);
        EXPECT_TRUE(runs_until_end(amt_handle_read_pc_loop));
        EXPECT_EQ(g_fake.ended_by, &handle_context_st.m_thread_pc);
        EXPECT_LE(handle_context_st.m_fd_pc, 0);
    }

    static std::vector<std::string> sent_to(int fd)
    {
        std::vector<std::string> result;
        for (const written &write : g_fake.sent) {
            if (write.fd == fd) {
                result.push_back(write.bytes);
            }
        }
        return result;
    }
};

// --- reading

TEST(PcReader, TakesEachReadForOneRequestOfUpTo4095Bytes)
{
    in_child([] {
        reader reader;
        const std::string longest(4095, 'x');
        reader.read({data("ATI\r"), data("AT^"), data("I"), data(longest), data("y")});
        EXPECT_THAT(reader::sent_to(k_fd_modem), ElementsAre("ATI\r", "AT^", "I", longest, "y"));
        EXPECT_THAT(g_fake.rooms, ElementsAre(4095, 4095, 4095, 4095, 4095, 4095));
        EXPECT_THAT(reader.records(), Contains("info | read_pc_loop, read ready, m_fd_pc=1001").Times(6));
        EXPECT_THAT(reader.records(), Contains("data | handle PC req data: (data len = 4) 4154490D"));
        EXPECT_THAT(reader.records(), Contains("data | write to modem: (data len = 4) 4154490D"));
    });
}

TEST(PcReader, ClearsWhatOlderRequestsLeftFromTheStart)
{
    in_child([] {
        reader reader;
        for (amt_buffer *buffer : {&handle_context_st.m_request, &handle_context_st.m_response}) {
            memset(buffer->m_data_a, 0xFF, sizeof(buffer->m_data_a));
            buffer->m_length = 9;
        }
        g_fake.on_read = [] {
            for (const amt_buffer *buffer : {&handle_context_st.m_request, &handle_context_st.m_response}) {
                EXPECT_TRUE(is_clear(*buffer));
            }
        };
        reader.read({data("a long request\r"), data("short\r")});
    });
}

TEST(PcReader, WaitsABitWhenNothingIsRead)
{
    in_child([] {
        reader reader;
        reader.read({nothing(), nothing(), data("ATI\r")});
        EXPECT_THAT(g_fake.slept_ms, ElementsAre(100, 100));
        EXPECT_THAT(reader.records(), Contains("warning | pc read empty data").Times(2));
        EXPECT_THAT(reader::sent_to(k_fd_modem), ElementsAre("ATI\r"));
    });
}

TEST(PcReader, EndsTheServiceWhenAReadFails)
{
    in_child([] {
        reader reader;
        reader.read({failed(EIO), data("ATI\r")});
        EXPECT_THAT(reader.records(), Contains("sys error | read: 5 - Input/output error"));
        EXPECT_THAT(g_fake.sent, IsEmpty());
    });
}

TEST(PcReader, EndsTheServiceWhenTheStationsPortIsClosed)
{
    in_child([] {
        reader reader;
        handle_context_st.m_fd_pc = 0;
        reader.read({data("ATI\r")});
        EXPECT_THAT(g_fake.rooms, IsEmpty());
    });
}

TEST(PcReader, EndsTheServiceWhenTheModemsPortIsClosed)
{
    in_child([] {
        reader reader;
        handle_context_st.m_fd_modem = 0;
        reader.read({data("ATI\r")});
        EXPECT_THAT(g_fake.rooms, IsEmpty());
    });
}

// --- probes

TEST(PcReader, KnowsAProbeByItsFirstAndItsSecondThreeBytes)
{
    struct row {
        const char *request;
        size_t length;
        bool is_probe;
    };
    // clang-format off
    const row rows[] = {
        {"AT\r", 3, true},          {"at\r", 3, true},         {"aT\r\n", 4, true},        {"AT\rab", 5, true},
        {"AT\rabc", 6, false},      {"AT\rabcd", 7, false},    {"AT\r\nAT\r", 7, true},    {"AT\r\nat\r\n", 8, true},
        {"AT\rxAT\rmore", 11, true},{"AT\rAT\r", 6, false},    {"AT\r\nAT", 6, false},     {"AT\r\n\nAT\r", 8, false},
        {"AT", 2, false},           {"A", 1, false},           {"ATI\r", 4, false},        {"AT\n", 3, false},
        {"\nAT\r", 4, false},       {"AT\0", 3, false},        {"AT \r", 4, false},        {"AT\r\0AT\r", 7, true},
    };
    // clang-format on
    for (const row &row : rows) {
        in_child([&row] {
            reader reader;
            const std::string request(row.request, row.length);
            reader.read({data(request)});
            EXPECT_THAT(reader::sent_to(k_fd_modem), ElementsAre(row.is_probe ? k_lock : request)) << row.request;
            EXPECT_EQ(g_amt_mode, row.is_probe ? 4U : 0U) << row.request;
        });
    }
}

TEST(PcReader, LeavesNothingOfALongProbeBehindTheLockLine)
{
    in_child([] {
        reader reader;
        reader.read({data("AT\rxAT\rxxxxAT^DSVER\r")});
        EXPECT_THAT(g_fake.sent, ElementsAre(written{k_fd_modem, k_lock}))
            << "and no line of the handset's is found in it";
    });
}

TEST(PcReader, SetsTheModemsSerialLineBackForASingleProbeOnly)
{
    struct row {
        std::string modem;
        const char *request;
        std::vector<std::string> lines;
    };
    for (const row &row :
         {row{"/dev/ttyS3", "AT\r", {"1002, 57600"}}, row{"/dev/ttyS3", "AT\r\nAT\r\n", {}},
          row{"/dev/ttyS3", "ATI\r", {}}, row{"/dev/ttyUSB0", "AT\r", {}}, row{"/dev/tty", "AT\r", {}}}) {
        in_child([&row] {
            reader reader;
            memcpy(amt_cfg_st.m_tty_modem_a, row.modem.c_str(), row.modem.size() + 1);
            amt_cfg_st.m_modem_uart_at_baudrate = 57600;
            amt_cfg_st.m_modem_uart_amt_baudrate = 921600;
            reader.read({data(row.request)});
            EXPECT_EQ(g_fake.lines, row.lines) << row.modem << " " << row.request;
        });
    }
}

TEST(PcReader, EntersTheModeOfLinesWithTheFirstProbe)
{
    in_child([] {
        reader reader;
        reader.read({data("AT\r"), data("AT\r"), data(enveloped(k_id)), data(enveloped(k_id)), data("AT\r")});
        EXPECT_THAT(reader.records(), Contains("info | mark to enter amt4").Times(2));
        EXPECT_THAT(reader.records(), Contains("info | mark to enter amt1").Times(1));
        EXPECT_THAT(reader.records(), Contains("info | call amt_usb_charge_ctrl for amt4. return:-118, current amt "
                                               "mode:4.")
                                          .Times(2))
            << "no library here";
    });
}

// --- dispatch

TEST(PcReader, HandsAMessageToItsHandlerWithoutItsEnvelope)
{
    in_child([] {
        reader reader;
        (void)amt_handle_reg_handle_func(AMT_CHANNEL_PC, k_id, handler);
        const auto append = [](uint8_t *message) { (void)amt_message_append_string(message, 9, "text"); };
        reader.read({data(enveloped(k_id, append))});
        EXPECT_THAT(g_handler.handled, ElementsAre(bare(k_id, append)));
        EXPECT_THAT(g_fake.sent, ElementsAre(written{k_fd_pc, k_pre_response})) << "at once, and nothing for the modem";
        EXPECT_THAT(reader.records(), Contains("info | receive command id: 19(0x13) - AMT_STARTRX_CMD"));
        EXPECT_THAT(reader.records(), Contains("info | handle_amt_imei_and_sn--->req_id_en:19."));
    });
}

TEST(PcReader, ForwardsWhatItsHandlerPassesOn)
{
    in_child([] {
        reader reader;
        (void)amt_handle_reg_handle_func(AMT_CHANNEL_PC, k_id, handler);
        g_handler.result = ERR_NOT_FOUND;
        reader.read({data(enveloped(k_id))});
        EXPECT_EQ(g_handler.handled.size(), 1U);
        EXPECT_THAT(g_fake.sent, ElementsAre(written{k_fd_pc, k_pre_response}, written{k_fd_modem, enveloped(k_id)}))
            << "envelope and all, behind the pre-response";
    });
}

// It is noted on the handset, and the modem's to keep and to answer.
TEST(PcReader, HandsAVerdictOnWithoutAWord)
{
    in_child([] {
        reader reader;
        (void)amt_handle_reg_handle_func(AMT_CHANNEL_PC, 0x5B, amt_modem_write_pc_test_result);
        const auto append = [](uint8_t *message) { (void)amt_message_append_int(message, 39, 20); }; // no such item
        reader.read({data(enveloped(0x5B, append))});
        EXPECT_THAT(g_fake.sent, ElementsAre(written{k_fd_modem, enveloped(0x5B, append)}));
    });
}

TEST(PcReader, AnswersForAHandlerThatFails)
{
    for (const int32_t code : {-100, -101, -118, -1, 7}) {
        in_child([code] {
            reader reader;
            (void)amt_handle_reg_handle_func(AMT_CHANNEL_PC, k_id, handler);
            g_handler.result = code;
            reader.read({data(enveloped(k_id)), data("ATI\r")});
            EXPECT_THAT(g_fake.sent,
                        ElementsAre(written{k_fd_pc, k_pre_response}, written{k_fd_pc, enveloped_result(k_id + 1, 1)},
                                    written{k_fd_modem, "ATI\r"}))
                << code;
        });
    }
}

TEST(PcReader, EndsTheServiceWhenNotEvenTheFailureCanBeTold)
{
    in_child([] {
        reader reader;
        (void)amt_handle_reg_handle_func(AMT_CHANNEL_PC, k_id, handler);
        g_handler.result = -100;
        g_fake.writes = {{16, 0, ""}, failed(EIO)};
        reader.read({data(enveloped(k_id)), data("ATI\r")});
        EXPECT_EQ(g_fake.rooms.size(), 1U) << "nothing more is read";
        EXPECT_THAT(reader::sent_to(k_fd_modem), IsEmpty());
    });
}

TEST(PcReader, ForwardsACommandThatNobodyHandles)
{
    in_child([] {
        reader reader;
        reader.read({data(enveloped(k_id))});
        EXPECT_THAT(g_fake.sent, ElementsAre(written{k_fd_modem, enveloped(k_id)})) << "without a pre-response";
        EXPECT_THAT(reader.records(),
                    Contains(testing::MatchesRegex("info \\| handle_context_st\\.m_handle_pc_func_a\\[19\\] =.*")));
    });
}

TEST(PcReader, TakesWhatIsNoEnvelopeForALine)
{
    const std::string magic = "\xAA\xBB\xCC\xDD";
    for (const std::string &line : {std::string("ATI\r"), magic + std::string(12, '\0'), std::string(100, '\xAA'),
                                    "\xDD\xCC\xBB\xAA" + std::string(40, 'x')}) {
        in_child([&line] {
            reader reader;
            reader.read({data(line)});
            EXPECT_THAT(g_fake.sent, ElementsAre(written{k_fd_modem, line}));
            EXPECT_THAT(reader.records(),
                        Contains(testing::MatchesRegex("info \\| handle_context_st\\.m_handle_pc_func_a\\[255\\] "
                                                       "=(\\(nil\\)|0x0)")));
            EXPECT_THAT(reader.records(), Contains("info | handle_amt_imei_and_sn--->req_id_en:255."));
            EXPECT_THAT(reader.records(), Not(Contains(HasSubstr("receive command id"))));
            EXPECT_EQ(g_amt_mode, 0U);
        });
    }
}

TEST(PcReader, TakesCommand255ForALineInTheModeOfMessages)
{
    in_child([] {
        reader reader;
        reader.read({data(enveloped(0xFF))});
        EXPECT_THAT(g_fake.sent, ElementsAre(written{k_fd_modem, enveloped(0xFF)}));
        EXPECT_THAT(reader.records(), Contains("info | receive command id: 255(0xFF) - (undefined)"));
        EXPECT_THAT(reader.records(), Contains("info | handle_amt_imei_and_sn--->req_id_en:255."));
        EXPECT_EQ(g_amt_mode, 1U);
    });
}

TEST(PcReader, NotesAnIdentityWriteAndStillHandlesIt)
{
    in_child([] {
        reader reader;
        (void)amt_handle_reg_handle_func(AMT_CHANNEL_PC, 5, handler);
        const auto append = [](uint8_t *message) { (void)amt_message_append_string(message, 21, "490154203237518"); };
        reader.read({data(enveloped(5, append))});
        EXPECT_EQ(g_handler.handled.size(), 1U);
        EXPECT_EQ(noted(pending_imei()), "490154203237518");
        EXPECT_EQ(pending_kind(), AMT_PENDING_IMEI);
    });
}

TEST(PcReader, NotesIdentityWritesOfTheirOwnCommandsOnly)
{
    const auto append = [](uint8_t *message) {
        (void)amt_message_append_string(message, 21, "1");
        (void)amt_message_append_string(message, 38, "2");
        (void)amt_message_append_int(message, 159, 3);
    };
    in_child([&append] {
        reader reader;
        reader.read({data(enveloped(6, append)), data(enveloped(0, append)), data(enveloped(86, append))});
        EXPECT_EQ(noted(pending_imei()), "");
        EXPECT_EQ(noted(pending_sn()), "");
        EXPECT_EQ(pending_channel(), 0);
    });
    in_child([&append] {
        reader reader;
        reader.read({data(enveloped(87, append)), data(enveloped(232, append))});
        EXPECT_EQ(noted(pending_sn()), "2");
        EXPECT_EQ(pending_channel(), 3);
    });
}

TEST(PcReader, AnswersALineOfTheHandsetsOwn)
{
    in_child([] {
        reader reader;
        reader.read({data("noise AT^DSVER\r")});
        ASSERT_EQ(g_fake.sent.size(), 1U);
        EXPECT_EQ(g_fake.sent[0].fd, k_fd_pc);
        EXPECT_THAT(g_fake.sent[0].bytes, HasSubstr("\r\n^DSVER: "));
    });
}

TEST(PcReader, SwitchesTheHandsetOffByItsLineAlone)
{
    in_child([] {
        reader reader;
        reader.read({data("AT^DAMTOFF"), data("AT^DSVER\rAT^DAMTOFF\r")});
        EXPECT_EQ(g_fake.power_offs, 0);
    });
    in_child([] {
        reader reader;
        reader.read({data("AT^DAMTOFF\r")});
        EXPECT_THAT(g_fake.sent, ElementsAre(written{k_fd_pc, "\r\nOK\r\n"}));
        EXPECT_THAT(g_fake.slept_seconds, ElementsAre(2));
        EXPECT_EQ(g_fake.power_offs, 1);
    });
}

TEST(PcReader, TellsAFailedLineByAMessageWithoutACommand)
{
    in_child([] {
        reader reader;
        g_fake.writes = {{2, 0, ""}};
        reader.read({data("ATI\r")});
        EXPECT_THAT(g_fake.sent, ElementsAre(written{k_fd_modem, "ATI\r"}, written{k_fd_pc, enveloped_result(0, 1)}))
            << "255 + 1 is 0 in a byte";
    });
}

// --- forwarding that fails

TEST(PcReader, TellsTheStationOfAShortWrite)
{
    in_child([] {
        reader reader;
        g_fake.writes = {{21, 0, ""}};
        reader.read({data(enveloped(k_id))});
        EXPECT_THAT(reader::sent_to(k_fd_pc), ElementsAre(enveloped_result(k_id + 1, 1)));
        EXPECT_THAT(g_fake.slept_ms, ElementsAre(20));
        EXPECT_THAT(reader.records(), Not(Contains(HasSubstr("write to modem"))));
    });
}

TEST(PcReader, ReopensAModemThatIsGoneAndSaysNothing)
{
    for (const int error : {EIO, EBADF}) {
        in_child([error] {
            reader reader;
            strcpy(amt_cfg_st.m_tty_modem_a, "/dev/ttyS3");
            amt_cfg_st.m_modem_uart_at_baudrate = 57600;
            amt_cfg_st.m_modem_uart_amt_baudrate = 921600;
            g_fake.writes = {failed(error)};
            g_fake.opened = {1010};
            g_fake.on_open = [] { EXPECT_EQ(handle_context_st.m_fd_modem, AMT_CHANNEL_OPENING); };
            reader.read({data("ATI\r"), data("AT+CSQ\r")});
            EXPECT_THAT(g_fake.sent, ElementsAre(written{k_fd_modem, "ATI\r"}, written{1010, "AT+CSQ\r"}));
            EXPECT_THAT(g_fake.open_calls, ElementsAre("/dev/ttyS3, 2, 60, 1000"));
            EXPECT_THAT(g_fake.lines, ElementsAre("1010, 921600"));
            EXPECT_THAT(g_fake.slept_ms, ElementsAre(20));
            EXPECT_THAT(reader.records(), Contains(HasSubstr("write error 1, errno[" + std::to_string(error) + "]")));
            EXPECT_THAT(reader.text(), HasSubstr("pub_util_try_to_open_device, handle_context_st.m_fd_modem  = 1010, "
                                                 "amt_cfg_st.m_tty_modem_a = /dev/ttyS3\n"));
        });
    }
}

TEST(PcReader, EndsTheServiceWhenTheModemStaysAway)
{
    in_child([] {
        reader reader;
        g_fake.writes = {failed(EIO)};
        reader.read({data("ATI\r"), data("AT+CSQ\r")});
        EXPECT_THAT(g_fake.sent, ElementsAre(written{k_fd_modem, "ATI\r"}, written{k_fd_pc, enveloped_result(0, 1)}));
        EXPECT_EQ(g_fake.rooms.size(), 1U);
        EXPECT_THAT(g_fake.slept_ms, ElementsAre(20));
    });
}

TEST(PcReader, TellsTheStationOfAnyOtherFailedWrite)
{
    in_child([] {
        reader reader;
        g_fake.writes = {failed(ENOSPC)};
        reader.read({data("ATI\r")});
        EXPECT_THAT(g_fake.sent, ElementsAre(written{k_fd_modem, "ATI\r"}, written{k_fd_pc, enveloped_result(0, 1)}));
        EXPECT_THAT(g_fake.open_calls, IsEmpty());
        EXPECT_THAT(reader.records(), Contains("error | -100 - Unknown error | write error 2, errno[28]"));
        EXPECT_THAT(g_fake.slept_ms, ElementsAre(20));
    });
}

} // namespace
