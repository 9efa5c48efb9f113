#include "amt/device/simple.h"

#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "pub/log/errors.h"
#include "tests/support/in_child.h"
#include "tests/support/test_log.h"
#include "tests/unit/amt/device_fakes.h"
#include "tests/unit/amt/handler_arguments.h"

namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

// --- colour of the display

const std::string k_color_request = message_with(29, {{16, 2}});

TEST(LcdColor, IsAcknowledgedAndNothingElse)
{
    for (const uint8_t channel : k_both_channels_a) {
        in_child([channel] {
            const device_handset handset;
            const outcome seen = handset.ask(amt_device_lcd_color, channel, k_color_request);
            EXPECT_EQ(seen.result, ERR_NONE);
            EXPECT_THAT(seen.answers(channel), ElementsAre(answer_on(channel, "0f00bb1e0900ee0101040000000000")));
            EXPECT_THAT(seen.events, ElementsAre("send"));
            EXPECT_THAT(seen.told, IsEmpty());
            EXPECT_TRUE(seen.is_response_clear);
        });
    }
}

TEST(LcdColor, GivesTheResultOfItsAnswer)
{
    expect_result_of_sending(amt_device_lcd_color, k_color_request, [](const device_handset &) {});
}

TEST(LcdColor, RefusesBadArgumentsAndTellsWhich)
{
    expect_bad_arguments_refused(amt_device_lcd_color, AMT_CHANNEL_APP, k_color_request);
}

// --- brightness of the display

constexpr char k_lcd[] = "/sys/class/leds/lcd-backlight/brightness";
const std::string k_lcd_read = std::string("read ") + k_lcd;
const std::string k_lcd_write = std::string("write ") + k_lcd;
const std::string k_lcd_close = std::string("close ") + k_lcd;
const std::string k_lcd_not_opened = k_failed_call + "Open file \"" + k_lcd + "\" fail: ";
const std::string k_lcd_answer = "0f00bb3a0900ee0101040000000000";

std::string lcd_request(uint32_t level)
{
    return message_with(57, {{26, level}});
}

// A request of the application.
outcome ask_lcd(const device_handset &handset, uint32_t level)
{
    return handset.ask(amt_device_lcd_brightness, AMT_CHANNEL_APP, lcd_request(level));
}

// The two records before the choice.
std::vector<std::string> told_before_choice(int level, int before)
{
    return {"info | amt_device_lcd_brightness lcd_brightness: " + std::to_string(level),
            "info | amt_device_lcd_brightness src_lcd_brightness: " + std::to_string(before)};
}

TEST(LcdBrightness, IsSetOnceTheOneBeforeIsKnown)
{
    for (const uint8_t channel : k_both_channels_a) {
        in_child([channel] {
            const device_handset handset;
            handset.put(k_lcd, "180\n");
            const outcome seen = handset.ask(amt_device_lcd_brightness, channel, lcd_request(90));
            EXPECT_EQ(seen.result, ERR_NONE);
            EXPECT_EQ(handset.content(k_lcd), "90");
            EXPECT_THAT(seen.answers(channel), ElementsAre(answer_on(channel, k_lcd_answer)));
            EXPECT_THAT(seen.events, ElementsAre(k_lcd_read, k_lcd_close, k_lcd_write, k_lcd_close, "send"));
            EXPECT_THAT(seen.told, ElementsAre("info | amt_device_lcd_brightness lcd_brightness: 90",
                                               "info | amt_device_lcd_brightness src_lcd_brightness: 180",
                                               "info | lcd_brightness: 90"));
            EXPECT_TRUE(seen.is_response_clear);
        });
    }
}

struct level_row {
    const char *name;
    const char *before; // in the kernel's file
    int saved;
    uint32_t level;
    const char *written;
    const char *told;
};

