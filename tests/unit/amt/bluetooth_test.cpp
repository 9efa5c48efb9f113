#include "amt/device/bluetooth.h"

#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "pub/log/errors.h"
#include "tests/support/in_child.h"
#include "tests/unit/amt/exchange.h"
#include "tests/unit/amt/handler_arguments.h"
#include "tests/unit/amt/radio_fakes.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

const std::string k_start = message_of(170);
const std::string k_started = message_of(171, int_atom(1, 0));

constexpr char k_address[] = "00:11:22:33:44:55";
constexpr char k_file[] = "BT/BT_Address.txt"; // in the folder

std::string request_of(uint32_t operation)
{
    return message_of(172, int_atom(110, operation));
}

std::string write_request(const std::string &address)
{
    return message_of(172, int_atom(110, 2) + text_atom(111, address));
}

const std::string k_done = message_of(173, int_atom(1, 0));

std::string op_type(const std::string &operation)
{
    return "info | amt_device_bt_address op_type:" + operation;
}

class Bluetooth : public radio_handset {};

// --- the start

TEST_F(Bluetooth, StartIsAcknowledgedAtOnceByTheServiceItself)
{
    with_bench([](radio_bench &bench) {
        g_radio.forks = {{4711, 0}, {1, 0}};
        outcome seen = bench.ask(amt_device_bt, AMT_CHANNEL_PC, k_start);
        EXPECT_EQ(seen.result, ERR_NONE);
        EXPECT_THAT(seen.at_station, ElementsAre(enveloped(k_started)));
        EXPECT_THAT(seen.at_application, IsEmpty());
        EXPECT_THAT(seen.told, IsEmpty());
        EXPECT_THAT(seen.calls, IsEmpty()) << "that is for the copy";
        seen = bench.ask(amt_device_bt, AMT_CHANNEL_APP, k_start);
        EXPECT_EQ(seen.result, ERR_NONE);
        EXPECT_THAT(seen.at_application, ElementsAre(k_started)) << "bare";
        EXPECT_THAT(seen.at_station, IsEmpty());
        EXPECT_THAT(seen.calls, IsEmpty());
        EXPECT_THAT(g_radio.forks, IsEmpty());
    });
}

TEST_F(Bluetooth, StartIsTheCopysWhichAcknowledgesOnceMore)
{
    with_bench([](radio_bench &bench) {
        g_radio.forks = {{0, 0}, {0, 0}};
        outcome seen = bench.ask(amt_device_bt, AMT_CHANNEL_PC, k_start);
        EXPECT_EQ(seen.result, ERR_NONE);
        EXPECT_THAT(seen.calls, ElementsAre("hwt_btCtrl(1)"));
        EXPECT_THAT(seen.told_before, ElementsAre("info | BT-start start")) << "nothing is answered before";
        EXPECT_THAT(seen.told, ElementsAre("info | BT-start start", "info | BT-start end. return:0."));
        EXPECT_THAT(seen.at_station, ElementsAre(enveloped(k_started)));
        EXPECT_THAT(seen.at_application, IsEmpty());
        seen = bench.ask(amt_device_bt, AMT_CHANNEL_APP, k_start);
        EXPECT_EQ(seen.result, ERR_NONE);
        EXPECT_THAT(seen.calls, ElementsAre("hwt_btCtrl(1)"));
        EXPECT_THAT(seen.at_application, ElementsAre(k_started)) << "bare";
        EXPECT_THAT(seen.at_station, IsEmpty());
    });
}

