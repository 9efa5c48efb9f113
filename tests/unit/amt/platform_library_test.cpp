#include "amt/platform-library.h"

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdint.h>
#include <string.h>

#include <functional>
#include <string>
#include <vector>

#include "pub/log/errors.h"
#include "tests/support/in_child.h"
#include "tests/support/test_log.h"
#include "tests/unit/amt/core_fakes.h"
#include "tests/unit/platform/handset_root.h"

namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::StartsWith;

constexpr char k_library[] = "/system/lib64/hw/amt.kv7100.misc.so";

class PlatformLibrary : public handset_root {};

// --- the choice

struct chip_row {
    const char *name;
    const char *property; // null: it is not set
    const char *chip;
};

// clang-format off
constexpr chip_row k_chips_a[] = {
    {"not told",                nullptr,      "kv7100"},
    {"empty",                   "",           "kv7100"},
    {"the usual one",           "kv7100",     "kv7100"},
    {"the other one",           "kv7101",     "kv7101"},
    {"the other one, anywhere", "a-kv7101_b", "kv7101"},
    {"another",                 "kv7102",     "kv7100"},
    {"in large letters",        "KV7101",     "kv7100"},
    {"a part of a name",        "kv710",      "kv7100"},
    {"both",                    "kv7100 kv7101", "kv7101"},
};
// clang-format on

TEST_F(PlatformLibrary, IsChosenByTheChip)
{
    for (const chip_row &row : k_chips_a) {
        if (row.property != nullptr) {
            write_file("/dev/__properties__/ro.board.platform", row.property);
        }
        in_child([&row] {
            const test_log log;
            decide_platform_lib_name();
            std::vector<std::string> records = {"func | "};
            const std::string value = row.property == nullptr ? "" : row.property;
            if (!value.empty()) {
                records.push_back("info | property-ro.board.platform value: " + value);
            }
            const std::string folder = "/system/lib64/hw";
            records.push_back("info | audio lib path-name: " + folder + "/audio.primary." + row.chip + ".amt.so");
            records.push_back("info | misc lib path-name: " + folder + "/amt." + row.chip + ".misc.so");
            EXPECT_THAT(log.records(), ElementsAreArray(records)) << row.name;
            EXPECT_EQ(amt_usb_charge_ctrl(1), 0);
            EXPECT_THAT(g_fake.loaded, ElementsAre(folder + "/amt." + row.chip + ".misc.so")) << row.name;
        });
    }
}

TEST_F(PlatformLibrary, CanBeChosenAgain)
{
    write_file("/dev/__properties__/ro.board.platform", "kv7101");
    in_child([this] {
        decide_platform_lib_name();
        write_file("/dev/__properties__/ro.board.platform", "kv7100");
        decide_platform_lib_name();
        (void)amt_usb_charge_ctrl(1);
        EXPECT_THAT(g_fake.loaded, ElementsAre(k_library));
    });
}

// --- charging

TEST_F(PlatformLibrary, IsLoadedForOneCallAndUnloadedBehindIt)
{
    in_child([] {
        decide_platform_lib_name();
        const test_log log;
        std::string told_last;
        g_fake.on_unload = [&log, &told_last] { told_last = log.records().back(); };
        EXPECT_EQ(amt_usb_charge_ctrl(3), ERR_NONE);
        EXPECT_THAT(g_fake.load_flags, ElementsAre(RTLD_LAZY));
        EXPECT_EQ(told_last, "info | stop call amt_usb_charger_enable. return value:0.") << "it is gone before the OK";
        EXPECT_THAT(g_fake.looked_up, ElementsAre("amt_usb_charger_enable"));
        EXPECT_EQ(g_fake.unloaded, 1);
        EXPECT_THAT(log.records(), ElementsAre("func | ", "info | will call amt_usb_charger_enable , type:3.",
                                               "info | will call amt_usb_charger_enable.",
                                               "info | stop call amt_usb_charger_enable. return value:0.",
                                               "info | amt_usb_charger_enable return OK."));
    });
    EXPECT_EQ(calls(), "amt_usb_charger_enable(3)\n");
}

TEST_F(PlatformLibrary, GetsEveryTypeFrom0On)
{
    in_child([] {
        decide_platform_lib_name();
        EXPECT_EQ(amt_usb_charge_ctrl(0), ERR_NONE);
        EXPECT_EQ(amt_usb_charge_ctrl(INT32_MAX), ERR_NONE);
        EXPECT_EQ(g_fake.unloaded, 2);
    });
    EXPECT_EQ(calls(), "amt_usb_charger_enable(0)\namt_usb_charger_enable(2147483647)\n");
}

