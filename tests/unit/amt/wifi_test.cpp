// The address and the check of WiFi; sending and receiving have tests of their own.
#include "amt/device/wifi.h"

#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "pub/log/errors.h"
#include "tests/unit/amt/exchange.h"
#include "tests/unit/amt/handler_arguments.h"
#include "tests/unit/amt/radio_fakes.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr char k_address[] = "00:11:22:33:44:55";
constexpr char k_file[] = "WIFI/WIFI_nvram.txt"; // in the folder

std::string request_of(uint32_t operation)
{
    return message_of(185, int_atom(152, operation));
}

std::string write_request(const std::string &address)
{
    return message_of(185, int_atom(152, 1) + text_atom(153, address));
}

const std::string k_done = message_of(186, int_atom(1, 0));

std::string op_type(const std::string &operation)
{
    return "info | amt_device_wifi_address op_type:" + operation;
}

class Wifi : public radio_handset {};

// --- the address is read

struct read_row {
    const char *name;
    std::string content;
    std::string address;
    const char *length; // of the line
};

TEST_F(Wifi, AddressIsTheFirstLineOfItsFileButItsEnd)
{
    const read_row rows[] = {
        {"as it is written", "00:11:22:33:44:55\n", k_address, "18"},
        {"before another line", "00:11\n22:33\n", "00:11", "6"},
        {"with blanks", " 00 11 \n", " 00 11 ", "8"},
        {"without a line end", "00:11:22:33:44:55", "00:11:22:33:44:5", "17"},
        {"an empty line", "\n00:11\n", "", "1"},
        {"a zero at first", std::string("\0x\n", 3), "", "0"},
        {"59 characters", std::string(59, 'x') + "\n", std::string(59, 'x'), "60"},
        {"60 characters", std::string(60, 'x') + "\n", std::string(59, 'x'), "61"},
        {"many", std::string(5000, 'x'), std::string(59, 'x'), "98"},
    };
    for (const read_row &row : rows) {
        with_bench([&row](radio_bench &bench) {
            SCOPED_TRACE(row.name);
            bench.folder().put(k_file, row.content);
            outcome seen = bench.ask(amt_device_wifi_address, AMT_CHANNEL_PC, request_of(0));
            EXPECT_EQ(seen.result, ERR_NONE);
            const std::string answer = message_of(186, text_atom(153, row.address) + int_atom(1, 0));
            EXPECT_THAT(seen.at_station, ElementsAre(enveloped(answer)));
            EXPECT_THAT(seen.at_application, IsEmpty());
            EXPECT_THAT(seen.told, ElementsAre(op_type("0"), std::string("info | wifi_addr_len: ") + row.length,
                                               "info | read WIFI address: " + row.address));
            seen = bench.ask(amt_device_wifi_address, AMT_CHANNEL_APP, request_of(0));
            EXPECT_EQ(seen.result, ERR_NONE);
            EXPECT_THAT(seen.at_application, ElementsAre(answer)) << "bare";
            EXPECT_THAT(seen.at_station, IsEmpty());
            EXPECT_EQ(bench.folder().content(k_file), row.content);
            EXPECT_THAT(seen.calls, IsEmpty());
            EXPECT_THAT(seen.commands, IsEmpty());
        });
    }
}

TEST_F(Wifi, AddressThatCannotBeReadIsNotAnswered)
{
    for (const bool is_empty : {false, true}) {
        with_bench([is_empty](radio_bench &bench) {
            if (is_empty) {
                bench.folder().put(k_file, "");
            }
            const outcome seen = bench.ask(amt_device_wifi_address, AMT_CHANNEL_PC, request_of(0));
            EXPECT_EQ(seen.result, ERR_UNKNOWN);
            const std::string reason = is_empty ? "read fail" : "open /amt/WIFI/WIFI_nvram.txt fail";
            EXPECT_THAT(seen.told, ElementsAre(op_type("0"), k_failed + reason, k_failed + "read error"));
            EXPECT_THAT(seen.at_station, IsEmpty());
            EXPECT_THAT(seen.at_application, IsEmpty());
            EXPECT_EQ(bench.folder().has(k_file), is_empty);
        });
    }
}

// --- the address is written

struct write_row {
    const char *name;
    std::string address;
    std::string written;
};