TEST_F(Bluetooth, StartThatFailsIsNotAcknowledgedByTheCopy)
{
    control("hwt_btCtrl", "result=3\n");
    with_bench([](radio_bench &bench) {
        g_radio.forks = {{0, 0}};
        const outcome seen = bench.ask(amt_device_bt, AMT_CHANNEL_PC, k_start);
        EXPECT_EQ(seen.result, ERR_C_FUNCTION);
        EXPECT_THAT(seen.calls, ElementsAre("hwt_btCtrl(1)"));
        EXPECT_THAT(seen.told, ElementsAre("info | BT-start start", "info | BT-start end. return:3.",
                                           k_failed + "BT-start error. call hwt_btCtrl fail: 3",
                                           k_failed_call + "error to exec: hciattach"));
        EXPECT_THAT(seen.at_station, IsEmpty());
        EXPECT_THAT(seen.at_application, IsEmpty());
    });
}

TEST_F(Bluetooth, StartFailsWithoutACopy)
{
    with_bench([](radio_bench &bench) {
        g_radio.forks = {{-1, EAGAIN}};
        const outcome seen = bench.ask(amt_device_bt, AMT_CHANNEL_PC, k_start);
        EXPECT_EQ(seen.result, ERR_C_FUNCTION);
        EXPECT_THAT(seen.calls, IsEmpty());
        EXPECT_THAT(seen.told, ElementsAre(k_failed_call + "error to exec: hciattach"));
        EXPECT_THAT(seen.at_station, IsEmpty());
        EXPECT_THAT(seen.at_application, IsEmpty());
    });
}

TEST_F(Bluetooth, StartGivesTheResultOfItsAnswerButInTheCopy)
{
    with_bench([](radio_bench &bench) {
        radio_bench::close_links();
        g_radio.forks = {{4711, 0}, {0, 0}};
        EXPECT_EQ(bench.ask(amt_device_bt, AMT_CHANNEL_PC, k_start).result, ERR_UNKNOWN);
        EXPECT_EQ(bench.ask(amt_device_bt, AMT_CHANNEL_PC, k_start).result, ERR_NONE) << "Bluetooth runs";
    });
}

TEST_F(Bluetooth, StartReallyDoublesTheServiceAndBothGoOn)
{
    in_child([] {
        const links link;
        const pid_t service = getpid();
        const amt_buffer request = buffer_with(k_start);
        amt_buffer response = {};
        const int32_t result = amt_device_bt(AMT_CHANNEL_PC, &request, &response);
        if (getpid() != service) {
            _exit(result == ERR_NONE ? 42 : 1); // the copy got here as well
        }
        EXPECT_EQ(result, ERR_NONE);
        int status = 0;
        EXPECT_GT(waitpid(-1, &status, 0), 0);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 42) << status;
        EXPECT_THAT(link.at_station(), ElementsAre(enveloped(k_started), enveloped(k_started)));
    });
    EXPECT_EQ(calls(), "hwt_btCtrl(1)\n");
}

TEST_F(Bluetooth, StartRefusesBadArgumentsAndTellsWhich)
{
    expect_bad_arguments_refused(amt_device_bt, AMT_CHANNEL_PC, k_start);
    EXPECT_EQ(calls(), "(missing)");
}

// --- the address is read

struct read_row {
    const char *name;
    std::string content;
    std::string address;
};

