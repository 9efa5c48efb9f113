#include "amt/device/handset-state.h"

#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "amt/platform-library.h"
#include "pub/log/errors.h"
#include "tests/support/in_child.h"
#include "tests/support/temp_folder.h"
#include "tests/support/test_log.h"
#include "tests/unit/amt/core_fakes.h"
#include "tests/unit/amt/handler_arguments.h"
#include "tests/unit/amt/links.h"
#include "tests/unit/platform/handset_root.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::StartsWith;

// --- temperature

constexpr char k_temperature_request[] = "0600bb370000";
constexpr char k_failure[] = "0f00bb380900ee010104000a000000"; // result 10

// Item 22 and the result 0.
std::string temperature_answer(const std::string &number_hex)
{
    std::string text = "1800bb381200ee16010400";
    text += number_hex;
    text += "ee0101040000000000";
    return text;
}

struct temperature_row {
    const char *name;
    const char *content; // of the kernel's file; null: there is none
    std::string answer;
    const char *told;
};

TEST(Temperature, IsTheKernelsNumber)
{
    const temperature_row rows[] = {
        {"usual", "275\n", temperature_answer("13010000"), "info | Battery temperature: 275"},
        {"without a line end", "275", temperature_answer("13010000"), "info | Battery temperature: 275"},
        {"freezing", "0\n", temperature_answer("00000000"), "info | Battery temperature: 0"},
        {"below", "-5\n", temperature_answer("fbffffff"), "info | Battery temperature: 4294967291"},
        {"a zero in front", "010\n", temperature_answer("0a000000"), "info | Battery temperature: 10"},
        {"no number but its beginning", "0x10\n", temperature_answer("00000000"), "info | Battery temperature: 0"},
        {"behind line ends", "\n\n  30\n", temperature_answer("1e000000"), "info | Battery temperature: 30"},
        {"behind many", "                                                                 30",
         temperature_answer("1e000000"), "info | Battery temperature: 30"},
        {"text behind", "30 degrees", temperature_answer("1e000000"), "info | Battery temperature: 30"},
        {"the largest", "4294967295", temperature_answer("ffffffff"), "info | Battery temperature: 4294967295"},
        {"empty", "", k_failure, "error | -118 - Call C function unsuccessfully | fscanf error: errno=0"},
        {"no number", "warm\n", k_failure, "error | -118 - Call C function unsuccessfully | fscanf error: errno=0"},
        {"no file", nullptr, k_failure, "error | -118 - Call C function unsuccessfully | fopen error: errno=2"},
    };
    for (const temperature_row &row : rows) {
        in_child([&row] {
            const temp_folder root; // stands for the folder in which the service runs
            std::filesystem::create_directories(root.path("sys/class/power_supply/battery"));
            if (row.content != nullptr) {
                (void)root.with_file("sys/class/power_supply/battery/temp", row.content);
            }
            ASSERT_EQ(chdir(root.path().c_str()), 0);
            const links link;
            const test_log log;
            const amt_buffer request = buffer_with(k_temperature_request);
            amt_buffer response = buffer_with(std::string(400, 'f'));
            EXPECT_EQ(amt_modem_handle_temperature(2, &request, &response), ERR_NONE) << row.name;
            EXPECT_THAT(link.at_application(), ElementsAre(row.answer)) << row.name;
            EXPECT_THAT(log.records(), Contains(row.told)) << row.name;
        });
    }
}

TEST(Temperature, LeavesNoFileOpen)
{
    in_child([] {
        const temp_folder root;
        std::filesystem::create_directories(root.path("sys/class/power_supply/battery"));
        (void)root.with_file("sys/class/power_supply/battery/temp", "30\n");
        ASSERT_EQ(chdir(root.path().c_str()), 0);
        const links link;
        const amt_buffer request = buffer_with(k_temperature_request);
        amt_buffer response = {};
        const int next = dup(0);
        (void)close(next);
        EXPECT_EQ(amt_modem_handle_temperature(2, &request, &response), ERR_NONE);
        EXPECT_EQ(dup(0), next);
    });
}

