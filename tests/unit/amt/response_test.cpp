#include "amt/core/response.h"

#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string.h>
#include <unistd.h>

#include "amt/wire/bytes.h"
#include "pub/log/errors.h"
#include "tests/support/in_child.h"
#include "tests/support/test_log.h"
#include "tests/unit/amt/core_fakes.h"
#include "tests/unit/amt/links.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

const std::string k_message = "0f00bbab0900ee0101040000000000"; // id 0xAB, result 0

// All that are valid and not the station's are the application's.
constexpr uint8_t k_application_channels_a[] = {2, 3, 254};

bool same(const amt_buffer &a, const amt_buffer &b)
{
    return a.m_length == b.m_length && memcmp(a.m_data_a, b.m_data_a, sizeof(a.m_data_a)) == 0;
}

// --- amt_handle_send_rsp

TEST(SendResponse, WritesTheBytesToTheStationOnceAndClearsTheBuffer)
{
    in_child([] {
        const links link;
        const test_log log;
        amt_buffer response = buffer_with("0d0a4f4b0d0a");
        response.m_data_a[6] = 'x'; // behind the length: not sent, cleared too
        response.m_data_a[AMT_MESSAGE_SIZE - 1] = 'x';
        EXPECT_EQ(amt_handle_send_rsp(AMT_CHANNEL_PC, &response), ERR_NONE);
        EXPECT_THAT(link.at_station(), ElementsAre("0d0a4f4b0d0a"));
        EXPECT_THAT(link.at_application(), IsEmpty());
        EXPECT_TRUE(is_clear(response));
        EXPECT_THAT(log.records(), ElementsAre("func | ", "data | send PC rsp data: (data len = 6) 0D0A4F4B0D0A"));
    });
}

TEST(SendResponse, TakesEveryOtherChannelForTheApplications)
{
    for (const uint8_t channel : k_application_channels_a) {
        in_child([channel] {
            const links link;
            const test_log log;
            amt_buffer response = buffer_with(k_message);
            EXPECT_EQ(amt_handle_send_rsp(channel, &response), ERR_NONE);
            EXPECT_THAT(link.at_application(), ElementsAre(k_message)) << "channel " << int{channel};
            EXPECT_THAT(link.at_station(), IsEmpty());
            EXPECT_TRUE(is_clear(response));
            EXPECT_THAT(
                log.records(),
                ElementsAre("func | ", "data | send APP rsp data: (data len = 15) 0F00BBAB0900EE0101040000000000"));
        });
    }
}

struct argument_row {
    const char *name;
    uint8_t channel;
    bool is_null;
    const char *flags;
};

// clang-format off
constexpr argument_row k_arguments_a[] = {
    {"channel 0",               0,   false, "1, 0"},
    {"channel 255",             255, false, "1, 0"},
    {"no buffer",               1,   true,  "0, 1"},
    {"no buffer, application",  2,   true,  "0, 1"},
    {"neither",                 0,   true,  "1, 1"},
};
// clang-format on

using sending = int32_t (*)(uint8_t channel, amt_buffer *response);

// It touches neither the buffer nor a link.
void expect_refused(sending send, const argument_row &row)
{
    in_child([send, &row] {
        SCOPED_TRACE(row.name);
        const links link;
        const test_log log;
        amt_buffer response = buffer_with(k_message);
        const amt_buffer before = response;
        EXPECT_EQ(send(row.channel, row.is_null ? nullptr : &response), ERR_INVALID_PARAM);
        EXPECT_TRUE(same(response, before));
        EXPECT_THAT(link.at_station(), IsEmpty());
        EXPECT_THAT(link.at_application(), IsEmpty());
        EXPECT_THAT(log.records(), ElementsAre("func | ", k_bad_argument + row.flags));
    });
}

TEST(SendResponse, RefusesBadArgumentsAndTellsWhich)
{
    for (const argument_row &row : k_arguments_a) {
        expect_refused(amt_handle_send_rsp, row);
    }
}