// clang-format off
constexpr level_row k_levels_a[] = {
    {"dark",                                 "180\n", 180, 0,          "0",   "lcd_brightness: 0"},
    {"the brightest",                        "180\n", 180, 255,        "255", "lcd_brightness: 255"},
    {"one more is the one before",           "180\n", 180, 256,        "180", "src_lcd_brightness: 180"},
    {"far more is the one before",           "180\n", 180, 300,        "180", "src_lcd_brightness: 180"},
    {"the greatest is the one before",       "180\n", 180, 0x7FFFFFFF, "180", "src_lcd_brightness: 180"},
    {"below 0 is below 256",                 "180\n", 180, 0xFFFFFFFF, "-1",  "lcd_brightness: -1"},
    {"it was dark before",                   "0\n",   0,   300,        "0",   "src_lcd_brightness: 0"},
    {"it was the brightest before",          "255\n", 255, 300,        "255", "src_lcd_brightness: 255"},
    {"it was brighter than that before",     "256\n", 256, 300,        "200", "lcd_brightness: 200"},
    {"a level, whatever it was before",      "256\n", 256, 255,        "255", "lcd_brightness: 255"},
    {"it was below 0 before",                "-7\n",  -7,  300,        "-7",  "src_lcd_brightness: -7"},
};
// clang-format on

TEST(LcdBrightness, IsTheLevelOrTheOneBefore)
{
    for (const level_row &row : k_levels_a) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const device_handset handset;
            handset.put(k_lcd, row.before);
            const outcome seen = ask_lcd(handset, row.level);
            EXPECT_EQ(seen.result, ERR_NONE);
            EXPECT_EQ(handset.content(k_lcd), row.written);
            EXPECT_THAT(seen.answers(AMT_CHANNEL_APP), ElementsAre(k_lcd_answer));
            std::vector<std::string> told = told_before_choice(static_cast<int>(row.level), row.saved);
            told.push_back(std::string("info | ") + row.told);
            EXPECT_THAT(seen.told, ElementsAreArray(told));
        });
    }
}

struct lcd_request_row {
    const char *name;
    const char *request;
    const char *written;
};

// clang-format off
constexpr lcd_request_row k_lcd_requests_a[] = {
    {"no level",                     "0600bb390000",                                  "0"},
    {"another atom",                 "0f00bb390900ee0f010400ff000000",                "0"},
    {"one byte",                     "0c00bb390600ee1a0101005a",                      "90"},
    {"two bytes, more than 255",     "0d00bb390700ee1a0102002c01",                    "180"},
    {"no bytes",                     "0b00bb390500ee1a010000",                        "0"},
    {"more bytes than a number has", "1000bb390a00ee1a0105005a00000001",              "90"},
    {"one that does not end",        "0e00bb390800ee1a0104005a0000",                  "0"},
    {"behind another atom",          "1800bb391200ee0f010400ff000000ee1a0104005a000000", "90"},
};
// clang-format on

TEST(LcdBrightness, IsReadFromTheBytesThatAreThere)
{
    for (const lcd_request_row &row : k_lcd_requests_a) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const device_handset handset;
            handset.put(k_lcd, "180\n");
            EXPECT_EQ(handset.ask(amt_device_lcd_brightness, AMT_CHANNEL_APP, row.request).result, ERR_NONE);
            EXPECT_EQ(handset.content(k_lcd), row.written);
        });
    }
}

TEST(LcdBrightness, OfBeforeIsTheOneBeforeTheFirstRequest)
{
    in_child([] {
        const device_handset handset;
        handset.put(k_lcd, "180\n");
        EXPECT_EQ(ask_lcd(handset, 20).result, ERR_NONE);
        handset.put(k_lcd, "99\n"); // by somebody else
        const outcome seen = ask_lcd(handset, 300);
        EXPECT_EQ(handset.content(k_lcd), "180");
        EXPECT_THAT(seen.events, ElementsAre(k_lcd_write, k_lcd_close, "send")) << "it is read once";
        EXPECT_EQ(ask_lcd(handset, 30).result, ERR_NONE);
        EXPECT_EQ(handset.content(k_lcd), "30");
        EXPECT_EQ(ask_lcd(handset, 256).result, ERR_NONE);
        EXPECT_EQ(handset.content(k_lcd), "180");
    });
}

