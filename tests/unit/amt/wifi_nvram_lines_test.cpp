#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "pub/log/errors.h"
#include "tests/support/in_child.h"
#include "tests/unit/amt/device_fakes.h"
#include "tests/unit/amt/wifi_handset.h"

namespace {

using ::testing::ElementsAreArray;

struct count_row {
    const char *name;
    std::string source;
    std::string target;
    bool is_too_much;
};

void expect_copied(const count_row &row)
{
    in_child([&row] {
        SCOPED_TRACE(row.name);
        const wifi_handset handset(row.source);
        const outcome seen = patch(handset);
        EXPECT_EQ(seen.result, row.is_too_much ? ERR_UNKNOWN : ERR_NONE);
        EXPECT_EQ(handset.patched(), row.target);
        EXPECT_THAT(seen.events, ElementsAreArray(row.is_too_much ? k_stopped : k_whole));
        if (row.is_too_much) {
            EXPECT_EQ(seen.told.back(), "error | -100 - Unknown error");
            EXPECT_NE(handset.mode(), 0666U) << "it is left as it is";
        } else {
            EXPECT_EQ(seen.told.back(), k_told_mode);
        }
    });
}

TEST(WifiParameters, MayHave99LinesBesidesTheAddress)
{
    const count_row rows[] = {
        {"98 lines", lines(98), lines(98) + k_line, false},
        {"99 lines", lines(99), lines(99) + k_line, false},
        {"100 lines", lines(100), lines(100), true},
        {"101 lines", lines(101), lines(100), true},
        {"300 lines", lines(300), lines(100), true},
        {"98 behind the address", "macaddr=old\n" + lines(98), k_line + lines(98), false},
        {"99 behind the address", "macaddr=old\n" + lines(99), k_line + lines(99), false},
        {"100 behind the address", "macaddr=old\n" + lines(100), k_line + lines(100), true},
        {"101 behind the address", "macaddr=old\n" + lines(101), k_line + lines(100), true},
        {"98 before the address", lines(98) + "macaddr=old\n", lines(98) + k_line, false},
        {"99 before the address", lines(99) + "macaddr=old\n", lines(99) + k_line, false},
        {"100 before the address", lines(100) + "macaddr=old\n", lines(100), true},
        {"99 and many addresses", lines(150, "macaddr=old") + lines(99), lines(150, "macaddr=" + k_address) + lines(99),
         false},
        {"comments count", lines(100, "#macaddr=old"), lines(100, "#macaddr=old"), true},
        {"empty lines count", lines(101, ""), lines(100, ""), true},
        {"99 without the last end", lines(98) + "x", lines(98) + "x" + k_line, false},
        {"100 without the last end", lines(99) + "x", lines(99) + "x", true},
    };
    for (const count_row &row : rows) {
        expect_copied(row);
    }
}

TEST(WifiParameters, CountTheAddressWhenItIsNotReplaced)
{
    in_child([] {
        const wifi_handset handset(lines(100, "macaddr=old"), "");
        const outcome seen = patch(handset);
        EXPECT_EQ(seen.result, ERR_UNKNOWN);
        EXPECT_EQ(handset.patched(), lines(100, "macaddr=old"));
        EXPECT_THAT(seen.events, ElementsAreArray(k_stopped));
    });
}

TEST(WifiParameters, MayHaveLongLinesOfWhichEachPieceCounts)
{
    const std::string x97(97, 'x');
    const std::string x98(98, 'x');
    const std::string x99(99, 'x');
    const std::string x196(196, 'x');
    const std::string x197(197, 'x');
    const count_row rows[] = {
        {"97 characters are a line", lines(99, x97), lines(99, x97) + k_line, false},
        {"97 characters, 100 times", lines(101, x97), lines(100, x97), true},
        {"98 characters and the end", lines(49, x98) + "\n", lines(49, x98) + "\n" + k_line, false},
        {"98 characters, 50 times", lines(50, x98), lines(50, x98), true},
        {"98 characters, 51 times", lines(51, x98), lines(50, x98), true},
        {"99 characters, 49 times", lines(49, x99), lines(49, x99) + k_line, false},
        {"99 characters, 51 times", lines(51, x99), lines(50, x99), true},
        {"196 characters, 33 times", lines(33, x196), lines(33, x196) + k_line, false},
        {"196 characters, 34 times", lines(34, x196), lines(33, x196) + x98, true},
        {"197 characters, 33 times", lines(33, x197), lines(33, x197) + k_line, false},
        {"197 characters, 34 times", lines(34, x197), lines(33, x197) + x98, true},
        {"an address that begins a piece", x98 + "macaddr=old\n", x98 + k_line, false},
        {"an address of two pieces", "macaddr=" + std::string(95, 'x') + "\n", k_line + "xxxxx\n", false},
        {"an address across two pieces", std::string(94, 'x') + "macaddr=old\n",
         std::string(94, 'x') + "macaddr=old\n" + k_line, false},
    };
    for (const count_row &row : rows) {
        expect_copied(row);
    }
}

// --- the files of them

TEST(WifiParameters, AreAnotherMakersWhenTheyCannotBeOpened)
{
    for (const int error : {EACCES, EISDIR, EMFILE}) {
        in_child([error] {
            SCOPED_TRACE(error);
            const wifi_handset handset("a=1\n");
            handset.put(k_other_source, "other=1\n");
            g_fake.refused = {{"read " + k_source, error}};
            EXPECT_EQ(patch(handset).result, ERR_NONE);
            EXPECT_EQ(handset.patched(), "other=1\n" + k_line);
        });
    }
}

TEST(WifiParameters, ThatAreGoneMeanwhileAreNotMadeAgain)
{
    in_child([] {
        const wifi_handset handset("a=1\n");
        g_fake.on_event = [&handset](const std::string &event) {
            if (event == "run /system/bin/sync") {
                (void)std::filesystem::remove(handset.host_path(k_target));
            }
        };
        const outcome seen = patch(handset);
        EXPECT_EQ(seen.result, ERR_NONE) << "they were there";
        EXPECT_EQ(handset.patched(), "(missing)");
        EXPECT_EQ(seen.told.back(), k_failed + "open " + k_target + " failed");
    });
}

} // namespace