TEST(SendResponse, WithoutALengthIsAsLongAsItsMessage)
{
    in_child([] {
        const links link;
        amt_buffer response = buffer_with(k_message + "ffff");
        response.m_length = 0;
        EXPECT_EQ(amt_handle_send_rsp(AMT_CHANNEL_APP, &response), ERR_NONE);
        EXPECT_THAT(link.at_application(), ElementsAre(k_message));
        EXPECT_TRUE(is_clear(response));
    });
}

TEST(SendResponse, WithALengthIsThatLongWhateverItsMessageSays)
{
    in_child([] {
        const links link;
        amt_buffer response = buffer_with(k_message);
        response.m_length = 4;
        EXPECT_EQ(amt_handle_send_rsp(AMT_CHANNEL_PC, &response), ERR_NONE);
        EXPECT_THAT(link.at_station(), ElementsAre("0f00bbab"));
    });
}

TEST(SendResponse, RefusesAnEmptyMessageAndWritesNothing)
{
    in_child([] {
        const links link;
        const test_log log;
        amt_buffer response = {};
        response.m_data_a[2] = 0xBB; // something, but no length
        const amt_buffer before = response;
        EXPECT_EQ(amt_handle_send_rsp(AMT_CHANNEL_PC, &response), ERR_INVALID_PARAM);
        EXPECT_THAT(link.at_station(), IsEmpty());
        EXPECT_TRUE(same(response, before));
        EXPECT_THAT(log.records(), ElementsAre("func | ", k_bad_argument + "1"));
    });
}

TEST(SendResponse, Sends4096BytesAndNotOneMore)
{
    in_child([] {
        const links link;
        amt_buffer response = {};
        memset(response.m_data_a, 0x5A, sizeof(response.m_data_a));
        response.m_length = AMT_MESSAGE_SIZE;
        EXPECT_EQ(amt_handle_send_rsp(AMT_CHANNEL_PC, &response), ERR_NONE);
        EXPECT_THAT(link.at_station(), ElementsAre(to_hex(byte_vector(AMT_MESSAGE_SIZE, 0x5A))));
        EXPECT_TRUE(is_clear(response));
    });
    for (const uint32_t length : {AMT_MESSAGE_SIZE + 1, UINT32_MAX}) {
        in_child([length] {
            const links link;
            const test_log log;
            amt_buffer response = buffer_with(k_message);
            response.m_length = length;
            const amt_buffer before = response;
            EXPECT_EQ(amt_handle_send_rsp(AMT_CHANNEL_PC, &response), ERR_INVALID_PARAM) << length;
            EXPECT_THAT(link.at_station(), IsEmpty());
            EXPECT_TRUE(same(response, before));
            EXPECT_THAT(log.records(), ElementsAre("func | ", k_bad_argument + "1"));
        });
    }
}

constexpr uint16_t k_too_long_a[] = {4097, 65535};

TEST(SendResponse, RefusesAMessageThatSaysItIsLongerThanItsBuffer)
{
    for (const uint16_t total : k_too_long_a) {
        in_child([total] {
            const links link;
            amt_buffer response = {};
            store_u16_le(response.m_data_a, total);
            const amt_buffer before = response;
            EXPECT_EQ(amt_handle_send_rsp(AMT_CHANNEL_APP, &response), ERR_INVALID_PARAM) << total;
            EXPECT_TRUE(same(response, before)) << total;
            EXPECT_THAT(link.at_application(), IsEmpty());
        });
    }
}

struct closed_row {
    const char *name;
    uint8_t channel;
    int fd;
};

// clang-format off
constexpr closed_row k_closed_a[] = {
    {"closed station link",       1, 0},
    {"station link being opened", 1, -1},
    {"closed application link",   2, -1},
    {"application link of 0",     2, 0},
};
// clang-format on