TEST_F(Wifi, AddressIsWrittenAsALine)
{
    const write_row rows[] = {
        {"usual", k_address, k_address},
        {"one character", "x", "x"},
        {"blanks", " a b ", " a b "},
        {"58 characters", std::string(58, 'x'), std::string(58, 'x')},
        {"59 characters", std::string(59, 'x'), std::string(59, 'x')},
        {"60 are cut further", std::string(60, 'x'), std::string(58, 'x')},
        {"100 characters", std::string(100, 'x'), std::string(58, 'x')},
        {"a zero inside ends it", std::string("00:11\0:22", 9), "00:11"},
    };
    for (const write_row &row : rows) {
        with_bench([&row](radio_bench &bench) {
            SCOPED_TRACE(row.name);
            bench.folder().put(k_file, std::string(200, 'o'));
            outcome seen = bench.ask(amt_device_wifi_address, AMT_CHANNEL_PC, write_request(row.address));
            EXPECT_EQ(seen.result, ERR_NONE);
            EXPECT_EQ(bench.folder().content(k_file), row.written + "\n");
            EXPECT_THAT(seen.told, ElementsAre(op_type("1"), "info | write BT address: " + row.written,
                                               "info | Write WIFI address: " + row.written,
                                               "info | path = /amt/WIFI change to chmod -R 555"));
            EXPECT_THAT(seen.at_station, ElementsAre(enveloped(k_done)));
            EXPECT_THAT(seen.at_application, IsEmpty());
            EXPECT_THAT(seen.commands, ElementsAre("/system/bin/sync", "/system/bin/sync", "chmod -R 555 /amt/WIFI"));
            EXPECT_THAT(g_fake.pauses, ElementsAre(50U, 50U));
            EXPECT_THAT(seen.calls, IsEmpty());
            seen = bench.ask(amt_device_wifi_address, AMT_CHANNEL_APP, write_request(row.address));
            EXPECT_THAT(seen.at_application, ElementsAre(k_done)) << "bare";
            EXPECT_THAT(seen.at_station, IsEmpty());
        });
    }
}

struct bad_address_row {
    const char *name;
    std::string atoms;
};

TEST_F(Wifi, AddressThatIsNoneLeavesTheFileAlone)
{
    const bad_address_row rows[] = {
        {"empty", text_atom(153, "")},
        {"missing", ""},
        {"a zero at first", text_atom(153, std::string("\0x", 2))},
        {"another atom", text_atom(111, k_address)},
    };
    for (const bad_address_row &row : rows) {
        with_bench([&row](radio_bench &bench) {
            SCOPED_TRACE(row.name);
            bench.folder().put(k_file, "old\n");
            const outcome seen =
                bench.ask(amt_device_wifi_address, AMT_CHANNEL_PC, message_of(185, int_atom(152, 1) + row.atoms));
            EXPECT_EQ(seen.result, ERR_UNKNOWN);
            EXPECT_THAT(seen.told, ElementsAre(op_type("1"), k_bad_argument + "0, 1", k_failed + "write error"));
            EXPECT_THAT(seen.at_station, IsEmpty());
            EXPECT_THAT(seen.at_application, IsEmpty());
            EXPECT_THAT(seen.commands, IsEmpty());
            EXPECT_EQ(bench.folder().content(k_file), "old\n");
        });
    }
}

TEST_F(Wifi, AddressThatCannotBeWrittenIsNotAnswered)
{
    with_bench([](radio_bench &bench) {
        g_fake.file_writings = {{0, ENOSPC}};
        outcome seen = bench.ask(amt_device_wifi_address, AMT_CHANNEL_PC, write_request(k_address));
        EXPECT_EQ(seen.result, ERR_UNKNOWN);
        EXPECT_THAT(seen.told, ElementsAre(op_type("1"), "sys error | fputs: 28 - No space left on device",
                                           k_failed + "write error"));
        EXPECT_THAT(seen.at_station, IsEmpty());
        EXPECT_THAT(seen.at_application, IsEmpty());
        EXPECT_THAT(seen.commands, ElementsAre("/system/bin/sync", "/system/bin/sync")) << "not protected";
        std::filesystem::remove_all(bench.folder().path("WIFI"));
        seen = bench.ask(amt_device_wifi_address, AMT_CHANNEL_PC, write_request(k_address));
        EXPECT_EQ(seen.result, ERR_UNKNOWN);
        EXPECT_THAT(seen.told, ElementsAre(op_type("1"), "sys error | open: 2 - No such file or directory",
                                           k_failed + "write error"));
        EXPECT_THAT(seen.at_station, IsEmpty());
        EXPECT_THAT(seen.at_application, IsEmpty());
        EXPECT_THAT(seen.commands, IsEmpty());
    });
}

// --- the check

