// Lines for the handset itself: the handshake, idle, the last download, and its power.
#include "amt/at-local/handset-at.h"

#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/types.h>

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

constexpr char k_sn_file[] = "/amt/sn-2.txt";
constexpr char k_flag_file[] = "/amt/power_usb_amt.txt";

// --- the handshake

TEST(HandshakeLine, NeedsATypeThatItKnows)
{
    for (const type_row &row : k_bad_types) {
        in_child([&row] {
            SCOPED_TRACE(row.field);
            const device_handset handset;
            handset.put(k_flag_file, "0");
            const std::string line = std::string("AT^DAMT1=") + row.field;
            const outcome seen = say(handset, handle_amt_not_permit_handshake_at, line);
            const std::string start = "info | handle_amt_not_permit_handshake_at. start.";
            if (row.told == nullptr) {
                expect_unanswered(seen);
                EXPECT_THAT(seen.told, ElementsAre(start, k_bad_argument + "type is null!!!"));
            } else {
                expect_answered(seen, k_error_line);
                EXPECT_THAT(seen.told, ElementsAre(start, StartsWith("info | handle_amt_damt1_operation op_type: "),
                                                   k_bad_argument + "unknown operation type: " + row.told));
                EXPECT_THAT(seen.events, ElementsAre("send"));
            }
            EXPECT_EQ(handset.content(k_flag_file), "0");
        });
    }
}

std::vector<std::string> flag_records(const std::string &type, const std::vector<std::string> &more)
{
    return steps{"info | handle_amt_not_permit_handshake_at. start.",
                 "info | handle_amt_damt1_operation op_type: " + type + "."} +
           more;
}

TEST(HandshakeLine, LooksForNothingBehindTheLongestRequest)
{
    for (const std::string line : {"AT^DAMT1=", "AT^DAMT1=,", "AT^DAMT1=2"}) {
        in_child([&line] {
            SCOPED_TRACE(line);
            const device_handset handset;
            handset.put(k_flag_file, "0");
            const outcome seen =
                say(handset, handle_amt_not_permit_handshake_at, std::string(4095 - line.size(), 'x') + line);
            if (line.back() == '2') {
                expect_answered(seen, "\r\n^DAMT1: 0\r\n\r\nOK\r\n");
            } else {
                expect_unanswered(seen);
            }
        });
    }
}

TEST(HandshakeLine, StoresTheFlag)
{
    const std::pair<const char *, const char *> rows[] = {
        {"0\r", "0"},  {"1\r", "1"},  {"0", "0"},    {"1,2\r", "1"}, {"1x\r", "1"},
        {" 1\r", "1"}, {"+1\r", "1"}, {"x\r", "0"},  {"-\r", "0"},   {" ", "0"},
        {"1\n", "1"},  {"01\r", "1"}, {",1\r", "1"}, {"-0\r", "0"},  {"1\r\n0\r", "1"},
    };
    for (const auto &[field, flag] : rows) {
        in_child([field = std::string(field), flag = std::string(flag)] {
            SCOPED_TRACE(field);
            const device_handset handset;
            handset.put(k_flag_file, "something longer\n");
            const ino_t inode = inode_of(handset, k_flag_file);
            const outcome seen = say(handset, handle_amt_not_permit_handshake_at, "AT^DAMT1=" + field);
            expect_answered(seen, k_ok_line);
            EXPECT_EQ(handset.content(k_flag_file), flag);
            EXPECT_EQ(inode_of(handset, k_flag_file), inode);
            EXPECT_THAT(seen.events, ElementsAreArray(writing_of(k_flag_file) + steps{"send"}));
            EXPECT_THAT(seen.told,
                        ElementsAreArray(flag_records(
                            flag, {"info | write content: " + flag,
                                   "info | Writed to file(/amt/power_usb_amt.txt) success.flag: " + flag + "."})));
        });
    }
}

