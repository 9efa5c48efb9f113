// What the misc library does for requests about the handset as a whole.
#include "amt/device/device-info.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string.h>

#include <algorithm>
#include <string>

#include "amt/platform-library.h"
#include "pub/log/errors.h"
#include "tests/support/in_child.h"
#include "tests/support/test_log.h"
#include "tests/unit/amt/device_fakes.h"
#include "tests/unit/amt/handler_arguments.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::StartsWith;

// --- the text

class DeviceInfo : public misc_library {};

const std::string k_info_request = message_of(238);
constexpr char k_look_up_info[] = "look up create_devinfo";

// The text as item 200 and the result 0.
std::string info_answer(const std::string &text)
{
    const auto u16_hex = [](size_t value) {
        return to_hex({static_cast<uint8_t>(value), static_cast<uint8_t>(value >> 8)});
    };
    const size_t body = 5 + text.size() + 9;
    return u16_hex(6 + body) + "bbef" + u16_hex(body) + "eec802" + u16_hex(text.size()) + hex_of(text) +
           "ee0101040000000000";
}

TEST_F(DeviceInfo, IsTheLibrarysTextAndGoesOutBare)
{
    for (const std::string text : {"chip: kv7100, memory: 2048 MB", "x"}) {
        control("create_devinfo", "text=" + text + "\n");
        for (const uint8_t channel : k_both_channels_a) {
            in_child([&text, channel] {
                const device_handset handset;
                const outcome seen = handset.ask(amt_read_dev_info, channel, k_info_request);
                EXPECT_EQ(seen.result, ERR_NONE);
                EXPECT_THAT(seen.answers(channel), ElementsAre(info_answer(text)));
                EXPECT_THAT(seen.told, ElementsAre("info | will call create_devinfo.",
                                                   "info | stop call create_devinfo. return value:0.",
                                                   "info | create_devinfo return OK. " + text));
                EXPECT_THAT(seen.events, ElementsAre(k_load, k_look_up_info, "unload", "send"));
                EXPECT_TRUE(seen.is_response_clear);
            });
        }
    }
    EXPECT_THAT(calls(), StartsWith("create_devinfo(4055)\n"));
}

TEST_F(DeviceInfo, LooksAsWrittenHere)
{
    control("create_devinfo", "text=AB\n");
    in_child([] {
        const device_handset handset;
        EXPECT_THAT(handset.ask(amt_read_dev_info, AMT_CHANNEL_APP, "0600bbee0000").answers(AMT_CHANNEL_APP),
                    ElementsAre("1600bbef1000eec80202004142ee0101040000000000"));
    });
}

// Entries in place of the library's own.
int leave_text_alone(char *, int)
{
    return 0;
}

int fill_text(char *text, int size)
{
    EXPECT_EQ(size, 4055);
    EXPECT_EQ(std::count(text, text + size + 1, '\0'), size + 1) << "it is all clear";
    memset(text, 'i', static_cast<size_t>(size)); // without a terminator
    return 0;
}

int look_at_answer(char *, int)
{
    const uint8_t *data = g_fake.response->m_data_a;
    EXPECT_EQ(to_hex(byte_vector(data, data + 7)), "0600bbef000000") << "it is begun before the library is called";
    return -7;
}

TEST_F(DeviceInfo, MayBeEmpty)
{
    in_child([] {
        const device_handset handset;
        g_fake.entry = reinterpret_cast<void *>(&leave_text_alone);
        const outcome seen = handset.ask(amt_read_dev_info, AMT_CHANNEL_APP, k_info_request);
        EXPECT_EQ(seen.result, ERR_NONE);
        EXPECT_THAT(seen.answers(AMT_CHANNEL_APP), ElementsAre(info_answer("")));
    });
}

TEST_F(DeviceInfo, HasRoomForAllThatTheLibraryMayWrite)
{
    for (const uint8_t channel : k_both_channels_a) {
        in_child([channel] {
            const device_handset handset;
            g_fake.entry = reinterpret_cast<void *>(&fill_text);
            const outcome seen = handset.ask(amt_read_dev_info, channel, k_info_request);
            EXPECT_EQ(seen.result, ERR_NONE);
            EXPECT_THAT(seen.answers(channel), ElementsAre(info_answer(std::string(4055, 'i'))));
        });
    }
}

TEST_F(DeviceInfo, IsAnsweredInABufferThatIsBegunFirst)
{
    in_child([] {
        const device_handset handset;
        g_fake.entry = reinterpret_cast<void *>(&look_at_answer);
        EXPECT_EQ(handset.ask(amt_read_dev_info, AMT_CHANNEL_APP, k_info_request).result, -7);
    });
}

