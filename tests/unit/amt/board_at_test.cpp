// The serial number of the board by a line.
#include "amt/at-local/handset-at.h"

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
using ::testing::StartsWith;

constexpr char k_sn_file[] = "/amt/sn-2.txt";

// --- the type of the operation

TEST(BoardNumberLine, NeedsATypeThatItKnows)
{
    for (const type_row &row : k_bad_types) {
        in_child([&row] {
            SCOPED_TRACE(row.field);
            const device_handset handset;
            handset.put(k_sn_file, "kept");
            const outcome seen = say(handset, handle_amt_pcba_sn_at, std::string("AT^DPCBACTRL=") + row.field);
            if (row.told == nullptr) {
                expect_unanswered(seen);
                EXPECT_THAT(seen.told, ElementsAre(k_bad_argument + "type is null!!!"));
            } else {
                expect_answered(seen, k_error_line);
                EXPECT_THAT(seen.told, ElementsAre(k_bad_argument + "unknown operation type: " + row.told));
                EXPECT_THAT(seen.events, ElementsAre("send"));
            }
            EXPECT_EQ(handset.content(k_sn_file), "kept");
        });
    }
}

TEST(BoardNumberLine, TakesNoDigitsForTheType0WhichItDoesNotKnow)
{
    for (const char *field : {"x", "x1", " ", "-", "0", "0x1", "\"1\"", "-0"}) {
        in_child([field] {
            SCOPED_TRACE(field);
            const device_handset handset;
            const outcome seen = say(handset, handle_amt_pcba_sn_at, "AT^DPCBACTRL=" + std::string(field) + "\r");
            expect_answered(seen, k_error_line);
            EXPECT_THAT(seen.told, ElementsAre(k_bad_argument + "unknown operation type: 0"));
        });
    }
}

TEST(BoardNumberLine, LooksForNothingBehindTheLongestRequest)
{
    for (const std::string line : {"AT^DPCBACTRL=", "AT^DPCBACTRL=2", "AT^DPCBACTRL=2,", "AT^DPCBACTRL=1"}) {
        in_child([&line] {
            SCOPED_TRACE(line);
            const device_handset handset;
            handset.put(k_sn_file, "kept");
            const outcome seen = say(handset, handle_amt_pcba_sn_at, std::string(4095 - line.size(), 'x') + line);
            if (line.back() == '1') {
                expect_answered(seen, "\r\n^DPCBACTRL: kept\r\n\r\nOK\r\n");
            } else {
                expect_unanswered(seen);
            }
            EXPECT_EQ(handset.content(k_sn_file), "kept");
        });
    }
}

// --- reading

struct number_row {
    const char *name;
    std::string content;
    std::string number;
};

TEST(BoardNumberLine, TellsTheFirstLineOfItsFileCutAt29)
{
    const number_row rows[] = {
        {"usual", "KV0123456789", "KV0123456789"},
        {"one character", "7", "7"},
        {"with a line end", "KV01\n", "KV01\n"},
        {"with both ends", "KV01\r\n", "KV01\r\n"},
        {"a second line", "KV01\nKV02\n", "KV01\n"},
        {"an empty line", "\nKV02", "\n"},
        {"blanks", "  KV01  ", "  KV01  "},
        {"commas and quotes", "K,\"V\"%s%n", "K,\"V\"%s%n"},
        {"a zero byte first", std::string("\0KV", 3), ""},
        {"28 characters and a line end", std::string(28, 'n') + "\n", std::string(28, 'n') + "\n"},
        {"29 characters", std::string(29, 'n'), std::string(29, 'n')},
        {"29 characters and a line end", std::string(29, 'n') + "\n", std::string(29, 'n')},
        {"30 characters", std::string(29, 'n') + "o", std::string(29, 'n')},
        {"98 characters", std::string(98, 'n'), std::string(29, 'n')},
        {"5000 characters", std::string(5000, 'n'), std::string(29, 'n')},
    };
    for (const number_row &row : rows) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const device_handset handset;
            handset.put(k_sn_file, row.content);
            const outcome seen = say(handset, handle_amt_pcba_sn_at, "AT^DPCBACTRL=1\r");
            expect_answered(seen, "\r\n^DPCBACTRL: " + row.number + "\r\n\r\nOK\r\n");
            EXPECT_THAT(seen.events, ElementsAreArray(reading_of(k_sn_file) + steps{"send"}));
            EXPECT_EQ(handset.content(k_sn_file), row.content);
            const std::string told = handset.log().text();
            EXPECT_NE(told.find("read pcba-sn: " + row.number + "\n"), std::string::npos);
            EXPECT_NE(told.find("readed pcba-sn: " + row.number + ".\n"), std::string::npos);
        });
    }
}

