#include "amt/identity/wifi-nvram.h"

#include <errno.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "pub/log/errors.h"
#include "tests/support/in_child.h"
#include "tests/support/test_log.h"
#include "tests/unit/amt/device_fakes.h"
#include "tests/unit/amt/identity_steps.h"
#include "tests/unit/amt/wifi_handset.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;

int g_fchmod_error = 0; // 0: it succeeds

// What becomes of a line that is written, in place of its writing; it is asked for once.
std::string g_line;
std::function<int(const char *line, FILE *file)> g_at_line;

// A disk that does not take the line, but will take the next.
int put_on_full_disk(const char *line, FILE *file)
{
    const int fd = fileno(file);
    EXPECT_EQ(fflush(file), 0);
    const int kept = dup(fd);
    const int unwritable = open("/dev/null", O_RDONLY | O_CLOEXEC);
    EXPECT_EQ(dup2(unwritable, fd), fd);
    (void)fputs(line, file); // it may be kept until the file is flushed
    EXPECT_EQ(fflush(file), EOF);
    EXPECT_EQ(dup2(kept, fd), fd);
    (void)close(unwritable);
    (void)close(kept);
    errno = EBADF;
    return EOF;
}

// Behind what has been read of it there is no more to be read of the maker's file.
int put_and_lose_source(const char *line, FILE *file)
{
    for (const auto &[fd, path] : g_fake.files) {
        if (path == k_source) {
            const int folder = open("/", O_RDONLY | O_CLOEXEC);
            EXPECT_EQ(dup2(folder, fd), fd);
            (void)close(folder);
        }
    }
    return fputs(line, file);
}

} // namespace

extern "C" {

int __real_fchmod(int fd, mode_t mode);
int __wrap_fchmod(int fd, mode_t mode)
{
    if (g_fchmod_error != 0) {
        errno = g_fchmod_error;
        return -1;
    }
    return __real_fchmod(fd, mode);
}

int __real_fputs(const char *text, FILE *file);
int __wrap_fputs(const char *text, FILE *file)
{
    if (g_at_line && g_line == text) {
        return std::exchange(g_at_line, nullptr)(text, file);
    }
    return __real_fputs(text, file);
}
}

namespace {

// --- the address in its place

struct source_row {
    const char *name;
    std::string source;
    std::string target;
};

TEST(WifiParameters, GetTheAddressInPlaceOfTheMakersOrAtTheEnd)
{
    const source_row rows[] = {
        {"the only line", "macaddr=old\n", k_line},
        {"the first line", "macaddr=old\na=1\nb=2\n", k_line + "a=1\nb=2\n"},
        {"a line in the middle", "a=1\nmacaddr=old\nb=2\n", "a=1\n" + k_line + "b=2\n"},
        {"the last line", "a=1\nb=2\nmacaddr=old\n", "a=1\nb=2\n" + k_line},
        {"the last line without its end", "a=1\nmacaddr=old", "a=1\n" + k_line},
        {"several lines", "macaddr=1\na=1\nmacaddr=2\nmacaddr=3\n", k_line + "a=1\n" + k_line + k_line},
        {"behind blanks", "a=1\n   macaddr=old\n", "a=1\n" + k_line},
        {"behind a tab it is another", "\tmacaddr=old\n", "\tmacaddr=old\n" + k_line},
        {"without a value", "macaddr=\na=1\n", k_line + "a=1\n"},
        {"with a carriage return", "macaddr=old\r\na=1\r\n", k_line + "a=1\r\n"},
        {"the same address", k_line, k_line},
        {"no such line", "a=1\nb=2\n", "a=1\nb=2\n" + k_line},
        {"none, and no end of the last", "a=1\nb=2", "a=1\nb=2" + k_line},
        {"nothing at all", "", k_line},
        {"an empty line", "\n", "\n" + k_line},
        {"commented out", "#macaddr=old\na=1\n", "#macaddr=old\na=1\n" + k_line},
        {"commented out, with a blank", "# macaddr=old\n", "# macaddr=old\n" + k_line},
        {"commented out behind blanks", "  #macaddr=old\n", "  #macaddr=old\n" + k_line},
        {"commented out, and not", "#macaddr=1\nmacaddr=2\n", "#macaddr=1\n" + k_line},
        {"not at the begin", "xmacaddr=old\n", "xmacaddr=old\n" + k_line},
        {"behind another", "a=1 macaddr=old\n", "a=1 macaddr=old\n" + k_line},
        {"in capital letters", "MACADDR=old\n", "MACADDR=old\n" + k_line},
        {"with formats", "%s%d%%n\nb=%5\n", "%s%d%%n\nb=%5\n" + k_line},
        {"with a blank in it", "macaddr =old\n", "macaddr =old\n" + k_line},
        {"cut short", "macaddr\n", "macaddr\n" + k_line},
    };
    for (const source_row &row : rows) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const wifi_handset handset(row.source);
            const outcome seen = patch(handset);
            EXPECT_EQ(seen.result, ERR_NONE);
            EXPECT_EQ(handset.patched(), row.target);
            EXPECT_THAT(seen.events, ElementsAreArray(k_whole));
            EXPECT_EQ(handset.content(k_source), row.source) << "the maker's stay as they are";
            EXPECT_EQ(handset.content(k_address_file), k_address + "\n");
        });
    }
}

