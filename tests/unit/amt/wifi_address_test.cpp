#include "amt/identity/wifi-address.h"

#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "pub/log/errors.h"
#include "tests/support/in_child.h"
#include "tests/support/test_log.h"
#include "tests/unit/amt/amt_folder.h"
#include "tests/unit/amt/port_fakes.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr char k_file[] = "WIFI/WIFI_nvram.txt"; // in the folder

// An "/amt" with a folder for the address.
class wifi_folder : public amt_folder {
  public:
    wifi_folder() { std::filesystem::create_directory(path("WIFI")); }
};

// --- amt_read_wifi_address

struct read_row {
    const char *name;
    std::string content;
    uint32_t size; // of the destination
    std::string address;
    const char *length; // of the line
};

TEST(WifiAddress, IsReadAsFarAsThereIsRoom)
{
    const read_row rows[] = {
        {"usual", "00:11:22:33:44:55\n", 60, "00:11:22:33:44:55", "18"},
        {"with a second line", "00:11\n22\n", 60, "00:11", "6"},
        {"without a line end", "00:11", 60, "00:1", "5"},
        {"one character", "0", 60, "", "1"},
        {"an empty line", "\n", 60, "", "1"},
        {"a zero at first", std::string("\0001\n", 3), 60, "", "0"},
        {"a zero at first, and room for more than a line", std::string("\0001\n", 3), 200, "", "0"},
        {"just room", "1234\n", 5, "1234", "5"},
        {"too little room", "12345\n", 5, "1234", "6"},
        {"room for the terminator alone", "12345\n", 1, "", "6"},
        {"the longest line", std::string(97, 'x') + "\n", 200, std::string(97, 'x'), "98"},
        {"a longer line", std::string(98, 'x') + "\n", 200, std::string(97, 'x'), "98"},
        {"much longer", std::string(5000, 'x') + "\n", 200, std::string(97, 'x'), "98"},
    };
    for (const read_row &row : rows) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const wifi_folder folder;
            folder.put(k_file, row.content);
            const test_log log;
            std::string address(201, 'b');
            const int next = dup(STDIN_FILENO);
            (void)close(next);
            EXPECT_EQ(amt_read_wifi_address(address.data(), row.size), ERR_NONE);
            EXPECT_EQ(dup(STDIN_FILENO), next) << "the file is closed";
            EXPECT_STREQ(address.c_str(), row.address.c_str());
            EXPECT_EQ(address.substr(row.size), std::string(201 - row.size, 'b')) << "nothing behind the room";
            EXPECT_THAT(log.records(), ElementsAre("func | ", std::string("info | wifi_addr_len: ") + row.length));
        });
    }
}

TEST(WifiAddress, IsEmptyWhenItCannotBeRead)
{
    in_child([] {
        const wifi_folder folder;
        const test_log log;
        char address[60] = "before";
        EXPECT_EQ(amt_read_wifi_address(address, sizeof(address)), ERR_UNKNOWN);
        EXPECT_STREQ(address, "");
        folder.put(k_file, "");
        address[0] = 'b';
        EXPECT_EQ(amt_read_wifi_address(address, sizeof(address)), ERR_UNKNOWN);
        EXPECT_STREQ(address, "");
        EXPECT_THAT(log.records(), ElementsAre("func | ", k_failed + "open /amt/WIFI/WIFI_nvram.txt fail", "func | ",
                                               k_failed + "read fail"));
    });
}

// --- amt_write_wifi_address

