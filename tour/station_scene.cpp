// The production line: a station on the USB cable asks the handset, and through it the modem.

#include "tour/scenes.h"

#include "station/link.h"
#include "station/text.h"
#include "tour/exchange.h"

#include <algorithm>
#include <sstream>

namespace tour {

constexpr char k_version[] = "KV-2.0"; // as the platform tells the service

// The parameters of the WiFi driver, as its maker has them and with this handset's address.
constexpr char k_makers_parameters[] = "boardtype=0x0653\nmacaddr=00:90:4c:00:00:00\nregrev=0\n";
constexpr char k_parameters[] = "boardtype=0x0653\nmacaddr=00:11:22:33:44:66\nregrev=0\n";

// What the handset keeps of what the station writes.
constexpr struct {
    const char *path;
    const char *content;
    const char *check;
} k_files[] = {
    {"/amt/imei.txt", "490154203237518", "the IMEI is kept in its file once the modem has accepted it"},
    {"/amt/sn-2.txt", "PCBA-0017", "the board's number is kept"},
    {"/amt/WIFI/WIFI_nvram.txt", "00:11:22:33:44:77\n", "the address is kept"},
    {"/data/misc/wifi/nvram.txt", k_parameters,
     "the one of before is among the parameters of WiFi's driver since the start"},
};

static station::message version_request()
{
    return station::message(0x2D).with_int(19, 16);
}

static station::message version_answer()
{
    return station::message(0x2E).with_int(19, 16).with_bytes(18, k_version).with_int(1, 0);
}

static std::string text(const std::string &bytes)
{
    return "text " + station::quoted(bytes);
}

static std::vector<exchange> exchanges()
{
    const std::string modems_own = station::message(0x13).with_int(9, 77).envelope();
    // clang-format off
    return {
        {"probe", "AT\r", "AT;^DLKS=1\r", {text("\r\nOK\r\n")},
         "a probe of the link locks the modem's own reports"},
        {"line for the modem", "ATI\r", "ATI\r", {text("\r\nEmulated modem, revision 1\r\n\r\nOK\r\n")},
         "a line that is not the handset's goes to the modem, and its answer comes back"},
        {"version, message", version_request().envelope(), "", {"pre-response", station::describe(version_answer())},
         "the handset tells its version by message"},
        {"version, line", "AT^DSVER\r", "", {text("\r\n^DSVER: " + std::string(k_version) + "\r\n\r\nOK\r\n")},
         "the handset tells its version by line"},
        {"message for modem", modems_own, modems_own, {station::describe(station::message(0x14).with_int(1, 0))},
         "a message that is not the handset's goes to the modem, and its answer comes back"},
        {"Bluetooth, check", station::message(0xAC).with_int(110, 3).envelope(), "",
         {"pre-response", station::describe(station::message(0xAD).with_int(1, 0))},
         "a radio is tested by message"},
        {"WiFi, check", station::message(0xB9).with_int(152, 2).envelope(), "",
         {"pre-response", station::describe(station::message(0xBA).with_int(1, 0))},
         "so is the other one"},
        {"battery", station::message(0xE0).envelope(), "",
         {"pre-response", station::describe(station::message(0xE1).with_int(151, 1234).with_int(1, 0))},
         "the converter behind the battery is read"},
        {"satellite, line", "AT^DGPSCTRL=2,4\r", "", {text("\r\n^DGPSCTRL: 27,41\r\n\r\nOK\r\n")},
         "and by line, which brings the satellite in slot 4"},
    };
    // clang-format on
}

static std::vector<exchange> identity_exchanges()
{
    // clang-format off
    return {
        {"IMEI", "AT^DCGSNW=490154203237518\r", "AT^DCGSNW=490154203237518\r", {text("\r\nOK\r\n")},
         "an identity is written into the modem"},
        {"board, written", station::message(0xC1).with_bytes(190, "\2").with_string(191, "PCBA-0017").envelope(), "",
         {"pre-response", station::describe(station::message(0xC2).with_int(1, 0))},
         "the board's serial number is written by message"},
        {"board, read", "AT^DPCBACTRL=1\r", "", {text("\r\n^DPCBACTRL: PCBA-0017\r\n\r\nOK\r\n")},
         "and read by line"},
        {"WiFi's address", "AT^DWIFIADDR=\"00:11:22:33:44:77\"\r", "", {text("\r\nOK\r\n")},
         "an address is written by line"},
    };
    // clang-format on
}

// The next answer, or why there is none.
static std::string told_by(station::link &link)
{
    try {
        return station::describe(link.receive());
    } catch (const station::timeout &none) {
        return none.what();
    }
}

// What the maker's library was asked for meanwhile.
static void show_radios(stage &stage, const emulator::handset &handset)
{
    std::string asked;
    for (const std::string &call : handset.calls()) {
        if (call.compare(0, 4, "hwt_") == 0) {
            asked += (asked.empty() ? "" : ", ") + call;
        }
    }
    stage.say("", "radios: " + asked);
    stage.expect("the radios were asked for just that",
                 "hwt_btCheck(), hwt_wifiCheck(), hwt_gpsCtrl(1, 0, null, null), hwt_gpsCtrl(2, 4, svid, cnr)", asked);
}

static void show_files(stage &stage, const emulator::handset &handset)
{
    const char *label = "files";
    for (const auto &file : k_files) {
        const std::string content = handset.files.read(file.path);
        stage.say(label, std::string(file.path) + ": " + station::quoted(content));
        stage.expect(file.check, station::quoted(file.content), station::quoted(content));
        label = "";
    }
}

// Here it is only written down that the kernel was asked for it, and the service goes on.
static void power_off(stage &stage, const emulator::handset &handset, peer &station)
{
    constexpr char k_call[] = "reboot(POWER_OFF)";
    play(stage, station, {"power-off", "AT^DAMTOFF\r", "", {text("\r\nOK\r\n")}, "a power-off is acknowledged"});
    const auto is_off = [&] { return handset.calls().back() == k_call; };
    emulator::wait_until("the power-off", is_off);
    stage.say("", "kernel: " + handset.calls().back());
    stage.expect("and two seconds later the power is switched off", k_call, handset.calls().back());
}

static emulator::process start_reading(equipment &equipment)
{
    equipment.handset.files.write("/system/etc/wifi/nvram.txt", k_makers_parameters);
    equipment.handset.files.write("/amt/WIFI/WIFI_nvram.txt", "00:11:22:33:44:66\n");
    equipment.handset.set_property(k_switch_property, "1");
    equipment.handset.set_property("ro.build.display.id", k_version);
    equipment.handset.control("hwt_gpsCtrl", {"svid.4=27", "cnr.4=41"});
    emulator::process service = equipment.start_service();
    equipment.wait_log(service, "read_pc_loop, read ready");
    emulator::wait_until("the service to watch the cable", [&] { return equipment.handset.uevents_heard(); });
    return service;
}

static void pull_cable(stage &stage, emulator::handset &handset, const emulator::process &service)
{
    handset.uevent({"change@/devices/virtual/android_usb/android0", "USB_STATE=DISCONNECTED"});
    const std::string end = emulator::to_string(service.wait());
    stage.say("cable pulled", "-> uevent USB_STATE=DISCONNECTED");
    stage.say("", "<- the service " + end);
    stage.expect("with the cable pulled the service ends by itself", "exited with 0", end);
}

// The record of bytes read or written.
static std::string dump(const std::string &heading, const std::string &bytes)
{
    std::string hex = station::in_hex(bytes);
    hex.erase(std::remove(hex.begin(), hex.end(), ' '), hex.end());
    return heading + "(data len = " + std::to_string(bytes.size()) + ") " + hex;
}

// From the record with the text to the same thread's last one before it reads again; the entries of functions left out.
static std::vector<emulator::log_record> records_from(const std::string &text,
                                                      const std::vector<emulator::log_record> &records)
{
    std::vector<emulator::log_record> result;
    for (const emulator::log_record &record : records) {
        const bool is_first = result.empty() && record.text == text;
        const bool is_next = !result.empty() && record.thread_id == result.front().thread_id;
        if (is_next && record.text.find("read ready") != std::string::npos) {
            break;
        }
        if (is_first || (is_next && record.level != "func")) {
            result.push_back(record);
        }
    }
    return result;
}

static void show_log(stage &stage, const emulator::handset &handset)
{
    const std::string received = dump("handle PC req data: ", version_request().envelope());
    const std::string sent = dump("send PC rsp data: ", version_answer().envelope());
    const std::vector<emulator::log_record> records = records_from(received, handset.log_records());
    stage.remark("What the service logged of \"version, message\", without the entries of its functions:");
    std::ostringstream all;
    for (const emulator::log_record &record : records) {
        std::ostringstream line;
        line << record;
        stage.quote(line.str());
        all << record.text << '\n';
    }
    const bool is_told = all.str().find(sent) != std::string::npos;
    stage.expect("the log holds a request and its answer, byte by byte", sent,
                 is_told ? sent : station::quoted(all.str()));
}

void play_station(stage &stage, equipment &equipment)
{
    stage.open_scene("A station drives the handset", "started at boot with " + std::string(k_switch_property) +
                                                         "=1; station on /dev/ttyGS0, modem on /dev/ttyMODEM");
    const emulator::process service = start_reading(equipment);
    station::link link(equipment.station.fd());
    peer station = {[&](const std::string &bytes) { link.send_raw(bytes); }, [&] { return told_by(link); },
                    equipment.modem, 0};
    for (const exchange &each : exchanges()) {
        play(stage, station, each);
    }
    show_radios(stage, equipment.handset);
    for (const exchange &each : identity_exchanges()) {
        play(stage, station, each);
    }
    show_files(stage, equipment.handset);
    power_off(stage, equipment.handset, station);
    pull_cable(stage, equipment.handset, service);
    show_log(stage, equipment.handset);
}

} // namespace tour