TEST(SendResponse, OnAClosedLinkFails)
{
    for (const closed_row &row : k_closed_a) {
        in_child([&row] {
            amt_context_clear();
            handle_context_st.m_fd_pc = row.fd;
            handle_context_st.m_pty.m_ptm_fd = row.fd;
            const test_log log;
            amt_buffer response = buffer_with(k_message);
            const amt_buffer before = response;
            EXPECT_EQ(amt_handle_send_rsp(row.channel, &response), ERR_UNKNOWN) << row.name;
            EXPECT_TRUE(same(response, before)) << row.name;
            EXPECT_THAT(log.records(), ElementsAre("func | ", "error | -100 - Unknown error | invalid fd"));
        });
    }
}

TEST(SendResponse, WrittenShortIsToldAndStaysInTheBuffer)
{
    in_child([] {
        const links link;
        const test_log log;
        g_fake.write_fails_at = 1;
        g_fake.write_count = 14;
        amt_buffer response = buffer_with(k_message);
        const amt_buffer before = response;
        EXPECT_EQ(amt_handle_send_rsp(AMT_CHANNEL_PC, &response), ERR_WRITE_NOT_COMPLETED);
        EXPECT_THAT(link.at_station(), ElementsAre(k_message.substr(0, 28))) << "no second write";
        EXPECT_TRUE(same(response, before));
        EXPECT_THAT(log.records(), ElementsAre("func | ", "warning | write not completed: to write(15) != written(14)",
                                               "error | -119 - Write() not completedly"));
    });
}

TEST(SendResponse, WithoutAByteWrittenIsAShortOne)
{
    in_child([] {
        const links link;
        const test_log log;
        g_fake.write_fails_at = 1;
        g_fake.write_count = 0;
        amt_buffer response = buffer_with(k_message);
        EXPECT_EQ(amt_handle_send_rsp(AMT_CHANNEL_APP, &response), ERR_WRITE_NOT_COMPLETED);
        EXPECT_THAT(log.records(), Contains("warning | write not completed: to write(15) != written(0)"));
    });
}

TEST(SendResponse, ThatCannotBeWrittenIsASystemErrorAndStaysInTheBuffer)
{
    in_child([] {
        const links link;
        const test_log log;
        g_fake.write_fails_at = 1;
        g_fake.write_error = EIO;
        amt_buffer response = buffer_with(k_message);
        const amt_buffer before = response;
        EXPECT_EQ(amt_handle_send_rsp(AMT_CHANNEL_PC, &response), ERR_C_FUNCTION);
        EXPECT_THAT(link.at_station(), IsEmpty()) << "nothing is retried";
        EXPECT_TRUE(same(response, before));
        EXPECT_THAT(log.records(), ElementsAre("func | ", "sys error | write: 5 - Input/output error",
                                               "error | -118 - Call C function unsuccessfully"));
    });
}

TEST(SendResponse, ThatFailedCanBeSentAgain)
{
    in_child([] {
        const links link;
        g_fake.write_fails_at = 1;
        g_fake.write_error = EAGAIN;
        amt_buffer response = buffer_with(k_message);
        EXPECT_EQ(amt_handle_send_rsp(AMT_CHANNEL_APP, &response), ERR_C_FUNCTION);
        EXPECT_EQ(amt_handle_send_rsp(AMT_CHANNEL_APP, &response), ERR_NONE);
        EXPECT_THAT(link.at_application(), ElementsAre(k_message));
    });
}

// --- amt_handle_send_rsp_ok and amt_handle_send_rsp_err

TEST(PlainAnswer, ToTheStationIsEnveloped)
{
    in_child([] {
        const links link;
        const test_log log;
        amt_buffer response = buffer_with("ffffffffffffffffffffffffffffffffffffffffffffffffffff"); // of the last answer
        EXPECT_EQ(amt_handle_send_rsp_ok(AMT_CHANNEL_PC, &response, 0xAB), ERR_NONE);
        EXPECT_THAT(link.at_station(), ElementsAre("aabbccdd17000000020000000f00bbab0900ee01010400000000008f469038"));
        EXPECT_THAT(link.at_application(), IsEmpty());
        EXPECT_TRUE(is_clear(response));
        EXPECT_THAT(log.records(), ElementsAre("func | ", "func | ", "func | ",
                                               HasSubstr("data | send PC rsp data: (data len = 31) AABBCCDD17")));
    });
}

