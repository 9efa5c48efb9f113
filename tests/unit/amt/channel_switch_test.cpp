#include "amt/modem/channel-switch.h"

#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "amt/modem/at-channel.h"
#include "pub/log/errors.h"
#include "tests/support/in_child.h"
#include "tests/support/test_log.h"
#include "tests/unit/amt/handler_arguments.h"
#include "tests/unit/amt/links.h"
#include "tests/unit/amt/port_fakes.h"

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

const std::string k_answer = "0f00bbe90900ee0101040000000000"; // id 0xE9, result 0

amt_buffer request_for(uint8_t command_id, uint32_t channel)
{
    amt_buffer request = {};
    amt_message_init(request.m_data_a, command_id);
    (void)amt_message_append_int(request.m_data_a, 159, channel);
    request.m_length = amt_message_get_total_length(request.m_data_a);
    return request;
}

// --- amt_channel_switch

struct command_row {
    const char *name;
    uint32_t channel;
    const char *command;
};

// clang-format off
constexpr command_row k_commands_a[] = {
    {"channel 0",         0,          "AT^DMPCHN=0\r"},
    {"channel 1",         1,          "AT^DMPCHN=1\r"},
    {"channel 9",         9,          "AT^DMPCHN=9\r"},
    {"two digits",        10,         "AT^DMPCHN=10"},
    {"three digits",      123,        "AT^DMPCHN=12"},
    {"a negative number", 0xFFFFFFFF, "AT^DMPCHN=-1"},
    {"the longest",       0x80000000, "AT^DMPCHN=-2"},
};
// clang-format on

TEST(ChannelSwitch, AsksTheModemIn12CharactersWhateverTheChannel)
{
    for (const command_row &row : k_commands_a) {
        in_child([&row] {
            const links link;
            (void)open_port();
            modem_says({"\r\nOK\r\n"});
            const amt_buffer request = request_for(232, row.channel);
            amt_buffer response = {};
            EXPECT_EQ(amt_channel_switch(AMT_CHANNEL_APP, &request, &response), ERR_NONE) << row.name;
            EXPECT_THAT(g_fake.written, ElementsAre(row.command)) << row.name;
        });
    }
}

TEST(ChannelSwitch, WithoutAChannelIsThatToChannel0)
{
    in_child([] {
        const links link;
        (void)open_port();
        modem_says({"\r\nOK\r\n"});
        const amt_buffer request = buffer_with("0600bbe80000");
        amt_buffer response = {};
        EXPECT_EQ(amt_channel_switch(AMT_CHANNEL_APP, &request, &response), ERR_NONE);
        EXPECT_THAT(g_fake.written, ElementsAre("AT^DMPCHN=0\r"));
    });
}

TEST(ChannelSwitch, IsAnsweredOnTheChannelThatAsked)
{
    in_child([] {
        const links link;
        (void)open_port();
        modem_says({"\r\nOK\r\n", "\r\nOK\r\n"});
        const amt_buffer request = request_for(232, 2);
        amt_buffer response = buffer_with("ffffffffffffffffffffffffffffffffffffff"); // of the last answer
        EXPECT_EQ(amt_channel_switch(AMT_CHANNEL_APP, &request, &response), ERR_NONE);
        EXPECT_THAT(link.at_application(), ElementsAre(k_answer));
        EXPECT_THAT(link.at_station(), IsEmpty());
        EXPECT_TRUE(is_clear(response));
        EXPECT_EQ(amt_channel_switch(AMT_CHANNEL_PC, &request, &response), ERR_NONE);
        EXPECT_THAT(link.at_station(), ElementsAre(enveloped(k_answer)));
        EXPECT_THAT(link.at_application(), IsEmpty());
    });
}

struct modem_row {
    const char *name;
    std::string answer;
    bool is_ok;
};

const modem_row k_answers_a[] = {
    {"accepted", "\r\nOK\r\n", true},
    {"accepted behind its echo", "AT^DMPCHN=1\r\r\nOK\r\n", true},
    {"a bare word", "OK", true},
    {"the letters in another word", "BOOK", true},
    {"at the end of 100 bytes", std::string(98, 'x') + "OK", true},
    {"behind 100 bytes", std::string(99, 'x') + "OK", false},
    {"refused", "\r\nERROR\r\n", false},
    {"in small letters", "ok", false},
    {"half of it", "\r\nO", false},
    {"nothing", "", false},
};