TEST(WifiParameters, AreToldInTheLog)
{
    in_child([] {
        const wifi_handset handset("macaddr=90:4c:e5:00:00:01\na=1\n  macaddr=2\n", k_address);
        (void)patch(handset);
        EXPECT_THAT(handset.log().records(),
                    ElementsAre("func | ", k_told_address, "info | wifi_addr_nvram: 90:4c:e5:00:00:01",
                                "info | wifi_addr_nvram: 2", k_told_mode));
    });
    in_child([] {
        const wifi_handset handset("a=1\n");
        (void)patch(handset);
        EXPECT_THAT(handset.log().records(),
                    ElementsAre("func | ", k_told_address, "info | new wifi_addr_nvram: " + k_address, k_told_mode));
        EXPECT_THAT(handset.log().text(), ::testing::HasSubstr("wifi_addr_amt: " + k_address + "\n\n"))
            << "with the line end of its file";
    });
}

// --- the address

struct address_row {
    const char *name;
    std::string address;
    std::string taken; // behind the "="
};

TEST(WifiParameters, GetUpTo59CharactersOfTheAddressWithItsLineEnd)
{
    const address_row rows[] = {
        {"usual", k_address + "\n", k_address + "\n"},
        {"without a line end", k_address, k_address},
        {"the first of two lines", k_address + "\n66\n", k_address + "\n"},
        {"58 and a line end", std::string(58, 'x') + "\n", std::string(58, 'x') + "\n"},
        {"59", std::string(59, 'x'), std::string(59, 'x')},
        {"59 and a line end", std::string(59, 'x') + "\n", std::string(59, 'x')},
        {"60", std::string(59, 'x') + "y", std::string(59, 'x')},
        {"98 and a line end", std::string(98, 'x') + "\n", std::string(59, 'x')},
        {"5000", std::string(5000, 'x'), std::string(59, 'x')},
        {"an empty line", "\n", "\n"},
        {"with a format", "%s%n\n", "%s%n\n"},
    };
    for (const address_row &row : rows) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const wifi_handset handset("macaddr=old\na=1\n", row.address);
            EXPECT_EQ(patch(handset).result, ERR_NONE);
            EXPECT_EQ(handset.patched(), "macaddr=" + row.taken + "a=1\n");
            EXPECT_THAT(handset.log().text(), ::testing::HasSubstr("| wifi_addr_amt: " + row.taken + "\n"));
        });
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const wifi_handset handset("a=1\n", row.address);
            EXPECT_EQ(patch(handset).result, ERR_NONE);
            EXPECT_EQ(handset.patched(), "a=1\nmacaddr=" + row.taken);
        });
    }
}

