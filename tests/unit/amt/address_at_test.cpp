// The addresses of Bluetooth and WiFi by lines.
#include "amt/at-local/address-at.h"

#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "pub/log/errors.h"
#include "tests/support/in_child.h"
#include "tests/unit/amt/line_fakes.h"

namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;
using ::testing::StartsWith;

constexpr char k_bt_file[] = "/amt/BT/BT_Address.txt";
constexpr char k_wifi_file[] = "/amt/WIFI/WIFI_nvram.txt";

std::string wifi_line(const std::string &address)
{
    return "\r\n^DWIFIADDR: \"" + address + "\"\r\n\r\nOK\r\n";
}

// --- writing: what both have in common

struct address_kind {
    const char *name;
    line_handler handler;
    std::string prefix;
    std::string path;
    const char *told_conditions; // of an address that is empty
};

const address_kind k_kinds_a[] = {
    {"Bluetooth", handle_amt_pc_req_at, "AT^DBTADDR=\"", k_bt_file, "1"},
    {"WiFi", handle_amt_wifi_at, "AT^DWIFIADDR=\"", k_wifi_file, "0, 1"},
};

struct quote_row {
    const char *name;
    std::string value; // and what follows, behind the opening quote
    std::string address;
};

std::vector<quote_row> quotes()
{
    return {
        {"usual", "00:11:22:33:44:55\"\r", "00:11:22:33:44:55"},
        {"with a line feed, too", "00:11\"\r\n", "00:11"},
        {"without a carriage return", "00:11\"", "00:11"},
        {"one character", "7\"\r", "7"},
        {"a blank", " \"\r", " "},
        {"a format", "%s%n\"\r", "%s%n"},
        {"18 characters", std::string(18, 'a') + "\"\r", std::string(18, 'a')},
        {"19 characters", std::string(19, 'a') + "\"\r", std::string(19, 'a')},
        {"20 characters", std::string(20, 'a') + "\"\r", std::string(19, 'a')},
        {"25 characters", std::string(25, 'a') + "\"\r", std::string(19, 'a')},
        {"all of a request", std::string(4000, 'a') + "\"\r", std::string(19, 'a')},
        {"no closing quote behind 3 characters", "abc", "abc"},
        {"no closing quote, but a carriage return", "abc\r", "abc\r"},
        {"no closing quote behind 19 characters", std::string(19, 'b'), std::string(19, 'b')},
        {"no closing quote behind 30 characters", "0123456789012345678nothing more\r", "0123456789012345678"},
        {"a quote inside", "00:11\"22:33\"\r", "00:11"},
        {"a closing quote in the next line", "abc\r\nAT^A=\"", "abc\r\nAT^A="},
        {"a comma", "00,11\"\r", "00,11"},
        {"up to a zero byte", std::string("abc\0def\"\r", 9), "abc"},
        {"a line of its own kind inside", "AT^DXADDR=?\"\r", "AT^DXADDR=?"},
    };
}

TEST(Address, IsWrittenAsItStandsInTheQuotes)
{
    for (const address_kind &kind : k_kinds_a) {
        for (const quote_row &row : quotes()) {
            in_child([&] {
                SCOPED_TRACE(std::string(kind.name) + ", " + row.name);
                const device_handset handset;
                handset.put(kind.path, "what was there before, and longer\nthan any address\n");
                const ino_t inode = inode_of(handset, kind.path);
                const outcome seen = say(handset, kind.handler, "noise " + kind.prefix + row.value);
                EXPECT_EQ(seen.result, ERR_NONE);
                EXPECT_THAT(seen.at_station, ElementsAre(k_ok_line));
                EXPECT_EQ(handset.content(kind.path), row.address + "\n");
                EXPECT_EQ(inode_of(handset, kind.path), inode) << "the same file";
                EXPECT_THAT(seen.events, ElementsAreArray(writing_of(kind.path) + steps{"send"}));
                const std::string first_line = row.address.substr(0, row.address.find('\n'));
                EXPECT_THAT(seen.told, ElementsAre("info | write BT address: " + first_line));
                EXPECT_TRUE(seen.is_response_clear);
            });
        }
    }
}