TEST(BoardNumberLine, TellsWhatItRead)
{
    for (const char *line :
         {"AT^DPCBACTRL=1", "AT^DPCBACTRL=1\r", "AT^DPCBACTRL=1\n", "AT^DPCBACTRL= 1\r", "AT^DPCBACTRL=+1\r",
          "AT^DPCBACTRL=1x\r", "AT^DPCBACTRL=1 2\r", "AT^DPCBACTRL=01\r", "AT^DPCBACTRL=,1\r", "AT^DPCBACTRL=1,2,3\r",
          "AT^DPCBACTRL=1,\r", "AT^DPCBACTRL=1\rAT^DPCBACTRL=2,X\r"}) {
        in_child([line] {
            SCOPED_TRACE(line);
            const device_handset handset;
            handset.put(k_sn_file, "KV01");
            const outcome seen = say(handset, handle_amt_pcba_sn_at, line);
            expect_answered(seen, "\r\n^DPCBACTRL: KV01\r\n\r\nOK\r\n");
            EXPECT_THAT(seen.told, ElementsAre("info | read pcba-sn: KV01", "info | readed pcba-sn: KV01."));
        });
    }
}

TEST(BoardNumberLine, IsAnErrorWhenNothingCanBeRead)
{
    const std::string read_error = k_failed + "read error.";
    in_child([&] {
        const device_handset handset;
        const outcome seen = say(handset, handle_amt_pcba_sn_at, "AT^DPCBACTRL=1\r");
        expect_answered(seen, k_error_line);
        EXPECT_THAT(
            seen.told,
            ElementsAre(k_failed_call + "open(\"/amt/sn-2.txt\") fail: 2 - No such file or directory", read_error));
        EXPECT_THAT(seen.events, ElementsAre("read " + std::string(k_sn_file), "send"));
    });
    in_child([&] {
        const device_handset handset;
        handset.put(k_sn_file, "");
        const outcome seen = say(handset, handle_amt_pcba_sn_at, "AT^DPCBACTRL=1\r");
        expect_answered(seen, k_error_line);
        EXPECT_THAT(seen.told, ElementsAre(StartsWith(k_failed_call + "read fail: 0 - "), read_error));
        EXPECT_THAT(seen.events, ElementsAreArray(reading_of(k_sn_file) + steps{"send"}));
    });
}

// --- writing

struct field_row {
    const char *name;
    std::string fields; // behind the type
    std::string number;
};

TEST(BoardNumberLine, StoresTheSecondFieldAsItIs)
{
    const field_row rows[] = {
        {"usual", ",KV0123456789\r", "KV0123456789"},
        {"without an end", ",KV01", "KV01"},
        {"with a line feed", ",KV01\n", "KV01"},
        {"with both", ",KV01\r\n", "KV01"},
        {"a third field", ",KV01,KV02\r", "KV01"},
        {"behind empty fields", ",,,KV01\r", "KV01"},
        {"and a next line", ",KV01\rAT^DMSN=2,3\r", "KV01"},
        {"behind a type with more", "x,KV01\r", "KV01"},
        {"blanks", ", KV 01 \r", " KV 01 "},
        {"quotes stay", ",\"KV01\"\r", "\"KV01\""},
        {"a format", ",%s%n\r", "%s%n"},
        {"up to a zero byte", std::string(",KV\00001\r", 7), "KV"},
        {"1 character", ",7\r", "7"},
        {"29 characters", "," + std::string(29, 'n') + "\r", std::string(29, 'n')},
        {"30 characters", "," + std::string(30, 'n') + "\r", std::string(30, 'n')},
        {"31 characters", "," + std::string(31, 'n') + "\r", std::string(31, 'n')},
        {"500 characters", "," + std::string(500, 'n') + "\r", std::string(500, 'n')},
    };
    for (const field_row &row : rows) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const device_handset handset;
            handset.put(k_sn_file, "what was there before, longer than most numbers\nand a second line");
            const ino_t inode = inode_of(handset, k_sn_file);
            const outcome seen = say(handset, handle_amt_pcba_sn_at, "noise AT^DPCBACTRL=2" + row.fields);
            expect_answered(seen, k_ok_line);
            EXPECT_EQ(handset.content(k_sn_file), row.number) << "without a line end";
            EXPECT_EQ(inode_of(handset, k_sn_file), inode) << "the same file";
            EXPECT_THAT(seen.events, ElementsAreArray(writing_of(k_sn_file) + steps{"send"}));
            EXPECT_THAT(seen.told, ElementsAre("info | write pcba-sn: " + row.number,
                                               "info | Writed pcba-sn: " + row.number + "."));
        });
    }
}