TEST(HandshakeLine, IsAnErrorWhenTheFlagCannotBeStored)
{
    const std::string write_error = k_failed + "write error to do-not-permit-handshake file.";
    for (const write_failure &row : k_write_failures) {
        in_child([&] {
            SCOPED_TRACE(row.name);
            const device_handset handset;
            handset.put(k_flag_file, "0");
            fail_writing(k_flag_file, row);
            const outcome seen = say(handset, handle_amt_not_permit_handshake_at, "AT^DAMT1=1\r");
            expect_answered(seen, k_error_line);
            ASSERT_EQ(seen.told.size(), 4U);
            EXPECT_THAT(seen.told[2], StartsWith(k_failed_call + "fputs fail: " + row.told));
            EXPECT_EQ(seen.told[3], write_error);
            EXPECT_THAT(seen.events, ElementsAreArray(writing_of(k_flag_file) + steps{"send"}));
        });
    }
    in_child([&] {
        const device_handset handset;
        const outcome seen = say(handset, handle_amt_not_permit_handshake_at, "AT^DAMT1=0\r");
        expect_answered(seen, k_error_line);
        EXPECT_THAT(seen.told,
                    ElementsAreArray(flag_records(
                        "0", {k_failed_call + "open(\"/amt/power_usb_amt.txt\") fail: 2 - No such file or directory",
                              write_error})));
        EXPECT_THAT(seen.events, ElementsAre("read and write " + std::string(k_flag_file), "send"));
    });
}

struct flag_row {
    const char *name;
    const char *content; // null: there is no file
    const char *flag;
};

// clang-format off
constexpr flag_row k_flags_a[] = {
    {"no file reads as 1",       nullptr,                "1"},
    {"so does an empty file",   "",                     "1"},
    {"0",                       "0",                    "0"},
    {"1",                       "1",                    "1"},
    {"another number",          "7",                    "7"},
    {"no number",               "abc",                  "0"},
    {"below zero",              "-3",                   "-3"},
    {"with a line end",         "0\n",                  "0"},
    {"an empty line",           "\n1",                  "0"},
    {"a second line",           "1\n0\n",               "1"},
    {"blanks",                  "  12 ",                "12"},
    {"too large",               "99999999999999999999", "2147483647"},
};
// clang-format on

TEST(HandshakeLine, TellsTheFlag)
{
    for (const flag_row &row : k_flags_a) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const device_handset handset;
            if (row.content != nullptr) {
                handset.put(k_flag_file, row.content);
            }
            const outcome seen = say(handset, handle_amt_not_permit_handshake_at, "AT^DAMT1=2\r");
            expect_answered(seen, "\r\n^DAMT1: " + std::string(row.flag) + "\r\n\r\nOK\r\n");
            const std::vector<std::string> opened = {"read " + std::string(k_flag_file)};
            const auto events = row.content == nullptr ? opened : reading_of(k_flag_file);
            EXPECT_THAT(seen.events, ElementsAreArray(events + steps{"send"}));
            EXPECT_EQ(handset.content(k_flag_file), row.content == nullptr ? "(missing)" : row.content);
        });
    }
}

TEST(HandshakeLine, TellsTheLogWhatItRead)
{
    in_child([] {
        const device_handset handset;
        handset.put(k_flag_file, "0");
        EXPECT_THAT(
            say(handset, handle_amt_not_permit_handshake_at, "AT^DAMT1=2\r").told,
            ElementsAreArray(flag_records(
                "2", {"info | read content: 0", "info | readed success from file(/amt/power_usb_amt.txt). flag: 0."})));
    });
    in_child([] {
        const device_handset handset;
        EXPECT_THAT(say(handset, handle_amt_not_permit_handshake_at, "AT^DAMT1=2\r").told,
                    ElementsAreArray(flag_records(
                        "2", {k_failed_call + "open(\"/amt/power_usb_amt.txt\") fail: 2 - No such file or directory",
                              "info | readed failure from file(/amt/power_usb_amt.txt).."})));
    });
    in_child([] {
        const device_handset handset;
        handset.put(k_flag_file, "");
        EXPECT_THAT(say(handset, handle_amt_not_permit_handshake_at, "AT^DAMT1=2\r").told.back(),
                    "info | readed failure from file(/amt/power_usb_amt.txt)..");
    });
}

// --- idle

class IdleLine : public misc_library {};

TEST_F(IdleLine, LetsTheHandsetSinkAndThenAcknowledges)
{
    for (const char *line : {"AT^DENTERIDLE\r", "AT^DENTERIDLE", "noise AT^DENTERIDLE=1\r"}) {
        in_child([line] {
            const device_handset handset;
            const outcome seen = say(handset, handle_amt_enter_idle_at, line);
            expect_answered(seen, k_ok_line);
            EXPECT_THAT(seen.events, ElementsAre(k_load, "look up enter_idle", "unload", "send"));
            EXPECT_THAT(seen.told,
                        ElementsAre("info | will call enter_idle.", "info | stop call enter_idle. return value:0.",
                                    "info | enter_idle return OK."));
        });
    }
    EXPECT_EQ(calls(), "enter_idle()\nenter_idle()\nenter_idle()\n");
}

