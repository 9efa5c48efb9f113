// The battery's voltage and the converter behind it; its calibration has tests of its own.
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

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

// --- voltage

constexpr char k_voltage[] = "/sys/class/power_supply/battery/voltage_now";
const std::string k_voltage_request = message_of(9);

struct voltage_row {
    const char *name;
    const char *content;
    const char *number_hex;
    const char *told;
};

// clang-format off
constexpr voltage_row k_voltages_a[] = {
    {"usual",              "3900000\n", "60823b00", "info | battery_voltage: 3900000"},
    {"without a line end", "4200000",   "40164000", "info | battery_voltage: 4200000"},
    {"none",               "0\n",       "00000000", "info | battery_voltage: 0"},
    {"the wrong way",      "-1\n",      "ffffffff", "info | battery_voltage: -1"},
    {"in text",            "7 uV\n",    "07000000", "info | battery_voltage: 7"},
};
// clang-format on

TEST(BatteryVoltage, IsTheKernelsNumberAndGoesOutBare)
{
    for (const voltage_row &row : k_voltages_a) {
        for (const uint8_t channel : k_both_channels_a) {
            in_child([&row, channel] {
                SCOPED_TRACE(row.name);
                const device_handset handset;
                handset.put(k_voltage, row.content);
                const outcome seen = handset.ask(amt_device_battery_voltage, channel, k_voltage_request);
                EXPECT_EQ(seen.result, ERR_NONE);
                const std::string number = row.number_hex;
                EXPECT_THAT(seen.answers(channel),
                            ElementsAre("1800bb0a1200ee05010400" + number + "ee0101040000000000"));
                EXPECT_THAT(seen.told, ElementsAre(row.told));
                const std::string path = k_voltage;
                EXPECT_THAT(seen.events, ElementsAre("read " + path, "close " + path, "send"));
                EXPECT_TRUE(seen.is_response_clear);
            });
        }
    }
}

struct no_voltage_row {
    const char *name;
    const char *content; // null: there is no file
    const char *told;
};

// clang-format off
constexpr no_voltage_row k_no_voltages_a[] = {
    {"no file",   nullptr,  "Open file \"/sys/class/power_supply/battery/voltage_now\" fail: "
                            "2 - No such file or directory"},
    {"empty",     "",       "fscanf() return: -1; 0 - No error"},
    {"no number", "full\n", "fscanf() return: 0; 0 - No error"},
};
// clang-format on

TEST(BatteryVoltage, ThatTheKernelDoesNotTellIsNotAnswered)
{
    for (const no_voltage_row &row : k_no_voltages_a) {
        for (const uint8_t channel : k_both_channels_a) {
            in_child([&row, channel] {
                SCOPED_TRACE(row.name);
                const device_handset handset;
                if (row.content != nullptr) {
                    handset.put(k_voltage, row.content);
                }
                const outcome seen = handset.ask(amt_device_battery_voltage, channel, k_voltage_request);
                EXPECT_EQ(seen.result, ERR_C_FUNCTION);
                EXPECT_THAT(seen.answers(channel), IsEmpty());
                EXPECT_THAT(seen.told, ElementsAre(k_failed_call + row.told));
            });
        }
    }
}

TEST(BatteryVoltage, GivesTheResultOfItsAnswer)
{
    expect_result_of_sending(amt_device_battery_voltage, k_voltage_request,
                             [](const device_handset &handset) { handset.put(k_voltage, "1"); });
}

TEST(BatteryVoltage, RefusesBadArgumentsAndTellsWhich)
{
    expect_bad_arguments_refused(amt_device_battery_voltage, AMT_CHANNEL_APP, k_voltage_request);
}

// --- the converter

constexpr char k_driver[] = "/proc/driver/vexio_battery";
const std::string k_question = "echo \"amt_get_vbatt\" > /proc/driver/vexio_battery";
const std::string k_ask_driver = "run " + k_question;
const std::string k_read_driver = std::string("read ") + k_driver;
const std::string k_close_driver = std::string("close ") + k_driver;
const std::string k_read_request = message_of(224);