TEST_F(Bluetooth, AddressIsTheFirstWordOfItsFile)
{
    const read_row rows[] = {
        {"as it is written", "00:11:22:33:44:55\n", k_address},
        {"without a line end", "00:11:22:33:44:55", k_address},
        {"behind blanks", "\n \t00:11:22:33:44:55\n", k_address},
        {"before another", "00:11:22:33:44:55 66:77\n88\n", k_address},
        {"one character", "x", "x"},
        {"59 characters", std::string(59, 'x') + "\n", std::string(59, 'x')},
        {"60 characters", std::string(60, 'x') + "\n", std::string(59, 'x')},
        {"many", std::string(5000, 'x'), std::string(59, 'x')},
    };
    for (const read_row &row : rows) {
        with_bench([&row](radio_bench &bench) {
            SCOPED_TRACE(row.name);
            bench.folder().put(k_file, row.content);
            outcome seen = bench.ask(amt_device_bt_address, AMT_CHANNEL_PC, request_of(1));
            EXPECT_EQ(seen.result, ERR_NONE);
            const std::string answer = message_of(173, text_atom(111, row.address) + int_atom(1, 0));
            EXPECT_THAT(seen.at_station, ElementsAre(enveloped(answer)));
            EXPECT_THAT(seen.at_application, IsEmpty());
            EXPECT_THAT(seen.told, ElementsAre(op_type("1"), "info | read BT address: " + row.address));
            seen = bench.ask(amt_device_bt_address, AMT_CHANNEL_APP, request_of(1));
            EXPECT_EQ(seen.result, ERR_NONE);
            EXPECT_THAT(seen.at_application, ElementsAre(answer)) << "bare";
            EXPECT_THAT(seen.at_station, IsEmpty());
            EXPECT_EQ(bench.folder().content(k_file), row.content);
            EXPECT_THAT(seen.calls, IsEmpty());
            EXPECT_THAT(seen.commands, IsEmpty());
        });
    }
}

TEST_F(Bluetooth, AddressIsMissingInAFileWithoutAWord)
{
    for (const char *content : {"", "\n", " \t\r\n \n"}) {
        with_bench([content](radio_bench &bench) {
            bench.folder().put(k_file, content);
            const outcome seen = bench.ask(amt_device_bt_address, AMT_CHANNEL_PC, request_of(1));
            EXPECT_EQ(seen.result, ERR_UNKNOWN);
            EXPECT_THAT(seen.told, ElementsAre(op_type("1"), k_failed + "read not completed"));
            EXPECT_THAT(seen.at_station, IsEmpty());
            EXPECT_THAT(seen.at_application, IsEmpty());
        });
    }
}

TEST_F(Bluetooth, AddressCannotBeReadFromWhatIsNoFile)
{
    with_bench([](radio_bench &bench) {
        const outcome seen = bench.ask(amt_device_bt_address, AMT_CHANNEL_PC, request_of(1));
        EXPECT_EQ(seen.result, ERR_INVALID_PARAM);
        EXPECT_THAT(seen.told, ElementsAre(op_type("1"), k_bad_argument + "open(\"/amt/BT/BT_Address.txt\") fail: 2 - "
                                                                          "No such file or directory"));
        EXPECT_THAT(seen.at_station, IsEmpty());
        EXPECT_THAT(seen.at_application, IsEmpty());
        EXPECT_FALSE(bench.folder().has(k_file));
    });
    with_bench([](radio_bench &bench) {
        std::filesystem::create_directory(bench.folder().path(k_file));
        const outcome seen = bench.ask(amt_device_bt_address, AMT_CHANNEL_PC, request_of(1));
        EXPECT_EQ(seen.result, ERR_UNKNOWN);
        EXPECT_THAT(seen.told, ElementsAre(op_type("1"), k_failed + "read not completed"));
    });
    with_bench([](radio_bench &bench) {
        ASSERT_EQ(mkfifo(bench.folder().path(k_file).c_str(), 0600), 0);
        const outcome seen = bench.ask(amt_device_bt_address, AMT_CHANNEL_PC, request_of(1));
        EXPECT_EQ(seen.result, ERR_INVALID_PARAM) << "nobody is waited for";
        EXPECT_EQ(seen.told.back(), k_bad_argument + "open(\"/amt/BT/BT_Address.txt\") fail: 22 - Invalid argument");
    });
}

// --- the address is written

// What the file, the shell and the clock go through after the request, in order.
std::vector<std::string> steps_of(radio_bench &bench, const std::string &request)
{
    std::vector<std::string> steps;
    const auto add = [&steps](const std::string &step) {
        steps.push_back((g_fake.files.empty() ? "closed, " : "open, ") + step);
    };
    g_fake.on_command = add;
    g_fake.on_pause = [&] { add(std::to_string(g_fake.pauses.back()) + ": " + bench.folder().content(k_file)); };
    (void)bench.ask(amt_device_bt_address, AMT_CHANNEL_PC, request);
    g_fake.on_pause = nullptr;
    g_fake.on_command = nullptr;
    return steps;
}

