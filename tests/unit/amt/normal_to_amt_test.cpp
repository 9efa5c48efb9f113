#include "amt/modem/normal-to-amt.h"

#include <cutils/properties.h>
#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stddef.h>
#include <string.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "pub/log/errors.h"
#include "tests/support/in_child.h"
#include "tests/support/test_log.h"
#include "tests/unit/amt/amt_folder.h"
#include "tests/unit/amt/exchange.h"
#include "tests/unit/amt/handler_arguments.h"
#include "tests/unit/amt/links.h"
#include "tests/unit/amt/port_fakes.h"

namespace {

using ::testing::Contains;
using ::testing::ContainsRegex;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;
using ::testing::StartsWith;

// The platform, as far as the switch touches it. Only inside a child.
std::map<std::string, std::string> g_properties;
int g_set_result = 0;
std::function<void(const std::string &)> g_note; // happens with each effect

void note(const std::string &effect)
{
    if (g_note) {
        g_note(effect);
    }
}

} // namespace

extern "C" {

int __wrap_property_get(const char *key, char *value, const char *otherwise)
{
    const auto at = g_properties.find(key);
    const std::string text = at == g_properties.end() ? otherwise : at->second;
    memcpy(value, text.c_str(), text.size() + 1);
    return static_cast<int>(text.size());
}

int __wrap_property_set(const char *key, const char *value)
{
    note(std::string(key) + "=" + value);
    g_properties[key] = value;
    return g_set_result;
}

int __real_kill(pid_t pid, int signal_number);
int __wrap_kill(pid_t pid, int signal_number)
{
    EXPECT_EQ(pid, getpid()) << "nobody else is ended";
    note("signal " + std::to_string(signal_number));
    return 0;
}
}