TEST_F(PlatformLibrary, HasItsResultPassedOn)
{
    for (const int result : {-7, 5}) {
        control("amt_usb_charger_enable", "result=" + std::to_string(result) + "\n");
        in_child([result] {
            decide_platform_lib_name();
            const test_log log;
            EXPECT_EQ(amt_usb_charge_ctrl(1), result);
            EXPECT_EQ(g_fake.unloaded, 1);
            EXPECT_THAT(log.records(), ElementsAre("func | ", "info | will call amt_usb_charger_enable , type:1.",
                                                   "info | will call amt_usb_charger_enable.",
                                                   "info | stop call amt_usb_charger_enable. return value:" +
                                                       std::to_string(result) + "."));
        });
    }
}

TEST_F(PlatformLibrary, IsNotLoadedForANegativeType)
{
    for (const int32_t type : {-1, INT32_MIN}) {
        in_child([type] {
            decide_platform_lib_name();
            const test_log log;
            EXPECT_EQ(amt_usb_charge_ctrl(type), ERR_INVALID_PARAM);
            EXPECT_THAT(g_fake.loaded, IsEmpty());
            const std::string number = std::to_string(type);
            EXPECT_THAT(log.records(),
                        ElementsAre("func | ", "info | will call amt_usb_charger_enable , type:" + number + ".",
                                    "error | -101 - Invalid parameter | parameter type(" + number + ") is not valid."));
        });
    }
    EXPECT_EQ(calls(), "(missing)");
}

struct missing_row {
    const char *name;
    bool has_library;
    bool has_reason;
    const char *reason; // a pattern
};

// clang-format off
constexpr missing_row k_missing_a[] = {
    {"no library",                    false, true,  ".*/no/such/library.*"},
    {"no entry",                      true,  true,  ".*no_such_entry.*"},
    {"no entry, and nobody says why", true,  false, "amt_usb_charger_enable"},
};
// clang-format on

TEST_F(PlatformLibrary, ThatIsMissingOrLacksTheEntryIsToldAndStaysAsItIs)
{
    for (const missing_row &row : k_missing_a) {
        in_child([&row] {
            decide_platform_lib_name();
            const test_log log;
            g_fake.has_no_library = !row.has_library;
            g_fake.has_no_entry = row.has_library;
            g_fake.has_no_reason = !row.has_reason;
            EXPECT_EQ(amt_usb_charge_ctrl(1), ERR_C_FUNCTION) << row.name;
            EXPECT_THAT(g_fake.loaded, ElementsAre(k_library));
            EXPECT_EQ(g_fake.unloaded, 0) << row.name;
            const std::string pattern =
                std::string("error \\| -118 - Call C function unsuccessfully \\| call dlopen fail: - ") + row.reason;
            EXPECT_THAT(log.records(), ElementsAre("func | ", "info | will call amt_usb_charger_enable , type:1.",
                                                   MatchesRegex(pattern)))
                << row.name;
        });
    }
    EXPECT_EQ(calls(), "(missing)");
}

// --- every entry

// A service of the library: what calls it, what is told, and what the entry sees.
struct service_row {
    const char *name; // of the entry
    std::function<int32_t()> call;
    std::vector<std::string> first; // told before the library is loaded
    std::string detail;             // told behind the entry's name
    bool tells_value;
    bool tells_success;
    const char *seen;
};

uint32_t g_value = 0; // that a service has stored
char g_text[AMT_DEVICE_INFO_SIZE + 1];

int32_t read_flag()
{
    g_value = 77;
    return amt_boot_dl_fin_read(&g_value);
}

int32_t read_charge_mode()
{
    g_value = 77;
    return amt_get_charge_mode(&g_value);
}

int32_t describe()
{
    memset(g_text, 'x', sizeof(g_text));
    return amt_create_device_info(g_text);
}

const std::vector<service_row> &services()
{
    // clang-format off
    static const std::vector<service_row> rows = {
        {"codec_loop_test", [] { return amt_test_codec_loop(7, 1); }, {}, " enable:1; type:7.", false, false,
         "codec_loop_test(7, 1)\n"},
        {"create_devinfo", describe, {}, "", true, false, "create_devinfo(4055)\n"},
        {"enter_idle", amt_make_ue_enter_idle, {}, "", true, true, "enter_idle()\n"},
        {"amt_usb_charger_enable", [] { return amt_usb_charge_ctrl(3); },
         {"info | will call amt_usb_charger_enable , type:3."}, "", true, true, "amt_usb_charger_enable(3)\n"},
        {"amt_check_system_sanity", read_flag, {"info | amt_boot_dl_fin_read start."}, "", true, false,
         "amt_check_system_sanity()\n"},
        {"IsChargeState", read_charge_mode, {}, "", true, false, "IsChargeState()\n"},
    };
    // clang-format on
    return rows;
}