struct write_row {
    const char *name;
    std::string address;
    std::string written;
};

TEST_F(Bluetooth, AddressIsWrittenAsALine)
{
    const write_row rows[] = {
        {"usual", k_address, k_address},
        {"one character", "x", "x"},
        {"blanks", " a b ", " a b "},
        {"58 characters", std::string(58, 'x'), std::string(58, 'x')},
        {"59 characters", std::string(59, 'x'), std::string(59, 'x')},
        {"60 are cut further", std::string(60, 'x'), std::string(58, 'x')},
        {"100 characters", std::string(100, 'x'), std::string(58, 'x')},
        {"a zero where it is cut", std::string(58, 'x') + std::string(3, '\0'), std::string(58, 'x')},
    };
    for (const write_row &row : rows) {
        with_bench([&row](radio_bench &bench) {
            SCOPED_TRACE(row.name);
            bench.folder().put(k_file, std::string(200, 'o'));
            outcome seen = bench.ask(amt_device_bt_address, AMT_CHANNEL_PC, write_request(row.address));
            EXPECT_EQ(seen.result, ERR_NONE);
            EXPECT_EQ(bench.folder().content(k_file), row.written + "\n");
            EXPECT_THAT(seen.told, ElementsAre(op_type("2"), "info | write BT address: " + row.written,
                                               "info | path = /amt/BT change to chmod -R 555"));
            EXPECT_THAT(seen.at_station, ElementsAre(enveloped(k_done)));
            EXPECT_THAT(seen.at_application, IsEmpty());
            EXPECT_THAT(seen.calls, IsEmpty());
            seen = bench.ask(amt_device_bt_address, AMT_CHANNEL_APP, write_request(row.address));
            EXPECT_THAT(seen.at_application, ElementsAre(k_done)) << "bare";
            EXPECT_THAT(seen.at_station, IsEmpty());
        });
    }
}

TEST_F(Bluetooth, AddressIsProtectedThenClosedThenWithTheDisk)
{
    with_bench([](radio_bench &bench) {
        const std::string line = std::string(k_address) + "\n";
        EXPECT_THAT(steps_of(bench, write_request(k_address)),
                    ElementsAre("open, chmod -R 555 /amt/BT", "closed, 50: " + line, "closed, /system/bin/sync",
                                "closed, 50: " + line, "closed, /system/bin/sync"));
    });
}

struct bad_address_row {
    const char *name;
    std::string atoms;
};

TEST_F(Bluetooth, AddressThatIsNoneEmptiesTheFileAllTheSame)
{
    const bad_address_row rows[] = {
        {"empty", text_atom(111, "")},
        {"missing", ""},
        {"a zero inside", text_atom(111, std::string("00:11\0:22", 9))},
        {"a zero at first", text_atom(111, std::string("\0x", 2))},
        {"a zero at last", text_atom(111, std::string("x\0", 2))},
        {"another atom", text_atom(153, k_address)},
    };
    for (const bad_address_row &row : rows) {
        with_bench([&row](radio_bench &bench) {
            SCOPED_TRACE(row.name);
            const std::string request = message_of(172, int_atom(110, 2) + row.atoms);
            bench.folder().put(k_file, "old\n");
            const outcome seen = bench.ask(amt_device_bt_address, AMT_CHANNEL_PC, request);
            EXPECT_EQ(seen.result, ERR_INVALID_PARAM);
            EXPECT_THAT(seen.told, ElementsAre(op_type("2"), k_bad_argument + "unknown BT address"));
            EXPECT_THAT(seen.at_station, IsEmpty());
            EXPECT_THAT(seen.at_application, IsEmpty());
            EXPECT_EQ(bench.folder().content(k_file), "");
            EXPECT_THAT(steps_of(bench, request), ElementsAre("closed, 50: ", "closed, /system/bin/sync",
                                                              "closed, 50: ", "closed, /system/bin/sync"));
        });
    }
}