TEST(PlainAnswer, OfAnErrorCarriesItsCode)
{
    in_child([] {
        const links link;
        amt_buffer response = {};
        EXPECT_EQ(amt_handle_send_rsp_err(AMT_CHANNEL_PC, &response, 0, 1), ERR_NONE);
        EXPECT_THAT(link.at_station(), ElementsAre("aabbccdd17000000020000000f00bb000900ee01010400010000005880d273"));
        EXPECT_EQ(amt_handle_send_rsp_err(AMT_CHANNEL_APP, &response, 0x08, 0xFEDCBA98), ERR_NONE);
        EXPECT_THAT(link.at_application(), ElementsAre("0f00bb080900ee0101040098badcfe"));
    });
}

TEST(PlainAnswer, ToTheApplicationIsBare)
{
    for (const uint8_t channel : k_application_channels_a) {
        in_child([channel] {
            const links link;
            const test_log log;
            amt_buffer response = buffer_with("ffffffffffffffffffffffffffffffffffffffff");
            EXPECT_EQ(amt_handle_send_rsp_ok(channel, &response, 0xAB), ERR_NONE);
            EXPECT_THAT(link.at_application(), ElementsAre(k_message)) << "channel " << int{channel};
            EXPECT_THAT(link.at_station(), IsEmpty());
            EXPECT_TRUE(is_clear(response));
            EXPECT_THAT(log.records(),
                        ElementsAre("func | ", "func | ",
                                    "data | send APP rsp data: (data len = 15) 0F00BBAB0900EE0101040000000000"));
        });
    }
}

TEST(PlainAnswer, WithBadArgumentsIsRefusedAndToldWhich)
{
    for (const argument_row &row : k_arguments_a) {
        expect_refused(
            [](uint8_t channel, amt_buffer *response) { return amt_handle_send_rsp_ok(channel, response, 8); }, row);
        expect_refused(
            [](uint8_t channel, amt_buffer *response) { return amt_handle_send_rsp_err(channel, response, 8, 1); },
            row);
    }
}

TEST(PlainAnswer, GivesTheResultOfItsSending)
{
    in_child([] {
        const links link;
        amt_buffer response = {};
        g_fake.write_fails_at = 1;
        g_fake.write_error = EIO;
        EXPECT_EQ(amt_handle_send_rsp_ok(AMT_CHANNEL_PC, &response, 0xAB), ERR_C_FUNCTION);
        EXPECT_EQ(to_hex(byte_vector(response.m_data_a, response.m_data_a + response.m_length)), enveloped(k_message))
            << "what was not sent is still there";
        g_fake = {};
        g_fake.write_fails_at = 1;
        g_fake.write_count = 3;
        EXPECT_EQ(amt_handle_send_rsp_err(AMT_CHANNEL_APP, &response, 0xAB, 1), ERR_WRITE_NOT_COMPLETED);
    });
    in_child([] {
        amt_context_clear();
        amt_buffer response = {};
        EXPECT_EQ(amt_handle_send_rsp_ok(AMT_CHANNEL_PC, &response, 0xAB), ERR_UNKNOWN);
        EXPECT_EQ(amt_handle_send_rsp_err(AMT_CHANNEL_APP, &response, 0xAB, 1), ERR_UNKNOWN);
    });
}

// --- the steps of a built answer

TEST(BuiltAnswer, BeginsEmptyWhateverTheBufferHeld)
{
    amt_buffer response = buffer_with(k_message);
    response.m_data_a[AMT_MESSAGE_SIZE - 1] = 7;
    amt_handle_begin_rsp(&response, 0xE9);
    EXPECT_TRUE(same(response, [] {
        amt_buffer expected = buffer_with("0600bbe90000");
        expected.m_length = 0;
        return expected;
    }()));
}