TEST(LcdBrightness, OfBeforeMayBeDark)
{
    in_child([] {
        const device_handset handset;
        handset.put(k_lcd, "0\n");
        EXPECT_EQ(ask_lcd(handset, 20).result, ERR_NONE);
        handset.put(k_lcd, "99\n"); // by somebody else
        const outcome seen = ask_lcd(handset, 300);
        EXPECT_EQ(handset.content(k_lcd), "0");
        EXPECT_THAT(seen.events, ElementsAre(k_lcd_write, k_lcd_close, "send")) << "0 is known";
    });
}

TEST(LcdBrightness, ThatCannotBeReadIsToldAndTriedAgain)
{
    in_child([] {
        const device_handset handset;
        handset.put(k_lcd, "180\n");
        g_fake.refused[k_lcd_read] = EACCES;
        const outcome first = ask_lcd(handset, 300);
        EXPECT_EQ(first.result, ERR_NONE);
        EXPECT_EQ(handset.content(k_lcd), "-1") << "it is below 256";
        EXPECT_THAT(first.answers(AMT_CHANNEL_APP), ElementsAre(k_lcd_answer));
        EXPECT_THAT(first.told, ElementsAre(k_lcd_not_opened + "13 - Permission denied",
                                            "info | amt_device_lcd_brightness lcd_brightness: 300",
                                            "info | amt_device_lcd_brightness src_lcd_brightness: -1",
                                            "info | src_lcd_brightness: -1"));
        g_fake.refused.clear();
        handset.put(k_lcd, "warm");
        const outcome second = ask_lcd(handset, 300);
        EXPECT_EQ(handset.content(k_lcd), "-1");
        EXPECT_EQ(second.told.at(0), k_failed_call + "fscanf() return: 0; 0 - No error");
        EXPECT_THAT(second.answers(AMT_CHANNEL_APP), ElementsAre(k_lcd_answer));
        handset.put(k_lcd, "-7\n");
        EXPECT_EQ(ask_lcd(handset, 300).result, ERR_NONE);
        EXPECT_EQ(handset.content(k_lcd), "-7");
        handset.put(k_lcd, "99\n");
        EXPECT_EQ(ask_lcd(handset, 300).result, ERR_NONE);
        EXPECT_EQ(handset.content(k_lcd), "99") << "below 0 is not known, either";
    });
}

TEST(LcdBrightness, IsSetAlsoWhenTheOneBeforeIsUnknown)
{
    in_child([] {
        const device_handset handset;
        handset.put(k_lcd, "");
        const outcome seen = ask_lcd(handset, 90);
        EXPECT_EQ(handset.content(k_lcd), "90");
        EXPECT_THAT(seen.answers(AMT_CHANNEL_APP), ElementsAre(k_lcd_answer));
        EXPECT_THAT(seen.told, ElementsAre(k_failed_call + "fscanf() return: -1; 0 - No error",
                                           "info | amt_device_lcd_brightness lcd_brightness: 90",
                                           "info | amt_device_lcd_brightness src_lcd_brightness: -1",
                                           "info | lcd_brightness: 90"));
    });
}

TEST(LcdBrightness, ThatCannotBeWrittenIsASuccessWithoutAnAnswer)
{
    for (const uint8_t channel : k_both_channels_a) {
        in_child([channel] {
            const device_handset handset;
            handset.put(k_lcd, "180\n");
            g_fake.refused[k_lcd_write] = EROFS;
            const outcome seen = handset.ask(amt_device_lcd_brightness, channel, lcd_request(90));
            EXPECT_EQ(seen.result, ERR_NONE);
            EXPECT_THAT(seen.answers(channel), IsEmpty());
            EXPECT_EQ(handset.content(k_lcd), "180\n");
            EXPECT_EQ(seen.told.back(), k_lcd_not_opened + "30 - Read-only file system");
            g_fake.refused.clear();
            (void)handset.ask(amt_device_lcd_brightness, channel, lcd_request(256));
            EXPECT_EQ(handset.content(k_lcd), "180") << "what was read is known all the same";
        });
    }
}

TEST(LcdBrightness, ThatIsNotTakenIsASuccessWithoutAnAnswer)
{
    in_child([] {
        const device_handset handset;
        handset.put(k_lcd, "180\n");
        g_fake.printing = output_end{-1, EIO};
        const outcome seen = ask_lcd(handset, 90);
        EXPECT_EQ(seen.result, ERR_NONE);
        EXPECT_THAT(seen.answers(AMT_CHANNEL_APP), IsEmpty());
        EXPECT_THAT(seen.events, ElementsAre(k_lcd_read, k_lcd_close, k_lcd_write, k_lcd_close));
        EXPECT_EQ(seen.told.back(), k_failed_call + "fprintf() return: -1; 5 - Input/output error");
    });
}