TEST(Address, EndsWithTheLongestRequest)
{
    for (const address_kind &kind : k_kinds_a) {
        for (const std::string value : {"abc", "0123456789012345678"}) {
            in_child([&] {
                SCOPED_TRACE(kind.name + value);
                const device_handset handset;
                handset.put(kind.path, "");
                const std::string line = kind.prefix + value;
                const outcome seen = say(handset, kind.handler, std::string(4095 - line.size(), 'x') + line);
                EXPECT_EQ(seen.result, ERR_NONE);
                EXPECT_THAT(seen.at_station, ElementsAre(k_ok_line));
                EXPECT_EQ(handset.content(kind.path), value + "\n") << "nothing from behind the request";
            });
        }
    }
}

TEST(Address, IsNotWrittenWhenItIsEmpty)
{
    for (const address_kind &kind : k_kinds_a) {
        for (const std::string &request :
             {kind.prefix + "\"\r", kind.prefix + "\"", kind.prefix + "\"00:11\"\r", kind.prefix,
              kind.prefix + std::string("\0abc\"", 5), std::string(4095 - kind.prefix.size(), 'x') + kind.prefix}) {
            in_child([&] {
                SCOPED_TRACE(std::string(kind.name) + request.substr(0, 40));
                const device_handset handset;
                handset.put(kind.path, "kept\n");
                const outcome seen = say(handset, kind.handler, request);
                expect_answered(seen, k_cme_line);
                EXPECT_THAT(seen.told, ElementsAre(k_bad_argument + kind.told_conditions));
                EXPECT_THAT(seen.events, ElementsAre("send"));
                EXPECT_EQ(handset.content(kind.path), "kept\n");
            });
        }
    }
}

TEST(Address, ThatTheFileDoesNotTakeWholeIsAFailureAndSyncedAllTheSame)
{
    for (const address_kind &kind : k_kinds_a) {
        for (const write_failure &row : k_write_failures) {
            in_child([&] {
                SCOPED_TRACE(std::string(kind.name) + ", " + row.name);
                const device_handset handset;
                handset.put(kind.path, "old\n");
                fail_writing(kind.path, row);
                const outcome seen = say(handset, kind.handler, kind.prefix + "00:11\"\r");
                expect_answered(seen, k_cme_line);
                EXPECT_THAT(seen.events, ElementsAreArray(writing_of(kind.path) + steps{"send"}));
                EXPECT_THAT(seen.told, ElementsAre(StartsWith(std::string("sys error | fputs: ") + row.told)));
            });
        }
    }
}

TEST(Address, WithoutItsLineFeedIsAFailure)
{
    for (const address_kind &kind : k_kinds_a) {
        in_child([&kind] {
            const device_handset handset;
            handset.put(kind.path, "old\n");
            g_fake.writing = output_end{5, 0};
            expect_answered(say(handset, kind.handler, kind.prefix + "00:11\"\r"), k_cme_line);
        });
    }
}

TEST(Address, IsAnsweredWhenTheDiskCannotBeTold)
{
    for (const address_kind &kind : k_kinds_a) {
        in_child([&] {
            const device_handset handset;
            handset.put(kind.path, "");
            g_fake.commands = {{-1, EAGAIN}, {256, 0}};
            const outcome seen = say(handset, kind.handler, kind.prefix + "00:11\"\r");
            EXPECT_THAT(seen.at_station, ElementsAre(k_ok_line)) << kind.name;
            EXPECT_THAT(seen.events, ElementsAreArray(writing_of(kind.path) + steps{"send"}));
        });
    }
}