TEST_F(IdleLine, IsAnErrorWhateverElseTheLibraryReturns)
{
    for (const int result : {-7, 5, -104}) {
        control("enter_idle", "result=" + std::to_string(result) + "\n");
        in_child([result] {
            const device_handset handset;
            const outcome seen = say(handset, handle_amt_enter_idle_at, "AT^DENTERIDLE\r");
            expect_answered(seen, k_error_line);
            EXPECT_THAT(seen.events, ElementsAre(k_load, "look up enter_idle", "unload", "send"));
            EXPECT_EQ(seen.told.back(), "info | stop call enter_idle. return value:" + std::to_string(result) + ".");
        });
    }
}

TEST_F(IdleLine, IsAnErrorWithoutTheLibraryOrItsEntry)
{
    for (const char *missing : {k_load, "look up enter_idle"}) {
        in_child([missing] {
            const device_handset handset;
            g_fake.refused = {{missing, ENOENT}};
            const outcome seen = say(handset, handle_amt_enter_idle_at, "AT^DENTERIDLE\r");
            expect_answered(seen, k_error_line);
            EXPECT_THAT(seen.told, ElementsAre(StartsWith(k_failed_call + "call dlopen fail: - /")));
        });
    }
    EXPECT_EQ(calls(), "(missing)");
}

// --- the last download

class DownloadLine : public misc_library {};

TEST_F(DownloadLine, TellsTheFlagWhateverItIs)
{
    for (const std::string flag : {"0", "1", "2", "-7", "-104", "2147483647"}) {
        control("amt_check_system_sanity", "result=" + flag + "\n");
        in_child([&flag] {
            const device_handset handset;
            const outcome seen = say(handset, handle_amt_boot_dl_fin_read_at, "noise AT^DBOOTDLFIN");
            expect_answered(seen, "\r\n^DBOOTDLFIN: " + flag + "\r\n\r\nOK\r\n");
            EXPECT_THAT(seen.events, ElementsAre(k_load, "look up amt_check_system_sanity", "unload", "send"));
            EXPECT_THAT(seen.told,
                        ElementsAre("info | handle_amt_boot_dl_fin_read_at. at:noise AT^DBOOTDLFIN.",
                                    "info | amt_boot_dl_fin_read start.", "info | will call amt_check_system_sanity.",
                                    "info | stop call amt_check_system_sanity. return value:" + flag + ".",
                                    "info | amt_modem_boot_dl_fin_read finished. flag:" + flag + "; ret_val:0."));
            EXPECT_THAT(g_line_fakes.flags_seen, ElementsAre(2)) << "what stands for nothing read";
        });
    }
}

TEST_F(DownloadLine, TellsTheLogTheWholeLine)
{
    in_child([] {
        const device_handset handset;
        (void)say(handset, handle_amt_boot_dl_fin_read_at, "AT^DBOOTDLFIN\r");
        EXPECT_THAT(handset.log().text(),
                    ::testing::HasSubstr("handle_amt_boot_dl_fin_read_at. at:AT^DBOOTDLFIN\r.\n"));
    });
}

TEST_F(DownloadLine, IsAnErrorWithoutTheLibraryOrItsEntry)
{
    for (const char *missing : {k_load, "look up amt_check_system_sanity"}) {
        in_child([missing] {
            const device_handset handset;
            g_fake.refused = {{missing, ENOENT}};
            const outcome seen = say(handset, handle_amt_boot_dl_fin_read_at, "AT^DBOOTDLFIN");
            expect_answered(seen, k_error_line);
            EXPECT_THAT(seen.told, ElementsAre("info | handle_amt_boot_dl_fin_read_at. at:AT^DBOOTDLFIN.",
                                               "info | amt_boot_dl_fin_read start.",
                                               StartsWith(k_failed_call + "call dlopen fail: - /"),
                                               "info | amt_modem_boot_dl_fin_read finished. flag:0; ret_val:-118."));
        });
    }
}

// --- the power

