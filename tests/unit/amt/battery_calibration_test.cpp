// Requests to the converter behind the battery: its calibration, and what both have in common.
#include "amt/device/battery.h"

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

using ::testing::Contains;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;

// A request of the station.
outcome ask(const device_handset &handset, const std::string &request)
{
    return handset.ask(amt_device_battery_voltage_check, AMT_CHANNEL_PC, request);
}

constexpr char k_file[] = "/amt/vbatt";
const std::string k_calibrate_request = message_with(226, {{146, 11}, {147, 22}, {148, 33}, {149, 44}});
const std::string k_calibrate_answer = "0f00bbe30900ee0101040000000000";
const std::string k_text = "amt_set_vbatt[11] [22] [33] [44]";
const std::string k_tell_driver = "echo \"" + k_text + "\" > /proc/driver/vexio_battery";

TEST(BatteryCalibration, IsKeptAndThenToldToTheDriver)
{
    for (const uint8_t channel : k_both_channels_a) {
        in_child([channel] {
            const device_handset handset;
            handset.put(k_file, "a calibration of before, which was longer than the one of now");
            const outcome seen = handset.ask(amt_device_battery_voltage_check, channel, k_calibrate_request);
            EXPECT_EQ(seen.result, ERR_NONE);
            EXPECT_EQ(handset.content(k_file), k_text);
            EXPECT_THAT(seen.answers(channel), ElementsAre(answer_on(channel, k_calibrate_answer)));
            EXPECT_THAT(seen.events, ElementsAre("write /amt/vbatt", "bytes to /amt/vbatt", "close /amt/vbatt",
                                                 "pause 50", "run /system/bin/sync", "pause 50", "run /system/bin/sync",
                                                 "run " + k_tell_driver, "send"));
            EXPECT_THAT(seen.told, ElementsAre("info | SAVA ADC value: 11 22 33 44", "info | " + k_tell_driver));
            EXPECT_TRUE(seen.is_response_clear);
        });
    }
}

TEST(BatteryCalibration, NeedsNoFileOfBefore)
{
    in_child([] {
        const device_handset handset;
        handset.make_folder("/amt");
        EXPECT_EQ(ask(handset, k_calibrate_request).result, ERR_NONE);
        EXPECT_EQ(handset.content(k_file), k_text);
    });
}

struct calibration_row {
    const char *name;
    std::string request;
    const char *text;
};

// clang-format off
const calibration_row k_calibrations_a[] = {
    {"no numbers",        message_of(226),                                  "amt_set_vbatt[0] [0] [0] [0]"},
    {"the first alone",   message_with(226, {{146, 5}}),                      "amt_set_vbatt[5] [0] [0] [0]"},
    {"without the first", message_with(226, {{147, 6}, {148, 7}, {149, 8}}),  "amt_set_vbatt[0] [6] [7] [8]"},
    {"backwards",         message_with(226, {{149, 8}, {148, 7}, {147, 6}, {146, 5}}), "amt_set_vbatt[5] [6] [7] [8]"},
    {"with neighbours",   message_with(226, {{145, 1}, {150, 2}, {151, 3}}),  "amt_set_vbatt[0] [0] [0] [0]"},
    {"below 0",           message_with(226, {{146, UINT32_MAX}, {149, 0x80000000}}),
                                                                            "amt_set_vbatt[-1] [0] [0] [-2147483648]"},
    {"one byte",          "0c00bbe20600ee92010100fb",                       "amt_set_vbatt[251] [0] [0] [0]"},
    {"cut off",           "0e00bbe20800ee92010400050000",                   "amt_set_vbatt[0] [0] [0] [0]"},
};
// clang-format on

TEST(BatteryCalibration, IsFourNumbersThatMayBeMissing)
{
    for (const calibration_row &row : k_calibrations_a) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const device_handset handset;
            handset.make_folder("/amt");
            const outcome seen = ask(handset, row.request);
            EXPECT_EQ(handset.content(k_file), row.text);
            const std::string command = std::string("echo \"") + row.text + "\" > /proc/driver/vexio_battery";
            EXPECT_THAT(seen.events, Contains("run " + command).Times(1));
            EXPECT_EQ(seen.told.back(), "info | " + command);
            EXPECT_THAT(seen.answers(AMT_CHANNEL_PC), ElementsAre(enveloped(k_calibrate_answer)));
        });
    }
}

TEST(BatteryCalibration, IsKeptWholeAlsoWhenTheCommandIsCut)
{
    in_child([] {
        const device_handset handset;
        handset.make_folder("/amt");
        constexpr uint32_t k_long = 0x80000000;
        const outcome seen =
            ask(handset, message_with(226, {{146, k_long}, {147, k_long}, {148, k_long}, {149, k_long}}));
        const std::string text = "amt_set_vbatt[-2147483648] [-2147483648] [-2147483648] [-2147483648]";
        EXPECT_EQ(handset.content(k_file), text);
        const std::string command = "echo \"" + text + "\" > /proc/driver/vexio_b";
        EXPECT_EQ(command.size(), 98U);
        EXPECT_THAT(seen.events, Contains("run " + command));
        EXPECT_EQ(seen.told.back(), "info | " + command);
        EXPECT_EQ(seen.result, ERR_NONE);
    });
}