TEST(Temperature, NeedsNoModemAndGivesTheResultOfItsAnswer)
{
    for (const bool has_file : {true, false}) {
        in_child([has_file] {
            const temp_folder root;
            std::filesystem::create_directories(root.path("sys/class/power_supply/battery"));
            if (has_file) {
                (void)root.with_file("sys/class/power_supply/battery/temp", "30\n");
            }
            ASSERT_EQ(chdir(root.path().c_str()), 0);
            const links link;
            g_at_dev_not_opened = 1;
            const amt_buffer request = buffer_with(k_temperature_request);
            amt_buffer response = {};
            EXPECT_EQ(amt_modem_handle_temperature(AMT_CHANNEL_APP, &request, &response), ERR_NONE) << has_file;
            EXPECT_THAT(link.at_application(), ElementsAre(has_file ? temperature_answer("1e000000") : k_failure));
            handle_context_st.m_pty.m_ptm_fd = -1;
            EXPECT_EQ(amt_modem_handle_temperature(AMT_CHANNEL_APP, &request, &response), ERR_UNKNOWN) << has_file;
        });
    }
}

TEST(Temperature, RefusesBadArgumentsAndTellsWhich)
{
    expect_bad_arguments_refused(amt_modem_handle_temperature, AMT_CHANNEL_APP, k_temperature_request);
}

// --- the flag of the last download

constexpr char k_flag_request[] = "0600bbf40000";

class DownloadFlag : public handset_root {};

TEST_F(DownloadFlag, IsWhatTheMiscLibraryTells)
{
    const std::pair<const char *, const char *> rows[] = {
        {"0", "00000000"}, {"1", "01000000"}, {"258", "02010000"}, {"-1", "ffffffff"}};
    for (const auto &[flag, flag_hex] : rows) {
        control("amt_check_system_sanity", std::string("result=") + flag + "\n");
        in_child([flag = std::string(flag), flag_hex = std::string(flag_hex)] {
            decide_platform_lib_name();
            const links link;
            const test_log log;
            const amt_buffer request = buffer_with(k_flag_request);
            amt_buffer response = buffer_with(std::string(400, 'f'));
            EXPECT_EQ(amt_modem_boot_dl_fin_read(AMT_CHANNEL_PC, &request, &response), ERR_NONE);
            const std::string answer = "1800bbf51200eecc010400" + flag_hex + "ee0101040000000000";
            EXPECT_THAT(link.at_station(), ElementsAre(enveloped(answer)));
            EXPECT_THAT(link.at_application(), IsEmpty());
            EXPECT_EQ(amt_modem_boot_dl_fin_read(AMT_CHANNEL_APP, &request, &response), ERR_NONE);
            EXPECT_THAT(link.at_application(), ElementsAre(answer)) << "bare";
            EXPECT_THAT(log.records(), Contains("info | amt_modem_boot_dl_fin_read."));
            EXPECT_THAT(log.records(),
                        Contains("info | amt_modem_boot_dl_fin_read finished. flag:" + flag + "; ret_val:0."));
        });
    }
}

TEST_F(DownloadFlag, ThatCannotBeReadIsNotAnswered)
{
    in_child([] {
        decide_platform_lib_name();
        g_fake.has_no_entry = true;
        const links link;
        const test_log log;
        const amt_buffer request = buffer_with(k_flag_request);
        amt_buffer response = {};
        EXPECT_EQ(amt_modem_boot_dl_fin_read(AMT_CHANNEL_PC, &request, &response), ERR_UNKNOWN);
        EXPECT_THAT(link.at_station(), IsEmpty());
        EXPECT_THAT(log.records(), Contains("info | amt_modem_boot_dl_fin_read finished. flag:0; ret_val:-118."));
        EXPECT_EQ(log.records().back(), k_failed + "read error");
    });
}

TEST_F(DownloadFlag, NeedsNoModemAndGivesTheResultOfItsAnswer)
{
    in_child([] {
        decide_platform_lib_name();
        const links link;
        g_at_dev_not_opened = 1;
        const amt_buffer request = buffer_with(k_flag_request);
        amt_buffer response = {};
        EXPECT_EQ(amt_modem_boot_dl_fin_read(AMT_CHANNEL_PC, &request, &response), ERR_NONE);
        EXPECT_EQ(link.at_station().size(), 1U);
        handle_context_st.m_pty.m_ptm_fd = -1;
        EXPECT_EQ(amt_modem_boot_dl_fin_read(AMT_CHANNEL_APP, &request, &response), ERR_UNKNOWN);
    });
}