TEST_F(Bluetooth, AddressThatCannotBeWrittenIsLeftToTheDiskUnprotected)
{
    for (const writing &failure : {writing{0, ENOSPC}, writing{0, 0}, writing{17, 0}}) {
        with_bench([&failure](radio_bench &bench) {
            g_fake.file_writings = {failure};
            outcome seen = bench.ask(amt_device_bt_address, AMT_CHANNEL_PC, write_request(k_address));
            EXPECT_EQ(seen.result, ERR_C_FUNCTION);
            EXPECT_THAT(seen.told, ElementsAre(op_type("2"), k_failed_call + "fputs() fail"));
            EXPECT_THAT(seen.at_station, IsEmpty());
            EXPECT_THAT(seen.at_application, IsEmpty());
            const std::string rest = std::string(k_address).substr(0, failure.at_most);
            g_fake.file_writings = {failure};
            EXPECT_THAT(steps_of(bench, write_request(k_address)),
                        ElementsAre("closed, 50: " + rest, "closed, /system/bin/sync", "closed, 50: " + rest,
                                    "closed, /system/bin/sync"));
        });
    }
}

TEST_F(Bluetooth, AddressHasNoPlaceWithoutAFolder)
{
    with_bench([](radio_bench &bench) {
        std::filesystem::remove(bench.folder().path("BT"));
        const outcome seen = bench.ask(amt_device_bt_address, AMT_CHANNEL_PC, write_request(k_address));
        EXPECT_EQ(seen.result, ERR_C_FUNCTION);
        EXPECT_THAT(seen.told, ElementsAre(op_type("2"), k_failed_call + "open(\"/amt/BT/BT_Address.txt\") fail: 2 - "
                                                                         "No such file or directory"));
        EXPECT_THAT(seen.commands, IsEmpty());
        EXPECT_THAT(g_fake.pauses, IsEmpty());
        EXPECT_THAT(seen.at_station, IsEmpty());
        EXPECT_THAT(seen.at_application, IsEmpty());
    });
}

// --- check, off and on

struct step_row {
    uint32_t operation;
    const char *name;
    const char *call;
    const char *entry;
};

// clang-format off
constexpr step_row k_steps_a[] = {
    {3,  "BT hardware check", "hwt_btCheck()", "hwt_btCheck"},
    {10, "BT-start close",    "hwt_btCtrl(0)", "hwt_btCtrl"},
    {11, "BT-start open",     "hwt_btCtrl(1)", "hwt_btCtrl"},
};
// clang-format on

TEST_F(Bluetooth, IsCheckedAndSwitchedByTheLibrary)
{
    for (const step_row &row : k_steps_a) {
        with_bench([&row](radio_bench &bench) {
            SCOPED_TRACE(row.name);
            const std::string name = row.name;
            outcome seen = bench.ask(amt_device_bt_address, AMT_CHANNEL_PC, request_of(row.operation));
            EXPECT_EQ(seen.result, ERR_NONE);
            EXPECT_THAT(seen.calls, ElementsAre(row.call));
            EXPECT_THAT(seen.told_before, ElementsAre("info | " + name + " start"));
            EXPECT_THAT(seen.told, ElementsAre(op_type(std::to_string(row.operation)), "info | " + name + " start",
                                               "info | " + name + " end. return:0."));
            EXPECT_THAT(seen.at_station, ElementsAre(enveloped(k_done)));
            EXPECT_THAT(seen.at_application, IsEmpty());
            EXPECT_THAT(seen.commands, IsEmpty());
            EXPECT_FALSE(bench.folder().has(k_file));
            seen = bench.ask(amt_device_bt_address, AMT_CHANNEL_APP, request_of(row.operation));
            EXPECT_THAT(seen.at_application, ElementsAre(k_done)) << "bare";
            EXPECT_THAT(seen.at_station, IsEmpty());
        });
    }
}