TEST_F(DeviceInfo, ThatTheLibraryRefusesIsNotAnsweredAndItsResultIsPassedOn)
{
    for (const int result : {-7, 5, -104}) {
        control("create_devinfo", "text=AB\nresult=" + std::to_string(result) + "\n");
        in_child([result] {
            const device_handset handset;
            const outcome seen = handset.ask(amt_read_dev_info, AMT_CHANNEL_APP, k_info_request);
            EXPECT_EQ(seen.result, result);
            EXPECT_THAT(seen.answers(AMT_CHANNEL_APP), IsEmpty());
            EXPECT_THAT(seen.told,
                        ElementsAre("info | will call create_devinfo.",
                                    "info | stop call create_devinfo. return value:" + std::to_string(result) + "."));
            EXPECT_THAT(seen.events, ElementsAre(k_load, k_look_up_info, "unload"));
        });
    }
}

TEST_F(DeviceInfo, WithoutTheLibraryIsNotAnswered)
{
    expect_nothing_without_library(amt_read_dev_info, k_info_request, k_look_up_info);
    EXPECT_EQ(calls(), "(missing)");
}

TEST_F(DeviceInfo, GivesTheResultOfItsAnswer)
{
    expect_result_of_sending(amt_read_dev_info, k_info_request, [](const device_handset &) {});
}

TEST_F(DeviceInfo, RefusesBadArgumentsAndTellsWhich)
{
    expect_bad_arguments_refused(amt_read_dev_info, AMT_CHANNEL_APP, k_info_request);
    EXPECT_EQ(calls(), "(missing)");
}

// --- idle

class Idle : public misc_library {};

const std::string k_idle_request = message_of(240);
const std::string k_idle_answer = "0f00bbf10900ee0101040000000000";
constexpr char k_look_up_idle[] = "look up enter_idle";

TEST_F(Idle, IsEnteredAndThenAcknowledged)
{
    for (const uint8_t channel : k_both_channels_a) {
        in_child([channel] {
            const device_handset handset;
            const outcome seen = handset.ask(amt_enter_idle, channel, k_idle_request);
            EXPECT_EQ(seen.result, ERR_NONE);
            EXPECT_THAT(seen.answers(channel), ElementsAre(answer_on(channel, k_idle_answer)));
            EXPECT_THAT(seen.told,
                        ElementsAre("info | will call enter_idle.", "info | stop call enter_idle. return value:0.",
                                    "info | enter_idle return OK.", "info | enter_idle return OK."));
            EXPECT_THAT(seen.events, ElementsAre(k_load, k_look_up_idle, "unload", "send"));
            EXPECT_TRUE(seen.is_response_clear);
        });
    }
    EXPECT_EQ(calls(), "enter_idle()\nenter_idle()\n");
}

TEST_F(Idle, IsEnteredForOthersWithoutAnAnswer)
{
    in_child([] {
        const device_handset handset;
        std::string told_last;
        g_fake.on_event = [&](const std::string &event) {
            told_last = event == "unload" ? handset.told().back() : told_last;
        };
        EXPECT_EQ(amt_make_ue_enter_idle(), ERR_NONE);
        EXPECT_EQ(told_last, "info | stop call enter_idle. return value:0.") << "it is gone before the OK";
        EXPECT_THAT(handset.told(),
                    ElementsAre("info | will call enter_idle.", "info | stop call enter_idle. return value:0.",
                                "info | enter_idle return OK."));
        EXPECT_THAT(g_fake.events, ElementsAre(k_load, k_look_up_idle, "unload"));
    });
    EXPECT_EQ(calls(), "enter_idle()\n");
}

TEST_F(Idle, ThatTheLibraryRefusesIsNotAcknowledgedAndItsResultIsPassedOn)
{
    for (const int result : {-7, 5, -104}) {
        control("enter_idle", "result=" + std::to_string(result) + "\n");
        in_child([result] {
            const device_handset handset;
            const outcome seen = handset.ask(amt_enter_idle, AMT_CHANNEL_PC, k_idle_request);
            EXPECT_EQ(seen.result, result);
            EXPECT_THAT(seen.answers(AMT_CHANNEL_PC), IsEmpty());
            EXPECT_THAT(seen.told,
                        ElementsAre("info | will call enter_idle.",
                                    "info | stop call enter_idle. return value:" + std::to_string(result) + "."));
            EXPECT_THAT(seen.events, ElementsAre(k_load, k_look_up_idle, "unload"));
        });
    }
}

TEST_F(Idle, IsNotEnteredWithoutTheLibrary)
{
    expect_nothing_without_library(amt_enter_idle, k_idle_request, k_look_up_idle);
    EXPECT_EQ(calls(), "(missing)");
}

TEST_F(Idle, GivesTheResultOfItsAnswer)
{
    expect_result_of_sending(amt_enter_idle, k_idle_request, [](const device_handset &) {});
}

TEST_F(Idle, RefusesBadArgumentsAndTellsWhich)
{
    expect_bad_arguments_refused(amt_enter_idle, AMT_CHANNEL_PC, k_idle_request);
    EXPECT_EQ(calls(), "(missing)");
}

} // namespace
