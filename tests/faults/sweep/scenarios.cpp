// The scenarios, see scenarios.h.

#include "tests/faults/sweep/scenarios.h"

#include "station/message.h"
#include "tests/faults/sweep/exchange.h"

#include <algorithm>
#include <thread>
#include <utility>

namespace faults {

using station::message;

namespace {

constexpr char k_ok[] = "\r\nOK\r\n";
constexpr char k_imei[] = "490154203237518";
constexpr char k_other_imei[] = "356938035643809";
constexpr char k_signal[] = "\r\n+CSQ: 23,99\r\n\r\nOK\r\n";
constexpr char k_plain_nvram[] = "boardtype=0x1\nmacaddr=00:00:00:00:00:00\nregrev=0\n";
constexpr char k_nvram[] = "boardtype=0x1\nmacaddr=00:11:22:33:44:66\nregrev=0\n";
constexpr char k_cable_file[] = "/sys/class/android_usb/android0/state";
constexpr char k_permit_file[] = "/amt/power_usb_amt.txt";

message done(std::uint8_t id)
{
    return message(id).with_int(1, 0);
}

std::string untested(std::size_t count, std::size_t item = 0, char digit = '0')
{
    std::string text;
    for (std::size_t i = 0; i < count; i++) {
        text += "0\n";
    }
    text[2 * item] = digit;
    return text;
}

// The same where another item has been found bad before.
std::string tested(std::size_t count, std::size_t item, char digit)
{
    constexpr std::size_t k_other = 7;
    std::string text = untested(count, item, digit);
    text[2 * k_other] = '2';
    return text;
}

// One request as it goes over the link, and the bytes that answer it.
struct exchange {
    std::string request;
    std::string answer;
};

exchange own(const message &request, const message &answer)
{
    return {request.envelope(), k_pre_response + answer.envelope()};
}

exchange passed_on(const message &request, const message &answer)
{
    return {request.envelope(), answer.envelope()};
}

exchange bare(const message &request, const message &answer)
{
    return {request.encode(), answer.encode()};
}

auto asking(exchange what)
{
    return [what = std::move(what)](bench &on, patience limit) { return ask(on, what.request, what.answer, limit); };
}

const exchange k_own_line = {"AT^DBTADDR=?\r", k_ok};
const exchange k_relayed_line = {"AT+CSQ\r", k_signal};

exchange own_message()
{
    return bare(message(0xF0), done(0xF1));
}

exchange message_of_the_modem()
{
    return bare(message(0x07), message(0x08).with_string(21, k_imei).with_int(1, 0));
}

// --- at the start

const std::vector<watched_file> k_files_of_a_start = {
    {"/amt/WIFI/WIFI_nvram.txt", "00:11:22:33:44:66\n", "00:11:22:33:44:66\n"},
    {"/system/etc/wifi/nvram.txt", k_plain_nvram, k_plain_nvram},
    {"/data/misc/wifi/nvram.txt", "(none)", k_nvram, k_plain_nvram},
    {k_permit_file, "1", "1"},
};

std::vector<watched_file> with(std::vector<watched_file> files, const char *path, const char *content)
{
    files.push_back({path, content, content});
    return files;
}

void forget_folder(bench &on)
{
    on.handset.files.remove("/amt/BT");
}

bool is_picture_shown(const bench &on)
{
    const std::vector<std::string> calls = on.handset.calls();
    return std::find(calls.begin(), calls.end(), "ioctl(fb0, VEXIOFB_IOCTL_EN_LAYER, 1)") != calls.end();
}

// The modem speaks, the station answers, and the handset shows that it has been taken; cut when it does not.
outcome shake_hands(bench &on, patience limit)
{
    constexpr unsigned k_of_the_limit = 5; // what the picture may take
    on.modem->say("\r\nREADY\r\n");
    outcome heard = ask(on, "", "\r\nREADY\r\n", limit);
    heard = heard == outcome::answered ? ask(on, k_relayed_line.request, k_relayed_line.answer, limit) : heard;
    const emulator::deadline until(limit.longest / k_of_the_limit);
    while (heard == outcome::answered && !is_picture_shown(on)) {
        if (!on.is_running()) {
            return end_of(on.service());
        }
        if (until.passed()) {
            return outcome::cut;
        }
        std::this_thread::sleep_for(2ms);
    }
    return heard;
}

// The request that meets the loss is lost with it; the ones behind it are not.
outcome ask_until_back(bench &on, patience limit)
{
    constexpr std::chrono::milliseconds k_turn = 400ms;
    const emulator::deadline until(limit.longest);
    outcome heard = outcome::silent;
    while (heard == outcome::silent && !until.passed()) {
        heard = ask(on, k_relayed_line.request, k_relayed_line.answer, {std::min(limit.longest, k_turn)});
    }
    return heard;
}

// --- identities

struct identity_row {
    const char *name;
    exchange what;
    const char *path;
    const char *before;
    const char *after;
};

std::vector<identity_row> identities()
{
    const std::string address = "00:11:22:33:44:55";
    return {
        {"imei-line", {"AT^DCGSNW=490154203237518\r", k_ok}, "/amt/imei.txt", k_other_imei, k_imei},
        {"imei-message", passed_on(message(5).with_string(21, k_imei), done(6)), "/amt/imei.txt", k_other_imei, k_imei},
        {"sn-line", {"AT^DMSN=SN0017\r", k_ok}, "/amt/sn.txt", "SN0001", "SN0017"},
        {"board-message", passed_on(message(87).with_string(38, "SN0017"), done(88)), "/amt/sn.txt", "SN0001",
         "SN0017"},
        {"pcba-message", own(message(0xC1).with_bytes(190, "\2").with_string(191, "PCBA-7"), done(0xC2)),
         "/amt/sn-2.txt", "PCBA-6", "PCBA-7"},
        {"pcba-read", own(message(0xC1).with_bytes(190, "\1"), message(0xC2).with_string(191, "PCBA-7").with_int(1, 0)),
         "/amt/sn-2.txt", "PCBA-7", "PCBA-7"},
        {"pcba-line", {"AT^DPCBACTRL=2,PCBA-7\r", k_ok}, "/amt/sn-2.txt", "PCBA-6", "PCBA-7"},
        {"adb-message", own(message(0xBF).with_int(160, 1).with_int(162, 6).with_string(161, "ADB001"), done(0xC0)),
         "/amt/usb_serial", "ADB000", "ADB001"},
        {"adb-read", own(message(0xBF), message(0xC0).with_string(161, "ADB001").with_int(1, 0)), "/amt/usb_serial",
         "ADB001", "ADB001"},
        {"bt-line",
         {"AT^DBTADDR=\"" + address + "\"\r", k_ok},
         "/amt/BT/BT_Address.txt",
         "00:00:00:00:00:01\n",
         "00:11:22:33:44:55\n"},
        {"bt-message", own(message(0xAC).with_int(110, 2).with_string(111, address), done(0xAD)),
         "/amt/BT/BT_Address.txt", "00:00:00:00:00:01\n", "00:11:22:33:44:55\n"},
        {"bt-read",
         {"AT^DBTADDR?\r", "\r\n^DBTADDR: \"00:11:22:33:44:55\"\r\n\r\nOK\r\n"},
         "/amt/BT/BT_Address.txt",
         "00:11:22:33:44:55\n",
         "00:11:22:33:44:55\n"},
        {"wifi-line",
         {"AT^DWIFIADDR=\"" + address + "\"\r", k_ok},
         "/amt/WIFI/WIFI_nvram.txt",
         "00:00:00:00:00:01\n",
         "00:11:22:33:44:55\n"},
        {"wifi-message", own(message(0xB9).with_int(152, 1).with_string(153, address), done(0xBA)),
         "/amt/WIFI/WIFI_nvram.txt", "00:00:00:00:00:01\n", "00:11:22:33:44:55\n"},
        {"wifi-read",
         {"AT^DWIFIADDR?\r", "\r\n^DWIFIADDR: \"00:11:22:33:44:55\"\r\n\r\nOK\r\n"},
         "/amt/WIFI/WIFI_nvram.txt",
         "00:11:22:33:44:55\n",
         "00:11:22:33:44:55\n"},
        {"flag", {"AT^DAMT1=0\r", k_ok}, k_permit_file, "1", "0"},
        {"verdict", passed_on(message(0x5B).with_int(39, 5).with_int(36, 1), done(0x5C)), "/amt/amt_result.txt",
         "(none)", ""},
    };
}

// --- the application's

struct result_row {
    const char *name;
    exchange what;
    const char *path;
    std::string before;
    std::string after;
};

std::vector<result_row> results()
{
    const exchange write = bare(message(0xE6).with_int(39, 3).with_int(36, 2), done(0xE7));
    const exchange read =
        bare(message(0xE4).with_int(39, 7), message(0xE5).with_int(39, 7).with_int(36, 2).with_int(1, 0));
    const exchange of_modem = bare(message(0x5B).with_int(39, 12).with_int(36, 1), done(0x5C));
    return {
        {"result-first", write, "/amt/product.txt", "(none)", untested(36, 2, '2')},
        {"result-write", write, "/amt/product.txt", tested(36, 2, '1'), tested(36, 2, '2')},
        {"result-read", read, "/amt/product.txt", tested(36, 2, '1'), tested(36, 2, '1')},
        {"copy-write", of_modem, "/amt/amt_result.txt", tested(20, 12, '0'), tested(20, 12, '1')},
    };
}

void reopen_app(bench &on)
{
    (void)on.asker();
}

// The application closes its side and opens the path again once it leads to another port.
outcome come_back(bench &on, patience limit)
{
    const std::string before = on.app_port();
    on.hang_up_app();
    const emulator::deadline until(limit.longest);
    while (!until.passed() && on.is_running() && (on.app_port() == before || on.asker().fd() < 0)) {
        std::this_thread::sleep_for(2ms);
    }
    const exchange what = own_message();
    return ask(on, what.request, what.answer, limit);
}

// --- the log's

// As many relayed lines as fill the ring.
outcome fill_ring(bench &on, patience limit)
{
    const std::string line = "AT+" + std::string(900, 'X') + "\r";
    for (int i = 0; i < 30; i++) {
        const outcome heard = ask(on, line, "\r\nERROR\r\n", limit);
        if (heard != outcome::answered) {
            return heard;
        }
    }
    return outcome::answered;
}

std::vector<scenario> make_scenarios()
{
    std::vector<scenario> rows;
    const auto relay = asking(k_relayed_line);
    rows.push_back({"start/station", arrangement::station, phase::start, k_files_of_a_start, forget_folder, relay});
    rows.push_back({"start/application", arrangement::application, phase::start, k_files_of_a_start, forget_folder,
                    asking(message_of_the_modem())});
    rows.push_back(
        {"start/simplified", arrangement::simplified, phase::start, k_files_of_a_start, forget_folder, relay});
    rows.push_back({"start/cable", arrangement::cable, phase::start,
                    with(k_files_of_a_start, k_cable_file, "CONFIGURED\n"), forget_folder, shake_hands});
    rows.push_back({"relay/both-ways", arrangement::station, phase::running, {}, {}, relay});
    rows.push_back({"relay/own-line", arrangement::station, phase::running, {}, {}, asking(k_own_line)});
    rows.push_back({"relay/modem-back",
                    arrangement::station,
                    phase::running,
                    {},
                    [](bench &on) { on.flap(*on.modem, "/dev/ttyMODEM"); },
                    ask_until_back});
    for (const identity_row &row : identities()) {
        const std::string after = row.after[0] != '\0' ? row.after : untested(20, 5, '1');
        rows.push_back({std::string("identity/") + row.name,
                        arrangement::station,
                        phase::running,
                        {{row.path, row.before, after}},
                        {},
                        asking(row.what)});
    }
    rows.push_back({"identity/bt-elsewhere",
                    arrangement::station,
                    phase::running,
                    {{"/amt/BT/BT_Address.txt", "(none)", "(none)"},
                     {"/mnt/opl/nvm/BT_Address.txt", "00:00:00:00:00:02\n", "00:11:22:33:44:55\n"}},
                    {},
                    asking({"AT^DBTADDR=\"00:11:22:33:44:55\"\r", k_ok})});
    rows.push_back({"log/ring", arrangement::station, phase::running, {}, {}, fill_ring});
    rows.push_back({"end/station", arrangement::station, phase::ending, {}, {}, {}});
    for (const result_row &row : results()) {
        rows.push_back({std::string("application/") + row.name,
                        arrangement::application,
                        phase::running,
                        {{row.path, row.before, row.after}},
                        reopen_app,
                        asking(row.what)});
    }
    rows.push_back({"application/modem",
                    arrangement::application,
                    phase::running,
                    {},
                    reopen_app,
                    asking(message_of_the_modem())});
    rows.push_back({"application/modem-back",
                    arrangement::application,
                    phase::running,
                    {},
                    [](bench &on) { on.flap(*on.at, "/dev/ttyAT"); },
                    asking(message_of_the_modem())});
    rows.push_back({"application/reopen", arrangement::application, phase::running, {}, reopen_app, come_back});
    rows.push_back({"end/application", arrangement::application, phase::ending, {}, {}, {}});
    rows.push_back({"end/cable",
                    arrangement::cable,
                    phase::ending,
                    {{k_permit_file, "1", "1"}, {k_cable_file, "DISCONNECTED\n", "DISCONNECTED\n"}},
                    {},
                    {}});
    return rows;
}

} // namespace

const std::vector<scenario> &scenarios()
{
    static const std::vector<scenario> rows = make_scenarios();
    return rows;
}

bool is_well(bench &on, patience limit)
{
    const bool is_app = on.how() == arrangement::application;
    const exchange first = is_app ? own_message() : k_own_line;
    const exchange second = is_app ? message_of_the_modem() : k_relayed_line;
    on.hear_out(5ms);
    // The last is what a handshake waits for once the modem has spoken.
    return ask(on, first.request, first.answer, limit) == outcome::answered &&
           ask(on, second.request, second.answer, limit) == outcome::answered &&
           ask(on, first.request, first.answer, limit) == outcome::answered;
}

bool wait_started(bench &on, patience limit)
{
    const emulator::deadline until(limit.longest);
    while (on.is_running() && !until.passed()) {
        try {
            if (on.is_started()) {
                return true;
            }
        } catch (const std::runtime_error &) { // it ends just now
        }
        std::this_thread::sleep_for(2ms);
    }
    return !on.is_running();
}

} // namespace faults