TEST(BuiltAnswer, HasItsResultBehindWhatWasAppendedBefore)
{
    in_child([] {
        const links link;
        amt_buffer response = {};
        amt_handle_begin_rsp(&response, 0x08);
        EXPECT_EQ(amt_message_append_string(response.m_data_a, 21, "42"), ERR_NONE);
        amt_handle_append_result(&response, 10);
        EXPECT_EQ(amt_handle_wrap_and_send_rsp(AMT_CHANNEL_APP, &response), ERR_NONE);
        EXPECT_THAT(link.at_application(), ElementsAre("1600bb081000ee15020200"
                                                       "3432"
                                                       "ee010104000a000000"));
    });
}

TEST(BuiltAnswer, ThatDoesNotFitItsEnvelopeIsNotSent)
{
    in_child([] {
        const links link;
        amt_buffer response = {};
        amt_handle_begin_rsp(&response, 0x08);
        const byte_vector bytes(AMT_MESSAGE_SIZE - 16 - 11 + 1, 'x'); // one too many
        EXPECT_EQ(amt_message_append_bytes(response.m_data_a, 18, bytes.data(), static_cast<uint32_t>(bytes.size())),
                  ERR_NONE);
        EXPECT_EQ(amt_handle_wrap_and_send_rsp(AMT_CHANNEL_PC, &response), ERR_INVALID_PARAM);
        EXPECT_THAT(link.at_station(), IsEmpty());
        EXPECT_EQ(amt_handle_wrap_and_send_rsp(AMT_CHANNEL_APP, &response), ERR_NONE) << "bare it fits";
        EXPECT_EQ(link.at_application().front().size(), 2 * (AMT_MESSAGE_SIZE - 15));
    });
}

// --- amt_handle_send_pre_rsp_for_pc

TEST(PreResponse, IsAlwaysTheSame16Bytes)
{
    in_child([] {
        const links link;
        const test_log log;
        amt_buffer response = buffer_with("ffffffffffffffffffffffffffffffffffffffff");
        response.m_data_a[AMT_MESSAGE_SIZE - 1] = 7;
        EXPECT_EQ(amt_handle_send_pre_rsp_for_pc(AMT_CHANNEL_PC, &response), ERR_NONE);
        EXPECT_THAT(link.at_station(), ElementsAre("aabbccdd0800000002020000764aee1d"));
        EXPECT_TRUE(is_clear(response));
        EXPECT_THAT(log.records(),
                    ElementsAre("func | ", "func | ",
                                "data | send PC rsp data: (data len = 16) AABBCCDD0800000002020000764AEE1D"));
    });
}

// clang-format off
constexpr argument_row k_pre_response_arguments_a[] = {
    {"the application's channel", 2,   false, "1, 0"},
    {"channel 0",                 0,   false, "1, 0"},
    {"channel 255",               255, false, "1, 0"},
    {"no buffer",                 1,   true,  "0, 1"},
    {"neither",                   2,   true,  "1, 1"},
};
// clang-format on

TEST(PreResponse, IsTheStationsAlone)
{
    for (const argument_row &row : k_pre_response_arguments_a) {
        expect_refused(amt_handle_send_pre_rsp_for_pc, row);
    }
}

TEST(PreResponse, GivesTheResultOfItsSending)
{
    in_child([] {
        const links link;
        amt_buffer response = {};
        memset(response.m_data_a, 'x', sizeof(response.m_data_a));
        g_fake.write_fails_at = 1;
        g_fake.write_count = 15;
        EXPECT_EQ(amt_handle_send_pre_rsp_for_pc(AMT_CHANNEL_PC, &response), ERR_WRITE_NOT_COMPLETED);
        EXPECT_TRUE(same(response, buffer_with("aabbccdd0800000002020000764aee1d")))
            << "nothing is left of the last answer";
        amt_context_clear();
        EXPECT_EQ(amt_handle_send_pre_rsp_for_pc(AMT_CHANNEL_PC, &response), ERR_UNKNOWN);
    });
}

} // namespace