TEST(Address, IsOnTheDiskBeforeTheStationIsAnswered)
{
    for (const address_kind &kind : k_kinds_a) {
        in_child([&] {
            const device_handset handset;
            handset.put(kind.path, "old\n");
            g_fake.on_event = [&](const std::string &event) {
                if (event == "pause 50") {
                    EXPECT_EQ(handset.content(kind.path), "00:11\n") << kind.name;
                    EXPECT_THAT(g_fake.files, IsEmpty()) << "closed before the disk is told";
                }
            };
            EXPECT_THAT(say(handset, kind.handler, kind.prefix + "00:11\"\r").at_station, ElementsAre(k_ok_line));
        });
    }
}

// --- WiFi, writing

TEST(WifiAddressLine, MakesItsFileAnew)
{
    in_child([] {
        const device_handset handset;
        handset.make_folder("/amt/WIFI");
        const outcome seen = say(handset, handle_amt_wifi_at, "AT^DWIFIADDR=\"00:11\"\r");
        EXPECT_THAT(seen.at_station, ElementsAre(k_ok_line));
        EXPECT_EQ(handset.content(k_wifi_file), "00:11\n");
    });
}

TEST(WifiAddressLine, IsRefusedWhenItsFileCannotBeOpened)
{
    in_child([] { // no folder
        const device_handset handset;
        const outcome seen = say(handset, handle_amt_wifi_at, "AT^DWIFIADDR=\"00:11\"\r");
        expect_answered(seen, k_cme_line);
        EXPECT_THAT(seen.told, ElementsAre("sys error | open: 2 - No such file or directory"));
        EXPECT_THAT(seen.events, ElementsAre("read and write " + std::string(k_wifi_file), "send"));
    });
}

// --- WiFi, reading

struct content_row {
    const char *name;
    std::string content;
    std::string address;
};

TEST(WifiAddressLine, TellsTheFirstLineButForItsLastCharacter)
{
    const content_row rows[] = {
        {"usual", "00:11:22:33:44:55\n", "00:11:22:33:44:55"},
        {"a second line", "00:11\n22:33\n", "00:11"},
        {"without a line end", "00:11", "00:1"},
        {"with a carriage return", "00:11\r\n", "00:11\r"},
        {"several words", " a b \n", " a b "},
        {"an empty line", "\n", ""},
        {"a zero byte first", std::string("\0abc\n", 5), ""},
        {"a format", "%s%n\n", "%s%n"},
        {"18 characters", std::string(18, 'a') + "\n", std::string(18, 'a')},
        {"19 characters", std::string(19, 'a') + "\n", std::string(19, 'a')},
        {"20 characters", std::string(20, 'a') + "\n", std::string(19, 'a')},
        {"97 characters", std::string(97, 'a') + "\n", std::string(19, 'a')},
        {"150 characters", std::string(150, 'a') + "\n", std::string(19, 'a')},
    };
    for (const content_row &row : rows) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const device_handset handset;
            handset.put(k_wifi_file, row.content);
            const outcome seen = say(handset, handle_amt_wifi_at, "AT^DWIFIADDR?\r");
            EXPECT_EQ(seen.result, ERR_NONE);
            EXPECT_THAT(seen.at_station, ElementsAre(wifi_line(row.address)));
            EXPECT_THAT(seen.events, ElementsAreArray(reading_of(k_wifi_file) + steps{"send"}));
            EXPECT_TRUE(seen.is_response_clear);
            EXPECT_EQ(handset.content(k_wifi_file), row.content);
        });
    }
}

TEST(WifiAddressLine, TellsTheLengthOfTheLineToTheLog)
{
    in_child([] {
        const device_handset handset;
        handset.put(k_wifi_file, "00:11:22:33:44:55\n");
        EXPECT_THAT(say(handset, handle_amt_wifi_at, "AT^DWIFIADDR?\r").told, ElementsAre("info | wifi_addr_len: 18"));
    });
}