bool is_reader(const service_row &row)
{
    return std::string(row.name) == "amt_check_system_sanity" || std::string(row.name) == "IsChargeState";
}

TEST_F(PlatformLibrary, IsCalledAndToldEntryByEntry)
{
    for (const service_row &row : services()) {
        for (const int returned : {0, 5, -7}) {
            write_file("/handset/calls", "");
            control(row.name, "result=" + std::to_string(returned) + "\n");
            in_child([&row, returned] {
                SCOPED_TRACE(row.name);
                decide_platform_lib_name();
                const test_log log;
                std::string told_last;
                g_fake.on_unload = [&log, &told_last] { told_last = log.records().back(); };
                const bool is_ignored = is_reader(row) || !row.tells_value;
                EXPECT_EQ(row.call(), is_ignored ? 0 : returned);
                EXPECT_EQ(g_value, is_reader(row) ? static_cast<uint32_t>(returned) : 0U);
                const std::string value = row.tells_value ? " return value:" + std::to_string(returned) + "." : "";
                const std::string name = row.name;
                std::vector<std::string> told = {"func | "};
                told.insert(told.end(), row.first.begin(), row.first.end());
                told.push_back("info | will call " + name + "." + row.detail);
                told.push_back("info | stop call " + name + "." + value);
                EXPECT_EQ(told_last, told.back()) << "it is gone behind that";
                if (row.tells_success && returned == 0) {
                    told.push_back("info | " + name + " return OK.");
                }
                EXPECT_THAT(log.records(), ElementsAreArray(told));
                EXPECT_THAT(log.functions(), Each(log.functions().front())) << "told as the service's own";
                EXPECT_THAT(g_fake.load_flags, ElementsAre(RTLD_LAZY));
                EXPECT_THAT(g_fake.looked_up, ElementsAre(name));
                EXPECT_EQ(g_fake.unloaded, 1);
            });
            EXPECT_EQ(calls(), row.seen);
        }
    }
}

TEST_F(PlatformLibrary, ThatIsMissingOrLacksTheEntryStaysAsItIsForEachOfThem)
{
    for (const service_row &row : services()) {
        for (const bool has_library : {false, true}) {
            in_child([&row, has_library] {
                SCOPED_TRACE(row.name);
                decide_platform_lib_name();
                const test_log log;
                g_fake.has_no_library = !has_library;
                g_fake.has_no_entry = has_library;
                EXPECT_EQ(row.call(), ERR_C_FUNCTION);
                EXPECT_EQ(g_value, 0U) << "not what was there before";
                EXPECT_EQ(std::string(g_text), "");
                EXPECT_EQ(g_fake.unloaded, 0);
                EXPECT_THAT(log.records().back(), StartsWith(k_failed_call + "call dlopen fail: - "));
                EXPECT_EQ(log.records().size(), 2 + row.first.size());
                EXPECT_EQ(log.functions().back(), log.functions().front());
            });
        }
    }
    EXPECT_EQ(calls(), "(missing)");
}

TEST_F(PlatformLibrary, DescribesTheHandsetInAsMuchTextAsFits)
{
    const std::pair<size_t, size_t> rows[] = {{0, 0}, {1, 1}, {4054, 4054}, {5000, 4054}};
    for (const auto &[given, expected] : rows) {
        control("create_devinfo", "text=" + std::string(given, 't') + "\n");
        in_child([expected = expected] {
            decide_platform_lib_name();
            EXPECT_EQ(describe(), 0);
            EXPECT_EQ(std::string(g_text), std::string(expected, 't'));
            EXPECT_EQ(g_text[AMT_DEVICE_INFO_SIZE], '\0');
        });
    }
}

// An entry that forgets its terminator.
int fill(char *buffer, int size)
{
    memset(buffer, 'y', static_cast<size_t>(size));
    return 0;
}

TEST_F(PlatformLibrary, IsNotTrustedWithTheTerminator)
{
    in_child([] {
        decide_platform_lib_name();
        g_fake.entry = reinterpret_cast<void *>(&fill);
        EXPECT_EQ(describe(), 0);
        EXPECT_EQ(std::string(g_text), std::string(4055, 'y'));
    });
}

// Entries that look at the log.
const test_log *g_log = nullptr;
int enter_and_look()
{
    EXPECT_EQ(g_log->records().back(), "info | will call enter_idle.");
    return 0;
}

TEST_F(PlatformLibrary, IsToldToBeCalledBeforeItIs)
{
    in_child([] {
        decide_platform_lib_name();
        const test_log log;
        g_log = &log;
        g_fake.entry = reinterpret_cast<void *>(&enter_and_look);
        EXPECT_EQ(amt_make_ue_enter_idle(), 0);
        EXPECT_EQ(log.records().size(), 4U);
        g_log = nullptr;
    });
}

} // namespace
