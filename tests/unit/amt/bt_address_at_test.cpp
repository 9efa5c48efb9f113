// The address of Bluetooth by lines: what is apart from that of WiFi.
#include "amt/at-local/address-at.h"

#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/types.h>

#include <string>

#include "pub/log/errors.h"
#include "tests/support/in_child.h"
#include "tests/unit/amt/line_fakes.h"

namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;

constexpr char k_bt_file[] = "/amt/BT/BT_Address.txt";
constexpr char k_other_bt_file[] = "/mnt/opl/nvm/BT_Address.txt";

const std::string k_no_bt_file =
    k_failed_call + R"(can not access file "/amt/BT/BT_Address.txt" or "/mnt/opl/nvm/BT_Address.txt")";

// --- reading

struct word_row {
    const char *name;
    std::string content;
    std::string address;
};

TEST(BluetoothAddress, IsTheFirstWordOfItsFile)
{
    const word_row rows[] = {
        {"usual", "00:11:22:33:44:55\n", "00:11:22:33:44:55"},
        {"without a line end", "00:11:22:33:44:55", "00:11:22:33:44:55"},
        {"several words", "first second\nthird\n", "first"},
        {"behind blanks and line ends", " \t\r\n\n 00:11\n", "00:11"},
        {"with a carriage return", "00:11\r\n", "00:11"},
        {"one character", "7", "7"},
        {"no address at all", "\"%s%n\"", "\"%s%n\""},
        {"19 characters", std::string(19, 'a') + "\n", std::string(19, 'a')},
        {"20 characters", std::string(20, 'a') + "\n", std::string(19, 'a')},
        {"99 characters", std::string(99, 'a') + "\n", std::string(19, 'a')},
        {"150 characters", std::string(150, 'a') + "\n", std::string(19, 'a')},
    };
    for (const word_row &row : rows) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const device_handset handset;
            handset.put(k_bt_file, row.content);
            const outcome seen = say(handset, handle_amt_pc_req_at, "AT^DBTADDR?\r");
            EXPECT_EQ(seen.result, ERR_NONE);
            EXPECT_THAT(seen.at_station, ElementsAre(bt_line(row.address)));
            EXPECT_THAT(seen.told, ElementsAre("info | read BT address: " + row.address));
            EXPECT_THAT(seen.events, ElementsAreArray(reading_of(k_bt_file) + steps{"send"}));
            EXPECT_TRUE(seen.is_response_clear);
            EXPECT_EQ(handset.content(k_bt_file), row.content);
        });
    }
}

TEST(BluetoothAddress, IsNoneInAFileWithoutAWord)
{
    for (const std::string content : {"", " ", "\n", " \t\r\n\n "}) {
        in_child([&content] {
            const device_handset handset;
            handset.put(k_bt_file, content);
            const outcome seen = say(handset, handle_amt_pc_req_at, "AT^DBTADDR?\r");
            expect_answered(seen, k_cme_line);
            EXPECT_THAT(seen.told, ElementsAre(k_failed + "read not completed")) << content.size();
            EXPECT_THAT(seen.events, ElementsAreArray(reading_of(k_bt_file) + steps{"send"}));
        });
    }
}

TEST(BluetoothAddress, IsReadFromTheOtherFileOnlyWhenThereIsNotTheFirst)
{
    in_child([] {
        const device_handset handset;
        handset.put(k_other_bt_file, "other\n");
        const outcome seen = say(handset, handle_amt_pc_req_at, "AT^DBTADDR?\r");
        EXPECT_THAT(seen.at_station, ElementsAre(bt_line("other")));
        EXPECT_THAT(seen.events, ElementsAreArray(reading_of(k_other_bt_file) + steps{"send"}));
    });
    for (const bool has_word : {true, false}) {
        in_child([has_word] {
            const device_handset handset;
            handset.put(k_bt_file, has_word ? "first\n" : "");
            handset.put(k_other_bt_file, "other\n");
            const outcome seen = say(handset, handle_amt_pc_req_at, "AT^DBTADDR?\r");
            EXPECT_THAT(seen.at_station, ElementsAre(has_word ? bt_line("first") : k_cme_line));
            EXPECT_THAT(seen.events, ElementsAreArray(reading_of(k_bt_file) + steps{"send"}));
        });
    }
}