TEST(BatteryCalibration, IsASuccessWhateverTheDriverThinksOfIt)
{
    in_child([] {
        const device_handset handset;
        handset.make_folder("/amt");
        g_fake.commands = {{256, 0}, {256, 0}, {256, 0}}; // the disk does not take its commands either
        const outcome seen = ask(handset, k_calibrate_request);
        EXPECT_EQ(seen.result, ERR_NONE);
        EXPECT_THAT(seen.answers(AMT_CHANNEL_PC), ElementsAre(enveloped(k_calibrate_answer)));
        EXPECT_THAT(seen.events, Contains("run " + k_tell_driver).Times(1)) << "it is told once";
        EXPECT_THAT(seen.told, ElementsAre("info | SAVA ADC value: 11 22 33 44", "info | " + k_tell_driver));
    });
}

TEST(BatteryCalibration, ThatCannotBeOpenedToBeKeptIsNotToldToTheDriver)
{
    in_child([] {
        const device_handset handset;
        const outcome seen = ask(handset, k_calibrate_request); // there is no folder
        EXPECT_EQ(seen.result, ERR_UNKNOWN);
        EXPECT_THAT(seen.answers(AMT_CHANNEL_PC), IsEmpty());
        EXPECT_THAT(seen.events, ElementsAre("write /amt/vbatt"));
        EXPECT_THAT(seen.told, ElementsAre("sys error | open: 2 - No such file or directory"));
    });
}

TEST(BatteryCalibration, IsToldOfBeforeItsFileIsOpened)
{
    in_child([] {
        const test_log log; // and no handset
        EXPECT_EQ(amt_write_adc_diff_value({}), ERR_UNKNOWN);
        EXPECT_THAT(log.records(), ElementsAre("func | ", "sys error | open: 2 - No such file or directory"));
    });
}

struct failed_write_row {
    const char *name;
    output_end end;
    const char *told;
};

constexpr failed_write_row k_failed_writes_a[] = {
    {"an error", {-1, ENOSPC}, "sys error | write: 28 - No space left on device"},
    {"a part", {5, 0}, "sys error | write: 0 - No error"},
    {"nothing", {0, 0}, "sys error | write: 0 - No error"},
};

TEST(BatteryCalibration, ThatIsNotKeptIsNotToldToTheDriver)
{
    for (const failed_write_row &row : k_failed_writes_a) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const device_handset handset;
            handset.make_folder("/amt");
            g_fake.writing = row.end;
            const outcome seen = ask(handset, k_calibrate_request);
            EXPECT_EQ(seen.result, ERR_UNKNOWN);
            EXPECT_THAT(seen.answers(AMT_CHANNEL_PC), IsEmpty());
            EXPECT_THAT(seen.events,
                        ElementsAre("write /amt/vbatt", "bytes to /amt/vbatt", "close /amt/vbatt", "pause 50",
                                    "run /system/bin/sync", "pause 50", "run /system/bin/sync"))
                << "the file is empty now: the disk is to know";
            EXPECT_THAT(seen.told, ElementsAre(row.told));
        });
    }
}

TEST(BatteryCalibration, GivesTheResultOfItsAnswer)
{
    expect_result_of_sending(amt_device_battery_voltage_check, k_calibrate_request,
                             [](const device_handset &handset) { handset.make_folder("/amt"); });
}

// --- with the reading

std::string response_so_far()
{
    const uint8_t *data = g_fake.response->m_data_a;
    return to_hex(byte_vector(data, data + data[0]));
}

TEST(BatteryCheck, BeginsItsAnswerBeforeItDoesAnything)
{
    for (const auto &[request, begun] :
         {std::pair(message_of(224), "0600bbe10000"), std::pair(k_calibrate_request, "0600bbe30000")}) {
        in_child([request = request, begun = begun] {
            const device_handset handset;
            std::vector<std::string> responses;
            g_fake.on_event = [&](const std::string &) { responses.push_back(response_so_far()); };
            EXPECT_EQ(ask(handset, request).result, ERR_UNKNOWN);
            EXPECT_THAT(responses, Not(IsEmpty()));
            EXPECT_THAT(responses, Each(begun));
        });
    }
}

TEST(BatteryCheck, HasItsAnswerReadyWhenTheDriverIsToldTheCalibration)
{
    in_child([] {
        const device_handset handset;
        handset.make_folder("/amt");
        std::string response;
        std::string told;
        g_fake.on_event = [&](const std::string &event) {
            if (event == "run " + k_tell_driver) {
                response = response_so_far();
                told = handset.told().back();
            }
        };
        (void)ask(handset, k_calibrate_request);
        EXPECT_EQ(response, k_calibrate_answer);
        EXPECT_EQ(told, "info | " + k_tell_driver) << "told before it is run";
    });
}

TEST(BatteryCheck, HasNoOtherRequest)
{
    for (const int id : {0, 9, 223, 225, 227, 255}) {
        in_child([id] {
            const device_handset handset;
            const outcome seen = ask(handset, message_of(static_cast<uint8_t>(id)));
            EXPECT_EQ(seen.result, ERR_UNKNOWN);
            EXPECT_THAT(seen.answers(AMT_CHANNEL_PC), IsEmpty());
            EXPECT_THAT(seen.events, IsEmpty());
            EXPECT_THAT(seen.told, ElementsAre(k_failed + "Invalid command id[" + std::to_string(id) + "]"));
        });
    }
}

TEST(BatteryCheck, RefusesBadArgumentsAndTellsWhich)
{
    expect_bad_arguments_refused(amt_device_battery_voltage_check, AMT_CHANNEL_PC, message_of(224));
    expect_bad_arguments_refused(amt_device_battery_voltage_check, AMT_CHANNEL_PC, k_calibrate_request);
}

} // namespace