std::string converter_answer(const std::string &number_hex)
{
    return "1800bbe11200ee97010400" + number_hex + "ee0101040000000000";
}

// A request of the station.
outcome ask(const device_handset &handset, const std::string &request)
{
    return handset.ask(amt_device_battery_voltage_check, AMT_CHANNEL_PC, request);
}

std::vector<std::string> failures_of_driver(int count)
{
    std::vector<std::string> told;
    for (int attempt = 1; attempt <= count; attempt++) {
        told.push_back(k_failed_call + "system(" + k_question + ") FAIL[count = " + std::to_string(attempt) +
                       "]: 0 - No error");
    }
    return told;
}

TEST(BatteryConverter, IsAskedAndReadABitLater)
{
    for (const uint8_t channel : k_both_channels_a) {
        in_child([channel] {
            const device_handset handset;
            handset.put(k_driver, "1234\n");
            const outcome seen = handset.ask(amt_device_battery_voltage_check, channel, k_read_request);
            EXPECT_EQ(seen.result, ERR_NONE);
            EXPECT_THAT(seen.answers(channel), ElementsAre(answer_on(channel, converter_answer("d2040000"))));
            EXPECT_THAT(seen.events, ElementsAre(k_ask_driver, "pause 20", k_read_driver, k_close_driver, "send"));
            EXPECT_THAT(seen.told, ElementsAre("info | system(" + k_question + ") OK", "info | ADC value: 1234"));
            EXPECT_TRUE(seen.is_response_clear);
        });
    }
}

struct value_row {
    const char *name;
    const char *content;
    const char *number_hex;
    const char *told;
};

// clang-format off
constexpr value_row k_values_a[] = {
    {"0",                  "0\n",         "00000000", "info | ADC value: 0"},
    {"without a line end", "4095",        "ff0f0000", "info | ADC value: 4095"},
    {"the largest",        "4294967295",  "ffffffff", "info | ADC value: 4294967295"},
    {"behind line ends",   "\n\n 12\n",   "0c000000", "info | ADC value: 12"},
    {"text behind",        "12 mV",       "0c000000", "info | ADC value: 12"},
    {"a zero in front",    "010\n",       "0a000000", "info | ADC value: 10"},
    {"0 and text behind",  "0x10\n",      "00000000", "info | ADC value: 0"},
};
// clang-format on

TEST(BatteryConverter, GivesANumberWithoutASign)
{
    for (const value_row &row : k_values_a) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const device_handset handset;
            handset.put(k_driver, row.content);
            const outcome seen = ask(handset, k_read_request);
            EXPECT_EQ(seen.result, ERR_NONE);
            EXPECT_THAT(seen.answers(AMT_CHANNEL_PC), ElementsAre(enveloped(converter_answer(row.number_hex))));
            EXPECT_EQ(seen.told.back(), row.told);
        });
    }
}

TEST(BatteryConverter, IsReadOnceTheDriverHasTakenTheQuestion)
{
    for (int failures = 0; failures < 5; failures++) {
        in_child([failures] {
            SCOPED_TRACE(failures);
            const device_handset handset;
            handset.put(k_driver, "1234\n");
            g_fake.commands = std::deque<command_end>(static_cast<size_t>(failures), {256, 0});
            const outcome seen = ask(handset, k_read_request);
            EXPECT_THAT(seen.answers(AMT_CHANNEL_PC), ElementsAre(enveloped(converter_answer("d2040000"))));
            std::vector<std::string> events(static_cast<size_t>(failures) + 1, k_ask_driver);
            events.insert(events.end(), {"pause 20", k_read_driver, k_close_driver, "send"});
            EXPECT_THAT(seen.events, ElementsAreArray(events));
            std::vector<std::string> told = failures_of_driver(failures);
            told.insert(told.end(), {"info | system(" + k_question + ") OK", "info | ADC value: 1234"});
            EXPECT_THAT(seen.told, ElementsAreArray(told));
        });
    }
}