TEST_F(Wifi, IsCheckedByTheLibrary)
{
    with_bench([](radio_bench &bench) {
        outcome seen = bench.ask(amt_device_wifi_address, AMT_CHANNEL_PC, request_of(2));
        EXPECT_EQ(seen.result, ERR_NONE);
        EXPECT_THAT(seen.calls, ElementsAre("hwt_wifiCheck()"));
        EXPECT_THAT(seen.told_before, ElementsAre("info | wifi connectivity check start"));
        EXPECT_THAT(seen.told, ElementsAre(op_type("2"), "info | wifi connectivity check start",
                                           "info | wifi connectivity check end. return:0."));
        EXPECT_THAT(seen.at_station, ElementsAre(enveloped(k_done)));
        EXPECT_THAT(seen.at_application, IsEmpty());
        EXPECT_THAT(seen.commands, IsEmpty());
        EXPECT_FALSE(bench.folder().has(k_file));
        seen = bench.ask(amt_device_wifi_address, AMT_CHANNEL_APP, request_of(2));
        EXPECT_THAT(seen.at_application, ElementsAre(k_done)) << "bare";
        EXPECT_THAT(seen.at_station, IsEmpty());
    });
}

TEST_F(Wifi, IsNotAnsweredForWhenItsCheckFails)
{
    control("hwt_wifiCheck", "result=2\n");
    with_bench([](radio_bench &bench) {
        const outcome seen = bench.ask(amt_device_wifi_address, AMT_CHANNEL_PC, request_of(2));
        EXPECT_EQ(seen.result, ERR_UNKNOWN);
        EXPECT_THAT(seen.told, ElementsAre(op_type("2"), "info | wifi connectivity check start",
                                           "info | wifi connectivity check end. return:2.",
                                           k_failed + "wifi connectivity check error. call hwt_btCtrl fail: 2"));
        EXPECT_THAT(seen.at_station, IsEmpty());
        EXPECT_THAT(seen.at_application, IsEmpty());
    });
}

// --- operations

struct operation_row {
    uint32_t operation;
    const char *number;
};

TEST_F(Wifi, HasNoOtherOperations)
{
    for (const operation_row &row : {operation_row{3, "3"}, operation_row{10, "10"}, operation_row{256, "256"},
                                     operation_row{0x7FFFFFFF, "2147483647"}, operation_row{0xFFFFFFFF, "-1"}}) {
        with_bench([&row](radio_bench &bench) {
            bench.folder().put(k_file, "old\n");
            const std::string request = message_of(185, int_atom(152, row.operation) + text_atom(153, k_address));
            const outcome seen = bench.ask(amt_device_wifi_address, AMT_CHANNEL_PC, request);
            EXPECT_EQ(seen.result, ERR_INVALID_PARAM) << row.number;
            EXPECT_THAT(seen.told,
                        ElementsAre(op_type(row.number), k_bad_argument + "unknown operation: " + row.number));
            EXPECT_THAT(seen.at_station, IsEmpty());
            EXPECT_THAT(seen.at_application, IsEmpty());
            EXPECT_THAT(seen.calls, IsEmpty());
            EXPECT_THAT(seen.commands, IsEmpty());
            EXPECT_EQ(bench.folder().content(k_file), "old\n");
        });
    }
}

TEST_F(Wifi, OperationMayBeMissingOrShorterThanANumber)
{
    with_bench([](radio_bench &bench) {
        bench.folder().put(k_file, "old\n");
        const std::string read = message_of(186, text_atom(153, "old") + int_atom(1, 0));
        const std::string address = text_atom(153, k_address);
        outcome seen = bench.ask(amt_device_wifi_address, AMT_CHANNEL_APP, message_of(185, address));
        EXPECT_THAT(seen.at_application, ElementsAre(read)) << "without one it is a read";
        seen = bench.ask(amt_device_wifi_address, AMT_CHANNEL_APP, message_of(185, bytes_atom(152, "") + address));
        EXPECT_THAT(seen.at_application, ElementsAre(read));
        seen = bench.ask(amt_device_wifi_address, AMT_CHANNEL_APP, message_of(185, bytes_atom(152, "\x02") + address));
        EXPECT_THAT(seen.calls, ElementsAre("hwt_wifiCheck()"));
        EXPECT_EQ(bench.folder().content(k_file), "old\n");
    });
}

TEST_F(Wifi, OperationsGiveTheResultOfTheirAnswer)
{
    for (const uint32_t operation : {0U, 1U, 2U}) {
        with_bench([operation](radio_bench &bench) {
            bench.folder().put(k_file, "old\n");
            radio_bench::close_links();
            const std::string request = message_of(185, int_atom(152, operation) + text_atom(153, k_address));
            EXPECT_EQ(bench.ask(amt_device_wifi_address, AMT_CHANNEL_PC, request).result, ERR_UNKNOWN) << operation;
            EXPECT_EQ(bench.ask(amt_device_wifi_address, AMT_CHANNEL_APP, request).result, ERR_UNKNOWN) << operation;
        });
    }
}

TEST_F(Wifi, OperationsRefuseBadArgumentsAndTellWhich)
{
    expect_bad_arguments_refused(amt_device_wifi_address, AMT_CHANNEL_PC, request_of(2));
    EXPECT_EQ(calls(), "(missing)");
}

} // namespace