TEST(LcdBrightness, IsASuccessWhateverBecomesOfItsAnswer)
{
    for (const uint8_t channel : k_both_channels_a) {
        in_child([channel] {
            const device_handset handset;
            handset.put(k_lcd, "180\n");
            g_fake.is_send_cut = true;
            EXPECT_EQ(handset.ask(amt_device_lcd_brightness, channel, lcd_request(90)).result, ERR_NONE);
            EXPECT_EQ(handset.content(k_lcd), "90");
        });
    }
}

TEST(LcdBrightness, RefusesBadArgumentsAndTellsWhich)
{
    expect_bad_arguments_refused(amt_device_lcd_brightness, AMT_CHANNEL_APP, lcd_request(90));
}

// --- the two with a switch

struct device_row {
    const char *name;
    amt_handle_func handler;
    uint8_t request_id;
    const char *path;
    const char *answer;
    const char *on; // what is written for the switch 1
};

// clang-format off
constexpr device_row k_devices_a[] = {
    {"vibrator",  amt_device_vibrator,         35, "/sys/class/timed_output/vibrator/enable",
     "0f00bb240900ee0101040000000000", "3000"},
    {"backlight", amt_device_button_backlight, 37, "/sys/class/leds/button-backlight/brightness",
     "0f00bb260900ee0101040000000000", "1"},
};
// clang-format on

struct switch_row {
    const char *name;
    amt_handle_func handler;
    const char *path;
    std::string request;
    const char *written;
    const char *told;
};

const device_row &k_vibrator = k_devices_a[0];
const device_row &k_backlight = k_devices_a[1];

switch_row vibrator_row(const char *name, const std::string &atoms, const char *written, const char *told)
{
    return {name, k_vibrator.handler, k_vibrator.path, atoms, written, told};
}

switch_row backlight_row(const char *name, const std::string &atoms, const char *written, const char *told)
{
    return {name, k_backlight.handler, k_backlight.path, atoms, written, told};
}

// clang-format off
const switch_row k_switches_a[] = {
    vibrator_row("on",                     message_with(35, {{15, 1}}),        "3000", "start vibrator"),
    vibrator_row("off",                    message_with(35, {{15, 0}}),        "0",    "stop vibrator"),
    vibrator_row("no switch",              message_of(35),                   "3000", "start vibrator"),
    vibrator_row("another atom",           message_with(35, {{16, 0}}),        "3000", "start vibrator"),
    vibrator_row("2",                      message_with(35, {{15, 2}}),        "3000", "stop vibrator"),
    vibrator_row("the greatest",           message_with(35, {{15, UINT32_MAX}}), "3000", "stop vibrator"),
    vibrator_row("1 in a higher byte",     message_with(35, {{15, 0x100}}),    "3000", "stop vibrator"),
    vibrator_row("off in one byte",        "0c00bb230600ee0f01010000",       "0",    "stop vibrator"),
    vibrator_row("on in one byte",         "0c00bb230600ee0f01010001",       "3000", "start vibrator"),
    vibrator_row("no bytes",               "0b00bb230500ee0f010000",         "0",    "stop vibrator"),
    vibrator_row("one that does not end",  "0e00bb230800ee0f010400000000",   "3000", "start vibrator"),
    backlight_row("on",                    message_with(37, {{15, 1}}),        "1",    "open button backlight"),
    backlight_row("off",                   message_with(37, {{15, 0}}),        "0",    "close button backlight"),
    backlight_row("no switch",             message_of(37),                   "1",    "open button backlight"),
    backlight_row("another atom",          message_with(37, {{16, 0}}),        "1",    "open button backlight"),
    backlight_row("5",                     message_with(37, {{15, 5}}),        "5",    "close button backlight"),
    backlight_row("the greatest, signed",  message_with(37, {{15, UINT32_MAX}}), "-1", "close button backlight"),
    backlight_row("5 in one byte",         "0c00bb250600ee0f01010005",       "5",    "close button backlight"),
    backlight_row("no bytes",              "0b00bb250500ee0f010000",         "0",    "close button backlight"),
    backlight_row("one that does not end", "0e00bb250800ee0f010400000000",   "1",    "open button backlight"),
};
// clang-format on