TEST(WifiParameters, AreCopiedAsTheyAreWithoutAnAddress)
{
    const std::string source = "macaddr=old\n  macaddr=\n#macaddr=1\na=1";
    in_child([&source] {
        const wifi_handset handset(source);
        ASSERT_EQ(unlink(handset.host_path(k_address_file).c_str()), 0);
        const outcome seen = patch(handset);
        EXPECT_EQ(seen.result, ERR_UNKNOWN);
        EXPECT_EQ(handset.patched(), source);
        EXPECT_EQ(handset.mode(), 0666U);
        EXPECT_THAT(seen.told, ElementsAre(k_no_address, k_told_mode));
        EXPECT_THAT(seen.events,
                    ElementsAreArray(steps{"read " + k_address_file, "read " + k_source, "read and write " + k_target} +
                                     k_closing + k_syncing + k_mode_steps));
    });
    in_child([&source] {
        const wifi_handset handset(source, "");
        const outcome seen = patch(handset);
        EXPECT_EQ(seen.result, ERR_UNKNOWN);
        EXPECT_EQ(handset.patched(), source);
        EXPECT_THAT(seen.told, ElementsAre(k_failed + "read  " + k_address_file + " fail", k_told_mode));
        EXPECT_THAT(seen.events, ElementsAreArray(k_whole));
    });
    in_child([&source] {
        const wifi_handset handset(source, std::string("\0x\n", 3));
        const outcome seen = patch(handset);
        EXPECT_EQ(seen.result, ERR_NONE) << "what was read is empty";
        EXPECT_EQ(handset.patched(), source);
        EXPECT_THAT(seen.told, ElementsAre("info | wifi_addr_amt: ", k_told_mode));
    });
}

// --- where they come from

TEST(WifiParameters, AreAnotherMakersWhenThereAreNone)
{
    in_child([] {
        const wifi_handset handset("");
        ASSERT_EQ(unlink(handset.host_path(k_source).c_str()), 0);
        handset.put(k_other_source, "macaddr=old\nother=1\n");
        const outcome seen = patch(handset);
        EXPECT_EQ(seen.result, ERR_NONE);
        EXPECT_EQ(handset.patched(), k_line + "other=1\n");
        EXPECT_THAT(seen.told, ElementsAre(k_told_address,
                                           "info | File \"" + k_source + "\" not exist, so we try to open file \"" +
                                               k_other_source + "\"",
                                           "info | wifi_addr_nvram: old", k_told_mode));
        EXPECT_THAT(seen.events,
                    ElementsAreArray(reading_of(k_address_file) +
                                     steps{"read " + k_source, "read " + k_other_source, "read and write " + k_target} +
                                     k_closing + k_syncing +
                                     steps{"read " + k_target, "close " + k_target, "close " + k_other_source}));
    });
}

TEST(WifiParameters, AreNotTheOthersWhenTheyAreEmpty)
{
    in_child([] {
        const wifi_handset handset("");
        handset.put(k_other_source, "other=1\n");
        EXPECT_EQ(patch(handset).result, ERR_NONE);
        EXPECT_EQ(handset.patched(), k_line);
    });
}

TEST(WifiParameters, StayAsTheyAreWhenThereAreNone)
{
    in_child([] {
        const wifi_handset handset("");
        ASSERT_EQ(unlink(handset.host_path(k_source).c_str()), 0);
        handset.put(k_target, "of an earlier start\n");
        const outcome seen = patch(handset);
        EXPECT_EQ(seen.result, ERR_UNKNOWN);
        EXPECT_EQ(handset.patched(), "of an earlier start\n");
        EXPECT_THAT(seen.told, ElementsAre(k_told_address,
                                           "info | File \"" + k_source + "\" not exist, so we try to open file \"" +
                                               k_other_source + "\"",
                                           k_failed + "open  " + k_other_source + " fail"));
        EXPECT_THAT(seen.events,
                    ElementsAreArray(reading_of(k_address_file) + steps{"read " + k_source, "read " + k_other_source}));
    });
}

// --- where they go