TEST(PowerLine, AcknowledgesThenWaitsThenSwitchesOff)
{
    in_child([] {
        const device_handset handset;
        const outcome seen = say(handset, handle_amt_power_off_at, "AT^DAMTOFF\r");
        expect_answered(seen, k_ok_line);
        EXPECT_THAT(seen.events, ElementsAre("send", "pause 2 s", "power off"));
        EXPECT_THAT(seen.told, IsEmpty());
    });
}

TEST(PowerLine, TellsOfAPowerOffThatIsRefused)
{
    in_child([] {
        const device_handset handset;
        g_line_fakes.power_error = EPERM;
        const outcome seen = say(handset, handle_amt_power_off_at, "AT^DAMTOFF\r");
        expect_answered(seen, k_ok_line);
        EXPECT_THAT(seen.events, ElementsAre("send", "pause 2 s", "power off")) << "tried once";
        EXPECT_THAT(seen.told, ElementsAre("sys error | reboot: 1 - Operation not permitted"));
    });
}

TEST(PowerLine, SwitchesOffAlsoWhenTheStationDoesNotHearOfIt)
{
    for (const int refused : {0, EPERM}) {
        in_child([refused] {
            const device_handset handset;
            g_fake.is_send_cut = true;
            g_line_fakes.power_error = refused;
            const outcome seen = say(handset, handle_amt_power_off_at, "AT^DAMTOFF\r");
            EXPECT_EQ(seen.result, ERR_WRITE_NOT_COMPLETED) << "of the answer";
            EXPECT_THAT(seen.events, ElementsAre("send", "pause 2 s", "power off"));
        });
    }
}

// --- all of them

TEST_F(IdleLine, LikeAllOthersGivesTheResultOfItsAnswer)
{
    const std::pair<line_handler, const char *> rows[] = {
        {handle_amt_pcba_sn_at, "AT^DPCBACTRL=1\r"},          {handle_amt_pcba_sn_at, "AT^DPCBACTRL=2,7\r"},
        {handle_amt_pcba_sn_at, "AT^DPCBACTRL=3\r"},          {handle_amt_not_permit_handshake_at, "AT^DAMT1=0\r"},
        {handle_amt_not_permit_handshake_at, "AT^DAMT1=2\r"}, {handle_amt_not_permit_handshake_at, "AT^DAMT1=3\r"},
        {handle_amt_enter_idle_at, "AT^DENTERIDLE\r"},        {handle_amt_boot_dl_fin_read_at, "AT^DBOOTDLFIN\r"},
    };
    for (const auto &[handler, line] : rows) {
        for (const bool succeeds : {true, false}) {
            in_child([handler = handler, line = line, succeeds] {
                const device_handset handset;
                if (succeeds) {
                    handset.put(k_sn_file, "sn");
                    handset.put(k_flag_file, "0");
                } else {
                    g_fake.refused = {{k_load, ENOENT}};
                }
                g_fake.is_send_cut = true;
                EXPECT_EQ(say(handset, handler, line).result, ERR_WRITE_NOT_COMPLETED) << line << succeeds;
            });
        }
    }
}

struct name_row {
    const char *name;
    line_handler handler;
    const char *line;
};

TEST_F(IdleLine, LikeAllOthersIsToldByItsHandlersName)
{
    const name_row rows[] = {
        {"handle_amt_power_off_at", handle_amt_power_off_at, "AT^DAMTOFF\r"},
        {"handle_amt_pcba_sn_at", handle_amt_pcba_sn_at, "AT^DPCBACTRL=1\r"},
        {"handle_amt_pcba_sn_at", handle_amt_pcba_sn_at, "AT^DPCBACTRL=\r"},
        {"handle_amt_not_permit_handshake_at", handle_amt_not_permit_handshake_at, "AT^DAMT1=2\r"},
        {"handle_amt_not_permit_handshake_at", handle_amt_not_permit_handshake_at, "AT^DAMT1=\r"},
        {"handle_amt_enter_idle_at", handle_amt_enter_idle_at, "AT^DENTERIDLE\r"},
        {"handle_amt_boot_dl_fin_read_at", handle_amt_boot_dl_fin_read_at, "AT^DBOOTDLFIN\r"},
    };
    for (const name_row &row : rows) {
        in_child([&row] {
            SCOPED_TRACE(row.line);
            const device_handset handset;
            (void)say(handset, row.handler, row.line);
            EXPECT_EQ(handset.log().records().front(), "func | ");
            EXPECT_EQ(handset.log().functions().front(), row.name);
        });
    }
}

} // namespace