TEST_F(DownloadFlag, RefusesBadArgumentsAndTellsWhich)
{
    expect_bad_arguments_refused(amt_modem_boot_dl_fin_read, AMT_CHANNEL_PC, k_flag_request);
}

TEST_F(DownloadFlag, IsReadByTheEntryOfTheLibrary)
{
    control("amt_check_system_sanity", "result=5\n");
    in_child([] {
        decide_platform_lib_name();
        const test_log log;
        uint32_t state = 77;
        std::string told_last;
        g_fake.on_unload = [&log, &told_last] { told_last = log.records().back(); };
        EXPECT_EQ(amt_boot_dl_fin_read(&state), ERR_NONE);
        EXPECT_EQ(told_last, "info | stop call amt_check_system_sanity. return value:5.") << "told before it is gone";
        EXPECT_EQ(state, 5U);
        EXPECT_THAT(g_fake.looked_up, ElementsAre("amt_check_system_sanity"));
        EXPECT_EQ(g_fake.unloaded, 1);
        EXPECT_THAT(log.records(), ElementsAre("func | ", "info | amt_boot_dl_fin_read start.",
                                               "info | will call amt_check_system_sanity.",
                                               "info | stop call amt_check_system_sanity. return value:5."));
    });
    EXPECT_EQ(calls(), "amt_check_system_sanity()\n");
}

// An entry in place of the library's own, which looks at the log.
const test_log *g_log = nullptr;
int32_t entry_that_looks()
{
    EXPECT_EQ(g_log->records().back(), "info | will call amt_check_system_sanity.");
    return 6;
}

TEST_F(DownloadFlag, IsToldToBeReadBeforeTheLibraryIsCalled)
{
    in_child([] {
        decide_platform_lib_name();
        const test_log log;
        g_log = &log;
        g_fake.entry = reinterpret_cast<void *>(&entry_that_looks);
        uint32_t state = 77;
        EXPECT_EQ(amt_boot_dl_fin_read(&state), ERR_NONE);
        EXPECT_EQ(state, 6U);
        g_log = nullptr;
    });
}

TEST_F(DownloadFlag, Is0WithoutTheLibrary)
{
    for (const bool has_library : {false, true}) {
        in_child([has_library] {
            decide_platform_lib_name();
            g_fake.has_no_library = !has_library;
            g_fake.has_no_entry = has_library;
            const test_log log;
            uint32_t state = 77;
            EXPECT_EQ(amt_boot_dl_fin_read(&state), ERR_C_FUNCTION);
            EXPECT_EQ(state, 0U);
            EXPECT_EQ(g_fake.unloaded, 0);
            EXPECT_THAT(log.records(), ElementsAre("func | ", "info | amt_boot_dl_fin_read start.",
                                                   StartsWith(k_failed_call + "call dlopen fail: - ")));
        });
    }
    EXPECT_EQ(calls(), "(missing)");
}

// --- the power

constexpr char k_power_request[] = "0600bbec0000";
constexpr char k_power_answer[] = "0f00bbed0900ee0101040000000000"; // result 0

struct power_off {
    int32_t result = 0;
    std::vector<std::string> steps;     // what came, in order: texts of what was sent, "2 s", "off"
    std::vector<std::string> records;   // without those of sending
    std::vector<std::string> functions; // of all records
};

// Has the handset switched off over a channel. The power-off comes back with this errno; 0: as if nothing had happened.
power_off switch_off(uint8_t channel, int refused)
{
    const links link;
    const test_log log;
    power_off seen;
    const auto note_sent = [&link, &seen] {
        for (const auto &sent : {link.at_station(), link.at_application()}) {
            seen.steps.insert(seen.steps.end(), sent.begin(), sent.end());
        }
    };
    g_fake.on_long_pause = [&] {
        note_sent();
        seen.steps.push_back(std::to_string(g_fake.long_pauses.back()) + " s");
    };
    g_fake.on_power_off = [&] {
        note_sent();
        seen.steps.emplace_back("off");
        errno = refused;
        return refused == 0 ? 0 : -1;
    };
    const amt_buffer request = buffer_with(k_power_request);
    amt_buffer response = buffer_with(std::string(400, 'f'));
    seen.result = amt_handle_power_off(channel, &request, &response);
    note_sent();
    for (const std::string &record : log.records()) {
        if (record != "func | " && record.rfind("data | send ", 0) != 0) {
            seen.records.push_back(record);
        }
    }
    seen.functions = log.functions();
    return seen;
}

