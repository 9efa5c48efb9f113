#include "amt/platform-library.h"

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdint.h>

#include <string>
#include <vector>

#include "pub/log/errors.h"
#include "tests/support/in_child.h"
#include "tests/support/test_log.h"
#include "tests/unit/amt/core_fakes.h"
#include "tests/unit/platform/handset_root.h"

namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;

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

} // namespace