namespace {

// --- the switch

std::string switch_request(uint32_t mode)
{
    return message_of(0xC3, int_atom(201, mode));
}

// What happens, in its order: commands to the modem, answers, properties, pauses, signals.
std::vector<std::string> effects_of_switch(const std::string &request, const std::vector<std::string> &modem,
                                           int32_t *result)
{
    const links link;
    (void)open_port();
    modem_says(modem);
    std::vector<std::string> effects;
    size_t commands = 0;
    g_note = [&](const std::string &effect) {
        for (; commands < g_fake.written.size(); commands++) {
            effects.push_back(g_fake.written[commands]);
        }
        for (const std::string &answer : link.at_application()) {
            effects.push_back("answer " + answer);
        }
        effects.push_back(effect);
    };
    g_fake.on_pause = [] { note("pause " + std::to_string(g_fake.pauses.back())); };
    const amt_buffer asked = buffer_with(request);
    amt_buffer response = buffer_with(std::string(400, 'f'));
    *result = amt_handle_normal_to_amt(AMT_CHANNEL_APP, &asked, &response);
    note("end");
    return effects;
}

void expect_effects(const std::string &name, const std::string &request, const std::vector<std::string> &modem,
                    const std::vector<std::string> &effects)
{
    in_child([&] {
        int32_t result = -1;
        EXPECT_THAT(effects_of_switch(request, modem, &result), ElementsAreArray(effects)) << name;
        EXPECT_EQ(result, ERR_NONE) << name;
    });
}

const std::string k_done = "answer " + result_of(0xC4, 0);
const std::string k_not_done = "answer " + result_of(0xC4, 10);

TEST(SwitchToAmt, HappensInItsOrder)
{
    expect_effects("mode 3", switch_request(3), {k_ok, k_ok},
                   {"AT^DMPCHN=0\r", "AT^DSWAMT=3\r", "amt.normal.amt.switch_status=1", k_done,
                    "sys.usb.config=serial,adb", "pause 500", "ctl.stop=kv-zep-aux0", "signal 15", "end"});
}

TEST(SwitchToAmt, AsksForTheWantedMode)
{
    const std::pair<std::string, const char *> rows[] = {
        {switch_request(0), "AT^DSWAMT=0\r"},
        {switch_request(1), "AT^DSWAMT=1\r"},
        {switch_request(12), "AT^DSWAMT=12\r"},
        {switch_request(0xFFFFFFFF), "AT^DSWAMT=-1\r"},
        {message_of(0xC3), "AT^DSWAMT=0\r"},
        {message_of(0xC3, int_atom(202, 7)), "AT^DSWAMT=0\r"},
        {message_of(0xC3, int_atom(159, 1) + int_atom(201, 4)), "AT^DSWAMT=4\r"},
    };
    for (const auto &[request, command] : rows) {
        expect_effects(command, request, {k_ok, "\r\nERROR\r\n"}, {"AT^DMPCHN=0\r", command, k_not_done, "end"});
    }
}

TEST(SwitchToAmt, IsGivenUpWithTheBand)
{
    for (const refusal_row &refusal : k_refusals) {
        expect_effects(refusal.name, switch_request(3), {refusal.text, k_ok, k_ok},
                       {"AT^DMPCHN=0\r", k_not_done, "end"});
    }
}

TEST(SwitchToAmt, IsGivenUpWithTheMode)
{
    for (const refusal_row &refusal : k_refusals) {
        expect_effects(refusal.name, switch_request(3), {k_ok, refusal.text, k_ok},
                       {"AT^DMPCHN=0\r", "AT^DSWAMT=3\r", k_not_done, "end"});
    }
}

TEST(SwitchToAmt, IsGivenUpWithThePort)
{
    const std::function<void()> failures[] = {
        [] { fail_write(EAGAIN); },
        [] { fail_read(EAGAIN); },
        [] {
            modem_says({k_ok});
            fail_read(EAGAIN);
        },
        [] {
            modem_says({k_ok});
            g_fake.writings = {{}, {0, EAGAIN}};
        },
    };
    for (const std::function<void()> &fail : failures) {
        with_exchange(
            amt_handle_normal_to_amt, switch_request(3), {},
            [](const exchange &seen) {
                EXPECT_EQ(seen.result, ERR_NONE);
                EXPECT_THAT(seen.answers, ElementsAre(result_of(0xC4, 10)));
                EXPECT_THAT(g_properties, IsEmpty());
            },
            [&fail] {
                fail();
                g_note = [](const std::string &effect) { ADD_FAILURE() << effect; };
            });
    }
}

TEST(SwitchToAmt, WaitsForAnswersInPieces)
{
    std::vector<std::string> modem = bytewise(k_ok);
    for (const std::string &byte : bytewise("\r\n^DSWAMT: 3\r\n\r\nOK\r\n")) {
        modem.push_back(byte);
    }
    expect_effects("bytes", switch_request(3), modem,
                   {"AT^DMPCHN=0\r", "AT^DSWAMT=3\r", "amt.normal.amt.switch_status=1", k_done,
                    "sys.usb.config=serial,adb", "pause 500", "ctl.stop=kv-zep-aux0", "signal 15", "end"});
}

struct usb_row {
    const char *name;
    const char *config; // null: not set
    bool is_set_anew;
};

TEST(SwitchToAmt, LeavesASerialPortAlone)
{
    const usb_row rows[] = {
        {"not set", nullptr, true},
        {"none", "", true},
        {"another", "mtp,adb", true},
        {"capitals", "SERIAL", true},
        {"serial and adb", "serial,adb", false},
        {"serial", "serial", false},
        {"serial behind others", "mtp,serial", false},
        {"within a word", "xserialx", false},
    };
    for (const usb_row &row : rows) {
        in_child([&row] {
            if (row.config != nullptr) {
                g_properties["sys.usb.config"] = row.config;
            }
            const test_log log;
            int32_t result = -1;
            const std::vector<std::string> effects = effects_of_switch(switch_request(3), {k_ok, k_ok}, &result);
            const std::string is_set = "sys.usb.config=serial,adb";
            EXPECT_EQ(std::count(effects.begin(), effects.end(), is_set), row.is_set_anew ? 1 : 0) << row.name;
            EXPECT_EQ(effects.size(), row.is_set_anew ? 9U : 8U) << row.name;
            const std::string config = row.config == nullptr ? "@#no_set_config#@" : row.config;
            EXPECT_THAT(log.records(), Contains("info | property-sys.usb.config value: " + config)) << row.name;
            EXPECT_THAT(log.records(),
                        Contains(row.is_set_anew ? "info | will set property(sys.usb.config) to serial,adb."
                                                 : "info | already activate serial, do not reset. "))
                << row.name;
        });
    }
}

TEST(SwitchToAmt, IsToldInTheLog)
{
    in_child([] {
        const test_log log;
        int32_t result = -1;
        g_set_result = -7;
        (void)effects_of_switch(switch_request(3), {k_ok, k_ok}, &result);
        const std::vector<std::string> records = log.records();
        for (const char *told : {"amt_handle_normal_to_amt amt_mode:3", "amt_change_band band:0", "amt_change_band :",
                                 "amt_handle_normal_to_amt :", "set property(amt.normal.amt.switch_status) to 1.",
                                 "will exit program.", "stop kv-zep-aux return: -7"}) {
            EXPECT_THAT(records, Contains(StartsWith(std::string("info | ") + told))) << told;
        }
    });
}

TEST(SwitchToAmt, TellsEachOfItsSteps)
{
    in_child([] {
        const links link;
        (void)open_port();
        modem_says({k_ok, k_ok});
        const test_log log;
        std::string told_last;
        g_fake.on_pause = [&] { told_last = log.records().back(); };
        const amt_buffer request = buffer_with(switch_request(3));
        amt_buffer response = {};
        EXPECT_EQ(amt_handle_normal_to_amt(AMT_CHANNEL_APP, &request, &response), ERR_NONE);
        EXPECT_EQ(told_last, "info | will exit program.") << "before the pause";
        for (const char *function : {"amt_handle_normal_to_amt", "amt_change_band", "normal_to_amt_ok_post_handle"}) {
            EXPECT_THAT(log.text(), ContainsRegex(std::string("\\| ") + function + " +\\| +[0-9]+ \\| func "))
                << function;
        }
    });
}

TEST(SwitchToAmt, GoesOnWhenNobodyTakesItsAnswer)
{
    in_child([] {
        std::vector<std::string> effects;
        const links link;
        (void)open_port();
        modem_says({k_ok, k_ok});
        handle_context_st.m_pty.m_ptm_fd = -1;
        g_note = [&effects](const std::string &effect) { effects.push_back(effect); };
        const amt_buffer request = buffer_with(switch_request(3));
        amt_buffer response = {};
        EXPECT_EQ(amt_handle_normal_to_amt(AMT_CHANNEL_APP, &request, &response), ERR_UNKNOWN);
        EXPECT_THAT(effects, ElementsAre("amt.normal.amt.switch_status=1", "sys.usb.config=serial,adb",
                                         "ctl.stop=kv-zep-aux0", "signal 15"));
    });
}

// --- the flag

constexpr char k_flag_file[] = "power_usb_amt.txt";

std::string flag_request(uint32_t operation)
{
    return message_of(0xDB, int_atom(192, operation));
}

struct flag_row {
    const char *name;
    std::string request;
    const char *before; // the file; null: there is none
    std::string answer;
    const char *after;
    const char *told;
};

TEST(HandshakeFlag, IsStoredAndRead)
{
    const std::string done = message_of(0xDC, int_atom(192, 0) + int_atom(1, 0));
    const std::string one = message_of(0xDC, int_atom(192, 1) + int_atom(1, 0));
    const std::string refused = result_of(0xDC, 10);
    const flag_row rows[] = {
        {"stored 0", flag_request(0), nullptr, done, "0", "op_type:0; flag:0; ret_val:0."},
        {"stored 1", flag_request(1), "0", done, "1", "op_type:1; flag:0; ret_val:0."},
        {"stored over a longer one", flag_request(0), "1234\n", done, "0", "op_type:0; flag:0; ret_val:0."},
        {"no operation is 0", message_of(0xDB), "1", done, "0", "op_type:0; flag:0; ret_val:0."},
        {"read 0", flag_request(2), "0", done, "0", "op_type:2; flag:0; ret_val:0."},
        {"read 1", flag_request(2), "1\n", one, "1\n", "op_type:2; flag:1; ret_val:0."},
        {"read without a file", flag_request(2), nullptr, one, nullptr, "op_type:2; flag:1; ret_val:0."},
        {"operation 3", flag_request(3), "1", refused, "1", "op_type:3; flag:0; ret_val:-101."},
        {"operation -1", flag_request(0xFFFFFFFF), "1", refused, "1", "op_type:-1; flag:0; ret_val:-101."},
    };
    for (const flag_row &row : rows) {
        in_child([&row] {
            const links link;
            (void)open_port();
            const amt_folder folder;
            if (row.before != nullptr) {
                folder.put(k_flag_file, row.before);
            }
            const test_log log;
            const amt_buffer request = buffer_with(row.request);
            amt_buffer response = buffer_with(std::string(400, 'f'));
            EXPECT_EQ(amt_handle_damt1_cmd(AMT_CHANNEL_APP, &request, &response), ERR_NONE) << row.name;
            EXPECT_THAT(link.at_application(), ElementsAre(row.answer)) << row.name;
            EXPECT_EQ(folder.has(k_flag_file), row.after != nullptr) << row.name;
            if (row.after != nullptr) {
                EXPECT_EQ(folder.content(k_flag_file), row.after) << row.name;
            }
            EXPECT_THAT(log.records(), Contains(std::string("info | amt_handle_damt1_cmd ") + row.told)) << row.name;
            const std::string told = row.told;
            EXPECT_THAT(log.records(), Contains("info | amt_handle_damt1_cmd " + told.substr(0, told.find(';'))))
                << row.name << ": before it is done";
            EXPECT_THAT(g_fake.written, IsEmpty()) << "the modem has nothing to do with it";
        });
    }
}

TEST(HandshakeFlag, ThatCannotBeStoredIsAnError)
{
    in_child([] {
        const links link;
        (void)open_port(); // and no folder
        const amt_buffer request = buffer_with(flag_request(1));
        amt_buffer response = {};
        EXPECT_EQ(amt_handle_damt1_cmd(AMT_CHANNEL_APP, &request, &response), ERR_NONE);
        EXPECT_THAT(link.at_application(), ElementsAre(result_of(0xDC, 10)));
    });
}

// --- both

struct handler_row {
    amt_handle_func handler;
    std::string request;
};

const handler_row k_handlers[] = {
    {amt_handle_normal_to_amt, switch_request(3)},
    {amt_handle_damt1_cmd, flag_request(2)},
};

TEST(NormalToAmt, IsRefusedWithoutAModem)
{
    for (const handler_row &row : k_handlers) {
        expect_refused_without_modem(row.handler, row.request);
    }
}

TEST(NormalToAmt, GivesTheResultOfItsAnswer)
{
    const std::pair<handler_row, std::string> rows[] = {
        {{amt_handle_normal_to_amt, switch_request(3)}, "\r\nERROR\r\n"},
        {{amt_handle_damt1_cmd, flag_request(2)}, ""},
        {{amt_handle_damt1_cmd, flag_request(3)}, ""},
    };
    for (const auto &[row, text] : rows) {
        with_exchange(
            row.handler, row.request, {text},
            [&request = row.request](const exchange &seen) { EXPECT_EQ(seen.result, ERR_UNKNOWN) << request; },
            [] { handle_context_st.m_pty.m_ptm_fd = -1; });
    }
}

TEST(NormalToAmt, RefusesBadArgumentsAndTellsWhich)
{
    for (const handler_row &row : k_handlers) {
        expect_bad_arguments_refused(row.handler, AMT_CHANNEL_APP, row.request);
    }
}

} // namespace