TEST(SimpleDevice, IsSwitched)
{
    for (const switch_row &row : k_switches_a) {
        in_child([&row] {
            SCOPED_TRACE(row.told);
            SCOPED_TRACE(row.name);
            const device_handset handset;
            handset.put(row.path, "a number before, and longer");
            const outcome seen = handset.ask(row.handler, AMT_CHANNEL_APP, row.request);
            EXPECT_EQ(seen.result, ERR_NONE);
            EXPECT_EQ(handset.content(row.path), row.written);
            EXPECT_THAT(seen.told, ElementsAre(std::string("info | ") + row.told));
            EXPECT_EQ(seen.answers(AMT_CHANNEL_APP).size(), 1U);
        });
    }
}

TEST(SimpleDevice, IsAcknowledgedOnceItsFileIsWritten)
{
    for (const device_row &row : k_devices_a) {
        for (const uint8_t channel : k_both_channels_a) {
            in_child([&row, channel] {
                SCOPED_TRACE(row.name);
                const device_handset handset;
                handset.put(row.path, "0\n");
                const outcome seen = handset.ask(row.handler, channel, message_with(row.request_id, {{15, 1}}));
                EXPECT_EQ(seen.result, ERR_NONE);
                EXPECT_EQ(handset.content(row.path), row.on);
                EXPECT_THAT(seen.answers(channel), ElementsAre(answer_on(channel, row.answer)));
                const std::string path = row.path;
                EXPECT_THAT(seen.events, ElementsAre("write " + path, "close " + path, "send"));
                EXPECT_TRUE(seen.is_response_clear);
            });
        }
    }
}

TEST(SimpleDevice, ThatIsMissingIsNotAnswered)
{
    for (const device_row &row : k_devices_a) {
        for (const uint8_t channel : k_both_channels_a) {
            in_child([&row, channel] {
                SCOPED_TRACE(row.name);
                const device_handset handset;
                const outcome seen = handset.ask(row.handler, channel, message_with(row.request_id, {{15, 0}}));
                EXPECT_EQ(seen.result, ERR_C_FUNCTION);
                EXPECT_THAT(seen.answers(channel), IsEmpty());
                EXPECT_THAT(seen.told, ElementsAre(k_failed_call + "Open file \"" + row.path +
                                                   "\" fail: 2 - No such file or directory"));
            });
        }
    }
}

TEST(SimpleDevice, ThatTakesNothingIsNotAnswered)
{
    for (const device_row &row : k_devices_a) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const device_handset handset;
            handset.put(row.path, "0\n");
            g_fake.printing = output_end{0, 0};
            const outcome seen = handset.ask(row.handler, AMT_CHANNEL_APP, message_of(row.request_id));
            EXPECT_EQ(seen.result, ERR_C_FUNCTION);
            EXPECT_THAT(seen.answers(AMT_CHANNEL_APP), IsEmpty());
            const std::string path = row.path;
            EXPECT_THAT(seen.events, ElementsAre("write " + path, "close " + path));
            EXPECT_THAT(seen.told, ElementsAre(k_failed_call + "fprintf() return: 0; 0 - No error"));
        });
    }
}

TEST(SimpleDevice, GivesTheResultOfItsAnswer)
{
    for (const device_row &row : k_devices_a) {
        SCOPED_TRACE(row.name);
        expect_result_of_sending(row.handler, message_of(row.request_id),
                                 [&row](const device_handset &handset) { handset.put(row.path, "0\n"); });
    }
}

TEST(SimpleDevice, RefusesBadArgumentsAndTellsWhich)
{
    for (const device_row &row : k_devices_a) {
        SCOPED_TRACE(row.name);
        expect_bad_arguments_refused(row.handler, AMT_CHANNEL_APP, message_of(row.request_id));
    }
}

} // namespace