TEST(WifiAddress, IsWrittenAsTheOnlyLineAndHandedToTheDisk)
{
    in_child([] {
        const wifi_folder folder;
        folder.put(k_file, "an older address\nand more\n");
        const test_log log;
        std::vector<std::string> at_pauses;
        g_fake.on_pause = [&] {
            EXPECT_THAT(g_fake.files, IsEmpty()) << "closed before the disk is told";
            at_pauses.push_back(std::to_string(g_fake.shell_commands.size()) + ": " + folder.content(k_file));
        };
        EXPECT_EQ(amt_write_wifi_address("00:11:22:33:44:55"), ERR_NONE);
        EXPECT_THAT(at_pauses, ElementsAre("0: 00:11:22:33:44:55\n", "1: 00:11:22:33:44:55\n"));
        EXPECT_THAT(g_fake.pauses, ElementsAre(50U, 50U));
        EXPECT_THAT(g_fake.shell_commands, ElementsAre("/system/bin/sync", "/system/bin/sync"));
        EXPECT_THAT(log.records(), ElementsAre("func | ", "info | write BT address: 00:11:22:33:44:55"));
        char address[60] = "";
        EXPECT_EQ(amt_read_wifi_address(address, sizeof(address)), ERR_NONE);
        EXPECT_STREQ(address, "00:11:22:33:44:55") << "it is read as it was written";
    });
}

TEST(WifiAddress, IsWrittenWholeUpTo98Characters)
{
    in_child([] {
        const wifi_folder folder;
        EXPECT_EQ(amt_write_wifi_address(std::string(98, 'x').c_str()), ERR_NONE);
        EXPECT_EQ(folder.content(k_file), std::string(98, 'x') + "\n");
    });
}

TEST(WifiAddress, ThatIsNoneIsNotWritten)
{
    in_child([] {
        const wifi_folder folder;
        folder.put(k_file, "old\n");
        const test_log log;
        EXPECT_EQ(amt_write_wifi_address(""), ERR_INVALID_PARAM);
        EXPECT_EQ(amt_write_wifi_address(nullptr), ERR_INVALID_PARAM);
        EXPECT_EQ(folder.content(k_file), "old\n");
        EXPECT_THAT(g_fake.pauses, IsEmpty());
        EXPECT_THAT(g_fake.shell_commands, IsEmpty());
        EXPECT_THAT(log.records(), ElementsAre("func | ", k_bad_argument + "0, 1", "func | ", k_bad_argument + "1, 0"));
    });
}

struct failure_row {
    const char *name;
    writing failure;
    const char *reason;
    const char *left; // in the file
};

TEST(WifiAddress, ThatIsNotWrittenWholeIsTold)
{
    const failure_row rows[] = {
        {"no room", {0, ENOSPC}, "28 - No space left on device", ""},
        {"nothing", {0, 0}, "0 - No error", ""},
        {"all but the line end", {17, 0}, "0 - No error", "00:11:22:33:44:55"},
    };
    for (const failure_row &row : rows) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const wifi_folder folder;
            folder.put(k_file, "old\n");
            const test_log log;
            g_fake.file_writings = {row.failure};
            g_fake.on_pause = [] { EXPECT_THAT(g_fake.files, IsEmpty()) << "closed before the disk is told"; };
            errno = EIO; // of an earlier call
            EXPECT_EQ(amt_write_wifi_address("00:11:22:33:44:55"), ERR_C_FUNCTION);
            EXPECT_EQ(folder.content(k_file), row.left);
            EXPECT_THAT(g_fake.pauses, ElementsAre(50U, 50U));
            EXPECT_THAT(g_fake.shell_commands, ElementsAre("/system/bin/sync", "/system/bin/sync"));
            EXPECT_THAT(log.records(), ElementsAre("func | ", std::string("sys error | fputs: ") + row.reason));
        });
    }
}

TEST(WifiAddress, HasNoPlaceInWhatIsNoFile)
{
    in_child([] {
        const wifi_folder folder;
        const test_log log;
        ASSERT_EQ(mkfifo(folder.path(k_file).c_str(), 0600), 0);
        EXPECT_EQ(amt_write_wifi_address("00:11"), ERR_UNKNOWN);
        amt_folder::remove();
        EXPECT_EQ(amt_write_wifi_address("00:11"), ERR_UNKNOWN);
        EXPECT_THAT(log.records(), ElementsAre("func | ", "sys error | open: 22 - Invalid argument", "func | ",
                                               "sys error | open: 2 - No such file or directory"));
        EXPECT_THAT(g_fake.pauses, IsEmpty());
        EXPECT_THAT(g_fake.shell_commands, IsEmpty());
        EXPECT_THAT(g_fake.files, IsEmpty());
    });
}

} // namespace