TEST(BatteryConverter, ThatIsNeverAskedReadsAs0)
{
    for (const uint8_t channel : k_both_channels_a) {
        in_child([channel] {
            const device_handset handset;
            handset.put(k_driver, "1234\n");
            g_fake.commands = std::deque<command_end>(5, {256, 0});
            const outcome seen = handset.ask(amt_device_battery_voltage_check, channel, k_read_request);
            EXPECT_EQ(seen.result, ERR_NONE);
            EXPECT_THAT(seen.answers(channel), ElementsAre(answer_on(channel, converter_answer("00000000"))));
            std::vector<std::string> events(5, k_ask_driver);
            events.emplace_back("send");
            EXPECT_THAT(seen.events, ElementsAreArray(events)) << "neither waited nor read";
            EXPECT_THAT(seen.told, ElementsAreArray(failures_of_driver(5)));
        });
    }
}

struct no_value_row {
    const char *name;
    const char *content; // null: there is no file
    const char *told;
};

// clang-format off
constexpr no_value_row k_no_values_a[] = {
    {"no driver", nullptr,  "sys error | open: 2 - No such file or directory"},
    {"empty",     "",       "sys error | fscanf: 0 - No error"},
    {"no number", "warm\n", "sys error | fscanf: 0 - No error"},
};
// clang-format on

TEST(BatteryConverter, ThatDoesNotAnswerIsNotAnswered)
{
    for (const no_value_row &row : k_no_values_a) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const device_handset handset;
            if (row.content != nullptr) {
                handset.put(k_driver, row.content);
            }
            const outcome seen = ask(handset, k_read_request);
            EXPECT_EQ(seen.result, ERR_UNKNOWN);
            EXPECT_THAT(seen.answers(AMT_CHANNEL_PC), IsEmpty());
            EXPECT_THAT(seen.told, ElementsAre("info | system(" + k_question + ") OK", row.told));
        });
    }
}

TEST(BatteryConverter, ThatCannotBeReadIsNotAnswered)
{
    in_child([] {
        const device_handset handset;
        handset.make_folder(k_driver);
        const outcome seen = ask(handset, k_read_request);
        EXPECT_EQ(seen.result, ERR_UNKNOWN);
        EXPECT_THAT(seen.answers(AMT_CHANNEL_PC), IsEmpty());
        EXPECT_EQ(seen.told.back(), "sys error | fscanf: 21 - Is a directory");
    });
}

TEST(BatteryConverter, LeavesNoValueOfBefore)
{
    in_child([] {
        const device_handset handset;
        uint32_t value = 77;
        g_fake.commands = std::deque<command_end>(5, {256, 0});
        EXPECT_EQ(amt_read_adc(&value), ERR_NONE);
        EXPECT_EQ(value, 0U);
        value = 77;
        EXPECT_EQ(amt_read_adc(&value), ERR_UNKNOWN) << "there is no driver";
        EXPECT_EQ(value, 0U);
    });
}

TEST(BatteryConverter, IsToldOfBeforeItIsAsked)
{
    in_child([] {
        const test_log log; // and no handset
        uint32_t value = 0;
        EXPECT_EQ(amt_read_adc(&value), ERR_UNKNOWN);
        EXPECT_THAT(log.records(), ElementsAre("func | ", "func | ", "info | system(" + k_question + ") OK",
                                               "sys error | open: 2 - No such file or directory"));
    });
}

TEST(BatteryConverter, GivesTheResultOfItsAnswer)
{
    expect_result_of_sending(amt_device_battery_voltage_check, k_read_request,
                             [](const device_handset &handset) { handset.put(k_driver, "1"); });
}

} // namespace