TEST(WifiAddressLine, IsRefusedWithoutALine)
{
    in_child([] {
        const device_handset handset;
        const outcome seen = say(handset, handle_amt_wifi_at, "AT^DWIFIADDR?\r");
        expect_answered(seen, k_cme_line);
        EXPECT_THAT(seen.told, ElementsAre(k_failed + "open " + k_wifi_file + " fail"));
        EXPECT_THAT(seen.events, ElementsAre("read " + std::string(k_wifi_file), "send"));
    });
    in_child([] {
        const device_handset handset;
        handset.put(k_wifi_file, "");
        const outcome seen = say(handset, handle_amt_wifi_at, "AT^DWIFIADDR?\r");
        expect_answered(seen, k_cme_line);
        EXPECT_THAT(seen.told, ElementsAre(k_failed + "read fail"));
        EXPECT_THAT(seen.events, ElementsAreArray(reading_of(k_wifi_file) + steps{"send"}));
    });
}

// --- the lines

struct line_row {
    const char *name;
    line_handler handler;
    std::string request;
    const char *answer; // null: declined
};

TEST(AddressLines, AreKnownToTheLetter)
{
    const line_handler bt = handle_amt_pc_req_at;
    const line_handler wifi = handle_amt_wifi_at;
    const std::string bt_read = bt_line("bt");
    const std::string wifi_read = wifi_line("wifi");
    const line_row rows[] = {
        {"asked whether it is known", bt, "AT^DBTADDR=?\r", k_ok_line},
        {"asked whether it is known", wifi, "AT^DWIFIADDR=?\r", k_ok_line},
        {"the same, behind others", bt, "ATI\r\nAT^DBTADDR=?\r\n", k_ok_line},
        {"no carriage return", bt, "AT^DBTADDR?", nullptr},
        {"a line feed for it", bt, "AT^DBTADDR?\n", nullptr},
        {"a blank before it", bt, "AT^DBTADDR? \r", nullptr},
        {"no carriage return", bt, "AT^DBTADDR=?", nullptr},
        {"no carriage return", wifi, "AT^DWIFIADDR?", nullptr},
        {"no carriage return", wifi, "AT^DWIFIADDR=?", nullptr},
        {"no quote", bt, "AT^DBTADDR=00:11\r", nullptr},
        {"no quote", wifi, "AT^DWIFIADDR=00:11\r", nullptr},
        {"a blank before the quote", bt, "AT^DBTADDR= \"00:11\"\r", nullptr},
        {"another quote", wifi, "AT^DWIFIADDR='00:11'\r", nullptr},
        {"small letters", bt, "at^dbtaddr?\r", nullptr},
        {"small letters", wifi, "AT^dwifiaddr=\"00:11\"\r", nullptr},
        {"behind a zero byte", bt, std::string("\0AT^DBTADDR?\r", 13), nullptr},
        {"behind a zero byte", wifi, std::string("x\0AT^DWIFIADDR=\"1\"\r", 19), nullptr},
        {"of the other kind", bt, "AT^DWIFIADDR?\r", nullptr},
        {"of the other kind", wifi, "AT^DBTADDR?\r", nullptr},
        {"another line", bt, "ATI\r", nullptr},
        {"nothing", bt, "", nullptr},
        {"reading before asking", bt, "AT^DBTADDR=?\rAT^DBTADDR?\r", bt_read.c_str()},
        {"reading before writing", bt, "AT^DBTADDR=\"1\"\rAT^DBTADDR?\r", bt_read.c_str()},
        {"reading inside the quotes", bt, "AT^DBTADDR=\"AT^DBTADDR?\r\"", bt_read.c_str()},
        {"asking before writing", bt, "AT^DBTADDR=\"1\"\rAT^DBTADDR=?\r", k_ok_line},
        {"reading before asking", wifi, "AT^DWIFIADDR=?\rAT^DWIFIADDR?\r", wifi_read.c_str()},
        {"reading before writing", wifi, "AT^DWIFIADDR=\"1\"\rAT^DWIFIADDR?\r", wifi_read.c_str()},
        {"asking before writing", wifi, "AT^DWIFIADDR=\"1\"\rAT^DWIFIADDR=?\r", k_ok_line},
    };
    for (const line_row &row : rows) {
        in_child([&row] {
            SCOPED_TRACE(std::string(row.name) + ": " + row.request);
            const device_handset handset;
            handset.put(k_bt_file, "bt\n");
            handset.put(k_wifi_file, "wifi\n");
            const outcome seen = say(handset, row.handler, row.request);
            EXPECT_EQ(handset.content(k_bt_file), "bt\n") << "none of them writes";
            EXPECT_EQ(handset.content(k_wifi_file), "wifi\n");
            if (row.answer == nullptr) {
                EXPECT_EQ(seen.result, ERR_NOT_FOUND);
                EXPECT_THAT(seen.at_station, IsEmpty());
                EXPECT_THAT(seen.events, IsEmpty());
                EXPECT_THAT(handset.log().records(), IsEmpty()) << "lines on their way to the modem come through here";
            } else {
                EXPECT_EQ(seen.result, ERR_NONE);
                EXPECT_THAT(seen.at_station, ElementsAre(row.answer));
            }
        });
    }
}