TEST(BoardNumberLine, StoresAllOfAVeryLongNumberAndTellsItsBeginning)
{
    for (const size_t length : {2000, 4080}) {
        in_child([length] {
            const device_handset handset;
            const std::string number(length, 'n');
            const std::string line = "AT^DPCBACTRL=2," + number;
            expect_answered(say(handset, handle_amt_pcba_sn_at, line), k_error_line); // no folder yet
            handset.make_folder("/amt");
            expect_answered(say(handset, handle_amt_pcba_sn_at, line), k_ok_line);
            EXPECT_EQ(handset.content(k_sn_file), number);
            expect_answered(say(handset, handle_amt_pcba_sn_at, "AT^DPCBACTRL=1\r"),
                            "\r\n^DPCBACTRL: " + std::string(29, 'n') + "\r\n\r\nOK\r\n");
        });
    }
}

TEST(BoardNumberLine, NeedsANumberToWrite)
{
    for (const char *fields : {"", "\r", "\r\n", ",", ",,,", ",\r", ",\r\n", "x\r"}) {
        in_child([fields] {
            SCOPED_TRACE(fields);
            const device_handset handset;
            handset.put(k_sn_file, "kept");
            const outcome seen = say(handset, handle_amt_pcba_sn_at, "AT^DPCBACTRL=2" + std::string(fields));
            expect_unanswered(seen);
            EXPECT_THAT(seen.told, ElementsAre(k_bad_argument + "pcba-sn is null!!!"));
            EXPECT_EQ(handset.content(k_sn_file), "kept");
        });
    }
}

TEST(BoardNumberLine, IsAnErrorWhenItsFileCannotBeOpened)
{
    in_child([] {
        const device_handset handset;
        handset.put(k_sn_file, "kept");
        const std::string event = "read and write " + std::string(k_sn_file);
        g_fake.refused = {{event, EACCES}};
        const outcome seen = say(handset, handle_amt_pcba_sn_at, "AT^DPCBACTRL=2,KV01\r");
        expect_answered(seen, k_error_line);
        EXPECT_THAT(seen.told, ElementsAre(k_failed_call + "open(\"/amt/sn-2.txt\") fail: 13 - Permission denied",
                                           k_failed + "write error."));
        EXPECT_THAT(seen.events, ElementsAre(event, "send")) << "nothing is synced";
        EXPECT_EQ(handset.content(k_sn_file), "kept");
    });
}

TEST(BoardNumberLine, IsAnErrorWhenTheDiskDoesNotTakeItAndSyncedAllTheSame)
{
    for (const write_failure &row : k_write_failures) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const device_handset handset;
            handset.put(k_sn_file, "old");
            fail_writing(k_sn_file, row);
            const outcome seen = say(handset, handle_amt_pcba_sn_at, "AT^DPCBACTRL=2,KV01\r");
            expect_answered(seen, k_error_line);
            EXPECT_THAT(seen.told,
                        ElementsAre(StartsWith(k_failed_call + "fputs fail: " + row.told), k_failed + "write error."));
            EXPECT_THAT(seen.events, ElementsAreArray(writing_of(k_sn_file) + steps{"send"}));
        });
    }
}

} // namespace