TEST(WifiParameters, ReplaceThoseOfAnEarlierStartInTheSameFile)
{
    in_child([] {
        const wifi_handset handset("a=1\n");
        handset.put(k_target, lines(500, "an older one"));
        const ino_t inode = inode_of(handset, k_target);
        EXPECT_EQ(patch(handset).result, ERR_NONE);
        EXPECT_EQ(handset.patched(), "a=1\n" + k_line);
        EXPECT_EQ(inode_of(handset, k_target), inode);
    });
}

TEST(WifiParameters, AreForEverybodyToReadAndWrite)
{
    for (const mode_t mask : {0U, 022U, 077U, 0177U}) {
        in_child([mask] {
            SCOPED_TRACE(mask);
            const wifi_handset handset("a=1\n");
            (void)umask(mask);
            EXPECT_EQ(patch(handset).result, ERR_NONE);
            EXPECT_EQ(handset.mode(), 0666U);
        });
    }
    for (const mode_t before : {0600U, 0644U, 0777U, 01666U}) {
        in_child([before] {
            SCOPED_TRACE(before);
            const wifi_handset handset("a=1\n");
            handset.put(k_target, "old\n");
            ASSERT_EQ(chmod(handset.host_path(k_target).c_str(), before), 0);
            EXPECT_EQ(patch(handset).result, ERR_NONE);
            EXPECT_EQ(handset.mode(), 0666U);
        });
    }
}

TEST(WifiParameters, HaveNoPlaceWithoutTheirFolder)
{
    in_child([] {
        const device_handset handset;
        handset.put(k_address_file, k_address);
        handset.put(k_source, "a=1\n");
        const outcome seen = patch(handset);
        EXPECT_EQ(seen.result, ERR_UNKNOWN);
        EXPECT_EQ(handset.content(k_target), "(missing)");
        EXPECT_THAT(seen.told, ElementsAre(k_told_address, k_failed + "open  " + k_target + " fail"));
        EXPECT_THAT(seen.events, ElementsAreArray(k_opening + steps{"close " + k_source}));
    });
    in_child([] {
        const wifi_handset handset("a=1\n");
        handset.make_pipe(k_target);
        const outcome seen = patch(handset);
        EXPECT_EQ(seen.result, ERR_UNKNOWN) << "nobody reads the pipe";
        EXPECT_EQ(seen.told.back(), k_failed + "open  " + k_target + " fail");
    });
}

TEST(WifiParameters, ThatCannotBeReadStopTheCopy)
{
    in_child([] {
        const wifi_handset handset("a=1\n");
        ASSERT_TRUE(std::filesystem::remove(handset.host_path(k_source)));
        handset.make_folder(k_source);
        const outcome seen = patch(handset);
        EXPECT_EQ(seen.result, ERR_UNKNOWN);
        EXPECT_EQ(handset.patched(), "") << "nothing is added to it";
        EXPECT_THAT(seen.told, ElementsAre(k_told_address, "sys error | fgets: 21 - Is a directory"));
        EXPECT_THAT(seen.events, ElementsAreArray(k_stopped));
    });
}

TEST(WifiParameters, ThatCannotBeReadToTheirEndStopTheCopy)
{
    in_child([] {
        const wifi_handset handset("a=1\nb=2\n");
        g_line = "a=1\n";
        g_at_line = put_and_lose_source;
        const outcome seen = patch(handset);
        EXPECT_EQ(seen.result, ERR_UNKNOWN);
        EXPECT_EQ(handset.patched(), "a=1\nb=2\n") << "nothing is added to it";
        EXPECT_THAT(seen.told, ElementsAre(k_told_address, "sys error | fgets: 21 - Is a directory"));
        EXPECT_THAT(seen.events, ElementsAreArray(k_stopped));
    });
}

struct room_row {
    const char *name;
    size_t room;
    std::string source;
};