TEST(AddressLines, WriteTheFirstOfTwoAddresses)
{
    for (const address_kind &kind : k_kinds_a) {
        in_child([&kind] {
            const device_handset handset;
            handset.put(kind.path, "old\n");
            const std::string line = kind.prefix + "1\"\r" + kind.prefix + "2\"\r";
            EXPECT_THAT(say(handset, kind.handler, line).at_station, ElementsAre(k_ok_line));
            EXPECT_EQ(handset.content(kind.path), "1\n") << kind.name;
        });
    }
}

TEST(AddressLines, GiveTheResultOfTheirAnswers)
{
    const std::pair<line_handler, const char *> rows[] = {
        {handle_amt_pc_req_at, "AT^DBTADDR?\r"},    {handle_amt_pc_req_at, "AT^DBTADDR=?\r"},
        {handle_amt_pc_req_at, "AT^DBTADDR=\"1\""}, {handle_amt_pc_req_at, "AT^DBTADDR=\"\""},
        {handle_amt_wifi_at, "AT^DWIFIADDR?\r"},    {handle_amt_wifi_at, "AT^DWIFIADDR=?\r"},
        {handle_amt_wifi_at, "AT^DWIFIADDR=\"1\""}, {handle_amt_wifi_at, "AT^DWIFIADDR=\"\""},
    };
    for (const auto &[handler, line] : rows) {
        for (const bool has_files : {true, false}) {
            in_child([handler = handler, line = line, has_files] {
                const device_handset handset;
                if (has_files) {
                    handset.put(k_bt_file, "bt\n");
                    handset.put(k_wifi_file, "wifi\n");
                }
                g_fake.is_send_cut = true;
                EXPECT_EQ(say(handset, handler, line).result, ERR_WRITE_NOT_COMPLETED) << line << has_files;
            });
        }
    }
}

TEST(AddressLines, AreToldByTheirHandlersName)
{
    const std::pair<line_handler, const char *> rows[] = {
        {handle_amt_pc_req_at, "AT^DBTADDR?\r"},   {handle_amt_pc_req_at, "AT^DBTADDR=?\r"},
        {handle_amt_pc_req_at, "AT^DBTADDR=\"\""}, {handle_amt_wifi_at, "AT^DWIFIADDR?\r"},
        {handle_amt_wifi_at, "AT^DWIFIADDR=?\r"},  {handle_amt_wifi_at, "AT^DWIFIADDR=\"\""},
    };
    for (const auto &[handler, line] : rows) {
        in_child([handler = handler, line = line] {
            const device_handset handset;
            (void)say(handset, handler, line);
            EXPECT_EQ(handset.log().records().front(), "func | ") << line;
            EXPECT_EQ(handset.log().functions().front(),
                      handler == handle_amt_wifi_at ? "handle_amt_wifi_at" : "handle_amt_pc_req_at");
        });
    }
}

} // namespace
