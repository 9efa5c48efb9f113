#include "amt/identity/serial-number.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "pub/log/errors.h"
#include "tests/support/in_child.h"
#include "tests/support/test_log.h"
#include "tests/unit/amt/device_fakes.h"
#include "tests/unit/amt/identity_steps.h"

namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

const std::string k_file = "/amt/sn-2.txt";
const std::string k_not_opened = k_failed_call + "open(\"/amt/sn-2.txt\") fail: ";

outcome write_number(const device_handset &handset, const char *text, const std::string &path = k_file)
{
    return handset.watch([&] { return amt_write_pcba_sn(text, path.c_str()); });
}

// --- amt_write_pcba_sn

struct number_row {
    const char *name;
    std::string text;
};

TEST(SerialNumber, IsAllThatStandsInItsFile)
{
    const number_row rows[] = {
        {"usual", "KV7100PCBA0000000042"},
        {"one character", "1"},
        {"a blank", " "},
        {"with blanks and a comma", " 12, 34 "},
        {"with a format", "%s%n%d"},
        {"29 characters", std::string(29, 'x')},
        {"30 characters", std::string(30, 'x')},
        {"100 characters", std::string(100, 'x')},
    };
    for (const number_row &row : rows) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const device_handset handset;
            handset.put(k_file, "an older one\nof two lines\n" + std::string(200, 'y'));
            const ino_t inode = inode_of(handset, k_file);
            const outcome seen = write_number(handset, row.text.c_str());
            EXPECT_EQ(seen.result, ERR_NONE);
            EXPECT_EQ(handset.content(k_file), row.text);
            EXPECT_EQ(inode_of(handset, k_file), inode) << "it is the same file";
            EXPECT_THAT(seen.events, ElementsAreArray(writing_of(k_file)));
            EXPECT_THAT(handset.log().records(), ElementsAre("func | ", "info | write pcba-sn: " + row.text));
            EXPECT_THAT(handset.log().functions(), ElementsAre("amt_write_pcba_sn", "amt_write_pcba_sn"));
        });
    }
}

TEST(SerialNumber, HasNoLimitOfLength)
{
    in_child([] {
        const device_handset handset;
        handset.make_folder("/amt");
        const std::string text = std::string(3999, 'x') + "y";
        EXPECT_EQ(write_number(handset, text.c_str()).result, ERR_NONE);
        EXPECT_EQ(handset.content(k_file), text);
    });
}

TEST(SerialNumber, GoesToTheFileThatIsNamed)
{
    in_child([] {
        const device_handset handset;
        handset.make_folder("/amt");
        const outcome seen = write_number(handset, "490154203237518", "/amt/imei.txt");
        EXPECT_EQ(seen.result, ERR_NONE);
        EXPECT_EQ(handset.content("/amt/imei.txt"), "490154203237518");
        EXPECT_EQ(handset.content(k_file), "(missing)");
        EXPECT_THAT(seen.events, ElementsAreArray(writing_of("/amt/imei.txt")));
    });
}

TEST(SerialNumber, ThatIsNoneIsNotWritten)
{
    in_child([] {
        const device_handset handset;
        handset.put(k_file, "old");
        for (const char *text : {"", static_cast<const char *>(nullptr)}) {
            const outcome seen = write_number(handset, text);
            EXPECT_EQ(seen.result, ERR_INVALID_PARAM);
            EXPECT_THAT(seen.events, IsEmpty());
        }
        EXPECT_EQ(handset.content(k_file), "old");
        EXPECT_THAT(handset.log().records(),
                    ElementsAre("func | ", k_bad_argument + "0, 1", "func | ", k_bad_argument + "1, 0"));
    });
}

TEST(SerialNumber, HasNoPlaceWithoutAFile)
{
    in_child([] {
        const device_handset handset; // without the folder
        const outcome seen = write_number(handset, "1");
        EXPECT_EQ(seen.result, ERR_C_FUNCTION);
        EXPECT_THAT(seen.events, ElementsAre("read and write " + k_file)) << "there is nothing for the disk to take";
        EXPECT_THAT(seen.told, ElementsAre(k_not_opened + "2 - No such file or directory"));
        EXPECT_THAT(handset.log().functions(), ElementsAre("amt_write_pcba_sn", "amt_write_pcba_sn"));
    });
    in_child([] {
        const device_handset handset;
        handset.put(k_file, "old");
        g_fake.refused = {{"read and write " + k_file, EACCES}};
        const outcome seen = write_number(handset, "1");
        EXPECT_EQ(seen.result, ERR_C_FUNCTION);
        EXPECT_THAT(seen.events, ElementsAre("read and write " + k_file));
        EXPECT_THAT(seen.told, ElementsAre(k_not_opened + "13 - Permission denied"));
        EXPECT_EQ(handset.content(k_file), "old");
    });
    in_child([] {
        const device_handset handset;
        handset.make_pipe(k_file);
        const outcome seen = write_number(handset, "1");
        EXPECT_EQ(seen.result, ERR_C_FUNCTION);
        EXPECT_THAT(seen.told, ElementsAre(k_not_opened + "22 - Invalid argument")) << "nobody reads the pipe";
    });
}