TEST(ChannelSwitch, SucceedsWhenTheModemsAnswerHoldsOk)
{
    for (const modem_row &row : k_answers_a) {
        in_child([&row] {
            const links link;
            (void)open_port();
            const test_log log;
            modem_says({row.answer, "OK"});
            const amt_buffer request = request_for(232, 1);
            amt_buffer response = {};
            EXPECT_EQ(amt_channel_switch(AMT_CHANNEL_APP, &request, &response), row.is_ok ? ERR_NONE : ERR_UNKNOWN)
                << row.name;
            EXPECT_THAT(g_fake.rooms, ElementsAre(100U)) << "one read";
            EXPECT_EQ(link.at_application().size(), row.is_ok ? 1U : 0U) << row.name;
            if (!row.is_ok) {
                const std::string told = "| -100 - Unknown error | " + row.answer.substr(0, 100) + "\n";
                EXPECT_THAT(log.text(), HasSubstr(told)) << row.name;
            }
        });
    }
}

TEST(ChannelSwitch, IsRefusedWithoutAModem)
{
    in_child([] {
        const links link;
        (void)open_port();
        g_at_dev_not_opened = 1;
        const test_log log;
        const amt_buffer request = request_for(232, 1);
        amt_buffer response = buffer_with("42");
        EXPECT_EQ(amt_channel_switch(AMT_CHANNEL_APP, &request, &response), ERR_NOT_READY);
        EXPECT_THAT(g_fake.written, IsEmpty());
        EXPECT_THAT(link.at_application(), IsEmpty());
        EXPECT_EQ(response.m_data_a[0], 0x42) << "nothing was begun";
        EXPECT_THAT(log.records(), ElementsAre("func | ", "warning | no CP."));
    });
}

TEST(ChannelSwitch, GivesTheCodeOfAnAtPortThatFails)
{
    in_child([] {
        const links link;
        (void)open_port();
        const amt_buffer request = request_for(232, 1);
        amt_buffer response = {};
        fail_write(EAGAIN);
        EXPECT_EQ(amt_channel_switch(AMT_CHANNEL_APP, &request, &response), ERR_UNKNOWN);
        EXPECT_THAT(g_fake.rooms, IsEmpty()) << "nothing was asked, nothing is read";
        fail_read(EAGAIN);
        EXPECT_EQ(amt_channel_switch(AMT_CHANNEL_APP, &request, &response), ERR_UNKNOWN);
        fail_write(EIO);
        EXPECT_EQ(amt_channel_switch(AMT_CHANNEL_APP, &request, &response), ERR_TIMEOUT);
        fail_read(EIO);
        g_fake.openings = std::deque<int>(30, ENOENT);
        EXPECT_EQ(amt_channel_switch(AMT_CHANNEL_APP, &request, &response), ERR_C_FUNCTION);
        EXPECT_THAT(link.at_application(), IsEmpty()) << "the dispatcher answers";
    });
}

TEST(ChannelSwitch, GivesTheResultOfItsSending)
{
    in_child([] {
        (void)open_port(); // and no link
        modem_says({"\r\nOK\r\n", "\r\nOK\r\n"});
        const amt_buffer request = request_for(232, 1);
        amt_buffer response = {};
        EXPECT_EQ(amt_channel_switch(AMT_CHANNEL_APP, &request, &response), ERR_UNKNOWN);
        EXPECT_EQ(amt_channel_switch(255, &request, &response), ERR_INVALID_PARAM);
    });
}

// --- amt_at_to_modem

TEST(AtToModem, HandsOnlyItsOwnCommandOn)
{
    for (const int command_id : {232, 233, 0, 231, 255}) {
        in_child([command_id] {
            const links link;
            (void)open_port();
            modem_says({"\r\nOK\r\n"});
            const amt_buffer request = request_for(static_cast<uint8_t>(command_id), 3);
            amt_buffer response = {};
            EXPECT_EQ(amt_at_to_modem(AMT_CHANNEL_APP, &request, &response), ERR_NONE) << command_id;
            if (command_id == 232) {
                EXPECT_THAT(g_fake.written, ElementsAre("AT^DMPCHN=3\r"));
                EXPECT_THAT(link.at_application(), ElementsAre(k_answer));
            } else {
                EXPECT_THAT(g_fake.written, IsEmpty()) << command_id;
                EXPECT_THAT(link.at_application(), IsEmpty()) << command_id;
            }
        });
    }
}

TEST(AtToModem, GivesTheResultOfTheSwitch)
{
    in_child([] {
        g_at_dev_not_opened = 1;
        const amt_buffer request = request_for(232, 3);
        amt_buffer response = {};
        EXPECT_EQ(amt_at_to_modem(AMT_CHANNEL_APP, &request, &response), ERR_NOT_READY);
    });
}

TEST(AtToModem, RefusesBadArgumentsAndTellsWhich)
{
    expect_bad_arguments_refused(amt_at_to_modem, AMT_CHANNEL_APP, "0f00bbe80900ee9f01040003000000");
}

} // namespace