TEST_F(Bluetooth, IsNotAnsweredForWhenTheLibraryRefuses)
{
    for (const step_row &row : k_steps_a) {
        control(row.entry, "result=-9\n");
        with_bench([&row](radio_bench &bench) {
            SCOPED_TRACE(row.name);
            const std::string name = row.name;
            const outcome seen = bench.ask(amt_device_bt_address, AMT_CHANNEL_PC, request_of(row.operation));
            EXPECT_EQ(seen.result, ERR_UNKNOWN);
            EXPECT_THAT(seen.told, ElementsAre(op_type(std::to_string(row.operation)), "info | " + name + " start",
                                               "info | " + name + " end. return:-9.",
                                               k_failed + name + " error. call " + row.entry + " fail: -9"));
            EXPECT_THAT(seen.at_station, IsEmpty());
            EXPECT_THAT(seen.at_application, IsEmpty());
        });
    }
}

// --- operations

struct operation_row {
    const char *name;
    std::string atom;
    const char *number;
};

TEST_F(Bluetooth, HasNoOtherOperations)
{
    const operation_row rows[] = {
        {"0", int_atom(110, 0), "0"},
        {"none", "", "0"},
        {"another atom", int_atom(152, 1), "0"},
        {"4", int_atom(110, 4), "4"},
        {"9", int_atom(110, 9), "9"},
        {"12", int_atom(110, 12), "12"},
        {"65537", int_atom(110, 65537), "65537"},
        {"-1", int_atom(110, 0xFFFFFFFF), "-1"},
        {"an empty atom", bytes_atom(110, ""), "0"},
    };
    for (const operation_row &row : rows) {
        with_bench([&row](radio_bench &bench) {
            SCOPED_TRACE(row.name);
            bench.folder().put(k_file, "old\n");
            const std::string request = message_of(172, row.atom + text_atom(111, k_address));
            const outcome seen = bench.ask(amt_device_bt_address, AMT_CHANNEL_PC, request);
            EXPECT_EQ(seen.result, ERR_INVALID_PARAM);
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

TEST_F(Bluetooth, OperationMayBeShorterOrLongerThanANumber)
{
    for (const std::string &bytes : {std::string("\x03", 1), std::string("\x03\0\0\0\x01", 5)}) {
        with_bench([&bytes](radio_bench &bench) {
            const outcome seen =
                bench.ask(amt_device_bt_address, AMT_CHANNEL_PC, message_of(172, bytes_atom(110, bytes)));
            EXPECT_EQ(seen.result, ERR_NONE);
            EXPECT_THAT(seen.calls, ElementsAre("hwt_btCheck()"));
        });
    }
}

TEST_F(Bluetooth, OperationsGiveTheResultOfTheirAnswer)
{
    for (const uint32_t operation : {1U, 2U, 3U, 10U, 11U}) {
        with_bench([operation](radio_bench &bench) {
            bench.folder().put(k_file, "old\n");
            radio_bench::close_links();
            const std::string request = message_of(172, int_atom(110, operation) + text_atom(111, k_address));
            EXPECT_EQ(bench.ask(amt_device_bt_address, AMT_CHANNEL_PC, request).result, ERR_UNKNOWN) << operation;
            EXPECT_EQ(bench.ask(amt_device_bt_address, AMT_CHANNEL_APP, request).result, ERR_UNKNOWN) << operation;
        });
    }
}

TEST_F(Bluetooth, OperationsRefuseBadArgumentsAndTellWhich)
{
    expect_bad_arguments_refused(amt_device_bt_address, AMT_CHANNEL_PC, request_of(11));
    EXPECT_EQ(calls(), "(missing)");
}

} // namespace