TEST(SerialNumber, ThatTheDiskDoesNotTakeIsTold)
{
    for (const write_failure &row : k_write_failures) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const device_handset handset;
            handset.put(k_file, "old");
            fail_writing(k_file, row);
            const outcome seen = write_number(handset, "0123456789");
            EXPECT_EQ(seen.result, ERR_C_FUNCTION);
            EXPECT_THAT(seen.events, ElementsAreArray(writing_of(k_file))) << "the file has lost what it held";
            EXPECT_THAT(seen.told, ElementsAre(k_failed_call + "fputs fail: " + row.told));
            EXPECT_THAT(handset.log().functions(), ElementsAre("amt_write_pcba_sn", "amt_write_pcba_sn"));
        });
    }
}

// --- amt_read_pcba_sn

struct reading {
    outcome seen;
    std::string number;
    bool is_clear = false; // what is behind it
};

reading read_number(const device_handset &handset)
{
    reading result;
    char number[AMT_PCBA_SN_SIZE];
    std::fill(std::begin(number), std::end(number), 'd'); // of another
    result.seen = handset.watch([&] { return amt_read_pcba_sn(number); });
    const std::string all(number, sizeof(number));
    result.number = all.substr(0, all.find('\0'));
    result.is_clear = all.substr(result.number.size()) == std::string(sizeof(number) - result.number.size(), '\0');
    return result;
}

struct content_row {
    const char *name;
    std::string content;
    std::string number;
};

TEST(SerialNumber, IsReadFromTheFirstLineUpTo29Characters)
{
    const content_row rows[] = {
        {"usual", "KV7100PCBA0000000042", "KV7100PCBA0000000042"},
        {"one character", "1", "1"},
        {"blanks belong to it", "  1 2 ", "  1 2 "},
        {"28 characters", std::string(28, 'x'), std::string(28, 'x')},
        {"29 characters", std::string(29, 'x'), std::string(29, 'x')},
        {"30 characters", std::string(29, 'x') + "y", std::string(29, 'x')},
        {"98 characters", std::string(98, 'x'), std::string(29, 'x')},
        {"200 characters", std::string(200, 'x'), std::string(29, 'x')},
        {"29 characters and a line end", std::string(29, 'x') + "\n", std::string(29, 'x')},
        {"up to a zero byte", std::string("12\0003", 4), "12"},
    };
    for (const content_row &row : rows) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const device_handset handset;
            handset.put(k_file, row.content);
            const reading read = read_number(handset);
            EXPECT_EQ(read.seen.result, ERR_NONE);
            EXPECT_EQ(read.number, row.number);
            EXPECT_TRUE(read.is_clear);
            EXPECT_THAT(read.seen.events, ElementsAreArray(reading_of(k_file)));
            EXPECT_THAT(handset.log().records(), ElementsAre("func | ", "info | read pcba-sn: " + row.number));
            EXPECT_EQ(handset.content(k_file), row.content);
        });
    }
}

TEST(SerialNumber, KeepsALineEndThatItsFileHas)
{
    const content_row rows[] = {
        {"at its end", "1234\n", "1234\n"},
        {"before a second line", "1234\n5678\n", "1234\n"},
        {"with a carriage return", "1234\r\n", "1234\r\n"},
        {"alone", "\n1234\n", "\n"},
        {"as the 29th character", std::string(28, 'x') + "\n", std::string(28, 'x') + "\n"},
    };
    for (const content_row &row : rows) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const device_handset handset;
            handset.put(k_file, row.content);
            const reading read = read_number(handset);
            EXPECT_EQ(read.seen.result, ERR_NONE);
            EXPECT_EQ(read.number, row.number);
            EXPECT_TRUE(read.is_clear);
            EXPECT_THAT(handset.log().text(), ::testing::HasSubstr("| read pcba-sn: " + row.number + "\n"));
        });
    }
}

TEST(SerialNumber, IsEmptyWhenItCannotBeRead)
{
    in_child([] {
        const device_handset handset;
        const reading missing = read_number(handset);
        EXPECT_EQ(missing.seen.result, ERR_C_FUNCTION);
        EXPECT_EQ(missing.number, "");
        EXPECT_TRUE(missing.is_clear);
        EXPECT_THAT(missing.seen.events, ElementsAre("read " + k_file));
        EXPECT_THAT(missing.seen.told, ElementsAre(k_not_opened + "2 - No such file or directory"));
        handset.put(k_file, "");
        const reading empty = read_number(handset);
        EXPECT_EQ(empty.seen.result, ERR_C_FUNCTION);
        EXPECT_EQ(empty.number, "");
        EXPECT_TRUE(empty.is_clear);
        EXPECT_THAT(empty.seen.events, ElementsAreArray(reading_of(k_file)));
        EXPECT_THAT(empty.seen.told, ElementsAre(k_failed_call + "read fail: 0 - No error"));
        EXPECT_THAT(handset.log().functions(),
                    ElementsAre("amt_read_pcba_sn", "amt_read_pcba_sn", "amt_read_pcba_sn", "amt_read_pcba_sn"));
    });
}

TEST(SerialNumber, IsReadAsItWasWritten)
{
    in_child([] {
        const device_handset handset;
        handset.make_folder("/amt");
        EXPECT_EQ(amt_write_pcba_sn("KV7100PCBA0000000042", AMT_PCBA_SN_FILE), ERR_NONE);
        EXPECT_EQ(read_number(handset).number, "KV7100PCBA0000000042");
    });
}

} // namespace