TEST(BluetoothAddress, IsNoneWithoutEitherFile)
{
    for (const char *line : {"AT^DBTADDR?\r", "AT^DBTADDR=\"00:11\"\r"}) {
        in_child([line] {
            const device_handset handset;
            handset.make_folder("/amt/BT");
            handset.make_folder("/mnt/opl/nvm");
            const outcome seen = say(handset, handle_amt_pc_req_at, line);
            expect_answered(seen, k_cme_line);
            EXPECT_THAT(seen.told, ElementsAre(k_no_bt_file)) << line;
            EXPECT_THAT(seen.events, ElementsAre("send")) << "nothing is made, nothing synced";
            EXPECT_EQ(handset.content(k_bt_file), "(missing)");
            EXPECT_EQ(handset.content(k_other_bt_file), "(missing)");
        });
    }
}

TEST(BluetoothAddress, IsNoneInAFileThatCannotBeOpened)
{
    for (const char *path : {k_bt_file, k_other_bt_file}) {
        in_child([path] {
            const device_handset handset;
            handset.put(path, "00:11\n");
            const std::string event = "read " + std::string(path);
            g_fake.refused = {{event, EACCES}};
            const outcome seen = say(handset, handle_amt_pc_req_at, "AT^DBTADDR?\r");
            expect_answered(seen, k_cme_line);
            EXPECT_THAT(seen.told, ElementsAre(k_failed_call + "open(\"" + path + "\") fail: 13 - Permission denied"));
            EXPECT_THAT(seen.events, ElementsAre(event, "send"));
        });
    }
}

// --- writing

TEST(BluetoothAddress, IsWrittenIntoTheOtherFileOnlyWhenThereIsNotTheFirst)
{
    const std::string line = "AT^DBTADDR=\"00:11:22:33:44:55\"\r";
    in_child([&line] {
        const device_handset handset;
        handset.put(k_other_bt_file, "old\n");
        const ino_t inode = inode_of(handset, k_other_bt_file);
        const outcome seen = say(handset, handle_amt_pc_req_at, line);
        EXPECT_THAT(seen.at_station, ElementsAre(k_ok_line));
        EXPECT_EQ(handset.content(k_other_bt_file), "00:11:22:33:44:55\n");
        EXPECT_EQ(inode_of(handset, k_other_bt_file), inode);
        EXPECT_EQ(handset.content(k_bt_file), "(missing)");
        EXPECT_THAT(seen.events, ElementsAreArray(writing_of(k_other_bt_file) + steps{"send"}));
    });
    in_child([&line] {
        const device_handset handset;
        handset.put(k_bt_file, "old\n");
        handset.put(k_other_bt_file, "old\n");
        EXPECT_THAT(say(handset, handle_amt_pc_req_at, line).at_station, ElementsAre(k_ok_line));
        EXPECT_EQ(handset.content(k_bt_file), "00:11:22:33:44:55\n");
        EXPECT_EQ(handset.content(k_other_bt_file), "old\n");
    });
}

TEST(BluetoothAddress, HasItsFileLookedForOnlyWhenThereIsSomethingToWrite)
{
    in_child([] {
        const device_handset handset;
        const outcome seen = say(handset, handle_amt_pc_req_at, "AT^DBTADDR=\"\"\r");
        expect_answered(seen, k_cme_line);
        EXPECT_THAT(seen.told, ElementsAre(k_bad_argument + "1"));
    });
}

TEST(BluetoothAddress, IsNotWrittenIntoAFileThatCannotBeOpened)
{
    for (const char *path : {k_bt_file, k_other_bt_file}) {
        in_child([path] {
            const device_handset handset;
            handset.put(path, "old\n");
            const std::string event = "read and write " + std::string(path);
            g_fake.refused = {{event, EROFS}};
            const outcome seen = say(handset, handle_amt_pc_req_at, "AT^DBTADDR=\"00:11\"\r");
            expect_answered(seen, k_cme_line);
            EXPECT_THAT(seen.told,
                        ElementsAre(k_failed_call + "open(\"" + path + "\") fail: 30 - Read-only file system"));
            EXPECT_THAT(seen.events, ElementsAre(event, "send")) << "nothing is synced";
            EXPECT_EQ(handset.content(path), "old\n");
        });
    }
}

} // namespace