TEST(WifiParameters, ThatTheDiskDoesNotTakeAreToldAfterAllSteps)
{
    const room_row rows[] = {
        {"nothing of a few", 0, "a=1\n"},
        {"all but the address", 4, "a=1\n"},
        {"nothing of many", 0, lines(99, std::string(90, 'x'))},
        {"some of many", 4096, lines(99, std::string(90, 'x'))},
        {"all but a byte", 9009 + 26 - 1, lines(99, std::string(90, 'x'))},
    };
    for (const room_row &row : rows) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const wifi_handset handset(row.source);
            g_fake.rooms = {{k_target, row.room}};
            const outcome seen = patch(handset);
            EXPECT_EQ(seen.result, ERR_UNKNOWN);
            EXPECT_THAT(seen.events, ElementsAreArray(k_whole));
            EXPECT_THAT(seen.told, Contains("sys error | fputs: 1 - Operation not permitted"));
            EXPECT_EQ(seen.told.back(), k_told_mode);
        });
    }
}

TEST(WifiParameters, ThatTheDiskTakesWithoutAByteToSpareAreWritten)
{
    in_child([] {
        const wifi_handset handset(lines(99, std::string(90, 'x')));
        g_fake.rooms = {{k_target, 99 * 91 + 26}};
        EXPECT_EQ(patch(handset).result, ERR_NONE);
    });
}

// A driver could take two halves of lines for one.
TEST(WifiParameters, HaveNoHoleWhereTheDiskTookNothing)
{
    in_child([] {
        const wifi_handset handset("a=1\nb=2\nc=3\n", k_address);
        g_line = "b=2\n";
        g_at_line = put_on_full_disk;
        const outcome seen = patch(handset);
        EXPECT_EQ(seen.result, ERR_UNKNOWN);
        EXPECT_EQ(handset.patched(), "a=1\n");
        EXPECT_THAT(seen.events, ElementsAreArray(k_whole));
        EXPECT_THAT(seen.told, ElementsAre(k_told_address, "sys error | fputs: 9 - Bad file descriptor", k_told_mode));
    });
}

TEST(WifiParameters, ThatTheDiskRefusesAtTheEndAreTold)
{
    in_child([] {
        const wifi_handset handset("a=1\n", k_address);
        g_fake.refused = {{"close " + k_target, EDQUOT}};
        const outcome seen = patch(handset);
        EXPECT_EQ(seen.result, ERR_UNKNOWN);
        EXPECT_THAT(seen.events, ElementsAreArray(k_whole));
        EXPECT_THAT(seen.told, ElementsAre(k_told_address, "info | new wifi_addr_nvram: " + k_address,
                                           "sys error | fputs: 122 - Disk quota exceeded", k_told_mode));
    });
}

TEST(WifiParameters, ThatCannotBeOpenedAgainKeepTheirMode)
{
    in_child([] {
        const wifi_handset handset("a=1\n", k_address);
        handset.put(k_target, "old\n");
        ASSERT_EQ(chmod(handset.host_path(k_target).c_str(), 0640), 0);
        g_fake.refused = {{"read " + k_target, EACCES}};
        const outcome seen = patch(handset);
        EXPECT_EQ(seen.result, ERR_NONE) << "the parameters are there";
        EXPECT_EQ(handset.mode(), 0640U);
        EXPECT_THAT(seen.events, ElementsAreArray(k_opening + k_closing + k_syncing +
                                                  steps{"read " + k_target, "close " + k_source}));
        EXPECT_THAT(seen.told, ElementsAre(k_told_address, "info | new wifi_addr_nvram: " + k_address,
                                           k_failed + "open " + k_target + " failed"));
    });
}

TEST(WifiParameters, TellOfAModeThatCannotBeSet)
{
    in_child([] {
        const wifi_handset handset("a=1\n", k_address);
        g_fchmod_error = EPERM;
        const outcome seen = patch(handset);
        EXPECT_EQ(seen.result, ERR_NONE);
        EXPECT_THAT(seen.told, ElementsAre(k_told_address, "info | new wifi_addr_nvram: " + k_address,
                                           "sys error | fchmod: 1 - Operation not permitted"));
    });
}

} // namespace
