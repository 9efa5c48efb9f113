#include "amt/device/command.h"

#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "pub/log/errors.h"
#include "tests/support/in_child.h"
#include "tests/support/test_log.h"
#include "tests/unit/amt/device_fakes.h"

namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;

constexpr char k_command[] = "echo \"%d\" > /amt/x";
const std::string k_run = std::string("run ") + k_command;
const std::string k_success = std::string("info | system(") + k_command + ") OK";

std::string failure(int attempt, const std::string &reason)
{
    return k_failed_call + "system(" + k_command + ") FAIL[count = " + std::to_string(attempt) + "]: " + reason;
}

TEST(DeviceCommand, IsRunUntilItSucceeds)
{
    for (int failures = 0; failures < 5; failures++) {
        in_child([failures] {
            SCOPED_TRACE(failures);
            const device_handset handset;
            std::vector<std::string> told;
            for (int attempt = 1; attempt <= failures; attempt++) {
                g_fake.commands.push_back({256, 0}); // exit status 1
                told.push_back(failure(attempt, "0 - No error"));
            }
            told.push_back(k_success);
            g_fake.commands.push_back({});
            g_fake.commands.push_back({256, 0}); // nobody comes to see this
            EXPECT_EQ(amt_device_do_command(k_command), ERR_NONE);
            EXPECT_THAT(handset.told(), ElementsAreArray(told));
            const std::vector<std::string> runs(static_cast<size_t>(failures) + 1, k_run);
            EXPECT_THAT(g_fake.events, ElementsAreArray(runs)) << "without a pause";
        });
    }
}

TEST(DeviceCommand, IsGivenUpAfterTheFifthAttempt)
{
    in_child([] {
        const device_handset handset;
        // No process, then a status of each kind: an exit of 1, another, a signal, and no memory for a process.
        g_fake.commands = {{-1, EAGAIN}, {256, 0}, {127 * 256, 0}, {9, 0}, {-1, ENOMEM}, {0, 0}};
        errno = EXDEV; // of something before
        EXPECT_EQ(amt_device_do_command(k_command), ERR_UNKNOWN);
        EXPECT_THAT(handset.told(), ElementsAre(failure(1, "11 - Resource temporarily unavailable"),
                                                failure(2, "0 - No error"), failure(3, "0 - No error"),
                                                failure(4, "0 - No error"), failure(5, "12 - Cannot allocate memory")));
        EXPECT_THAT(g_fake.events, ElementsAreArray(std::vector<std::string>(5, k_run)));
    });
}

TEST(DeviceCommand, ThatFailedIsToldBeforeItIsTriedAgain)
{
    in_child([] {
        const device_handset handset;
        g_fake.commands = {{256, 0}, {256, 0}};
        std::vector<size_t> told_before;
        g_fake.on_event = [&](const std::string &) { told_before.push_back(handset.told().size()); };
        EXPECT_EQ(amt_device_do_command(k_command), ERR_NONE);
        EXPECT_THAT(told_before, ElementsAre(0U, 1U, 2U));
    });
}

TEST(DeviceCommand, IsToldOfBeforeItIsRun)
{
    in_child([] {
        const test_log log;
        EXPECT_EQ(amt_device_do_command(k_command), ERR_NONE);
        EXPECT_THAT(log.records(), ElementsAre("func | ", k_success));
    });
}

TEST(DeviceCommand, IsCutBehind98Characters)
{
    for (const size_t length : {0U, 97U, 98U, 99U, 200U}) {
        const std::string text(length, 'x');
        device_command command_a;
        std::fill(std::begin(command_a), std::end(command_a), '?');
        amt_device_format_command(command_a, "%s", text.c_str());
        EXPECT_EQ(command_a, text.substr(0, 98)) << length;
    }
}

TEST(DeviceCommand, IsFormatted)
{
    device_command command_a;
    amt_device_format_command(command_a, "echo %d %ld 'a%%' %s", -1, 44100L, "b");
    EXPECT_STREQ(command_a, "echo -1 44100 'a%' b");
}

} // namespace