TEST(PowerOff, AnswersThenWaitsThenSwitchesOff)
{
    const std::pair<uint8_t, std::string> rows[] = {{AMT_CHANNEL_PC, enveloped(k_power_answer)},
                                                    {AMT_CHANNEL_APP, k_power_answer}};
    for (const auto &[channel, answer] : rows) {
        in_child([channel = channel, answer = answer] {
            const power_off seen = switch_off(channel, 0);
            EXPECT_EQ(seen.result, ERR_NONE) << "should it come back";
            EXPECT_THAT(seen.steps, ElementsAre(answer, "2 s", "off"));
            EXPECT_THAT(seen.records, IsEmpty());
            EXPECT_EQ(seen.functions.at(0), "amt_handle_power_off");
            EXPECT_THAT(g_fake.pauses, IsEmpty());
            EXPECT_THAT(g_fake.commands, IsEmpty());
        });
    }
}

TEST(PowerOff, ThatIsRefusedIsToldAndTriedOnce)
{
    in_child([] {
        const power_off seen = switch_off(AMT_CHANNEL_PC, EPERM);
        EXPECT_EQ(seen.result, ERR_NONE) << "that of the answer";
        EXPECT_THAT(seen.steps, ElementsAre(enveloped(k_power_answer), "2 s", "off"));
        EXPECT_THAT(seen.records, ElementsAre("sys error | reboot: 1 - Operation not permitted"));
        EXPECT_EQ(seen.functions.back(), "amt_power_off_behind_answer");
    });
}

TEST(PowerOff, ComesAlsoWhenItsAnswerDoesNotLeave)
{
    for (const int refused : {0, EPERM}) {
        in_child([refused] {
            g_fake.write_fails_at = 1;
            g_fake.write_error = EIO;
            const power_off seen = switch_off(AMT_CHANNEL_PC, refused);
            EXPECT_EQ(seen.result, ERR_C_FUNCTION) << "that of the answer";
            EXPECT_THAT(seen.steps, ElementsAre("2 s", "off"));
        });
        in_child([refused] {
            g_fake.write_fails_at = 1;
            g_fake.write_count = 14;
            const power_off seen = switch_off(AMT_CHANNEL_APP, refused);
            EXPECT_EQ(seen.result, ERR_WRITE_NOT_COMPLETED);
            EXPECT_THAT(seen.steps, ElementsAre(std::string(k_power_answer).substr(0, 28), "2 s", "off"));
        });
    }
}

TEST(PowerOff, NeedsNoModem)
{
    in_child([] {
        amt_context_clear();
        g_at_dev_not_opened = 1;
        EXPECT_EQ(switch_off(AMT_CHANNEL_PC, 0).result, ERR_NONE);
    });
}

TEST(PowerOff, RefusesBadArgumentsAndLeavesThePowerAlone)
{
    g_fake.on_long_pause = [] { ADD_FAILURE() << "there is nothing to wait for"; };
    expect_bad_arguments_refused(amt_handle_power_off, AMT_CHANNEL_PC, k_power_request);
    expect_bad_arguments_refused(amt_handle_power_off, AMT_CHANNEL_APP, k_power_request);
    g_fake = {};
}

// Shared with a line of the station that has answered in its own way.
TEST(PowerOff, BehindAnotherAnswerSendsNone)
{
    for (const int refused : {0, ENOSYS}) {
        in_child([refused] {
            const links link;
            const test_log log;
            g_fake.on_power_off = [refused] {
                errno = refused;
                return refused == 0 ? 0 : -1;
            };
            amt_power_off_behind_answer();
            EXPECT_THAT(g_fake.long_pauses, ElementsAre(2));
            EXPECT_THAT(link.at_station(), IsEmpty());
            EXPECT_THAT(link.at_application(), IsEmpty());
            const std::vector<std::string> told = {"sys error | reboot: 38 - Function not implemented"};
            EXPECT_EQ(log.records(), refused == 0 ? std::vector<std::string>{} : told);
        });
    }
}

} // namespace
